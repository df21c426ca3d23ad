#include "stream/LossLedger.h"

#include <algorithm>
#include <iterator>
#include <tuple>

namespace client {

namespace {

/// ns from the end of a loss to the begin of a later one; 0 if they overlap.
unsigned long Gap(const Loss& earlier, const Loss& later) { return later.First - std::min(later.First, earlier.Last); }

bool AreOne(const Loss& earlier, const Loss& later) {
  return Gap(earlier, later) <= (later.Cause == LossCause::Reordering ? LossLedger::kOneBurst : 0);
}

/// Makes the later one part of the earlier one. How many are missing is known if it is of both.
void Join(Loss& earlier, const Loss& later) {
  earlier.Last = std::max(earlier.Last, later.Last);
  earlier.Count = earlier.Count && later.Count ? std::optional(*earlier.Count + *later.Count) : std::nullopt;
}

/// A mark that stands where data are known to be missing after a mark.
bool IsTheSameMark(const Loss& known, const Loss& mark) {
  return mark.Cause == LossCause::OverrunMark && !mark.Count && known.First <= mark.First && mark.Last <= known.Last;
}

/// The first one that begins after a time.
auto After(std::vector<Loss>& row, unsigned long time) {
  return std::upper_bound(row.begin(), row.end(), time,
                          [](unsigned long moment, const Loss& loss) { return moment < loss.First; });
}

}  // namespace

void LossLedger::Add(const Loss& loss) {
  Row& row = Rows[{loss.Channel, loss.Cause}];
  const auto next = After(row, loss.First);
  if (next != row.begin() && IsTheSameMark(*std::prev(next), loss)) return;
  Count -= row.size();
  Insert(row, loss);
  Count += row.size();
  ++ChangeCount;
  while (Count > kMost && MergeNearest()) continue;
}

void LossLedger::Append(const std::vector<Loss>& losses) {
  for (const Loss& loss : losses) Add(loss);
}

void LossLedger::Insert(Row& row, const Loss& loss) {
  auto place = row.insert(After(row, loss.First), loss);
  if (place != row.begin() && AreOne(*std::prev(place), *place)) {
    Join(*std::prev(place), *place);
    place = std::prev(row.erase(place));
  }
  while (std::next(place) != row.end() && AreOne(*place, *std::next(place))) {
    Join(*place, *std::next(place));
    place = std::prev(row.erase(std::next(place)));
  }
}

/// False where no channel and cause has two.
bool LossLedger::MergeNearest() {
  Row* nearest = nullptr;
  size_t second = 0;  // of the two, in that row
  for (auto& [key, row] : Rows) {
    for (size_t index = 1; index < row.size(); ++index) {
      if (nearest != nullptr && Gap(row[index - 1], row[index]) >= Gap((*nearest)[second - 1], (*nearest)[second]))
        continue;
      nearest = &row;
      second = index;
    }
  }
  if (nearest == nullptr) return false;
  Join((*nearest)[second - 1], (*nearest)[second]);
  nearest->erase(nearest->begin() + static_cast<std::ptrdiff_t>(second));
  --Count;
  return true;
}

std::vector<Loss> LossLedger::All() const {
  std::vector<Loss> all;
  all.reserve(Count);
  for (const auto& [key, row] : Rows) all.insert(all.end(), row.begin(), row.end());
  std::stable_sort(all.begin(), all.end(), [](const Loss& left, const Loss& right) {
    return std::tie(left.First, left.Channel) < std::tie(right.First, right.Channel);
  });
  return all;
}

}  // namespace client
