// A CAN and CAN FD bus that is made up: messages of a vehicle, error frames, trigger events.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "ItemSource.h"

namespace qor_sim {

struct SyntheticCanSettings {
  uint64_t Seed = 1;
  std::optional<uint64_t> Duration;  // ns; none: endless
  unsigned int Load = 30;            // percent of the bus, 1 to 100
};

/// The same settings give the same items on every machine. Item timestamps are the starts of the frames; a frame begins
/// only when the one before has left the bus.
std::unique_ptr<ItemSource> MakeSyntheticCan(const SyntheticCanSettings& settings);

}  // namespace qor_sim
