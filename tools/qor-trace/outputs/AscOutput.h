// ASC text as an output, written with the library's line writer.
#ifndef QOR_TRACE_ASCOUTPUT_H
#define QOR_TRACE_ASCOUTPUT_H

#include <array>
#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "export/Qor_Trace_Export_ASC.h"
#include "outputs/OutputFile.h"
#include "outputs/Outputs.h"
#include "stream/CycleTimes.h"

namespace client {

/// Why the library's writer has no line for an entry.
enum class AscOmission {
  Ethernet,   // no frame
  Malformed,  // an unknown bus, a LIN entry that readers are to skip
};
constexpr std::size_t AscOmissionCount = 2;

/// @param length  bytes at `record`, at least 28
/// @return nothing for an entry that has a line
std::optional<AscOmission> AscOmissionOf(const unsigned char* record, unsigned int length);

/// The files of an ASC log. Each is called NAME.part until it is complete; when a write fails it stays under that name, cut
/// behind the last whole line, and nothing more is taken.
class AscFiles : public Qor_Trace_AscTarget {
 public:
  /// @param toStandardOutput  in place of files
  explicit AscFiles(bool toStandardOutput) : ToStandardOutput(toStandardOutput) {}

  void Begin(const std::string& name) override;
  void Write(std::string_view text) override;
  void End() override;
  /// The file that is open stays incomplete.
  void GiveUp() { GivenUp = true; }

  bool Usable() const { return File && File->Usable() && Sentence.empty(); }
  /// The sentence that says what failed; empty if nothing did.
  const std::string& Error() const { return File && Sentence.empty() ? File->Error() : Sentence; }
  /// Of the complete files.
  const std::vector<std::string>& Names() const { return CompleteNames; }

 private:
  void Fail(int error, std::string_view written);

  const bool ToStandardOutput;
  std::unique_ptr<OutputFile> File;
  unsigned long Bytes = 0;  // of the open file
  unsigned long Lines = 0;  // likewise
  bool GivenUp = false;
  std::vector<std::string> CompleteNames;
  std::string Sentence;
};

/// Writes NAME.asc, or a series NAME.asc, NAME_1.asc, ... of limited size, with the bytes of the library's own export.
///
/// Relative times are those since the entry of the same message before, computed here: the records don't tell them.
///
/// Threads: one. Memory: 256 KiB.
class AscOutput : public StreamOutput {
 public:
  /// @param path  of the file; empty: standard output
  /// Failure:     Failure when the file can't be made.
  AscOutput(const std::string& path, const AscOptions& options);
  /// Brings what was composed to the file, which stays incomplete without Finish.
  ~AscOutput() override;
  AscOutput(const AscOutput&) = delete;
  AscOutput& operator=(const AscOutput&) = delete;

  bool Take(const unsigned char* record, unsigned int length) override;
  /// Writes what is left, to a file that isn't live once a second at the most. A failure shows at the next entry.
  void Pause() override;
  bool Finish() override;

  const std::string& Error() const override { return Files.Error(); }
  std::string ShortfallText() const override;
  void AddJson(nlohmann::json& json) const override;

 private:
  const unsigned char* WithRelativeTime(const unsigned char* record, unsigned int length);

  const bool Relative;
  const bool UpToDate;  // with every pause
  AscFiles Files;
  Qor_Trace_Export_ASC Writer;
  CycleTimes Cycles;
  std::vector<unsigned char> Record;  // with its relative time
  std::array<unsigned long, AscOmissionCount> Omitted{};
  std::chrono::steady_clock::time_point Flushed;
};

}  // namespace client

#endif  // QOR_TRACE_ASCOUTPUT_H
