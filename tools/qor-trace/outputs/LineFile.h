// The file beneath an output of text lines.
#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "outputs/OutputFile.h"
#include "system/Pace.h"

namespace client {

/// Collects whole lines and writes them in large pieces. After a failed write the file stays as NAME.part, cut after the last
/// whole line, and nothing more is taken.
///
/// Threads: one. Memory: 256 KiB.
class LineFile {
 public:
  /// The longest line, bytes.
  static constexpr size_t kLongestLine = size_t{192} * 1024;

  /// @param path  of the file; empty: standard output
  /// Failure:     Failure when the file can't be made.
  explicit LineFile(const std::string& path);
  /// Writes what was composed to the file, which stays incomplete without Finish. One without a line is removed.
  ~LineFile();
  LineFile(const LineFile&) = delete;
  LineFile& operator=(const LineFile&) = delete;

  /// The place where a line of up to `size` bytes is composed, its newline included; at most kLongestLine.
  [[nodiscard]] char* Room(size_t size) {
    if (kCapacity - Used < size) Flush();
    return Buffer.get() + Used;
  }
  /// The line is there.
  /// @param end  past its newline
  void Add(const char* end) {
    Used = static_cast<size_t>(end - Buffer.get());
    ++BufferedLines;
  }
  /// What stands in front of the lines and is worth nothing without them.
  void AddHeader(std::string_view text);

  /// Writes what is left; to a file, at most once a second.
  void Pause();
  /// Writes what is left; the file is added, for somebody who puts it on the disk.
  void WriteOut(std::vector<WrittenFile>& files);
  /// That couldn't be done.
  void FailToKeep(int error) { File.FailToKeep(error); }
  /// Bytes of the file so far, as StreamOutput.
  [[nodiscard]] unsigned long Size() const { return File.Size() + Used; }
  /// Writes all that was composed.
  void Settle() {
    Flush();
    File.Settle();
  }
  /// Writes what is left and gives the file its name. False if that or an earlier write failed.
  [[nodiscard]] bool Finish();
  void KeepExisting() { File.KeepExisting(); }

  [[nodiscard]] bool Usable() const { return File.Usable(); }
  [[nodiscard]] const std::string& Error() const { return File.Error(); }
  [[nodiscard]] const std::string& Path() const { return File.Path(); }
  /// Taken so far; after a failed write, those in the file.
  [[nodiscard]] unsigned long Lines() const { return WrittenLines + BufferedLines; }

 private:
  static constexpr size_t kCapacity = size_t{256} * 1024;

  void Flush();
  void Fail(int error, size_t writtenOfBuffer);

  OutputFile File;
  std::unique_ptr<char[]> Buffer;  // whole lines
  size_t Used = 0;                 // bytes of it
  unsigned long BufferedLines = 0;
  unsigned long Written = 0;  // bytes
  unsigned long WrittenLines = 0;
  bool HeaderIsBuffered = false;
  Pace FlushPace{std::chrono::seconds(1)};
};

}  // namespace client
