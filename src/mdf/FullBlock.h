// A data block that its list has handed over, to be packed before the list writes it (not exported).
#pragma once

#include <memory>

#include "mdf/Compress.h"

namespace MDF {

struct FullBlock {
  std::unique_ptr<unsigned char[]> Bytes;  // room of DataBlockDynamic::kCacheSize
  unsigned int Size = 0;                   // of the block, bytes
  unsigned int Most = 0;                   // that it may take when packed; at most kCacheSize
  PackedBytes Packed;                      // room of kCacheSize
};

}  // namespace MDF
