// The file beneath an export: one buffer, large writes.
#pragma once

#include <cerrno>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "export/Qor_Trace_AscTarget.h"
#include "internal/FileDescriptor.h"

/// A file that is composed in one buffer. The buffer is flushed to the file when the next piece might not fit, by Flush and
/// by Close.
///
/// After a failed write nothing more is written: what is in the file is what was composed, from its beginning, without a gap.
/// The failure is kept until the object is destroyed, across later files as well, with its reason and the file's path.
///
/// Threads: one at a time.
class ExportFile {
 public:
  /// @param target  takes the text of an ASC log in place of files; it never fails here. Null: files
  /// @throws std::bad_alloc
  explicit ExportFile(Qor_Trace_AscTarget* target = nullptr);
  /// Closes the file as Close does.
  ~ExportFile();
  ExportFile(const ExportFile&) = delete;
  ExportFile& operator=(const ExportFile&) = delete;

  /// Creates or truncates a file; no other may be open. False, with errno set, if that fails.
  [[nodiscard]] bool Open(const char* path);
  [[nodiscard]] bool IsOpen() const { return TargetOpen || File.IsOpen(); }

  /// A place for up to `bytes` more bytes (at most kCapacity), until the next call. What is written there counts once it is
  /// taken with Commit.
  [[nodiscard]] char* Room(size_t bytes) {
    if (kCapacity - Used < bytes) Flush();
    return Buffer.get() + Used;
  }
  /// Takes what stands from the place that Room returned up to `end`.
  void Commit(const char* end) { Used = static_cast<size_t>(end - Buffer.get()); }
  /// Text of any length.
  void Append(std::string_view text);

  /// The file's position in bytes, counting what is still in the buffer. The system is asked after an opening and after
  /// each flush; nothing if there is no position, as for a pipe or without a file. With a target the bytes are counted.
  [[nodiscard]] std::optional<unsigned long> Position();

  /// False if a write has failed, now or earlier, or if no file is open for what was composed.
  bool Flush();
  /// Flushes and closes; text that was composed without a file is dropped.
  void Close();
  /// True once a write or a close has failed, or text was composed without a file.
  [[nodiscard]] bool Failed() const { return Error() != 0; }
  /// errno of the first call that failed, EBADF for text without a file; 0 if nothing has failed.
  [[nodiscard]] int Error() const { return FirstError == 0 && Used != 0 && !IsOpen() ? EBADF : FirstError; }
  /// Of the file that failed, or else of the last one opened.
  [[nodiscard]] const std::string& Path() const { return Name; }

  static constexpr size_t kCapacity = size_t{256} * 1024;

 private:
  bool WriteUsed();

  std::unique_ptr<char[]> Buffer;
  size_t Used = 0;                     // bytes composed and not yet written
  std::optional<unsigned long> Start;  // place of the buffer's first byte in the file, if it is known
  FileDescriptor File;
  Qor_Trace_AscTarget* const Target;
  bool TargetOpen = false;
  std::string Name;
  int FirstError = 0;
};
