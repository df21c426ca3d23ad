#include "linux/HardwareClock.h"

#include <gtest/gtest.h>

using qor_linux::HardwareClock;

namespace {

constexpr uint64_t kUtc = 1'700'000'000'000'000'000;  // ns, when the interface's clock showed 0
constexpr uint64_t kMs = 1'000'000;

/// The time of a frame that the kernel saw `delay` after the interface.
uint64_t At(HardwareClock& clock, uint64_t hardware, uint64_t delay, uint64_t begin = kUtc) {
  return clock.ToUtc(hardware, begin + hardware + delay);
}

}  // namespace

TEST(HardwareClock, DistancesOfFramesAreThoseOfTheInterface) {
  HardwareClock clock;
  EXPECT_EQ(At(clock, 1 * kMs, 10'000), kUtc + 1 * kMs + 10'000);
  EXPECT_EQ(At(clock, 2 * kMs, 500'000), kUtc + 2 * kMs + 10'000);
  EXPECT_EQ(At(clock, 3 * kMs, 70'000), kUtc + 3 * kMs + 10'000);
}

TEST(HardwareClock, ShortestDelaySoFarIsTheNearestToTheTruth) {
  HardwareClock clock;
  At(clock, 1 * kMs, 500'000);
  EXPECT_EQ(At(clock, 2 * kMs, 3'000), kUtc + 2 * kMs + 3'000);
  EXPECT_EQ(At(clock, 3 * kMs, 200'000), kUtc + 3 * kMs + 3'000);
}

TEST(HardwareClock, ClockThatIsTooSlowIsFollowed) {
  HardwareClock clock;
  // 100 us a second too slow: after ten minutes it is 60 ms late.
  uint64_t worst = 0;
  for (uint64_t step = 0; step < 6000; ++step) {
    const uint64_t truth = kUtc + step * 100 * kMs;
    const uint64_t hardware = step * 100 * kMs - step * 10'000;
    const uint64_t utc = clock.ToUtc(hardware, truth + 5'000);
    worst = std::max(worst, utc > truth ? utc - truth : truth - utc);
  }
  EXPECT_LE(worst, 300'000u);
}

TEST(HardwareClock, ClockThatWasSetAnewIsFollowedAtOnce) {
  HardwareClock clock;
  At(clock, 5000 * kMs, 10'000);
  EXPECT_EQ(At(clock, 1 * kMs, 20'000, kUtc + 6000 * kMs), kUtc + 6001 * kMs + 20'000);
  EXPECT_EQ(At(clock, 900'000 * kMs, 30'000), kUtc + 900'000 * kMs + 30'000);
}

TEST(HardwareClock, FrameIsNeverLaterThanTheKernelSawIt) {
  HardwareClock clock;
  for (const uint64_t delay : {500'000u, 1'000u, 900'000u, 20u, 0u, 70'000u})
    EXPECT_LE(At(clock, delay * 1000, delay), kUtc + delay * 1000 + delay);
}

TEST(HardwareClock, AnyNumbersAreTaken) {
  HardwareClock clock;
  const uint64_t numbers[] = {0, 1, ~uint64_t{0}, uint64_t{1} << 63, (uint64_t{1} << 63) - 1, kUtc};
  for (const uint64_t hardware : numbers)
    for (const uint64_t software : numbers) clock.ToUtc(hardware, software);
  EXPECT_EQ(At(clock, 1 * kMs, 10'000), kUtc + 1 * kMs + 10'000);
}
