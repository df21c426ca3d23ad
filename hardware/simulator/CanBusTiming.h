// How long frames occupy a CAN bus of 500 kbit/s, whose CAN FD data phase has 2 Mbit/s.
#pragma once

#include <cstdint>

#include "CanItem.h"

namespace qor_sim {

constexpr uint64_t kCanBitTime = 2000;       // ns
constexpr uint64_t kCanFdBitTime = 500;      // ns, after a bit-rate switch
constexpr uint64_t kCanErrorDelay = 40000;   // ns from the start of a frame to the error that ends it: 20 bits
constexpr uint64_t kCanErrorLength = 46000;  // ns of an error frame: flags 12, delimiter 8, intermission 3 bits

/// ns from the start of a data frame to the end of the intermission after it, with as many stuff bits as there can be.
uint64_t CanFrameLength(const CanItem& item);

}  // namespace qor_sim
