// A time source in the test's hand.
#pragma once

#include <atomic>
#include <cstdint>

#include "Clock.h"

class FakeTime final : public qor_sim::TimeSource {
 public:
  uint64_t Now() override { return Value; }
  void Pass(uint64_t ns) { Value += ns; }

 private:
  std::atomic<uint64_t> Value{123'456'789};  // as with a real clock, the beginning means nothing
};

constexpr uint64_t kMs = 1'000'000;
constexpr uint64_t kSecond = 1'000'000'000;
