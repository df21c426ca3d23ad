// The clock of an interface that stamps frames itself, and what it is in UTC.
#pragma once

#include <cstdint>

namespace qor_linux {

/// The kernel stamps a frame after the interface has: some microseconds later, sometimes much. The least difference of the
/// last one to two seconds is the nearest to what lies between the two clocks, and follows a clock that drifts. A
/// clock that jumps is followed at once.
///
/// Threads: one.
class HardwareClock {
 public:
  /// A frame's time in ns since 1970, never later than `software`.
  /// @param hardware  ns, by the interface
  /// @param software  ns since 1970, by the kernel
  uint64_t ToUtc(uint64_t hardware, uint64_t software);

 private:
  void Begin(uint64_t hardware, int64_t difference);

  bool Begun = false;
  uint64_t WindowBegin = 0;  // of the interface's clock
  int64_t Least = 0;         // software - hardware, in this window
  int64_t LeastBefore = 0;   // in the one before
};

}  // namespace qor_linux
