// What the sources of synthetic buses have in common.
#pragma once

#include <cstdint>
#include <limits>
#include <optional>

#include "ItemSource.h"
#include "Random.h"

namespace qor_sim {

/// The same settings yield the same items on every machine.
struct SyntheticSettings {
  uint64_t Seed = 1;
  std::optional<uint64_t> Duration;  // ns; none: endless
};

/// Times at irregular intervals, from half a mean to one and a half of it.
class IrregularTimes {
 public:
  /// @param mean  ns
  /// @param from  ns, the first time is one interval later
  IrregularTimes(uint64_t mean, Random& numbers, uint64_t from = 0) : Mean(mean), Numbers(numbers) { GoOn(from); }

  /// ns
  uint64_t Next() const { return Time; }
  void GoOn(uint64_t from) { Time = from + Numbers.Around(Mean); }

 private:
  const uint64_t Mean;
  Random& Numbers;
  uint64_t Time = 0;
};

/// A source that makes its items one by one; a bus writes each into Current. The items end before the duration does.
class SyntheticSource : public ItemSource {
 public:
  const Item* Peek() final { return Current.Timestamp < End ? &Current : nullptr; }

 protected:
  /// @param stream  another number for each bus, so that buses of one seed have nothing else in common
  SyntheticSource(const SyntheticSettings& settings, uint64_t stream)
      : Numbers(settings.Seed ^ stream), End(settings.Duration.value_or(std::numeric_limits<uint64_t>::max())) {}

  void SetTime(uint64_t time) {
    Current.Due = time;
    Current.Timestamp = time;
  }

  Random Numbers;
  Item Current;

 private:
  const uint64_t End;  // ns
};

}  // namespace qor_sim
