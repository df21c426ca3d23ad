// CAN lines.
#include <algorithm>

#include "inputs/AscEvent.h"

namespace client::asc_event {

namespace {

constexpr AscLineResult kUnreadable{AscLineKind::Unreadable, "a CAN line"};
constexpr AscLineResult kNoRecord{AscLineKind::NoRecord, "a CAN line that is no frame"};
constexpr unsigned int kGreatestStandard = 0x7FF;
constexpr unsigned int kGreatestExtended = 0x1FFFFFFF;
constexpr unsigned int kGreatestDlc = 15;
constexpr size_t kMostClassicBytes = 8;
constexpr size_t kMostFdBytes = 64;

void SetFlag(CanParts& parts, unsigned int flag) { parts.Flags = static_cast<unsigned char>(parts.Flags | flag); }

/// "18fe0102x": an x marks an extended one. False if it is no identifier.
bool ReadIdentifier(std::string_view word, int base, CanParts& parts) {
  const bool extended = word.ends_with('x') || word.ends_with('X');
  if (extended) word.remove_suffix(1);
  const auto number = NumberOf<unsigned int>(word, base);
  if (!number || *number > (extended ? kGreatestExtended : kGreatestStandard)) return false;
  parts.Identifier = *number;
  if (extended) SetFlag(parts, QOR_TRACE_CAN_EXTENDED);
  return true;
}

bool IsDirection(std::string_view word) { return word == "Rx" || word == "Tx" || word == "TxRq"; }

/// Other tools put a name in the identifier's place, and the identifier, always decimal, at the end: "ID = 291".
bool ReadIdentifierAtEnd(TextScan line, CanParts& parts) {
  return line.TakeTo(" ID = ") && ReadIdentifier(line.Word(), 10, parts);
}

/// By the first two bits of the error code capture: 10 bit stuffing, 01 form, 00 bit; 11 says no more than that it is another
/// one. Where a line has none, the code for other errors.
unsigned char ErrorCode(std::string_view capture) {
  constexpr unsigned char kStuff = 1, kForm = 2, kBit = 4, kOther = 7, kUnspecified = 0;
  if (capture.size() != 8) return kOther;
  if (capture.starts_with("10")) return kStuff;
  if (capture.starts_with("01")) return kForm;
  return capture.starts_with("00") ? kBit : kUnspecified;
}

/// "ErrorFrame ECC: 10100000"; the third bit is set if it was received.
AscLineResult ReadErrorFrame(TextScan line, AscBytes room, AscEvent& event) {
  line.SkipWords(1);
  std::string_view capture;
  if (line.Take("ECC:")) capture = line.Word();
  room[0] = ErrorCode(capture);
  CanParts parts{.Flags = QOR_TRACE_CAN_ERROR, .Data = room.first(1)};
  if (capture.size() == 8 && capture[2] == '0') SetFlag(parts, QOR_TRACE_CAN_TRANSMITTED);
  event.Parts = parts;
  return {};
}

/// "d 8 01 02 ...", "r 8" or "r". The length may be a code above 8, which stands for eight bytes.
bool ReadClassicData(TextScan& line, int base, AscBytes room, CanParts& parts) {
  const std::string_view kind = line.Word();
  if (kind != "d" && kind != "r") return false;
  const auto length = line.TakeNumber(base, kGreatestDlc);
  if (kind == "r") {
    parts.Dlc = static_cast<unsigned char>(length.value_or(0));
    return true;
  }
  if (!length) return false;
  const size_t size = std::min<size_t>(*length, kMostClassicBytes);
  parts.Dlc = static_cast<unsigned char>(*length);
  parts.Data = room.first(size);
  return line.TakeBytes(room.first(size), base);
}

/// "18fe0102x  Rx d 8 01 02 03 04 05 06 07 08", from the identifier on, and what may follow: "// DLC = f".
AscLineResult ReadClassicFrame(TextScan line, int base, AscBytes room, AscEvent& event) {
  CanParts parts;
  const std::string_view name = line.Word();
  const std::string_view direction = line.Word();
  if (!IsDirection(direction)) return kNoRecord;
  if (direction == "TxRq") return {AscLineKind::NoRecord, "a request to send, which is no frame on the bus"};
  if (direction == "Tx") SetFlag(parts, QOR_TRACE_CAN_TRANSMITTED);
  if (!ReadClassicData(line, base, room, parts)) return kUnreadable;
  if (!ReadIdentifier(name, base, parts) && !ReadIdentifierAtEnd(line, parts))
    return {AscLineKind::Unreadable, "a CAN line whose identifier isn't known, or out of range"};
  if (!line.AtEnd() && line.Take("// DLC = ")) {
    const auto dlc = line.TakeNumber(base, kGreatestDlc);
    if (!dlc) return kUnreadable;
    parts.Dlc = static_cast<unsigned char>(*dlc);
  }
  event.Parts = parts;
  return {};
}

/// The flags column, always hexadecimal, after duration and length. Without the mark of the format it is a classic frame.
bool IsFdFrame(TextScan line) {
  constexpr unsigned int kFdFormat = 0x1000;
  line.SkipWords(2);
  const auto flags = line.TakeNumber(16);
  return !flags || (*flags & kFdFormat) != 0;
}

/// "1 0": bit-rate switch and error-state indicator, perhaps with the message's name in front of them.
bool ReadSwitches(TextScan& line, CanParts& parts) {
  constexpr auto isSwitch = [](std::string_view word) { return word == "0" || word == "1"; };
  if (!isSwitch(line.Peek())) line.SkipWords(1);
  const std::string_view rateSwitch = line.Word();
  const std::string_view errorState = line.Word();
  if (!isSwitch(rateSwitch) || !isSwitch(errorState)) return false;
  if (rateSwitch == "1") SetFlag(parts, QOR_TRACE_CAN_BRS);
  if (errorState == "1") SetFlag(parts, QOR_TRACE_CAN_ESI);
  return true;
}

}  // namespace

/// "1  18fe0102x  Rx d 8 ..." and "1 ErrorFrame ..."
AscLineResult ReadCan(TextScan line, int base, bool channelIsHex, AscBytes room, AscEvent& event) {
  const std::string_view number = line.Word();
  const bool isError = line.Peek() == "ErrorFrame";
  event.Channel = NumberOf<unsigned int>(number, channelIsHex ? 16 : 10);
  if (!event.Channel) return kUnreadable;
  return isError ? ReadErrorFrame(line, room, event) : ReadClassicFrame(line, base, room, event);
}

/// "CANFD 1 Tx 18fe0102x   1 0 9 12 01 02 ... 0 0 3000 0 0 0 0 0"
AscLineResult ReadCanFd(TextScan line, int base, bool channelIsHex, AscBytes room, AscEvent& event) {
  line.SkipWords(1);
  event.Channel = line.TakeNumber(channelIsHex ? 16 : 10);
  if (!event.Channel) return kUnreadable;
  if (line.Peek() == "ErrorFrame") return ReadErrorFrame(line, room, event);
  CanParts parts;
  const std::string_view direction = line.Word();
  if (!IsDirection(direction)) return kNoRecord;
  if (direction == "TxRq") return {AscLineKind::NoRecord, "a request to send, which is no frame on the bus"};
  if (direction == "Tx") SetFlag(parts, QOR_TRACE_CAN_TRANSMITTED);
  if (!ReadIdentifier(line.Word(), base, parts) || !ReadSwitches(line, parts)) return kUnreadable;
  const auto dlc = line.TakeNumber(base, kGreatestDlc);
  const auto length = line.TakeNumber<size_t>(10, kMostFdBytes);
  if (!dlc || !length || !line.TakeBytes(room.first(*length), base)) return kUnreadable;
  parts.Dlc = static_cast<unsigned char>(*dlc);
  parts.Data = room.first(*length);
  if (IsFdFrame(line))
    SetFlag(parts, QOR_TRACE_CAN_FD);
  else if (*length > kMostClassicBytes)
    return kUnreadable;
  event.Parts = parts;
  return {};
}

/// "log trigger event (user event) 02 ff": no channel.
AscLineResult ReadTrigger(TextScan line, int base, AscBytes room, AscEvent& event) {
  if (!line.Take("log trigger event (")) return {AscLineKind::NoRecord, "a line of a kind that no record has"};
  size_t size = 1;
  if (line.Take("rising edge")) {
    room[0] = 0;
  } else if (line.Take("falling edge")) {
    room[0] = 1;
  } else if (line.Take("user event)")) {
    for (size = 0; size < kMostFdBytes && !line.AtEnd(); ++size) {
      const auto byte = line.TakeNumber<unsigned char>(base);
      if (!byte) return kUnreadable;
      room[size] = *byte;
    }
  } else {
    return {AscLineKind::NoRecord, "a trigger event of an unknown kind"};
  }
  event.Channel = std::nullopt;
  event.Parts = CanParts{.Flags = QOR_TRACE_CAN_TRIGGER, .Data = room.first(size)};
  return {};
}

}  // namespace client::asc_event
