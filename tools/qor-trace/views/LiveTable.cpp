#include "views/LiveTable.h"

#include <algorithm>
#include <utility>

namespace client {

namespace {

constexpr unsigned long kMarkedFor = 1'000'000'000;     // ns
constexpr unsigned long kLeastOverdue = 1'000'000'000;  // ns
constexpr unsigned long kCyclesOverdue = 3;

/// ns since the newest entry.
unsigned long SilenceOf(const MessageRow& row, unsigned long now) {
  return now > row.Timestamp ? now - row.Timestamp : 0;
}

/// By what a row is sorted; the row's number where it isn't, as those of a message come in its table's order.
unsigned long RankOf(const LiveRow& row, RowOrder order) {
  switch (order) {
    case RowOrder::Count:
      return row.Row.Count;
    case RowOrder::Rate:
      return static_cast<unsigned long>(row.Figures.Rate * 1000);
    case RowOrder::Cycle:
      return row.Figures.Cycles.Mean().value_or(0);
    case RowOrder::Jitter:
      return row.Figures.Cycles.Jitter().value_or(0);
    case RowOrder::Newest:
      return row.Row.Timestamp;
    case RowOrder::Message:
      break;
  }
  return 0;
}

}  // namespace

bool LiveRow::IsMarked(size_t byte) const {
  if (byte >= LiveFigures::kMarked) return false;
  const unsigned long changed = Figures.ChangedAt[byte];
  return changed != 0 && (changed == Row.Timestamp || Now - std::min(changed, Now) < kMarkedFor);
}

bool LiveRow::IsOverdue() const {
  if (Figures.Cycles.Size() < 2) return false;
  return SilenceOf(Row, Now) > std::max(kCyclesOverdue * *Figures.Cycles.Mean(), kLeastOverdue);
}

bool LiveTable::Take(const RecordView& record) {
  MessageRow* const row = Messages.RowOf(record);
  if (row == nullptr) {
    ++UnlistedCount;
    return true;
  }
  if (row->Number == Figures.size()) {
    Figures.emplace_back();
    Figures.back().Shown = !Wanted;
  }
  LiveFigures& figures = Figures[row->Number];
  if (!row->Newest.empty()) MarkChanges(record, *row, figures);
  if (row->Count > 0 && record.Timestamp() >= row->Timestamp) figures.Cycles.Add(record.Timestamp() - row->Timestamp);
  if (!figures.Shown) figures.Shown = Wanted->Matches(record);
  MessageTable::Count(record, *row);
  return true;
}

void LiveTable::MarkChanges(const RecordView& record, const MessageRow& row, LiveFigures& figures) {
  const BusRows& bus = *RowsOf(record.Bus());
  const auto before = bus.Data(row.Record());
  const auto data = bus.Data(record);
  if (std::equal(data.begin(), data.end(), before.begin(), before.end())) return;
  const size_t size = std::min(data.size(), LiveFigures::kMarked);
  for (size_t byte = 0; byte < size; ++byte)
    if (byte >= before.size() || data[byte] != before[byte]) figures.ChangedAt[byte] = record.Timestamp();
}

void LiveTable::Roll(unsigned long now) {
  const unsigned long elapsed = now > RolledAt ? now - RolledAt : 0;
  if (Rolled && elapsed < kWindow) return;
  for (const auto& [key, row] : Messages.All()) {
    LiveFigures& figures = Figures[row.Number];
    if (Rolled) figures.Rate = RateOf(row, figures, now, elapsed);
    figures.CountThen = row.Count;
  }
  RolledAt = now;
  Rolled = true;
}

/// What came in the window; of a message that is slower than the window, what its cycles say as long as it comes.
double LiveTable::RateOf(const MessageRow& row, const LiveFigures& figures, unsigned long now, unsigned long elapsed) {
  const unsigned long came = row.Count - figures.CountThen;
  const auto cycle = figures.Cycles.Mean();
  if (came < 2 && cycle.value_or(0) > 0 && SilenceOf(row, now) <= kCyclesOverdue * *cycle)
    return 1e9 / static_cast<double>(*cycle);
  return static_cast<double>(came) * 1e9 / static_cast<double>(elapsed);
}

void LiveTable::SetFilter(std::optional<Filter> wanted) {
  Wanted = std::move(wanted);
  for (const auto& [key, row] : Messages.All()) Figures[row.Number].Shown = !Wanted || Wanted->Matches(row.Record());
}

void LiveTable::ResetCounts() {
  Messages.ResetCounts();
  UnlistedCount = 0;
  for (LiveFigures& figures : Figures) {
    const bool shown = figures.Shown;
    figures = {};
    figures.Shown = shown;
  }
}

void LiveTable::ToggleFrozen(size_t number, unsigned long now) {
  if (Frozen.erase(number) > 0) return;
  for (const auto& [key, row] : Messages.All())
    if (row.Number == number) Frozen.insert({number, {row, Figures[number], now}});
}

std::vector<LiveRow> LiveTable::Rows(RowOrder order, bool reversed, unsigned long now) const {
  std::vector<LiveRow> rows;
  std::vector<std::pair<unsigned long, size_t>> ranks;
  for (const auto& [key, row] : Messages.All()) {
    if (!Figures[row.Number].Shown) continue;
    const auto still = Frozen.find(row.Number);
    if (still == Frozen.end())
      rows.push_back({key, row, Figures[row.Number], now, false});
    else
      rows.push_back({key, still->second.Row, still->second.Figures, still->second.Now, true});
    ranks.emplace_back(RankOf(rows.back(), order), rows.size() - 1);
  }
  if (order == RowOrder::Message) {
    if (reversed) std::reverse(ranks.begin(), ranks.end());
  } else {
    const auto before = [&](const auto& one, const auto& other) {
      return reversed ? one.first < other.first : one.first > other.first;
    };
    std::stable_sort(ranks.begin(), ranks.end(), before);
  }
  std::vector<LiveRow> sorted;
  sorted.reserve(rows.size());
  for (const auto& [rank, index] : ranks) sorted.push_back(rows[index]);
  return sorted;
}

}  // namespace client
