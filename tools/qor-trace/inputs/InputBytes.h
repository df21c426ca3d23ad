// The bytes of an input, from its beginning to its end.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "inputs/Reader.h"
#include "inputs/Unpacked.h"
#include "system/Descriptor.h"

namespace client {

/// Reads a file, a pipe or standard input through a window that the reader of a format moves on. What is compressed (gzip, zstd: by
/// what it begins with) is read as what it stands for.
///
/// Threads: one. Memory: 1 MiB, and what Need is asked for at once; of compressed inputs 1 MiB more, and a Decompressor's.
class InputBytes {
 public:
  /// Opens a file ("-": standard input).
  /// Failure: Failure when it can't be opened.
  explicit InputBytes(const std::string& path);

  void Attend(Attendance attendance) { Present = std::move(attendance); }

  /// Makes the next `size` bytes ready. False if the input ends before, or reading is to end: then Ready() is what is left.
  /// Failure: Failure when the file can't be read.
  [[nodiscard]] bool Need(size_t size) { return Ready().size() >= size || Fill(size); }
  /// The bytes that are ready, from the window's beginning on. Valid until the next Need.
  [[nodiscard]] std::span<const unsigned char> Ready() const {
    return {Buffer.data() + WindowBegin, Buffer.size() - WindowBegin};
  }
  /// Moves the window on.
  /// @param size  at most Ready().size()
  void Skip(size_t size) { WindowBegin += size; }
  /// Moves the window on by any number of bytes, reading and forgetting them. False if the input ends before.
  /// Failure: as Need.
  [[nodiscard]] bool SkipFar(unsigned long size);
  /// Skips zeros. True if there is nothing else up to the end of the input, as where a power cut has left a file longer than what
  /// had reached the disk.
  /// Failure: as Need.
  [[nodiscard]] bool SkipZerosToEnd();

  /// The next line without its end (LF or CR LF), which is skipped. Nothing at the end of the input, and when reading is to
  /// end. A line of more than kLongestLine bytes comes cut, in one piece. Valid until the next call.
  /// Failure: as Need.
  [[nodiscard]] std::optional<std::string_view> Line();
  static constexpr size_t kLongestLine = size_t{1} << 20;
  /// The last line had its end. Else the input ends in it, or it is longer than kLongestLine.
  [[nodiscard]] bool LineHadEnd() const { return HadEnd; }

  /// Whether it is compressed. To be asked once Need was called, likewise below.
  [[nodiscard]] bool IsPacked() const { return Packed != nullptr; }
  [[nodiscard]] Compression Packing() const { return PackedAs; }
  /// Becomes true when a compressed input ends too early.
  [[nodiscard]] std::shared_ptr<const bool> CutOff() const { return Packed->CutOff(); }

  /// Where the window begins, bytes from the beginning of the input; of a compressed one, of what it stands for.
  [[nodiscard]] unsigned long Position() const { return Offset + WindowBegin; }
  /// Bytes taken from the file so far, and those of the whole file; 0 where that isn't known.
  [[nodiscard]] unsigned long Taken() const { return FromFile; }
  [[nodiscard]] unsigned long Size() const { return FileSize; }
  /// A read may wait: it is no regular file.
  [[nodiscard]] bool IsPipe() const { return Waits; }
  [[nodiscard]] bool Stopped() const { return Ended; }
  /// For sentences: the path in quotation marks, or "standard input".
  [[nodiscard]] const std::string& Shown() const { return Name; }

 private:
  [[nodiscard]] bool Fill(size_t size);
  [[nodiscard]] bool MayGoOn();
  [[nodiscard]] bool WaitForBytes();
  [[nodiscard]] std::optional<size_t> ReadSome(std::vector<unsigned char>& bytes);
  [[nodiscard]] std::optional<size_t> ReadMore();
  [[nodiscard]] bool Begin();
  [[nodiscard]] std::optional<size_t> Unpack();

  const std::string Name;
  Attendance Present;
  Descriptor Opened;  // nothing for standard input, which stays open
  int File = -1;
  bool Waits = false;
  bool Ended = false;          // reading is to end
  bool HadEnd = true;          // the line before
  bool Begun = false;          // it is known whether it is compressed
  unsigned long FileSize = 0;  // bytes
  unsigned long FromFile = 0;  // bytes read
  std::unique_ptr<Unpacked> Packed;
  Compression PackedAs = Compression::None;
  std::vector<unsigned char> Buffer;
  size_t WindowBegin = 0;    // in the buffer
  unsigned long Offset = 0;  // of the buffer in the file
};

}  // namespace client
