// A synthetic Ethernet link: vehicle traffic between this interface and a switch.
#pragma once

#include <memory>

#include "SyntheticSource.h"

namespace qor_sim {

constexpr unsigned int kUsualEthernetLoad = 1;  // percent

/// Item timestamps are the starts of the frames; a frame begins only when the one before and the gap after it are over,
/// whatever their directions.
///
/// @param load  percent of the link of 100 Mbit/s, 1 to 100
std::unique_ptr<ItemSource> MakeSyntheticEthernet(const SyntheticSettings& settings, unsigned int load);

}  // namespace qor_sim
