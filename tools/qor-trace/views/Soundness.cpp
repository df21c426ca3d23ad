#include "views/Soundness.h"

#include <fmt/format.h>

#include <algorithm>
#include <string>

#include "stream/CanDlc.h"
#include "stream/LinChecksum.h"
#include "stream/LossWords.h"
#include "system/Units.h"

namespace client {

namespace {

std::string NotedLoss(const Loss& loss) {
  return fmt::format("a loss that the recording noted: {} of channel {}, {}", ItemsText(loss.Count), loss.Channel,
                     CauseText(loss.Cause));
}

}  // namespace

bool Soundness::Take(const RecordView& record) {
  ++Count;
  Size += record.Length();
  LookAtTime(record.Timestamp());
  if (record.ChannelId() != LastMet || Met.empty()) Met.insert(LastMet = record.ChannelId());
  if (record.HasOverrunMark()) Note(FindingKind::Unread, "a mark of the interface after which data were lost");
  if (!record.IsWellFormed() || record.Kind() == RecordKind::Unknown) {
    Note(FindingKind::Odd, "an entry that is cut short or of no known kind");
    return true;
  }
  switch (record.Bus()) {
    case BusType_Can:
      LookAtCan(record.Can());
      break;
    case BusType_Lin:
      LookAtLin(record.Lin());
      break;
    case BusType_FlexRay:
      LookAtFlexRay(record.FlexRay());
      break;
    default:
      LookAtEthernet(record.Ethernet());
  }
  return true;
}

void Soundness::Note(FindingKind kind, const std::string& what) {
  Noted.Add(kind, what, fmt::format("entry {}", Count));
}

void Soundness::LookAtTime(unsigned long time) {
  if (Count == 1) Earliest = Latest = time;
  if (Count > 1 && time < Before) Note(FindingKind::Odd, "an entry earlier than the one before");
  Before = time;
  Earliest = std::min(Earliest, time);
  Latest = std::max(Latest, time);
}

void Soundness::LookAtCan(const CanView& can) {
  if (can.Held.size() < can.DataLength) Note(FindingKind::Odd, "a CAN entry with fewer data than it announces");
  const RecordKind kind = can.Kind();
  if ((kind != RecordKind::CanFrame && kind != RecordKind::CanFdFrame) || can.IsRemote()) return;
  if (can.DataLength != BytesOfCanDlc(can.Dlc, kind == RecordKind::CanFdFrame))
    Note(FindingKind::Odd, "a CAN frame whose data length isn't that of its DLC");
}

void Soundness::LookAtLin(const LinView& lin) {
  if (lin.Kind() != RecordKind::LinFrame) return;
  const auto checksum = lin.Checksum();
  if (!checksum || lin.Data().size() < lin.DataCount()) {
    Note(FindingKind::Odd, "a LIN frame with fewer data than it announces");
  } else if (LinChecksumModelOf(*checksum, LinProtectedIdentifier(lin.Identifier), lin.Data()) ==
             LinChecksumModel::Unknown) {
    Note(FindingKind::Odd, "a LIN frame whose checksum fits neither model");
  }
}

void Soundness::LookAtFlexRay(const FlexRayView& flexray) {
  if (flexray.Kind() == RecordKind::FlexRayFrame && flexray.Held.size() < flexray.PayloadBytes())
    Note(FindingKind::Odd, "a FlexRay frame with less payload than it announces");
}

void Soundness::LookAtEthernet(const EthernetView& ethernet) {
  const RecordKind kind = ethernet.Kind();
  const bool frame = kind == RecordKind::EthernetFrame || kind == RecordKind::EthernetCrcError;
  if (frame && ethernet.Held.size() < ethernet.FrameLength)
    Note(FindingKind::Odd, "an Ethernet frame with fewer bytes than it announces");
}

void Soundness::Compare(const Description& description) {
  const std::string place = "its description";
  if (!description.Complete) Noted.Add(FindingKind::Unread, "a recording that didn't come to its end", place);
  for (const Loss& loss : description.Losses)
    if (loss.Cause != LossCause::OverrunMark) Noted.Add(FindingKind::Unread, NotedLoss(loss), place);
  const auto& records = description.Records;
  if (records && records->Count != Count)
    Noted.Add(FindingKind::Odd,
              fmt::format("another number of entries than the {} that it was closed with", records->Count), place);
  if (description.Channels.empty()) return;
  for (const unsigned int channel : Met)
    if (FindChannel(description, channel) == nullptr)
      Noted.Add(FindingKind::Odd, fmt::format("nothing of channel {}, which has entries", channel), place);
}

}  // namespace client
