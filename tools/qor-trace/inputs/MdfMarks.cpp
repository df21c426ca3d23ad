#include "inputs/MdfMarks.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <string_view>

#include "inputs/MdfFrames.h"
#include "stream/CanDlc.h"
#include "stream/LossComment.h"

namespace client {

namespace {

enum EventType : unsigned char { kRecordingPeriod = 0, kRecordingInterrupt = 1, kAcquisitionInterrupt = 2 };
constexpr size_t kEventLinks = 5;  // in front of those to what the event is about
constexpr unsigned char kTimeInSeconds = 1;

constexpr std::string_view kLost = "Data lost after this entry";
constexpr std::string_view kTriggerInput = "Trigger input: ";
constexpr std::string_view kUserEvent = "User event:";
constexpr std::string_view kEventTriggered = "Event-triggered frame: ";
constexpr std::string_view kFalling = "falling edge";

/// "0A FF": as many bytes as are sound.
std::vector<unsigned char> BytesOf(std::string_view hex) {
  constexpr size_t kMost = 64;
  std::vector<unsigned char> bytes;
  const auto digit = [](char c) { return c >= '0' && c <= '9' ? c - '0' : c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1; };
  while (hex.size() >= 3 && bytes.size() < kMost && hex[0] == ' ' && digit(hex[1]) >= 0 && digit(hex[2]) >= 0) {
    bytes.push_back(static_cast<unsigned char>(digit(hex[1]) * 16 + digit(hex[2])));
    hex.remove_prefix(3);
  }
  return bytes;
}

/// False for a text of other programs.
bool TakeText(MdfMark& mark, std::string_view text) {
  if (text.ends_with(kLost)) {
    mark.Lost = true;
    text.remove_suffix(kLost.size());
    if (text.ends_with("; ")) text.remove_suffix(2);
  }
  if (text.starts_with(kTriggerInput)) {
    mark.What = MdfMark::Kind::CanEvent;
    mark.Data = {static_cast<unsigned char>(text.ends_with(kFalling) ? 1 : 0)};
  } else if (text.starts_with(kUserEvent)) {
    mark.What = MdfMark::Kind::CanEvent;
    mark.Data = BytesOf(text.substr(kUserEvent.size()));
  } else if (text.starts_with(kEventTriggered)) {
    mark.What = MdfMark::Kind::LinEvent;
    mark.Falling = text.ends_with(kFalling);
  } else {
    return mark.Lost;
  }
  return true;
}

bool IsOfBus(const MdfMark& mark) {
  if (mark.What == MdfMark::Kind::Loss) return true;
  return mark.Of.Bus == (mark.What == MdfMark::Kind::CanEvent ? BusType_Can : BusType_Lin);
}

unsigned long TimeOf(const MdfFields& fields) {
  const long double seconds =
      static_cast<long double>(fields.At<long>(16)) * static_cast<long double>(fields.At<double>(24));
  const long double nanoseconds = std::round(seconds * 1e9L);
  return nanoseconds > 0 && nanoseconds < 9.2e18L ? static_cast<unsigned long>(nanoseconds) : 0;
}

}  // namespace

std::vector<MdfMark> ReadMdfMarks(MdfBlocks& file, unsigned long firstEvent,
                                  const std::function<std::optional<MdfBus>(unsigned long)>& busOf, Findings& found) {
  std::vector<MdfMark> marks;
  unsigned long next = firstEvent;
  while (next != 0) {
    const auto block = file.Follow(next);
    if (!block || block->Kind != "EV") break;
    next = block->Link(0);
    const MdfFields fields = file.Fields(*block);
    const auto type = fields.At<unsigned char>(0);
    if (type <= kRecordingInterrupt) continue;  // where the recording begins and ends is known
    if (marks.size() == kMostMdfMarks) {
      found.AtByte(FindingKind::Unread, "events beyond the first 200000", block->Position);
      break;
    }
    const std::string text = file.Text(block->Link(3));
    if (LossFromComment(text)) continue;  // it stands in the comment of the header as well
    MdfMark mark;
    std::optional<MdfBus> bus;
    for (size_t scope = kEventLinks; !bus && scope < block->Links.size(); ++scope) bus = busOf(block->Links[scope]);
    const bool known = TakeText(mark, text) || type == kAcquisitionInterrupt;
    if (bus) mark.Of = *bus;
    if (!known || !bus || !IsOfBus(mark) || fields.At<unsigned char>(1) != kTimeInSeconds) {
      found.AtByte(FindingKind::LeftOut, "an event that is of no bus", block->Position);
      continue;
    }
    mark.Time = TimeOf(fields);
    marks.push_back(std::move(mark));
  }
  std::stable_sort(marks.begin(), marks.end(),
                   [](const MdfMark& left, const MdfMark& right) { return left.Time < right.Time; });
  return marks;
}

const RecordView* RecordOfMark(MadeRecord& made, const MdfMark& mark) {
  const RecordHead head{mark.Of.Channel, mark.Time};
  switch (mark.What) {
    case MdfMark::Kind::CanEvent: {
      const unsigned int flags = QOR_TRACE_CAN_TRIGGER | (mark.Lost ? QOR_TRACE_CAN_OVERRUN : 0);
      return made.Can(
          head, {.Flags = static_cast<unsigned char>(flags), .Dlc = CanDlcOf(mark.Data.size()), .Data = mark.Data});
    }
    case MdfMark::Kind::LinEvent: {
      const unsigned int flags = QOR_TRACE_LIN_EVENT | (mark.Lost ? QOR_TRACE_LIN_OVERRUN : 0);
      return made.Lin(head, {.Identifier = static_cast<unsigned char>(mark.Falling ? 1 : 0),
                             .Flags = static_cast<unsigned short>(flags)});
    }
    case MdfMark::Kind::Loss:
      break;
  }
  // FlexRay has records of its losses, CAN and LIN a flag of the entry before.
  if (mark.Of.Bus != BusType_Ethernet) return nullptr;
  return made.Ethernet(head, {.Type = EthernetItemType::Overrun});
}

}  // namespace client
