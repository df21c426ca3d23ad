// A PCAPNG file cut into its blocks, believing nothing that it says.
#pragma once

#include <vector>

#include "Input.h"
#include "support/MonitorItems.h"

namespace fuzz {

struct PcapngBlock {
  unsigned int Type;
  test::Bytes Body;  // without type and lengths
};

/// The blocks of one little-endian section. Ends the process when a block isn't whole or states two lengths.
///
/// @param excess  bytes that interface descriptions declare more than they hold
inline std::vector<PcapngBlock> PcapngBlocks(const test::Bytes& file, unsigned int excess = 0) {
  constexpr unsigned int kInterface = 1;
  constexpr size_t kFrame = 12;  // type, length, length again
  std::vector<PcapngBlock> blocks;
  for (size_t place = 0; place < file.size();) {
    Require(file.size() - place >= kFrame, "a block has a type and two lengths");
    const auto type = test::ReadAt<unsigned int>(file, place);
    const auto declared = test::ReadAt<unsigned int>(file, place + 4);
    const size_t length = declared - (type == kInterface ? excess : 0);
    Require(length >= kFrame && length % 4 == 0 && length <= file.size() - place, "a block is whole");
    Require(test::ReadAt<unsigned int>(file, place + length - 4) == declared, "a block's lengths are the same");
    const auto first = file.begin() + static_cast<std::ptrdiff_t>(place);
    blocks.push_back({type, {first + 8, first + static_cast<std::ptrdiff_t>(length) - 4}});
    place += length;
  }
  return blocks;
}

}  // namespace fuzz
