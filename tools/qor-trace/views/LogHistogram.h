// How often durations of which length came, over all magnitudes.
#pragma once

#include <bit>
#include <cstddef>
#include <vector>

namespace client {

/// Counts values by bins that are at most 1/32 of their values wide: 32 for each doubling. Values below 64 have a bin each.
///
/// Threads: one. Memory: 24 bytes for each bin that has a value; there are 1920 in all.
class LogHistogram {
 public:
  static constexpr unsigned int kPerDoubling = 32;

  struct Bin {
    unsigned int Index = 0;
    unsigned long Count = 0;  // at least 1
    double Beyond = 0;        // by how much its values are more than its lower edge, in sum
  };

  [[nodiscard]] static constexpr unsigned int IndexOf(unsigned long value) {
    if (value < kPerDoubling) return static_cast<unsigned int>(value);
    const auto shift = static_cast<unsigned int>(std::bit_width(value)) - 6;
    return shift * kPerDoubling + static_cast<unsigned int>(value >> shift);
  }
  /// The least value of a bin.
  [[nodiscard]] static constexpr unsigned long LowerEdge(unsigned int index) {
    if (index < 2 * kPerDoubling) return index;
    const unsigned int shift = index / kPerDoubling - 1;
    return (kPerDoubling + index % kPerDoubling + 0ul) << shift;
  }

  void Add(unsigned long value);

  [[nodiscard]] unsigned long Count() const { return Total; }
  /// By value.
  [[nodiscard]] const std::vector<Bin>& Bins() const { return Used; }
  /// Values in this bin and those above it.
  [[nodiscard]] unsigned long CountFrom(unsigned int index) const;
  /// The bin of the value that so many values are not greater than, itself included.
  /// @param rank  1 to Count()
  [[nodiscard]] const Bin& AtRank(unsigned long rank) const;
  /// Of the values in a bin.
  [[nodiscard]] static double MeanOf(const Bin& bin);

 private:
  std::vector<Bin> Used;  // by index
  size_t Latest = 0;      // place of the bin that was added to: mostly the next value belongs near it
  unsigned long Total = 0;
};

}  // namespace client
