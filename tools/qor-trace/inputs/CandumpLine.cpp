#include "inputs/CandumpLine.h"

#include <algorithm>

#include "inputs/TextScan.h"
#include "stream/CanDlc.h"

namespace client {

namespace {

constexpr size_t kStandardDigits = 3;  // of an identifier
constexpr size_t kExtendedDigits = 8;
constexpr unsigned int kGreatestStandard = 0x7FF;
constexpr unsigned int kGreatestExtended = 0x1FFFFFFF;
constexpr unsigned int kErrorBit = 0x20000000;  // of eight digits
constexpr size_t kLongestInterface = 64;

void SetFlag(CanParts& parts, unsigned int flag) { parts.Flags = static_cast<unsigned char>(parts.Flags | flag); }

/// The digits of a frame's data, up to `most` bytes.
bool ReadData(std::string_view digits, size_t most, CanBytes room, CanParts& parts) {
  const size_t size = digits.size() / 2;
  if (size > most || !DecodeHex(digits, room.first(size))) return false;
  parts.Data = room.first(size);
  return true;
}

/// "_9" to "_F" after eight bytes: the length code on the bus. Takes it; false if it isn't one.
bool TakeRawDlc(std::string_view& text, CanParts& parts) {
  constexpr unsigned char kLeast = 9;
  const size_t mark = text.find('_');
  if (mark == std::string_view::npos) return true;
  const auto dlc = NumberOf<unsigned char>(text.substr(mark + 1), 16);
  if (!dlc || *dlc < kLeast || *dlc > 15) return false;
  parts.Dlc = *dlc;
  text = text.substr(0, mark);
  return true;
}

/// "0102030405060708", perhaps with a length code.
bool ReadClassic(std::string_view text, CanBytes room, CanParts& parts) {
  if (!TakeRawDlc(text, parts) || !ReadData(text, 8, room, parts)) return false;
  if (parts.Dlc != 0) return parts.Data.size() == 8;
  parts.Dlc = static_cast<unsigned char>(parts.Data.size());
  return true;
}

/// "R", "R8" or "R8_F"; without a length it isn't known.
bool ReadRemote(std::string_view text, CanParts& parts) {
  if (!TakeRawDlc(text, parts)) return false;
  const auto length = text.empty() ? 0 : NumberOf<unsigned char>(text, 10);
  if (!length || *length > 8) return false;
  if (parts.Dlc != 0) return *length == 8;
  parts.Dlc = *length;
  return true;
}

/// A digit of flags and the data, whose length must be one that there is.
bool ReadFd(std::string_view text, CanBytes room, CanParts& parts) {
  constexpr unsigned int kRateSwitch = 1, kErrorState = 2;
  const unsigned int flags = text.empty() ? kNoDigit : DigitValue(text[0]);
  if (flags == kNoDigit || !ReadData(text.substr(1), room.size(), room, parts)) return false;
  parts.Dlc = CanDlcOf(parts.Data.size());
  if (BytesOfCanDlc(parts.Dlc, true) != parts.Data.size()) return false;
  SetFlag(parts, QOR_TRACE_CAN_FD);
  if ((flags & kRateSwitch) != 0) SetFlag(parts, QOR_TRACE_CAN_BRS);
  if ((flags & kErrorState) != 0) SetFlag(parts, QOR_TRACE_CAN_ESI);
  return true;
}

/// The kind of an error, from its class (bits of the identifier) and its data: byte 2 has the type of a protocol violation
/// (bits), byte 3 its place in the frame.
unsigned char ErrorCode(unsigned int errorClass, std::span<const unsigned char> data) {
  constexpr unsigned int kProtocol = 0x08, kNoAcknowledge = 0x20;
  constexpr unsigned char kStuff = 1, kForm = 2, kAcknowledge = 3, kBit1 = 4, kBit0 = 5, kCrc = 6, kOther = 7;
  constexpr unsigned char kPlaceCrc = 0x08, kPlaceAcknowledge = 0x19;
  if ((errorClass & kNoAcknowledge) != 0) return kAcknowledge;
  if ((errorClass & kProtocol) == 0) return kOther;
  const unsigned char type = data[2];
  if ((type & 0x04) != 0) return kStuff;
  if ((type & 0x02) != 0) return kForm;
  if ((type & 0x08) != 0) return kBit0;
  if ((type & 0x11) != 0) return kBit1;
  if (data[3] == kPlaceCrc) return kCrc;
  return data[3] == kPlaceAcknowledge ? kAcknowledge : kOther;
}

/// Of the error frame's eight bytes, which may be fewer, a record has the kind.
bool ReadError(std::string_view text, CanBytes room, CanParts& parts) {
  constexpr unsigned int kProtocol = 0x08, kWhileSending = 0x80;
  std::fill_n(room.begin(), 8, static_cast<unsigned char>(0));
  if (!ReadData(text, 8, room, parts)) return false;
  const unsigned int errorClass = parts.Identifier & ~kErrorBit;
  parts.Flags = QOR_TRACE_CAN_ERROR;
  if ((errorClass & kProtocol) != 0 && (room[2] & kWhileSending) != 0) SetFlag(parts, QOR_TRACE_CAN_TRANSMITTED);
  room[0] = ErrorCode(errorClass, room);
  parts.Identifier = 0;
  parts.Data = room.first(1);
  return true;
}

/// Three digits, or eight if extended or the class of an error.
bool ReadIdentifier(std::string_view digits, CanParts& parts) {
  const bool extended = digits.size() == kExtendedDigits;
  if (!extended && digits.size() != kStandardDigits) return false;
  const auto number = NumberOf<unsigned int>(digits, 16);
  if (!number) return false;
  parts.Identifier = *number;
  if (extended && (*number & ~kGreatestExtended) == kErrorBit) {
    parts.Flags = QOR_TRACE_CAN_ERROR;
    return true;
  }
  if (extended) parts.Flags = QOR_TRACE_CAN_EXTENDED;
  return *number <= (extended ? kGreatestExtended : kGreatestStandard);
}

bool ReadFrame(std::string_view word, size_t hash, CanBytes room, CanParts& parts) {
  if (!ReadIdentifier(word.substr(0, hash), parts)) return false;
  const std::string_view rest = word.substr(hash + 1);
  if ((parts.Flags & QOR_TRACE_CAN_ERROR) != 0) return ReadError(rest, room, parts);
  if (rest.starts_with('#')) return ReadFd(rest.substr(1), room, parts);
  if (rest.starts_with('R')) return ReadRemote(rest.substr(1), parts);
  return ReadClassic(rest, room, parts);
}

/// "T" or "R" after the frame, or nothing.
bool ReadDirection(TextScan& line, CanParts& parts) {
  const std::string_view direction = line.Word();
  if (direction == "T") SetFlag(parts, QOR_TRACE_CAN_TRANSMITTED);
  if (direction == "R") parts.Flags = static_cast<unsigned char>(parts.Flags & ~QOR_TRACE_CAN_TRANSMITTED);
  return (direction.empty() || direction == "T" || direction == "R") && line.AtEnd();
}

}  // namespace

std::optional<LineFault> ReadCandumpLine(std::string_view text, CanBytes room, CandumpFrame& frame) {
  TextScan line(text);
  if (!line.Take("(")) return LineFault{FindingKind::Unread, "a line that doesn't begin with a time in parentheses"};
  const auto time = line.TakeSeconds();
  if (!time || !line.Rest().starts_with(')')) return LineFault{FindingKind::Unread, "a line whose time can't be read"};
  line.SkipWords(1);
  frame.Time = *time;
  frame.Interface = line.Word();
  const std::string_view word = line.Word();
  const size_t hash = word.find('#');
  if (hash == std::string_view::npos || frame.Interface.size() > kLongestInterface)
    return LineFault{FindingKind::Unread, "a line without an interface and a frame"};
  if (word.substr(hash).starts_with("###")) return LineFault{FindingKind::LeftOut, "a CAN XL frame"};
  if (!ReadFrame(word, hash, room, frame.Can) || !ReadDirection(line, frame.Can))
    return LineFault{FindingKind::Unread, "a frame that can't be read"};
  return std::nullopt;
}

}  // namespace client
