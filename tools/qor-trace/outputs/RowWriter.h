// Tables of rows (.ndjson, .csv) as outputs.
#pragma once

#include <array>
#include <string>
#include <vector>

#include "outputs/LineFile.h"
#include "outputs/RowComposer.h"
#include "outputs/StreamOutput.h"
#include "outputs/UntoldLosses.h"

namespace client {

/// Writes a row for each entry, and one for each loss: behind an entry with an overrun mark, and what the description knows
/// of, in front of the first entry of its channel after it. A loss that goes on gets a further row for what was added.
///
/// Threads: one. Memory: 256 KiB.
class RowWriter : public StreamOutput {
 public:
  /// @param path  of the file; empty: standard output
  /// Failure:     Failure when the file can't be made.
  RowWriter(const std::string& path, RowFormat format);

  void Describe(const Description& description) override;
  [[nodiscard]] bool Take(const RecordView& record) override;
  void Pause() override { File.Pause(); }
  void WriteOut(std::vector<WrittenFile>& files) override { File.WriteOut(files); }
  void FailToKeep(int error) override { File.FailToKeep(error); }
  [[nodiscard]] bool Finish() override;
  void KeepExisting() override { File.KeepExisting(); }
  [[nodiscard]] unsigned long Size() const override { return File.Size(); }
  void Settle() override { File.Settle(); }

  [[nodiscard]] const std::string& Error() const override { return File.Error(); }
  [[nodiscard]] std::string RemarkText() const override;
  void AddJson(nlohmann::json& json) const override;

 private:
  void AddLoss(const Loss& loss, unsigned char busType);
  void AddLosses(const std::vector<Loss>& losses);
  [[nodiscard]] unsigned char BusOf(unsigned int channel) const;

  LineFile File;
  const RowComposer Rows;
  Description Described;
  RowOrigin Origin;
  UntoldLosses Untold;
  unsigned long Entries = 0;
  unsigned long LossRows = 0;
};

}  // namespace client
