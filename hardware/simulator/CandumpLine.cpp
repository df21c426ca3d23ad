#include <algorithm>
#include <charconv>
#include <limits>
#include <span>

#include "Candump.h"
#include "Error.h"
#include "Hex.h"
#include "Numbers.h"

namespace qor_sim {
namespace {

constexpr uint32_t kErrorBit = 0x20000000;  // in the identifier of an error frame

std::string_view TrimRight(std::string_view text) {
  const size_t last = text.find_last_not_of(" \t\r");
  return last == std::string_view::npos ? std::string_view() : text.substr(0, last + 1);
}

/// Takes the text up to the next blank, and the blanks after it.
std::string_view TakeWord(std::string_view& text) {
  const size_t end = std::min(text.find_first_of(" \t"), text.size());
  const std::string_view word = text.substr(0, end);
  const size_t next = text.find_first_not_of(" \t", end);
  text = next == std::string_view::npos ? std::string_view() : text.substr(next);
  return word;
}

uint64_t ParseTime(std::string_view word) {
  if (word.size() < 2 || word.front() != '(' || word.back() != ')') {
    throw SourceError("the line does not begin with a time in parentheses");
  }
  std::string_view text = word.substr(1, word.size() - 2);
  const auto seconds = TakeDecimal(text);
  if (!seconds || !text.empty()) throw SourceError("the time is not seconds with up to nine decimals");
  constexpr uint64_t kGreatest = std::numeric_limits<uint64_t>::max() / kNsPerSecond - 1;
  if (seconds->Whole > kGreatest) throw SourceError("the time is too late to be kept in ns");
  return seconds->Whole * kNsPerSecond + seconds->Billionths;
}

uint32_t ParseHexNumber(std::string_view digits) {
  uint32_t value = 0;
  const char* end = digits.data() + digits.size();
  const auto result = std::from_chars(digits.data(), end, value, 16);
  if (result.ec != std::errc{} || result.ptr != end) throw SourceError("the identifier is not hexadecimal");
  return value;
}

void ParseIdentifier(std::string_view digits, CanItem& item) {
  if (digits.size() != 3 && digits.size() != 8) {
    throw SourceError("an identifier has three hexadecimal digits, or eight if extended");
  }
  item.Identifier = ParseHexNumber(digits);
  if (digits.size() == 8 && (item.Identifier & ~kCanGreatestExtendedId) == kErrorBit) {
    item.Flags = kCanError;
    return;
  }
  const uint32_t greatest = digits.size() == 3 ? kCanGreatestStandardId : kCanGreatestExtendedId;
  if (item.Identifier > greatest) throw SourceError("the identifier is out of range");
  if (digits.size() == 8) {
    item.Identifier |= kCanIdExtended;
    item.Flags = kCanExtended;
  }
}

void ParseData(std::string_view digits, size_t greatestLength, CanItem& item) {
  item.DataLength = static_cast<unsigned char>(ParseHexData(digits, std::span(item.Data).first(greatestLength)));
}

/// Takes "_X" from the end: the data length code on the bus, 9 to 15, of a classic frame of eight bytes.
std::optional<unsigned char> TakeRawDlc(std::string_view& text) {
  if (text.size() < 2 || text[text.size() - 2] != '_') return std::nullopt;
  const auto dlc = HexDigit(text.back());
  if (!dlc || *dlc < 9) throw SourceError("a raw data length code is one hexadecimal digit from 9 to F");
  text.remove_suffix(2);
  return dlc;
}

void ParseRemote(std::string_view text, CanItem& item) {
  const auto rawDlc = TakeRawDlc(text);
  if (text.size() > 1 || (!text.empty() && (text[0] < '0' || text[0] > '8'))) {
    throw SourceError("a remote frame has one digit from 0 to 8 after its R, or none");
  }
  item.Dlc = text.empty() ? 0 : static_cast<unsigned char>(text[0] - '0');
  if (rawDlc && item.Dlc != 8) throw SourceError("only a length of 8 has a raw data length code");
  if (rawDlc) item.Dlc = *rawDlc;
}

void ParseClassic(std::string_view text, CanItem& item) {
  const auto rawDlc = TakeRawDlc(text);
  ParseData(text, 8, item);
  if (rawDlc && item.DataLength != 8) throw SourceError("only a length of 8 has a raw data length code");
  item.Dlc = rawDlc.value_or(item.DataLength);
}

void SetFlag(CanItem& item, CanFlag flag) { item.Flags = static_cast<unsigned char>(item.Flags | flag); }

void ParseFd(std::string_view text, CanItem& item) {
  const auto flags = text.empty() ? std::nullopt : HexDigit(text.front());
  if (!flags) throw SourceError("a CAN FD frame has one hexadecimal digit of flags after ##");
  ParseData(text.substr(1), 64, item);
  const auto dlc = CanFdDlc(item.DataLength);
  if (!dlc) throw SourceError("a CAN FD frame can't have " + std::to_string(item.DataLength) + " data bytes");
  item.Dlc = *dlc;
  item.Identifier |= kCanIdFd;
  SetFlag(item, kCanFd);
  if ((*flags & 1) != 0) SetFlag(item, kCanBrs);
  if ((*flags & 2) != 0) SetFlag(item, kCanEsi);
}

void ParseError(std::string_view text, CandumpFrame& frame) {
  CanItem& item = frame.Item;
  ParseData(text, 8, item);
  SetCanError(item, item.Identifier & ~kErrorBit, CanItem(item).Data);
  if ((item.Flags & kCanTransmitted) == 0) return;
  item.Flags = kCanError;
  frame.OwnDirection = Direction::Transmitted;
}

void ParseFrame(std::string_view word, CandumpFrame& frame) {
  const size_t hash = word.find('#');
  if (hash == std::string_view::npos) throw SourceError("the frame has no # after its identifier");
  CanItem& item = frame.Item;
  ParseIdentifier(word.substr(0, hash), item);
  const std::string_view rest = word.substr(hash + 1);
  if ((item.Flags & kCanError) != 0) {
    ParseError(rest, frame);
  } else if (!rest.empty() && rest.front() == '#') {
    ParseFd(rest.substr(1), item);
  } else if (!rest.empty() && rest.front() == 'R') {
    ParseRemote(rest.substr(1), item);
  } else {
    ParseClassic(rest, item);
  }
}

}  // namespace

CandumpFrame ParseCandumpLine(std::string_view line) {
  CandumpFrame frame;
  std::string_view rest = TrimRight(line);
  rest.remove_prefix(std::min(rest.find_first_not_of(" \t"), rest.size()));
  frame.Item.Timestamp = ParseTime(TakeWord(rest));
  frame.Interface = TakeWord(rest);
  if (frame.Interface.empty()) throw SourceError("the line names no interface");
  if (frame.Interface.find('&') != std::string_view::npos) throw SourceError("an interface name can't hold an &");
  ParseFrame(TakeWord(rest), frame);
  if (rest == "T") {
    frame.OwnDirection = Direction::Transmitted;
  } else if (rest == "R") {
    frame.OwnDirection = Direction::Received;
  } else if (!rest.empty()) {
    throw SourceError("there is more than an R or a T after the frame");
  }
  return frame;
}

}  // namespace qor_sim
