// The bytes of a compressed file.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "system/Compressor.h"

namespace client {

/// Reads compressed bytes from somewhere and returns what they stand for. Streams may follow each other.
///
/// Threads: one. Memory: the compressed bytes that were read at once, and the Decompressor's.
class Unpacked {
 public:
  /// Reads some bytes; none at the end; nothing when reading is to end.
  using Read = std::function<std::optional<size_t>(std::vector<unsigned char>& bytes)>;

  /// @param kind   not None
  /// @param begun  the first compressed bytes
  Unpacked(Compression kind, std::vector<unsigned char> begun)
      : Packed(std::move(begun)), Inflate(MakeDecompressor(kind)) {}

  /// The next bytes: some unless the stream has ended; nothing when reading is to end.
  /// Zeros up to the end of the file, as a power cut leaves them, end a stream like the end of the file.
  /// @param name  for sentences
  /// Failure: Failure that names the byte of the file from which on it is no compressed stream. All bytes before it were returned.
  [[nodiscard]] std::optional<size_t> Next(unsigned char* target, size_t room, const Read& read,
                                           const std::string& name);

  /// The file ends in the middle of a stream. It is shared with who outlives this.
  [[nodiscard]] std::shared_ptr<const bool> CutOff() const { return Cut; }

 private:
  [[nodiscard]] std::optional<bool> OnlyZerosFollow(const Read& read);

  std::vector<unsigned char> Packed;
  size_t Begin = 0;         // of what wasn't taken yet
  unsigned long Taken = 0;  // bytes of the file
  bool Between = false;     // a stream is whole
  std::unique_ptr<Decompressor> Inflate;
  std::shared_ptr<bool> Cut = std::make_shared<bool>(false);
};

}  // namespace client
