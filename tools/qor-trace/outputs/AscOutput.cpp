#include "outputs/AscOutput.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <nlohmann/json.hpp>
#include <utility>

#include "qor_api_trace.h"
#include "record/RecordView.h"
#include "system/Failure.h"
#include "system/Units.h"

namespace client {

namespace {

constexpr unsigned long kLongestLive = 0xFFFFFFFF;  // bytes of a file of a live log

unsigned int FlagsOf(const std::string& path, const AscOptions& options) {
  unsigned int flags = 0;
  if (options.Decimal) flags |= QOR_TRACE_ASC_DECIMAL;
  if (options.Relative) flags |= QOR_TRACE_ASC_RELATIVE;
  if ((options.Split || options.Live) && !path.empty()) flags |= QOR_TRACE_ASC_SPLIT;
  return flags;
}

/// As the library names the files of a series: the number stands in front of the last dot of the path.
std::optional<SeriesName> SeriesOf(const std::string& path, const AscOptions& options) {
  if ((FlagsOf(path, options) & QOR_TRACE_ASC_SPLIT) == 0) return std::nullopt;
  SeriesName series{path.substr(0, path.rfind('.')), ""};
  series.Ending = path.substr(series.Stem.size());
  RefuseLeftOver({series.Stem, series.Ending + ".part"});
  return series;
}

// In the order of AscOmission.
constexpr const char* kOmissions[] = {"Ethernet entries that are no frames", "malformed entries"};
static_assert(std::size(kOmissions) == static_cast<size_t>(AscOmission::Malformed) + 1);

unsigned long CountLines(std::string_view text) {
  return static_cast<unsigned long>(std::count(text.begin(), text.end(), '\n'));
}

}  // namespace

std::optional<AscOmission> AscOmissionOf(const RecordView& record) {
  switch (record.Bus()) {
    case BusType_Can:
    case BusType_FlexRay:
      return std::nullopt;
    case BusType_Lin:
      return record.Lin().Reserved == 0 ? std::nullopt : std::optional(AscOmission::Malformed);
    case BusType_Ethernet:
      return record.Ethernet().Type == EthernetItemType::Frame ? std::nullopt : std::optional(AscOmission::Ethernet);
    default:
      return AscOmission::Malformed;
  }
}

void AscFiles::Begin(const std::string& name) {
  Bytes = Lines = 0;
  if (!Sentence.empty()) return;
  try {
    auto file = std::make_unique<OutputFile>(ToStandardOutput ? "" : name);
    (First ? Later : First) = std::move(file);
    if (ExistingAreKept) Current()->KeepExisting();
  } catch (const Failure& failure) {
    Sentence = failure.what();
  }
}

void AscFiles::Write(std::string_view text) {
  if (GivenUp || !Usable()) return;
  const size_t done = Current()->Write(reinterpret_cast<const unsigned char*>(text.data()), text.size());
  if (done < text.size()) return Fail(errno, text.substr(0, done));
  Bytes += done;
  Lines += CountLines(text);
}

/// @param written  what reached the file of the text that failed
void AscFiles::Fail(int error, std::string_view written) {
  const std::string_view whole = written.substr(0, written.rfind('\n') + 1);  // nothing without a line feed
  const unsigned long lines = Lines + CountLines(whole);
  Current()->Fail(error, Bytes + whole.size(), lines, FormatCount(lines, "line", "lines"));
}

void AscFiles::End() {
  if (GivenUp || !Usable()) return;
  if (!Current()->Complete()) {
    Sentence = Current()->Error();
    return;
  }
  if (!ToStandardOutput) CompleteNames.push_back(Current()->Path());
}

void AscFiles::Discard() {
  GiveUp();
  if (Current() != nullptr) Current()->Discard();
}

void AscFiles::KeepExisting() {
  ExistingAreKept = true;
  if (Current() != nullptr) Current()->KeepExisting();
}

AscOutput::AscOutput(const std::string& path, const AscOptions& options)
    : Relative(options.Relative),
      UpToDate(options.Live || path.empty()),
      Series(SeriesOf(path, options)),
      Files(path.empty()),
      Writer(FlagsOf(path, options), path.c_str(), 0, static_cast<unsigned int>(options.Split.value_or(kLongestLive)),
             Files),
      Omitted(kOmissions) {
  if (!Files.Usable()) throw Failure(Files.Error());
}

AscOutput::~AscOutput() {
  Writer.Flush();
  if (HasEntries) {
    Files.GiveUp();
  } else {
    Files.Discard();
  }
}

bool AscOutput::Take(const RecordView& record) {
  if (!Files.Usable()) return false;
  if (const auto omission = AscOmissionOf(record)) Omitted.Count(*omission);
  HasEntries = true;
  Writer.WriteEntry(Relative ? WithRelativeTime(record) : record.Entry());
  return Files.Usable();
}

const Qor_Trace_Entry_t& AscOutput::WithRelativeTime(const RecordView& record) {
  Record.assign(record.Bytes().begin(), record.Bytes().end());
  auto& entry = *reinterpret_cast<Qor_Trace_Entry_t*>(Record.data());
  entry.RelativeTimestamp = Cycles.Next(record);
  return entry;
}

void AscOutput::Pause() {
  if (Files.Usable() && (UpToDate || FlushPace.IsDue())) Writer.Flush();
}

bool AscOutput::Finish() {
  if (!Files.Usable()) return false;
  Writer.EndFile();
  return Error().empty();
}

std::vector<std::string> AscOutput::OlderInSeries() const {
  return Series ? OlderFiles(*Series, Files.Names().size()) : std::vector<std::string>();
}

std::string AscOutput::ShortfallText() const { return Omitted.Text("the format has no line for them"); }

void AscOutput::AddJson(nlohmann::json& json) const {
  json["omitted"] = Omitted.ByName();
  json["files"] = Files.Names();
  if (const auto older = OlderInSeries(); !older.empty()) json["older_files"] = older;
}

}  // namespace client
