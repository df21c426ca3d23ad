// The file beneath an output that is written while a recording runs.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "outputs/PackedFile.h"
#include "system/PartFile.h"

namespace client {

/// A file that is called NAME.part until it is complete, or standard output. A name that ends in .gz or .zst is that of a
/// compressed file. Its name is claimed as long as this lives,
/// even once it is complete: the first file of a series stays claimed until the last one is complete.
///
/// Threads: one.
class OutputFile {
 public:
  /// @param path  of the file; empty: standard output
  /// Failure:     Failure when the file can't be made, or another process writes it: see PartFile.
  explicit OutputFile(const std::string& path);
  /// Closes the file. Without Complete it stays as NAME.part, if anything was written.
  ~OutputFile();
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  [[nodiscard]] bool IsStandardOutput() const { return Name.empty(); }

  /// Writes bytes, all if it can.
  /// @return how many were written; fewer than `size` is a failure to pass to Fail; errno says which
  ///         (or a write before it, if the file is compressed)
  [[nodiscard]] size_t Write(const unsigned char* bytes, size_t size);

  /// Bytes of the file so far, or more as long as a compressed one isn't settled.
  [[nodiscard]] unsigned long Size() const { return Packed ? Packed->Size() : WrittenBytes; }
  /// Has a compressed file write all that it has.
  void Settle() {
    if (Packed) Packed->Flush().wait();
  }

  /// Notes a failed write. A file that isn't compressed is cut after its first `wholeBytes` bytes, which hold `whole` ("3 entries"). It isn't
  /// a failure that the reader of standard output has gone: see ReaderGone.
  void Fail(int error, unsigned long wholeBytes, unsigned long count, const std::string& whole);

  /// Adds the file, for somebody who puts on the disk what was written; nothing for standard output.
  void AddTo(std::vector<WrittenFile>& files);
  /// Notes that this couldn't be done.
  void FailToKeep(int error);

  /// Gives a file its name. False if that fails, or something did before.
  /// @param beforeNaming  as for PartFile
  [[nodiscard]] bool Complete(const std::function<std::string()>& beforeNaming = [] { return ""; });
  /// A file that exists is kept; this one then stays as NAME.part, and Complete fails.
  void KeepExisting() { Previous = Existing::Kept; }

  /// Removes the part file at the end: it holds nothing but a header.
  void Discard() { Worth = false; }

  [[nodiscard]] bool Usable() const { return !Gone && Sentence.empty(); }
  [[nodiscard]] bool ReaderGone() const { return Gone; }
  /// The sentence that says what failed; empty if nothing did.
  [[nodiscard]] const std::string& Error() const { return Sentence; }
  [[nodiscard]] const std::string& Path() const { return Name; }

 private:
  const std::string Name;
  std::optional<PartFile> Part;  // none: standard output
  const int File;
  std::unique_ptr<PackedFile> Packed;  // none: not compressed
  Existing Previous = Existing::Replaced;
  unsigned long WrittenBytes = 0;  // before they are compressed
  bool Worth = false;              // there is something in the part file
  bool Gone = false;
  std::string Sentence;
};

}  // namespace client
