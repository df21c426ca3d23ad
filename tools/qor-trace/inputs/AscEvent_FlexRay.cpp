// FlexRay lines.
#include <algorithm>
#include <iterator>

#include "inputs/AscEvent.h"

namespace client::asc_event {

namespace {

constexpr AscLineResult kUnreadable{AscLineKind::Unreadable, "a FlexRay line"};
constexpr AscLineResult kNoRecord{AscLineKind::NoRecord, "a FlexRay line of a kind that no record has"};
constexpr unsigned int kGreatestSlot = 0xFFFF;  // what a record holds, which may be more than the bus has
constexpr unsigned int kGreatestCycle = 0xFF;
constexpr unsigned int kGreatestCrc = 0xFFFF;
constexpr size_t kMostBytes = sizeof(Qor_Trace_Entry_FlexRay_t::Data);

/// Of the column with the FlexRay channel: 1 A, 2 B, 3 both, 0 none, which has the code after those of the channels.
unsigned char CodeOf(unsigned int column) {
  constexpr unsigned char kNone = 3;
  return column == 0 ? kNone : static_cast<unsigned char>(column - 1);
}

/// The column of a frame's flags, as the writer has it.
unsigned char FrameFlagsOf(unsigned int state) {
  constexpr struct {
    unsigned int State, Flag;
  } kFlags[] = {{0x01, QOR_TRACE_FLEXRAY_NULL},
                {0x04, QOR_TRACE_FLEXRAY_SYNC},
                {0x08, QOR_TRACE_FLEXRAY_STARTUP},
                {0x10, QOR_TRACE_FLEXRAY_INDICATOR}};
  unsigned int flags = 0;
  for (const auto& flag : kFlags)
    if ((state & flag.State) != 0) flags |= flag.Flag;
  return static_cast<unsigned char>(flags);
}

/// "5 3 Rx 0 80002 5 28 2a5 FlexRay_Frame_[x|x|x] 4 4 01 02 03 04"
AscLineResult ReadFrame(TextScan line, int base, unsigned int column, AscBytes room, AscEvent& event) {
  const auto slot = line.TakeNumber(base, kGreatestSlot);
  const auto cycle = line.TakeNumber(base, kGreatestCycle);
  const std::string_view direction = line.Word();
  line.SkipWords(1);
  const auto state = line.TakeNumber(base);
  line.SkipWords(2);
  const auto crc = line.TakeNumber(base, kGreatestCrc);
  line.SkipWords(1);
  const auto payload = line.TakeNumber(base, 510u);
  const auto size = line.TakeNumber<size_t>(base, kMostBytes);
  if (!slot || !cycle || !state || !crc || !payload || !size) return kUnreadable;
  if ((direction != "Rx" && direction != "Tx") || !line.TakeBytes(room.first(*size), base)) return kUnreadable;
  FlexRayParts parts;
  parts.Type = direction == "Tx" ? FlexRayItemType::TransmittedFrame : FlexRayItemType::ReceivedFrame;
  parts.Channel = CodeOf(column);
  parts.FrameFlags = FrameFlagsOf(*state);
  parts.SlotId = static_cast<unsigned short>(*slot);
  parts.Cycle = static_cast<unsigned char>(*cycle);
  parts.PayloadWords = static_cast<unsigned char>(*payload / 2);
  parts.HeaderCrc = static_cast<unsigned short>(*crc);
  parts.Data = room.first(*size);
  event.Parts = parts;
  return {};
}

/// "SCE": a start of a cycle goes on with its number; a symbol has a channel and nothing else; a status nothing at all.
AscLineResult ReadCycleOrSymbol(TextScan line, int base, unsigned int column, AscEvent& event) {
  FlexRayParts parts;
  if (!line.AtEnd()) {
    const auto cycle = line.TakeNumber(base, kGreatestCycle);
    if (!cycle) return kUnreadable;
    parts.Type = FlexRayItemType::CycleStart;
    parts.Channel = static_cast<unsigned char>(*cycle);
  } else if (column != 0) {
    parts.Type = FlexRayItemType::Symbol;
    parts.Channel = CodeOf(column);
  } else {
    parts.Type = FlexRayItemType::Status;
  }
  event.Parts = parts;
  return {};
}

/// "SE": "0 5 1 2 0 0 0 0". Two states and those without a code look alike: the first of them stands for all.
AscLineResult ReadState(TextScan line, int base, AscEvent& event) {
  constexpr struct {
    unsigned int Kind, State;
  } kStates[] = {{2, 6}, {2, 0}, {2, 4}, {1, 2}, {1, 3}, {2, 1}, {2, 32}, {2, 19}};  // by the state's code
  line.SkipWords(2);
  const auto kind = line.TakeNumber(base);
  const auto state = line.TakeNumber(base);
  if (!kind || !state) return kUnreadable;
  const auto* const found = std::find_if(std::begin(kStates), std::end(kStates), [&](const auto& known) {
    return known.Kind == *kind && known.State == *state;
  });
  if (found == std::end(kStates)) return kNoRecord;
  FlexRayParts parts;
  parts.Type = FlexRayItemType::State;
  parts.Channel = static_cast<unsigned char>(found - std::begin(kStates));
  event.Parts = parts;
  return {};
}

/// "EE": "5 4 MASK 0 0" in the network idle time, "5 6 0 0 0" the mark of a loss; an error of a frame has nothing more, so that
/// its content can't be told from its syntax.
AscLineResult ReadError(TextScan line, int base, unsigned int column, AscEvent& event) {
  FlexRayParts parts;
  parts.Type = FlexRayItemType::SyntaxError;
  if (!line.AtEnd()) {
    constexpr unsigned int kLoss = 6;
    constexpr unsigned int kBoundaries = 0x0A;  // of channel A and B
    line.SkipWords(1);
    const auto what = line.TakeNumber(base);
    const auto mask = line.TakeNumber(base);
    if (!what || !mask) return kUnreadable;
    if (*what == kLoss)
      parts.Type = FlexRayItemType::Overrun;
    else if (*what != 4)
      return kNoRecord;
    else if ((*mask & kBoundaries) != 0)
      parts.Type = FlexRayItemType::NitBoundaryViolation;
    else
      parts.Type = FlexRayItemType::NitSyntaxError;
  }
  if (parts.Type != FlexRayItemType::Overrun) parts.SlotId = static_cast<unsigned short>(CodeOf(column) << 8);
  event.Parts = parts;
  return {};
}

}  // namespace

/// "Fr RMSG  1 0 3 1 ...": the kind, two fixed columns, the channel in decimal, the FlexRay channel.
AscLineResult ReadFlexRay(TextScan line, int base, AscBytes room, AscEvent& event) {
  line.SkipWords(1);
  const std::string_view kind = line.Word();
  if (kind != "RMSG" && kind != "SCE" && kind != "SE" && kind != "EE") return kNoRecord;
  line.SkipWords(2);
  event.Channel = line.TakeNumber(10);
  const auto column = line.TakeNumber(base, 3u);
  if (!event.Channel || !column) return kUnreadable;
  if (kind == "RMSG") return ReadFrame(line, base, *column, room, event);
  if (kind == "SCE") return ReadCycleOrSymbol(line, base, *column, event);
  return kind == "SE" ? ReadState(line, base, event) : ReadError(line, base, *column, event);
}

}  // namespace client::asc_event
