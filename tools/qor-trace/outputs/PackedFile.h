// A file that is compressed while it is written.
#pragma once

#include <chrono>
#include <cstddef>
#include <deque>
#include <future>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

#include "system/Compressor.h"
#include "system/Mutex.h"
#include "system/Pace.h"

namespace client {

/// Compresses what is written, and writes it, on a thread of its own. What was written is on the disk about a second later, so that
/// a file that is cut off then can be read up to there.
///
/// Threads: one. Memory: what waits, at most 4 MiB and a block, and the Compressor's.
class PackedFile {
 public:
  /// @param file  open for writing; the caller's
  /// @param kind  not None
  /// Failure: std::bad_alloc, std::system_error.
  PackedFile(int file, Compression kind);
  /// Without End, what was written is made readable, as far as that works.
  ~PackedFile();
  PackedFile(const PackedFile&) = delete;
  PackedFile& operator=(const PackedFile&) = delete;

  /// Takes bytes; waits while too many are on their way.
  /// @return how many were taken; fewer than `size` after an earlier write has failed; errno says which
  [[nodiscard]] size_t Write(const unsigned char* bytes, size_t size);
  /// Has what was taken so far written, so that it can be read.
  /// @return ready once that is so, or something has failed
  [[nodiscard]] std::shared_future<void> Flush();
  /// Bytes in the file at the last flush, and those taken since, as they came: never more than was taken, but for a few of the
  /// format's own.
  [[nodiscard]] unsigned long Size();
  /// Writes what is left and closes the stream. False, with errno, if something failed. Once.
  [[nodiscard]] bool End();

 private:
  /// Bytes, and whoever waits until everything up to them is in the file.
  struct Block {
    std::vector<unsigned char> Bytes;
    std::optional<std::promise<void>> Awaited = std::nullopt;
  };

  void Run();
  [[nodiscard]] bool Pack(const Block& block, Compressor::Until until);
  void Stop();
  void WaitForChange() REQUIRES(Guard);

  const int File;
  const std::unique_ptr<Compressor> Packer;  // of the thread
  unsigned long Packed = 0;                  // likewise: bytes in the file
  Pace FlushPace{std::chrono::seconds(1)};   // likewise
  Mutex Guard;                               // nests in nothing
  Condition Changed;
  std::deque<Block> Waiting GUARDED_BY(Guard);
  size_t WaitingBytes GUARDED_BY(Guard) = 0;
  size_t HeldBytes GUARDED_BY(Guard) = 0;         // taken by the packer since the last flush
  unsigned long FileBytes GUARDED_BY(Guard) = 0;  // at the last flush
  bool Over GUARDED_BY(Guard) = false;
  int FailedWith GUARDED_BY(Guard) = 0;  // errno
  std::thread Thread;
};

}  // namespace client
