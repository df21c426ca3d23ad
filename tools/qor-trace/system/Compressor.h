// Bytes in, compressed bytes out.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>

#include "system/Compression.h"

namespace client {

/// Takes compressed bytes. @return false: no more are wanted
using TakeBytes = std::function<bool(const unsigned char* bytes, size_t size)>;

/// Compresses one stream.
///
/// Threads: one at a time. Memory: some 300 KiB for gzip, some MiB for zstd.
class Compressor {
 public:
  enum class Until {
    Later,  // what is worth it
    Flush,  // everything so far can be read
    End,    // likewise, and the stream is whole
  };

  Compressor() = default;
  virtual ~Compressor() = default;
  Compressor(const Compressor&) = delete;
  Compressor& operator=(const Compressor&) = delete;

  /// @param take  gets what comes out
  /// @return      false if take declined
  [[nodiscard]] virtual bool Feed(const unsigned char* bytes, size_t size, Until until, const TakeBytes& take) = 0;
};

/// @param kind  not None
/// Failure: std::bad_alloc.
[[nodiscard]] std::unique_ptr<Compressor> MakeCompressor(Compression kind);

/// Takes compressed bytes, returns what they stand for.
///
/// Threads: one at a time. Memory: some 40 KiB for gzip, for zstd the window that a stream asks for, as far as it is filled: 128 MiB
/// at most, as its own tool takes.
class Decompressor {
 public:
  /// What a step has taken and made.
  struct Step {
    size_t Taken = 0;
    size_t Made = 0;
    bool Damaged = false;  // the bytes after those that were taken are no such stream
    bool Between = false;  // a stream is whole; another one may follow
  };

  Decompressor() = default;
  virtual ~Decompressor() = default;
  Decompressor(const Decompressor&) = delete;
  Decompressor& operator=(const Decompressor&) = delete;

  [[nodiscard]] virtual Step Next(const unsigned char* bytes, size_t size, unsigned char* target, size_t room) = 0;
};

/// @param kind  not None
/// Failure: std::bad_alloc.
[[nodiscard]] std::unique_ptr<Decompressor> MakeDecompressor(Compression kind);

}  // namespace client
