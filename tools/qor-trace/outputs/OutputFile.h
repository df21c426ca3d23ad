// The file beneath an output that is written while a recording runs.
#ifndef QOR_TRACE_OUTPUTFILE_H
#define QOR_TRACE_OUTPUTFILE_H

#include <cstddef>
#include <functional>
#include <map>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>

#include "stream/RecordSink.h"
#include "system/PartFile.h"

namespace client {

/// A file that is called NAME.part until it is complete, or standard output. Its name is claimed as long as this lives,
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

  bool IsStandardOutput() const { return Name.empty(); }

  /// Writes bytes, all if it can.
  /// @return how many were written; fewer than `size` is a failure to pass to Fail; errno says which
  std::size_t Write(const unsigned char* bytes, std::size_t size);

  /// Notes a failed write. A file is cut after its first `wholeBytes` bytes, which hold `whole` ("3 entries"). It isn't
  /// a failure that the reader of standard output has gone: see ReaderGone.
  void Fail(int error, unsigned long wholeBytes, unsigned long count, const std::string& whole);

  /// Gives a file its name. False if that fails, or something did before.
  bool Complete();
  /// A file that exists is kept; this one then stays as NAME.part, and Complete fails.
  void KeepExisting() { Previous = Existing::Kept; }

  /// Removes the part file at the end: it holds nothing but a header.
  void Discard() { Worth = false; }

  bool Usable() const { return !Gone && Sentence.empty(); }
  bool ReaderGone() const { return Gone; }
  /// The sentence that says what failed; empty if nothing did.
  const std::string& Error() const { return Sentence; }
  const std::string& Path() const { return Name; }

 private:
  const std::string Name;
  std::optional<PartFile> Part;  // none: standard output
  const int File;
  Existing Previous = Existing::Replaced;
  bool Worth = false;  // there is something in the part file
  bool Gone = false;
  std::string Sentence;
};

/// Has the library write its own capture file of a stopped recording to a path.
/// Failure: Failure when that fails.
using LibraryExport = std::function<void(const std::string& path)>;

/// Number of items by channel.
using LostItems = std::map<unsigned int, unsigned long>;

/// An output: takes entries as they come, or is written by the library at the end.
class StreamOutput : public RecordSink {
 public:
  /// Items that each channel lost before they came into the trace; before Finish.
  virtual void SetLost(const LostItems& /*itemsByChannel*/) {}
  /// Has the library write what only it can write; before Finish.
  /// Failure: Failure when that fails.
  virtual void Export(const LibraryExport& /*capture*/) {}
  /// From now on, a file that exists under the output's name is kept, since the entries are not complete. To be called
  /// before Finish, which then fails.
  virtual void KeepExisting() {}
  /// Writes what is left and gives the file its name. False if that or an earlier write failed.
  virtual bool Finish() = 0;
  /// The sentence that says what failed; empty if nothing did.
  virtual const std::string& Error() const = 0;
  /// What the output can't hold, to follow "NOT IN IT"; empty if it holds all that was asked for.
  virtual std::string ShortfallText() const { return ""; }
  /// What else a person should know, as a sentence; after Finish. Empty: nothing.
  virtual std::string RemarkText() const { return ""; }
  /// Adds that, and what else there is to know about the output.
  virtual void AddJson(nlohmann::json& /*json*/) const {}
};

}  // namespace client

#endif  // QOR_TRACE_OUTPUTFILE_H
