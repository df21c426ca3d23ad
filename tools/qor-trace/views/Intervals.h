// The times between the occurrences of something: how regular it is, and where it wasn't.
#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include "views/LogHistogram.h"

namespace client {

struct Interval {
  unsigned long Length = 0;  // ns
  unsigned long End = 0;     // ns, clock of the entries

  [[nodiscard]] unsigned long Begin() const { return End - Length; }
  bool operator==(const Interval&) const = default;
};

/// Takes the times of occurrences one by one. From one that is earlier than the one before, time is counted anew.
///
/// Threads: one. Memory: a LogHistogram and the outermost intervals.
class Intervals {
 public:
  static constexpr size_t kLongest = 8;          // that are kept
  static constexpr size_t kShortest = 3;         // likewise
  static constexpr unsigned long kLeast = 10;    // intervals that a judgement needs
  static constexpr unsigned int kDistance = 24;  // bins from that of the median to where outliers begin

  /// @param time  ns
  void Add(unsigned long time);

  /// Intervals.
  [[nodiscard]] unsigned long Count() const { return Lengths.Count(); }
  [[nodiscard]] const LogHistogram& Histogram() const { return Lengths; }

  // Of at least one interval, ns.

  [[nodiscard]] unsigned long Least() const { return Short.front().Length; }
  [[nodiscard]] unsigned long Greatest() const { return Long.front().Length; }
  /// The mean of those that are no outliers. Where it is regular, its cycle time.
  [[nodiscard]] double Typical() const;
  [[nodiscard]] double Mean() const;
  /// The standard deviation of all intervals.
  [[nodiscard]] double Deviation() const;

  /// At most one in ten intervals is an outlier, and there are enough to say so.
  [[nodiscard]] bool IsRegular() const;
  /// Outliers are intervals of at least LongLimit(), some 1.7 times the median, or of less than ShortLimit(), some 0.6
  /// times.
  [[nodiscard]] unsigned long LongLimit() const;
  [[nodiscard]] unsigned long ShortLimit() const;
  [[nodiscard]] unsigned long LongCount() const;
  [[nodiscard]] unsigned long ShortCount() const;
  /// The longest one first; of equal ones the earlier one.
  [[nodiscard]] const std::vector<Interval>& Longest() const { return Long; }
  /// The shortest one first; likewise.
  [[nodiscard]] const std::vector<Interval>& Shortest() const { return Short; }

 private:
  [[nodiscard]] unsigned int MedianIndex() const;
  [[nodiscard]] unsigned int LongIndex() const { return MedianIndex() + kDistance; }
  [[nodiscard]] unsigned int ShortIndex() const;
  void Keep(const Interval& interval);

  std::optional<unsigned long> Latest;  // ns, time of the occurrence before
  LogHistogram Lengths;
  std::vector<Interval> Long, Short;
  // Against the first interval, so that a small deviation of long intervals isn't lost in the digits.
  double Base = 0;
  double Sum = 0;
  double SquareSum = 0;
};

}  // namespace client
