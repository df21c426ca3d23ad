#include "inputs/AscEvent.h"

#include <algorithm>

namespace client {

namespace {

constexpr AscLineResult kOther{AscLineKind::NoRecord, "a line of a kind that no record has"};

bool IsDigit(char character) { return character >= '0' && character <= '9'; }

/// "Li", or "L" and a number.
bool IsLin(std::string_view word) { return word == "Li" || (word.size() > 1 && word[0] == 'L' && IsDigit(word[1])); }

}  // namespace

AscLineResult ReadAscEvent(TextScan line, const AscNumbers& numbers, AscBytes room, AscEvent& event) {
  const int canBase = numbers.IsExport ? 16 : numbers.Base;
  line.SkipBlanks();
  const std::string_view word = line.Peek();
  if (word.empty()) return kOther;
  if (IsDigit(word[0])) return asc_event::ReadCan(line, canBase, numbers.IsExport, room, event);
  if (word == "CANFD") return asc_event::ReadCanFd(line, canBase, numbers.IsExport, room, event);
  if (IsLin(word)) return asc_event::ReadLin(line, numbers.RunningBase, room, event);
  if (word == "Fr") return asc_event::ReadFlexRay(line, numbers.Base, room, event);
  if (word == "ETH") return asc_event::ReadEthernet(line, numbers.RunningBase, room, event);
  if (word == "log") return asc_event::ReadTrigger(line, canBase, room, event);
  // The library's channels from 10 on are letters on lines of CAN error frames.
  if (numbers.IsExport && DigitValue(word[0]) != kNoDigit)
    return asc_event::ReadCan(line, canBase, numbers.IsExport, room, event);
  return kOther;
}

namespace asc_event {

/// "ETH 4 Rx e :0102030405060708090a0b0c0d0e": blanks in front of the colon pad the length.
AscLineResult ReadEthernet(TextScan line, int base, AscBytes room, AscEvent& event) {
  constexpr AscLineResult kUnreadable{AscLineKind::Unreadable, "an Ethernet line"};
  line.SkipWords(1);
  const auto channel = line.TakeNumber(10);
  const std::string_view direction = line.Word();
  if (!channel || (direction != "Rx" && direction != "Tx")) return kUnreadable;
  line.SkipBlanks();
  const std::string_view rest = line.Rest();
  const size_t colon = rest.find(':');
  if (colon == std::string_view::npos) return kUnreadable;
  const auto length = TextScan(rest.substr(0, colon)).TakeNumber<size_t>(base, room.size());
  const std::string_view digits = TextScan(rest.substr(colon + 1)).Word();
  if (!length || !DecodeHex(digits, room.first(*length))) return kUnreadable;
  event.Channel = channel;
  EthernetParts parts;
  if (direction == "Tx") parts.Flags = QOR_TRACE_ETHERNET_TRANSMITTED;
  parts.Frame = room.first(*length);
  event.Parts = parts;
  return {};
}

}  // namespace asc_event

}  // namespace client
