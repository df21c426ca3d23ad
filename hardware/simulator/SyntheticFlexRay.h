// A synthetic FlexRay cluster: start, static and dynamic frames on both channels, errors, symbols, changes of state.
#pragma once

#include <memory>

#include "SyntheticSource.h"

namespace qor_sim {

/// Item timestamps are the starts of the frames, which never overlap on a channel.
std::unique_ptr<ItemSource> MakeSyntheticFlexRay(const SyntheticSettings& settings);

}  // namespace qor_sim
