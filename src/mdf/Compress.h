// The compressor of data blocks, behind one function so that it can be exchanged (not exported).
#pragma once

#include <memory>

namespace MDF {

/// Packs `size` bytes into one zlib stream. `packedSize` is the room at `packed` and becomes the size of the stream.
/// Returns false when the stream doesn't fit or memory is short; what is at `packed` is then undefined.
[[nodiscard]] bool Compress(const unsigned char* data, unsigned long size, unsigned char* packed,
                            unsigned long& packedSize);

/// The most bytes that `size` bytes pack to.
[[nodiscard]] unsigned long CompressBound(unsigned long size);

/// Bytes in their packed form.
struct PackedBytes {
  std::unique_ptr<unsigned char[]> Bytes;  // the room; may be larger than what is in it
  unsigned long Size = 0;                  // 0 when packing has failed
};

/// Packs into `room` bytes at packed.Bytes; null there is a failure as well.
void Pack(const unsigned char* data, unsigned long size, unsigned long room, PackedBytes& packed);

}  // namespace MDF
