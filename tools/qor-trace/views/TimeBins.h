// A quantity over time, in bounded memory.
#pragma once

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <utility>
#include <vector>

namespace client {

/// The widths that bins may have, ns: round ones, each a multiple of the one before. With the widest, all times of 64 bits are 214
/// bins.
inline constexpr unsigned long kMicrosecond = 1000, kMillisecond = 1000 * kMicrosecond, kSecond = 1000 * kMillisecond,
                               kMinute = 60 * kSecond, kHour = 60 * kMinute, kDay = 24 * kHour;
inline constexpr unsigned long kBinWidths[] = {kMicrosecond,
                                               2 * kMicrosecond,
                                               10 * kMicrosecond,
                                               20 * kMicrosecond,
                                               100 * kMicrosecond,
                                               200 * kMicrosecond,
                                               kMillisecond,
                                               2 * kMillisecond,
                                               10 * kMillisecond,
                                               20 * kMillisecond,
                                               100 * kMillisecond,
                                               200 * kMillisecond,
                                               kSecond,
                                               2 * kSecond,
                                               10 * kSecond,
                                               20 * kSecond,
                                               kMinute,
                                               2 * kMinute,
                                               10 * kMinute,
                                               20 * kMinute,
                                               kHour,
                                               2 * kHour,
                                               12 * kHour,
                                               kDay,
                                               10 * kDay,
                                               100 * kDay,
                                               1000 * kDay};

/// Sums by time. It begins with narrow bins; when the times don't fit into kMost of them any more, neighbours become one. Bins
/// begin at multiples of their width, so those of different quantities can be laid beside each other.
///
/// @tparam Bin  a sum, which += adds another one to; Bin() is nothing
///
/// Threads: one. Memory: kMost bins.
template <class Bin>
class TimeBins {
 public:
  static constexpr size_t kMost = 1200;

  /// The bin of a time, which may come in any order. Valid until the next call.
  /// @param time  ns
  [[nodiscard]] Bin& At(unsigned long time) {
    const unsigned long place = time / Width();
    if (place - First >= Sums.size()) return MakeRoom(time);
    return Sums[place - First];
  }

  /// Makes the bins at least this wide.
  /// @param width  one of kBinWidths
  void Widen(unsigned long width) {
    while (Width() < width) Widen();
  }

  [[nodiscard]] bool Empty() const { return Sums.empty(); }
  /// ns
  [[nodiscard]] unsigned long Width() const { return kBinWidths[Step]; }
  /// ns, where the first bin begins.
  [[nodiscard]] unsigned long Begin() const { return First * Width(); }
  /// One after the other, without a hole.
  [[nodiscard]] const std::vector<Bin>& All() const { return Sums; }

 private:
  [[nodiscard]] Bin& MakeRoom(unsigned long time) {
    if (Empty()) First = time / Width();
    while (Reach(time) > kMost) Widen();
    const unsigned long place = time / Width();
    if (place < First) {
      Sums.insert(Sums.begin(), First - place, Bin());
      First = place;
    }
    Sums.resize(std::max<size_t>(Sums.size(), place - First + 1));
    return Sums[place - First];
  }

  /// Bins from the first to the last one if this time has one too.
  [[nodiscard]] unsigned long Reach(unsigned long time) const {
    const unsigned long place = time / Width();
    return std::max(place + 1, First + Sums.size()) - std::min(place, First);
  }

  void Widen() {
    const unsigned long factor = kBinWidths[Step + 1] / kBinWidths[Step];
    ++Step;
    const unsigned long first = First / factor;
    std::vector<Bin> wider(Sums.empty() ? 0 : (First + Sums.size() - 1) / factor - first + 1);
    for (size_t index = 0; index < Sums.size(); ++index) wider[(First + index) / factor - first] += Sums[index];
    Sums = std::move(wider);
    First = first;
  }

  std::vector<Bin> Sums;
  unsigned long First = 0;  // of the first bin: times in it are First * Width and more
  size_t Step = 0;          // of kBinWidths
};

}  // namespace client
