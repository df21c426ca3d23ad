#include "MessageData.h"

#include <algorithm>
#include <cstdint>
#include <numeric>

namespace qor_sim {

void WalkSignal(std::span<unsigned char, 2> signal, Random& random) {
  if (random.Below(2) == 0) return;
  const uint64_t value = signal[0] + 256u * signal[1];
  const uint64_t moved = std::clamp<uint64_t>(value + random.Below(17), 8, 0xFFFF + 8) - 8;
  signal[0] = static_cast<unsigned char>(moved & 0xFF);
  signal[1] = static_cast<unsigned char>(moved >> 8);
}

void WalkSignals(std::span<unsigned char> data, Random& random) {
  for (; data.size() >= 2; data = data.subspan(2)) WalkSignal(data.first<2>(), random);
}

void UpdateCyclicData(std::span<unsigned char> data, unsigned int counter, Random& random) {
  if (data.empty()) return;
  data[0] = static_cast<unsigned char>((data[0] & 0xF0) | (counter & 0x0F));
  if (data.size() < 2) return;
  const size_t signals = std::min<size_t>(data.size(), 16) - 2;  // bytes between counter and sum
  WalkSignals(data.subspan(1, signals), random);
  data.back() = std::accumulate(data.begin(), data.end() - 1, static_cast<unsigned char>(0),
                                [](auto sum, auto byte) { return static_cast<unsigned char>(sum + byte); });
}

void FillEventData(std::span<unsigned char> data, unsigned int counter, Random& random) {
  FillRandomly(data, random);
  if (!data.empty()) data[0] = static_cast<unsigned char>(counter);
}

void FillRandomly(std::span<unsigned char> data, Random& random) {
  std::generate(data.begin(), data.end(), [&] { return random.Byte(); });
}

}  // namespace qor_sim
