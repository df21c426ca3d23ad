#include "HardwareClock.h"

#include <algorithm>

namespace qor_linux {
namespace {

constexpr int64_t kWindow = 1'000'000'000;        // ns
constexpr int64_t kLongestDelay = 1'000'000'000;  // ns between the two stamps of a frame; beyond that a clock was set

}  // namespace

void HardwareClock::Begin(uint64_t hardware, int64_t difference) {
  Begun = true;
  WindowBegin = hardware;
  Least = LeastBefore = difference;
}

uint64_t HardwareClock::ToUtc(uint64_t hardware, uint64_t software) {
  const auto difference = static_cast<int64_t>(software - hardware);
  const auto beyond = static_cast<int64_t>(software - hardware - static_cast<uint64_t>(std::min(Least, LeastBefore)));
  if (!Begun || beyond > kLongestDelay || beyond < -kLongestDelay) Begin(hardware, difference);
  const auto since = static_cast<int64_t>(hardware - WindowBegin);
  if (since >= kWindow) {
    LeastBefore = since >= 2 * kWindow ? difference : Least;
    WindowBegin = hardware;
    Least = difference;
  }
  Least = std::min(Least, difference);
  return hardware + static_cast<uint64_t>(std::min(Least, LeastBefore));
}

}  // namespace qor_linux
