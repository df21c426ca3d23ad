// A synthetic LIN bus: its master's schedule, diagnosis, disturbances, sleep and wake-up, edges at the trigger input.
#pragma once

#include <memory>

#include "SyntheticSource.h"

namespace qor_sim {

/// This interface is the master. Item timestamps are the starts of the frames, which never overlap.
std::unique_ptr<ItemSource> MakeSyntheticLin(const SyntheticSettings& settings);

}  // namespace qor_sim
