#include "mdf/Compress.h"

#include <zlib.h>

namespace MDF {
namespace {

constexpr int kLevel = 4;  // level 6 takes more than twice the time and saves less than a hundredth

}  // namespace

bool Compress(const unsigned char* data, unsigned long size, unsigned char* packed, unsigned long& packedSize) {
  return compress2(packed, &packedSize, data, size, kLevel) == Z_OK;
}

void Pack(const unsigned char* data, unsigned long size, unsigned long room, PackedBytes& packed) {
  packed.Size = room;
  if (packed.Bytes == nullptr || !Compress(data, size, packed.Bytes.get(), packed.Size)) packed.Size = 0;
}

unsigned long CompressBound(unsigned long size) { return compressBound(size); }

}  // namespace MDF
