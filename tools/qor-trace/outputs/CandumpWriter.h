// candump text (.log) as an output.
#pragma once

#include <string>
#include <vector>

#include "outputs/LineFile.h"
#include "outputs/Omissions.h"
#include "outputs/StreamOutput.h"
#include "stream/TimeBase.h"

namespace client {

/// Writes CAN as the log files of can-utils have it, which their players and converters read. What isn't CAN is counted.
///
/// Threads: one. Memory: 256 KiB.
class CandumpWriter : public StreamOutput {
 public:
  /// @param path  of the file; empty: standard output
  /// Failure:     Failure when the file can't be made.
  explicit CandumpWriter(const std::string& path);

  void Describe(const Description& description) override { Times = TimesOf(description); }
  [[nodiscard]] bool Take(const RecordView& record) override;
  void Pause() override { File.Pause(); }
  void WriteOut(std::vector<WrittenFile>& files) override { File.WriteOut(files); }
  void FailToKeep(int error) override { File.FailToKeep(error); }
  [[nodiscard]] bool Finish() override { return File.Finish(); }
  void KeepExisting() override { File.KeepExisting(); }
  [[nodiscard]] unsigned long Size() const override { return File.Size(); }
  void Settle() override { File.Settle(); }

  [[nodiscard]] const std::string& Error() const override { return File.Error(); }
  [[nodiscard]] std::string ShortfallText() const override;
  void AddJson(nlohmann::json& json) const override;

 private:
  LineFile File;
  TimeBase Times;
  Omissions Omitted;
};

}  // namespace client
