#include "views/Intervals.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace client {

namespace {

/// Into its place by length, if it belongs to the outermost ones.
template <class Before>
void KeepIn(std::vector<Interval>& kept, size_t most, const Interval& interval, Before before) {
  if (kept.size() == most && !before(interval.Length, kept.back().Length)) return;
  if (kept.size() == most) kept.pop_back();
  const auto place = std::find_if(kept.begin(), kept.end(),
                                  [&](const Interval& other) { return before(interval.Length, other.Length); });
  kept.insert(place, interval);
}

}  // namespace

void Intervals::Add(unsigned long time) {
  const auto before = std::exchange(Latest, time);
  if (!before || time < *before) return;
  const Interval interval{time - *before, time};
  if (Count() == 0) Base = static_cast<double>(interval.Length);
  const double beyond = static_cast<double>(interval.Length) - Base;
  Sum += beyond;
  SquareSum += beyond * beyond;
  Lengths.Add(interval.Length);
  Keep(interval);
}

void Intervals::Keep(const Interval& interval) {
  KeepIn(Long, kLongest, interval, [](unsigned long one, unsigned long other) { return one > other; });
  KeepIn(Short, kShortest, interval, [](unsigned long one, unsigned long other) { return one < other; });
}

unsigned int Intervals::MedianIndex() const { return Lengths.AtRank((Count() + 1) / 2).Index; }

unsigned int Intervals::ShortIndex() const {
  const unsigned int median = MedianIndex();
  return median - std::min(median, kDistance);
}

double Intervals::Typical() const {
  const unsigned int from = ShortIndex(), end = LongIndex();
  double sum = 0;
  unsigned long count = 0;
  for (const LogHistogram::Bin& bin : Lengths.Bins()) {
    if (bin.Index < from || bin.Index >= end) continue;
    sum += LogHistogram::MeanOf(bin) * static_cast<double>(bin.Count);
    count += bin.Count;
  }
  return sum / static_cast<double>(count);
}

double Intervals::Mean() const { return Base + Sum / static_cast<double>(Count()); }

double Intervals::Deviation() const {
  const auto count = static_cast<double>(Count());
  return std::sqrt(std::max(0.0, SquareSum / count - Sum / count * Sum / count));
}

unsigned long Intervals::LongLimit() const { return LogHistogram::LowerEdge(LongIndex()); }

unsigned long Intervals::ShortLimit() const { return LogHistogram::LowerEdge(ShortIndex()); }

unsigned long Intervals::LongCount() const { return Lengths.CountFrom(LongIndex()); }

unsigned long Intervals::ShortCount() const { return Count() - Lengths.CountFrom(ShortIndex()); }

bool Intervals::IsRegular() const { return Count() >= kLeast && (LongCount() + ShortCount()) * 10 <= Count(); }

}  // namespace client
