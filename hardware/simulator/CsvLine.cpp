#include "CsvLine.h"

#include <algorithm>
#include <charconv>
#include <limits>

#include "Error.h"
#include "Hex.h"
#include "Numbers.h"

namespace qor_sim {
namespace {

std::string_view Trim(std::string_view text) {
  const size_t first = text.find_first_not_of(" \t");
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(" \t") + 1 - first);
}

/// Takes the text up to and including the next separator; without one, all of it.
std::string_view TakeField(std::string_view& text, char separator) {
  const size_t end = std::min(text.find(separator), text.size());
  const std::string_view field = text.substr(0, end);
  text.remove_prefix(std::min(end + 1, text.size()));
  return Trim(field);
}

std::string ColumnName(CsvColumn column) {
  std::string_view rest = kCsvHeader;
  for (size_t i = 0; i < static_cast<size_t>(column); ++i) TakeField(rest, ',');
  return std::string(TakeField(rest, ','));
}

std::optional<uint64_t> ParseNumber(std::string_view text) {
  if (text.substr(0, 2) != "0x") return ParseUnsigned(text);
  uint64_t value = 0;
  const char* end = text.data() + text.size();
  const auto result = std::from_chars(text.data() + 2, end, value, 16);
  if (result.ec != std::errc{} || result.ptr != end) return std::nullopt;
  return value;
}

bool IsFlexRayChannel(std::string_view channel) { return channel == "A" || channel == "B" || channel == "AB"; }

}  // namespace

CsvLine::CsvLine(std::string_view line) {
  const auto columns = static_cast<size_t>(std::count(line.begin(), line.end(), ',')) + 1;
  if (columns != kCsvColumns) {
    throw SourceError("the line has " + std::to_string(columns) + " columns, not " + std::to_string(kCsvColumns));
  }
  for (auto& column : Columns) column = TakeField(line, ',');
  SplitFlags();
  for (const CsvColumn column : {CsvColumn::Channel, CsvColumn::Kind, CsvColumn::Flags}) Take(column);
}

void CsvLine::SplitFlags() {
  for (std::string_view rest = Text(CsvColumn::Flags); !rest.empty();) Flags.push_back(TakeField(rest, '|'));
}

bool CsvLine::TakeFlag(std::string_view name) { return std::erase(Flags, name) > 0; }

size_t CsvLine::TakeOneFlag(std::span<const std::string_view> names) {
  for (size_t i = 0; i < names.size(); ++i) {
    if (TakeFlag(names[i])) return i;
  }
  throw SourceError("the kind " + std::string(Kind()) + " needs one of the flags " +
                    Joined({names.begin(), names.end()}));
}

Direction CsvLine::TakeDirection(Direction fallback) {
  if (TakeFlag("tx")) return Direction::Transmitted;
  if (TakeFlag("rx")) return Direction::Received;
  return fallback;
}

std::optional<uint64_t> CsvLine::TakeNumber(CsvColumn column, uint64_t least, uint64_t greatest) {
  Take(column);
  const std::string_view text = Text(column);
  if (text.empty()) return std::nullopt;
  const auto number = ParseNumber(text);
  if (!number || *number < least || *number > greatest) {
    throw SourceError("the column " + ColumnName(column) + " can't be \"" + std::string(text) +
                      "\": it takes a number from " + std::to_string(least) + " to " + std::to_string(greatest));
  }
  return number;
}

uint64_t CsvLine::NeedNumber(CsvColumn column, uint64_t least, uint64_t greatest) {
  const auto number = TakeNumber(column, least, greatest);
  if (!number) throw SourceError("the column " + ColumnName(column) + " is empty");
  return *number;
}

std::vector<unsigned char> CsvLine::TakeData(size_t greatestLength) {
  Take(CsvColumn::Data);
  std::vector<unsigned char> data(greatestLength);
  data.resize(ParseHexData(Text(CsvColumn::Data), data));
  return data;
}

void CsvLine::Finish() const {
  if (!Flags.empty()) {
    throw SourceError("the flag \"" + std::string(Flags.front()) + "\" doesn't fit the kind " + std::string(Kind()) +
                      " or its other flags");
  }
  for (size_t i = 0; i < kCsvColumns; ++i) {
    if (Taken[i] || Columns[i].empty()) continue;
    throw SourceError("the kind " + std::string(Kind()) + " takes nothing in the column " +
                      ColumnName(static_cast<CsvColumn>(i)));
  }
}

void ParseCsvLine(std::string_view line, const CsvDefaults& defaults, CsvItem& item) {
  CsvLine columns(line);
  item.Time = columns.NeedNumber(CsvColumn::Time, 0, std::numeric_limits<uint64_t>::max());
  const std::string_view channel = columns.Text(CsvColumn::Channel);
  if (IsFlexRayChannel(channel)) {
    item.Bus = CsvBus::FlexRay;
    item.Channel = 0;
    ParseFlexRayLine(columns, defaults, item);
  } else if (const auto number = ParseUnsigned(channel); number && *number <= kCsvGreatestChannel) {
    item.Bus = CsvBus::Lin;
    item.Channel = *number;
    ParseLinLine(columns, defaults, item);
  } else {
    throw SourceError("the channel is neither a number up to 65535, for LIN, nor A, B or AB, for FlexRay");
  }
  columns.Finish();
}

Error NoSuchKind(std::string_view name, const std::vector<std::string>& known) {
  return SourceError("there is no kind \"" + std::string(name) + "\" on this bus; there are " + Joined(known));
}

}  // namespace qor_sim
