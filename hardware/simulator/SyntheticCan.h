// A synthetic CAN and CAN FD bus: messages of a vehicle, error frames, trigger events.
#pragma once

#include <memory>

#include "SyntheticSource.h"

namespace qor_sim {

constexpr unsigned int kUsualCanLoad = 30;  // percent

/// Item timestamps are the starts of the frames; a frame begins only when the one before has left the bus.
///
/// @param load  percent of the bus, 1 to 100
std::unique_ptr<ItemSource> MakeSyntheticCan(const SyntheticSettings& settings, unsigned int load);

}  // namespace qor_sim
