// A small random number generator of integers alone: the same seed yields the same numbers on every machine.
#pragma once

#include <cstdint>

namespace qor_sim {

/// A counter, mixed (the SplitMix64 generator).
class Random {
 public:
  explicit Random(uint64_t seed) : State(seed) {}

  uint64_t Next() {
    State += 0x9E3779B97F4A7C15;
    uint64_t mixed = State;
    mixed = (mixed ^ (mixed >> 30)) * 0xBF58476D1CE4E5B9;
    mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EB;
    return mixed ^ (mixed >> 31);
  }

  /// 0 to bound - 1; bound is not 0.
  uint64_t Below(uint64_t bound) {
    __extension__ using Wide = unsigned __int128;
    return static_cast<uint64_t>(Wide{Next()} * bound >> 64);
  }

  /// Half of the mean to one and a half; the mean is not 0.
  uint64_t Around(uint64_t mean) { return mean / 2 + Below(mean); }

  unsigned char Byte() { return static_cast<unsigned char>(Next() >> 56); }

 private:
  uint64_t State;
};

}  // namespace qor_sim
