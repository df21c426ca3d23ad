// A time source in the test's hand.
#pragma once

#include <atomic>
#include <cstdint>

#include "Clock.h"

class FakeTime final : public qor_sim::TimeSource {
 public:
  uint64_t Now() override { return Value; }
  uint64_t Utc() override { return Value + kUtcAhead; }
  void Pass(uint64_t ns) { Value += ns; }

  static constexpr uint64_t kUtcAhead = 1'700'000'000'000'000'000;  // of Now, ns

 private:
  std::atomic<uint64_t> Value{123'456'789};  // as with a real clock, the beginning means nothing
};

constexpr uint64_t kMs = 1'000'000;
constexpr uint64_t kSecond = 1'000'000'000;
