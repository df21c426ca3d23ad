// All about one message of a live table.
#pragma once

#include <cstddef>
#include <vector>

#include "system/Grid.h"
#include "views/LiveRates.h"
#include "views/LiveTable.h"

namespace client {

/// Below the first line and above the last one of a screen: what names the message, its figures, and all of its data with
/// those bytes marked that have changed.
/// @param top  lines that are scrolled over; of more than there are, the last one stays
void PutSheet(Grid& grid, const LiveRow& row, const std::vector<LiveChannel>& channels, size_t top);

}  // namespace client
