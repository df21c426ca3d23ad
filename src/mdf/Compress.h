// The compressor of data blocks, behind one function so that it can be exchanged.
#pragma once

namespace MDF {

/// Packs `size` bytes into one zlib stream. `packedSize` is the room at `packed` and becomes the size of the stream.
/// Returns false when the stream doesn't fit or memory is short; what is at `packed` is then undefined.
[[nodiscard]] bool Compress(const unsigned char* data, unsigned long size, unsigned char* packed,
                            unsigned long& packedSize);

/// The most bytes that `size` bytes pack to.
[[nodiscard]] unsigned long CompressBound(unsigned long size);

}  // namespace MDF
