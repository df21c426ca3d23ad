#include "views/LiveCells.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <utility>

#include "stream/KindText.h"

namespace client {

namespace {

constexpr size_t kNarrow = 60;      // columns: below, numbers have less room
constexpr size_t kFourBytes = 11;   // columns of them
constexpr size_t kEightBytes = 23;  // likewise
constexpr size_t kExtendedId = 9;   // columns of the longest CAN identifier
constexpr size_t kLongestMessage = 25;
constexpr size_t kMarks = 1;  // columns in front of the table

size_t WidestMessage(const std::vector<LiveRow>& rows, size_t columns) {
  const size_t most = std::clamp(columns / 5, kExtendedId, kLongestMessage);
  size_t widest = std::string_view("Message").size();
  for (const LiveRow& row : rows) {
    if (widest >= most) break;
    widest = std::max(widest, RowsOf(row.Key.BusType)->Name(row.Row).size());
  }
  return std::min(widest, most);
}

size_t WidthOfAll(const std::vector<TableColumn>& columns) {
  size_t width = kMarks;
  for (const TableColumn& column : columns) width += column.Width + 1;
  return width;
}

}  // namespace

std::vector<TableColumn> LayOut(const std::vector<LiveRow>& rows, size_t columns) {
  const bool narrow = columns < kNarrow;
  std::vector<TableColumn> table = {
      {CellKind::Channel, "Ch", 2, true},
      {CellKind::Bus, "Bus", 3, false},
      {CellKind::Message, "Message", WidestMessage(rows, columns), false},
      {CellKind::Kind, "Kind", columns < 100 ? 5u : 8u, false},
      {CellKind::Direction, "Dir", 3, false},
      {CellKind::Count, "Count", narrow ? 6u : 7u, true},
      {CellKind::Rate, "Rate/s", 6, true},
      {CellKind::Cycle, narrow ? "ms" : "Cycle ms", narrow ? 7u : 8u, true},
      {CellKind::Jitter, "Jitter", 7, true},
  };
  const size_t wanted = std::clamp(columns * 2 / 9, kFourBytes, kEightBytes);
  for (const CellKind dispensable :
       {CellKind::Direction, CellKind::Jitter, CellKind::Bus, CellKind::Kind, CellKind::Rate}) {
    if (WidthOfAll(table) + wanted <= columns) break;
    std::erase_if(table, [&](const TableColumn& column) { return column.Cell == dispensable; });
  }
  const size_t taken = std::min(WidthOfAll(table), columns);
  table.push_back({CellKind::Data, "Data", columns - taken, false});
  size_t begin = kMarks;
  for (TableColumn& column : table) {
    column.Begin = begin;
    begin += column.Width + 1;
  }
  return table;
}

bool HasColumn(const std::vector<TableColumn>& columns, CellKind cell) {
  return std::any_of(columns.begin(), columns.end(), [&](const TableColumn& column) { return column.Cell == cell; });
}

std::string CellText(const TableColumn& column, const LiveRow& row) {
  switch (column.Cell) {
    case CellKind::Channel:
      return fmt::format("{}", row.Key.Channel);
    case CellKind::Bus:
      return ShortBusName(row.Key.BusType);
    case CellKind::Message:
      return RowsOf(row.Key.BusType)->Name(row.Row);
    case CellKind::Kind:
      return TextOf(row.Key.Kind).Word;
    case CellKind::Direction:
      return row.Row.Record().IsTransmitted() ? "Tx" : "Rx";
    case CellKind::Count:
      return Fitted(static_cast<double>(row.Row.Count), column.Width, 0);
    case CellKind::Rate:
      return Fitted(row.Figures.Rate, column.Width, 1);
    case CellKind::Cycle:
      return Milliseconds(row.Figures.Cycles.Mean(), column.Width);
    case CellKind::Jitter:
      return Milliseconds(row.Figures.Cycles.Jitter(), column.Width);
    case CellKind::Data:
      break;
  }
  return "";
}

std::optional<RowOrder> OrderOf(CellKind cell) {
  switch (cell) {
    case CellKind::Message:
      return RowOrder::Message;
    case CellKind::Count:
      return RowOrder::Count;
    case CellKind::Rate:
      return RowOrder::Rate;
    case CellKind::Cycle:
      return RowOrder::Cycle;
    case CellKind::Jitter:
      return RowOrder::Jitter;
    default:
      return std::nullopt;
  }
}

bool IsPlain(RecordKind kind) { return IsFrame(kind) && !IsError(kind) && kind != RecordKind::FlexRayNullFrame; }

const char* ShortBusName(unsigned char busType) {
  switch (busType) {
    case BusType_FlexRay:
      return "FR";
    case BusType_Ethernet:
      return "Eth";
    default:
      return BusName(busType);
  }
}

std::string Fitted(double number, size_t width, int decimals) {
  for (; decimals >= 0; --decimals) {
    std::string text = fmt::format("{:.{}f}", number, decimals);
    if (text.size() <= width) return text;
  }
  for (const auto& [unit, factor] : {std::pair('k', 1e3), std::pair('M', 1e6), std::pair('G', 1e9)}) {
    std::string text = fmt::format("{:.0f}{}", number / factor, unit);
    if (text.size() <= width) return text;
  }
  return fmt::format("{:.0e}", number);
}

std::string Milliseconds(std::optional<unsigned long> ns, size_t width) {
  return ns ? Fitted(static_cast<double>(*ns) / 1e6, width, 3) : "-";
}

}  // namespace client
