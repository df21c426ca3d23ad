// Tables of rows (.ndjson, .csv) as outputs.
#pragma once

#include <array>
#include <string>
#include <vector>

#include "outputs/LineFile.h"
#include "outputs/RowComposer.h"
#include "outputs/StreamOutput.h"
#include "stream/LossLedger.h"

namespace client {

/// Writes a row for each entry, and one for each loss: behind an entry with an overrun mark, and what the description knows
/// of, in front of the first entry after it. A loss that goes on gets a further row for what was added. At the end come overrun
/// marks that the description knows of entries that aren't there.
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
  [[nodiscard]] bool Finish() override;
  void KeepExisting() override { File.KeepExisting(); }

  [[nodiscard]] const std::string& Error() const override { return File.Error(); }
  [[nodiscard]] std::string RemarkText() const override;
  void AddJson(nlohmann::json& json) const override;

 private:
  /// A loss, and how much of it rows have told.
  struct Told {
    Loss What;
    unsigned long Count = 0;
    unsigned long Until = 0;  // ns
    bool Named = false;

    [[nodiscard]] bool IsDue() const { return !Named || What.Last > Until || What.Count.value_or(0) > Count; }
  };

  void AddLoss(const Loss& loss, unsigned char busType);
  void AddLossesBefore(unsigned long time);
  void AddMarksOfOthers();
  void FindNextLoss();
  [[nodiscard]] unsigned char BusOf(unsigned int channel) const;

  LineFile File;
  const RowComposer Rows;
  Description Described;
  RowOrigin Origin;
  std::vector<Told> Losses;
  LossLedger Marks;               // overrun marks of the entries
  unsigned long NextLoss = ~0ul;  // ns: entries after it come behind a row of a loss
  unsigned long Entries = 0;
  unsigned long LossRows = 0;
};

}  // namespace client
