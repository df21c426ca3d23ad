// An output of incidents: a file for each.
#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "outputs/StreamOutput.h"
#include "stream/BlackBox.h"
#include "system/NamePattern.h"
#include "system/Pace.h"

namespace client {

/// A file of an incident.
struct IncidentFile {
  unsigned long Number = 1;
  std::string Path = {};
  bool Complete = false;
  std::string Error = {};  // empty: nothing is wrong with it
};

[[nodiscard]] nlohmann::json JsonOf(const IncidentFile& file);

/// Writes each incident to a file of its own, complete in itself: with the description of the recording, and the losses of its
/// time. One that can't be written is told, and leaves what was written as NAME.part; the next one is tried again. Nothing
/// that exists is replaced.
///
/// Threads: one. Memory: that of a writer, and a name for each incident.
class IncidentOutput : public StreamOutput {
 public:
  /// Makes the writer of a file.
  /// Failure: Failure when the file can't be made.
  using Make = std::function<std::unique_ptr<StreamOutput>(const std::string& path)>;
  /// Called with what goes wrong, a sentence each.
  using Complain = std::function<void(const std::string& sentence)>;

  /// @param path     see NamePattern
  /// @param minFree  bytes: an incident ends early, complete, before the disk has less
  IncidentOutput(const std::string& path, unsigned long minFree, Make make, Complain complain);

  /// The first number that no file has.
  [[nodiscard]] unsigned long FreeNumber() const { return Names.FreeNumber(); }

  void Begin(const Incident& incident);
  void End(const Incident& incident);

  void Describe(const Description& description) override;
  /// True, whatever becomes of the incident.
  [[nodiscard]] bool Take(const RecordView& record) override;
  void Pause() override;
  void WriteOut(std::vector<WrittenFile>& files) override;
  void FailToKeep(int error) override;
  [[nodiscard]] bool Finish() override;
  [[nodiscard]] const std::string& Error() const override { return NoError; }
  [[nodiscard]] unsigned long Size() const override { return ClosedBytes + (Writer ? Writer->Size() : 0); }
  void Settle() override;
  [[nodiscard]] std::string FilesText() const override;
  [[nodiscard]] std::string ShortfallText() const override;
  void AddJson(nlohmann::json& json) const override;

  /// Of the latest incident.
  [[nodiscard]] const IncidentFile& Latest() const { return Files.back(); }

 private:
  [[nodiscard]] std::string NewPath(const Incident& incident) const;
  void Open(const Incident& incident);
  void Complete(unsigned long to);
  void FailIfFailed();
  void Fail(std::string sentence);
  void EndIfDiskIsFull();
  void NoteClosed();
  [[nodiscard]] Description Own(unsigned long to) const;

  const std::string Path;
  const NamePattern Names;
  const std::string Folder;
  const unsigned long MinFree;
  const Make MakeWriter;
  const Complain Tell;
  const std::string NoError;
  Pace DiskChecks{std::chrono::milliseconds(100)};

  Description Known;                     // of the recording
  std::unique_ptr<StreamOutput> Writer;  // of the open incident; null: there is none, or it has failed
  std::string Id;                        // of the open incident
  std::string Title;
  unsigned long From = 0;        // ns
  unsigned long NewestTime = 0;  // ns, of the records so far
  std::vector<IncidentFile> Files;
  unsigned long ClosedBytes = 0;
  std::map<std::string, unsigned long> Omitted;  // what the format has no place for, by what it is
};

}  // namespace client
