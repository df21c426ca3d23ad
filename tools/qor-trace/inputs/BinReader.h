// Reads raw record files (.bin): the records of a trace, Length bytes each, back to back.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "stream/RecordSink.h"
#include "system/Descriptor.h"
#include "system/Failure.h"

namespace client {

/// Threads: one. Memory: 1 MiB.
class BinReader {
 public:
  /// Why reading ended.
  enum class End { Whole, Declined, Stopped };

  /// Asked for each MiB, and several times a second while a pipe has nothing; false ends the reading.
  using GoOn = std::function<bool()>;

  /// Opens a file ("-": standard input). Unless it is a pipe, its first record is checked.
  /// Failure: Failure when it can't be read, or doesn't begin with a record.
  explicit BinReader(const std::string& path);

  /// Hands the records to the sink until the file ends, the sink declines or `goOn` says no. The sink is paused while a
  /// pipe has nothing.
  ///
  /// Failure: Failure when the file can't be read or does not consist of whole records. After Stopped the last record may
  ///          be cut.
  End ReadAll(
      RecordSink& sink, const GoOn& goOn = [] { return true; });

  /// DigestOf the first record; 0 for a pipe, whose first record hasn't come, and without records.
  unsigned long FirstDigest() const { return Digest; }
  /// Records handed over so far.
  [[nodiscard]] unsigned long Records() const { return Count; }
  /// Bytes read so far, and of the whole file; 0 where that isn't known.
  [[nodiscard]] unsigned long Position() const { return Offset + Buffer.size(); }
  [[nodiscard]] unsigned long Size() const { return FileSize; }

 private:
  [[nodiscard]] bool Fill(size_t length, RecordSink* sink, const GoOn& goOn);
  [[nodiscard]] bool WaitForBytes(RecordSink* sink, const GoOn& goOn);
  [[nodiscard]] size_t ReadSome(unsigned char* target);
  unsigned int NextLength() const;
  [[nodiscard]] Failure Damaged() const;

  const std::string Shown;
  Descriptor Opened;  // nothing for standard input, which stays open
  int File = -1;
  bool Waits = false;          // a read may wait: it is no regular file
  unsigned long FileSize = 0;  // bytes
  unsigned long Digest = 0;    // of the first record
  std::vector<unsigned char> Buffer;
  size_t Begin = 0;          // of the next record in the buffer
  unsigned long Offset = 0;  // of the buffer in the file
  unsigned long Count = 0;
  bool Stopped = false;
};

/// After the whole input was read: one without a single record is a mistake, and not worth an existing output, unless it is
/// standard input.
/// Failure: Failure that names it.
void RefuseWithoutRecords(const BinReader& reader, const std::string& path);

}  // namespace client
