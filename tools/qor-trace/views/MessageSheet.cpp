#include "views/MessageSheet.h"

#include <fmt/format.h>

#include <algorithm>
#include <string>

#include "stream/KindText.h"
#include "system/Units.h"
#include "views/LiveCells.h"

namespace client {

namespace {

constexpr Style kAlarm{.Colour = Ink::Error, .Bold = true};
constexpr size_t kAnyWidth = 20;

/// Facts that are put side by side; never broken.
std::vector<std::string> FactsOf(const LiveRow& row) {
  const BusRows& bus = *RowsOf(row.Key.BusType);
  std::vector<std::string> facts;
  const auto add = [&](const std::vector<Column>& columns, const std::vector<std::string>& cells) {
    for (size_t cell = 0; cell < cells.size(); ++cell)
      facts.push_back(fmt::format("{} {}", columns[cell].Heading, cells[cell]));
  };
  add(bus.NameColumns(), bus.NameCells(row.Row));
  add(bus.MoreColumns(), bus.MoreCells(row.Row));
  facts.emplace_back(row.Row.Record().IsTransmitted() ? "transmitted" : "received");
  facts.push_back(FormatCount(row.Row.Count, "entry", "entries"));
  facts.push_back(fmt::format("{:.1f}/s", row.Figures.Rate));
  facts.push_back(fmt::format("last at {} s", FormatSeconds(row.Row.Timestamp)));
  const CycleWindow& cycles = row.Figures.Cycles;
  if (cycles.Size() == 0) return facts;
  facts.push_back(fmt::format("cycle {} ms", Milliseconds(cycles.Mean(), kAnyWidth)));
  facts.push_back(fmt::format("{} to {} ms", Milliseconds(cycles.Shortest(), kAnyWidth),
                              Milliseconds(cycles.Longest(), kAnyWidth)));
  facts.push_back(fmt::format("jitter {} ms", Milliseconds(cycles.Jitter(), kAnyWidth)));
  facts.push_back(fmt::format("(of the last {})", FormatCount(cycles.Size(), "cycle", "cycles")));
  return facts;
}

std::vector<std::string> Flowed(const std::vector<std::string>& facts, size_t columns) {
  std::vector<std::string> lines(1);
  for (const std::string& fact : facts) {
    if (!lines.back().empty() && WidthOf(lines.back()) + 2 + WidthOf(fact) > columns) lines.emplace_back();
    lines.back() += (lines.back().empty() ? "" : "  ") + fact;
  }
  return lines;
}

std::string TitleOf(const LiveRow& row, const std::vector<LiveChannel>& channels) {
  const auto channel = std::find_if(channels.begin(), channels.end(),
                                    [&](const LiveChannel& one) { return one.Number == row.Key.Channel; });
  return fmt::format("{} {}, channel {}{}{}", BusName(row.Key.BusType), TextOf(row.Key.Kind).One, row.Key.Channel,
                     channel == channels.end() || channel->Source.empty() ? "" : ", " + channel->Source,
                     row.Frozen        ? ", frozen"
                     : row.IsOverdue() ? ", overdue"
                                       : "");
}

void PutBytes(Grid& grid, size_t line, const LiveRow& row, size_t from, size_t count) {
  const auto data = RowsOf(row.Key.BusType)->Data(row.Row.Record());
  size_t column = grid.Put(line, 0, fmt::format("{:4} ", from), {.Colour = Ink::Faint});
  for (size_t byte = from; byte < std::min(from + count, data.size()); ++byte) {
    grid.Put(line, column + 1, fmt::format("{:02x}", data[byte]), row.IsMarked(byte) ? kMarked : Style{});
    column += 3;
  }
}

}  // namespace

void PutSheet(Grid& grid, const LiveRow& row, const std::vector<LiveChannel>& channels, size_t top) {
  const auto [lines, columns] = grid.Size();
  std::vector<std::string> texts = Flowed(FactsOf(row), columns);
  texts.insert(texts.begin(), TitleOf(row, channels));
  const size_t inLine = columns < 56 ? 8 : 16;
  const size_t size = RowsOf(row.Key.BusType)->Data(row.Row.Record()).size();
  const size_t all = texts.size() + (size + inLine - 1) / inLine;
  top = std::min(top, all - 1);
  for (size_t index = top; index < all && index - top + 2 < lines; ++index) {
    const size_t line = index - top + 1;
    if (index < texts.size())
      grid.Put(line, 0, texts[index], index == 0 && IsError(row.Key.Kind) ? kAlarm : Style{.Bold = index == 0});
    else
      PutBytes(grid, line, row, (index - texts.size()) * inLine, inLine);
  }
}

}  // namespace client
