// Raw record files (.bin): the records of a trace as the C interface hands them out, Length bytes each, one after the
// other, without the bytes between them that align them in a response buffer.
#pragma once

#include <chrono>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "outputs/DescriptionFile.h"
#include "outputs/OutputFile.h"
#include "outputs/StreamOutput.h"
#include "system/Pace.h"

namespace client {

/// Writes a .bin file. It is called NAME.part until it is complete. Once it is described, NAME.json lies beside it: see
/// DescriptionFile. Records without a description are records all the same: a description that can't be written is told
/// at the end.
///
/// When a write fails, the file is cut after the last whole record that reached the disk and stays as NAME.part, so
/// that what was recorded before remains readable. Its description has the cut as a loss of each channel.
///
/// Threads: one. Memory: 1 MiB.
class BinWriter : public StreamOutput {
 public:
  /// @param path  of the file; empty: standard output
  /// Failure:     Failure when the file can't be made.
  explicit BinWriter(const std::string& path);
  ~BinWriter() override;
  BinWriter(const BinWriter&) = delete;
  BinWriter& operator=(const BinWriter&) = delete;

  /// Failure: Failure, the first time only, when the description's file can't be made.
  void Describe(const Description& description) override;
  /// False after a write failed or the reader of standard output has gone; see Error and ReaderGone.
  [[nodiscard]] bool Take(const RecordView& record) override;
  /// Writes what is left; to a file, at most once a second. A failure shows at the next entry.
  void Pause() override;

  void WriteOut(std::vector<WrittenFile>& files) override;
  void FailToKeep(int error) override;

  void NoteCut(const Description& known, unsigned long latest) override;

  /// Writes what is left and gives the file its name. False as for Take.
  [[nodiscard]] bool Finish() override;
  void KeepExisting() override;

  [[nodiscard]] unsigned long Size() const override { return File.Size() + Buffer.size(); }
  void Settle() override;
  [[nodiscard]] std::vector<std::string> FilesBeside() const override;

  /// The sentence that says what failed; empty if nothing did. After Finish it may be about the description of whole records.
  [[nodiscard]] const std::string& Error() const override;
  [[nodiscard]] bool ReaderGone() const { return File.ReaderGone(); }
  [[nodiscard]] const std::string& Path() const { return File.Path(); }
  [[nodiscard]] unsigned long Entries() const { return Records; }
  [[nodiscard]] unsigned long Bytes() const { return Written; }

 private:
  void Begin(const RecordView& record);
  bool Flush();
  void WriteDescription();
  [[nodiscard]] std::string RemovePreviousDescription() const;
  void Fail(int error, size_t writtenOfBuffer);

  OutputFile File;
  std::optional<DescriptionFile> Beside;  // standard output has none
  Description Described;
  bool DescriptionWaits = false;  // there is more to say than is in the file
  unsigned long FirstRecord = 0;  // its digest
  bool ExistingIsKept = false;
  bool Finished = false;
  std::vector<unsigned char> Buffer;  // whole records
  unsigned long Records = 0;          // taken; after a failure, those in the file
  unsigned long Written = 0;          // bytes in the file
  unsigned int BufferedRecords = 0;
  unsigned long FirstTime = 0;              // of the first record, ns
  unsigned long Latest = 0;                 // of the last one taken, ns
  unsigned long LatestWritten = 0;          // of the last one in the file
  std::set<unsigned int> ChannelsAtTheCut;  // of the records that a failed write was about; empty without one
  Pace FlushPace{std::chrono::seconds(1)};
};

}  // namespace client
