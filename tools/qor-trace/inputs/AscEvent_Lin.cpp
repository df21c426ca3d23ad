// LIN lines. Of what follows the checksum, bit rate and start of frame alone have a place in a record.
#include "inputs/AscEvent.h"

namespace client::asc_event {

namespace {

constexpr AscLineResult kUnreadable{AscLineKind::Unreadable, "a LIN line"};
constexpr AscLineResult kNoRecord{AscLineKind::NoRecord, "a LIN line of a kind that no record has"};
constexpr unsigned int kGreatestIdentifier = 0x3F;
constexpr size_t kMostBytes = LinView::kMostDataBytes;

void SetFlag(LinParts& parts, unsigned int flag) { parts.Flags = static_cast<unsigned short>(parts.Flags | flag); }

/// "Rx"; a wake-up of the library's export has the next column right behind it.
bool TakeDirection(TextScan& line, LinParts& parts) {
  if (line.Take("Tx")) {
    SetFlag(parts, QOR_TRACE_LIN_TRANSMITTED);
    return true;
  }
  return line.Take("Rx");
}

/// "SOF = 1.234567" and "BR = 19230", wherever they are; neither is needed. Of the bit times of a rate, the one in whole ns is
/// written as that rate again.
void ReadMeasurements(TextScan line, LinParts& parts, AscEvent& event) {
  constexpr unsigned int kNsPerSecond = 1'000'000'000;
  if (line.TakeTo("SOF = ")) event.SinceDate = line.TakeSeconds();
  if (!line.TakeTo(" BR = ")) return;
  if (const auto bitRate = line.TakeNumber(10).value_or(0); bitRate > 1) parts.BitTime = kNsPerSecond / bitRate * 8;
}

/// "Rx 2 01 02 checksum = 3c ...". A header that nobody answered has neither data nor a checksum.
AscLineResult ReadFrame(TextScan line, int base, AscBytes room, LinParts& parts, AscEvent& event) {
  if (!TakeDirection(line, parts)) return kNoRecord;
  const auto size = line.TakeNumber<size_t>(base, kMostBytes);
  if (!size || !line.TakeBytes(room.first(*size), base) || !line.Take("checksum =")) return kUnreadable;
  const auto checksum = line.TakeNumber<unsigned char>(base);
  if (!checksum) return kUnreadable;
  parts.Data = room.first(*size);
  if (*size > 0 || *checksum != 0) parts.Checksum = *checksum;
  ReadMeasurements(line, parts, event);
  event.Parts = parts;
  return {};
}

AscLineResult ReadWakeUp(TextScan line, LinParts& parts, AscEvent& event) {
  SetFlag(parts, QOR_TRACE_LIN_WAKEUP);
  (void)TakeDirection(line, parts);
  ReadMeasurements(line, parts, event);
  event.Parts = parts;
  return {};
}

AscLineResult ReadTrigger(TextScan line, LinParts& parts, AscEvent& event) {
  const bool rising = line.Take("rising edge");
  if (!rising && !line.Take("falling edge")) return kNoRecord;
  SetFlag(parts, QOR_TRACE_LIN_EVENT);
  parts.Identifier = rising ? 0 : 1;
  event.Parts = parts;
  return {};
}

AscLineResult ReadReceiveError(TextScan line, LinParts& parts, AscEvent& event) {
  if (line.Take("invalid identifier parity"))
    SetFlag(parts, QOR_TRACE_LIN_PARITY_ERROR);
  else if (line.Take("inconsistent sync field"))
    SetFlag(parts, QOR_TRACE_LIN_SYNC_ERROR);
  else
    return kNoRecord;
  ReadMeasurements(line, parts, event);
  event.Parts = parts;
  return {};
}

AscLineResult ReadTransmitError(TextScan line, LinParts& parts, AscEvent& event) {
  SetFlag(parts, QOR_TRACE_LIN_TRANSMIT_ERROR | QOR_TRACE_LIN_TRANSMITTED);
  ReadMeasurements(line, parts, event);
  event.Parts = parts;
  return {};
}

}  // namespace

/// "L2 10 Rx 2 01 02 checksum = 3c header time = ...": channel 1 is "Li" or "L1".
AscLineResult ReadLin(TextScan line, int base, AscBytes room, AscEvent& event) {
  const std::string_view channel = line.Word();
  event.Channel = channel == "Li" ? std::optional(1u) : NumberOf<unsigned int>(channel.substr(1), 10);
  if (!event.Channel) return kUnreadable;
  LinParts parts;
  if (const auto identifier = line.TakeNumber(base, kGreatestIdentifier))
    parts.Identifier = static_cast<unsigned char>(*identifier);
  if (line.Take("RcvError:")) return ReadReceiveError(line, parts, event);
  if (line.Take("WakeupFrame")) return ReadWakeUp(line, parts, event);
  if (line.Take("TransmErr")) return ReadTransmitError(line, parts, event);
  if (line.Take("EvTrigFrmInfo")) return ReadTrigger(line, parts, event);
  if (line.Take("CSErr")) SetFlag(parts, QOR_TRACE_LIN_CHECKSUM_ERROR);
  return ReadFrame(line, base, room, parts, event);
}

}  // namespace client::asc_event
