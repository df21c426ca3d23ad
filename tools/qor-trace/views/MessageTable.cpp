#include "views/MessageTable.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <iterator>
#include <nlohmann/json.hpp>
#include <utility>

#include "stream/KindText.h"

namespace client {

namespace {

constexpr size_t kMostDataShown = 16;  // bytes of a row for people

const char* DirectionOf(const MessageRow& row) { return row.Record().IsTransmitted() ? "Tx" : "Rx"; }

std::string CycleText(unsigned long ns, unsigned long count) {
  if (count < 2) return "-";
  return fmt::format("{}.{:03}", ns / 1000000, ns / 1000 % 1000);
}

std::string DataText(std::span<const unsigned char> data) {
  const auto shown = data.first(std::min(data.size(), kMostDataShown));
  return fmt::format("{:02x}{}", fmt::join(shown, " "), shown.size() < data.size() ? " ..." : "");
}

template <class Item>
void Append(std::vector<Item>& items, std::vector<Item> more) {
  items.insert(items.end(), std::make_move_iterator(more.begin()), std::make_move_iterator(more.end()));
}

/// The heading of the times of the last entries.
const char* HeadingOf(TimeFormat format) {
  switch (format) {
    case TimeFormat::Relative:
      return "Last (s)";
    case TimeFormat::Utc:
      return "Last (UTC)";
    case TimeFormat::Local:
      return "Last (local time)";
    case TimeFormat::Epoch:
      return "Last (s since 1970)";
  }
  return "";
}

/// ns since 1970; null where the moment of the recording isn't known.
nlohmann::json UtcJson(unsigned long time, const TimeBase& times) {
  return times.IsKnown() ? nlohmann::json(times.UtcOf(time)) : nlohmann::json();
}

TextTable EmptyTable(const BusRows& bus, TimeFormat format) {
  std::vector<Column> columns = {{"Ch", true}, {"Bus"}};
  Append(columns, bus.NameColumns());
  Append(columns, {{"Kind"}, {"Dir"}, {"Count", true, 9}, {"Cycle (ms)", true, 12}, {HeadingOf(format), true, 13}});
  Append(columns, bus.MoreColumns());
  columns.push_back({"Last data"});
  return TextTable(std::move(columns));
}

std::vector<std::string> Cells(const BusRows& bus, const char* name, unsigned int channel, RecordKind kind,
                               const MessageRow& row, const std::string& last) {
  std::vector<std::string> cells = {fmt::format("{}", channel), name};
  Append(cells, bus.NameCells(row));
  Append(cells,
         {TextOf(kind).Word, DirectionOf(row), fmt::format("{}", row.Count), CycleText(row.Cycle, row.Count), last});
  Append(cells, bus.MoreCells(row));
  cells.push_back(DataText(bus.Data(row.Record())));
  return cells;
}

}  // namespace

const BusRows* RowsOf(unsigned char busType) {
  switch (busType) {
    case BusType_Can:
      return &CanRows();
    case BusType_Lin:
      return &LinRows();
    case BusType_FlexRay:
      return &FlexRayRows();
    case BusType_Ethernet:
      return &EthernetRows();
    default:
      return nullptr;
  }
}

std::string KeyOfNumber(unsigned int number) {
  return {static_cast<char>(number >> 24), static_cast<char>(number >> 16), static_cast<char>(number >> 8),
          static_cast<char>(number)};
}

/// The row of an entry; null for one that has none.
MessageRow* MessageTable::RowOf(const RecordView& record) {
  const BusRows* bus = RowsOf(record.Bus());
  const RecordKind kind = record.Kind();
  if (bus == nullptr || kind == RecordKind::Unknown) return nullptr;
  MessageKey key{record.Bus(), record.ChannelId(), bus->KeyOf(record), kind};
  if (const auto place = Rows.find(key); place != Rows.end()) return &place->second;
  if (Rows.size() >= MostRows) return nullptr;
  MessageRow& row = Rows[std::move(key)];
  row.Number = Rows.size() - 1;
  return &row;
}

void MessageTable::Keep(const RecordView& record, MessageRow& row) {
  row.Timestamp = record.Timestamp();
  row.Newest.assign(record.Bytes().begin(), record.Bytes().end());
  if (record.Bus() == BusType_FlexRay && record.IsFrame()) row.BusCycles |= 1ul << (record.FlexRay().Cycle & 63);
}

bool MessageTable::Take(const RecordView& record) {
  if (MessageRow* row = RowOf(record)) Count(record, *row);
  return true;
}

void MessageTable::Count(const RecordView& record, MessageRow& row) {
  row.Cycle = row.Count > 0 && record.Timestamp() > row.Timestamp ? record.Timestamp() - row.Timestamp : 0;
  ++row.Count;
  Keep(record, row);
}

void MessageTable::ResetCounts() {
  for (auto& [key, row] : Rows) row.Count = row.Cycle = 0;
}

void MessageTable::SetNewest(const RecordView& record) {
  if (MessageRow* row = RowOf(record)) Keep(record, *row);
}

std::string MessageTable::Text(TimeFormat format, const TimeBase& times) const {
  std::string text;
  for (const unsigned char busType : {BusType_Can, BusType_Lin, BusType_FlexRay, BusType_Ethernet}) {
    const BusRows& bus = *RowsOf(busType);
    TextTable table = EmptyTable(bus, format);
    const auto begin = Rows.lower_bound({busType, 0, "", RecordKind{}});
    const auto end = Rows.lower_bound({static_cast<unsigned char>(busType + 1), 0, "", RecordKind{}});
    if (begin == end && !(Rows.empty() && busType == BusType_Can)) continue;
    for (auto row = begin; row != end; ++row)
      table.Add(Cells(bus, BusName(busType), row->first.Channel, row->first.Kind, row->second,
                      TimeText(row->second.Timestamp, format, times)));
    if (!text.empty()) text += '\n';
    text += table.Text();
  }
  return text;
}

nlohmann::json MessageTable::Json(const TimeBase& times) const {
  nlohmann::json array = nlohmann::json::array();
  for (const auto& [key, row] : Rows) {
    const BusRows& bus = *RowsOf(key.BusType);
    nlohmann::json json = {{"channel", key.Channel},
                           {"bus", BusName(key.BusType)},
                           {"kind", TextOf(key.Kind).Word},
                           {"direction", DirectionOf(row)},
                           {"count", row.Count},
                           {"cycle_ns", row.Count > 1 ? nlohmann::json(row.Cycle) : nlohmann::json()},
                           {"last_time_ns", row.Timestamp},
                           {"last_utc_ns", UtcJson(row.Timestamp, times)},
                           {"data", fmt::format("{:02x}", fmt::join(bus.Data(row.Record()), ""))}};
    bus.AddJson(row, json);
    array.push_back(std::move(json));
  }
  return array;
}

}  // namespace client
