#include "outputs/MdfOutput.h"

#include <fmt/format.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <nlohmann/json.hpp>

#include "stream/KindText.h"
#include "stream/LossComment.h"
#include "stream/LossWords.h"
#include "system/Failure.h"
#include "system/Host.h"
#include "system/Units.h"

namespace client {

namespace {

constexpr const char* kExtension = ".mf4";
constexpr std::chrono::seconds kFlushInterval{1};
constexpr unsigned int kWorkers = 2;                        // threads that pack
constexpr unsigned char kMarker = 2;                        // kind of an event: an interruption has no name
constexpr unsigned char kError = 1;                         // its cause
constexpr unsigned long kBetweenLossMarks = 1'000'000'000;  // ns
constexpr unsigned long kFlushCheck = 4096;                 // records between two looks at the clock

constexpr unsigned long kBeforeStart = 1000000000;  // ns that entries may lie before the start of the recording

// In the order of MdfOmission.
constexpr const char* kOmissions[] = {
    "Ethernet entries",
    "CAN log-trigger events",
    "LIN trigger events",
    "LIN entries with an overrun mark",
    "FlexRay status items",
    "malformed entries",
    "Ethernet records that are no frames",
};
static_assert(std::size(kOmissions) == static_cast<size_t>(MdfOmission::EthernetRecord) + 1);

/// What the library's own export has no group for.
std::optional<MdfOmission> ExportOmissionOf(const RecordView& record) {
  if (record.Bus() == BusType_Ethernet) return MdfOmission::Ethernet;
  switch (record.Kind()) {
    case RecordKind::CanEvent:
      return MdfOmission::CanEvent;
    case RecordKind::LinEvent:
      return MdfOmission::LinEvent;
    case RecordKind::LinFrame:
    case RecordKind::LinNoResponse:
    case RecordKind::LinWakeUp:
      return record.HasOverrunMark() ? std::optional(MdfOmission::LinOverrun) : std::nullopt;
    default:
      return std::nullopt;
  }
}

std::string Base(const std::string& path) { return path.substr(0, path.size() - std::string_view(kExtension).size()); }
std::string PartBase(const std::string& path) { return Base(path) + ".part"; }

unsigned int LimitInKiB(const MdfOptions& options) {
  return static_cast<unsigned int>(options.Split.value_or(0) / 1024);
}

/// "qor-trace 1.2.3" as its two parts.
std::pair<std::string, std::string> ProgramAndVersion(const std::string& tool) {
  const size_t blank = tool.rfind(' ');
  if (blank == std::string::npos) return {tool, ""};
  return {tool.substr(0, blank), tool.substr(blank + 1)};
}

/// @param zero  time of entries at which the file's times begin, ns
RecordingInfo RecordingInfoOf(const Description& description, unsigned long zero) {
  const auto [tool, version] = ProgramAndVersion(description.Tool.empty() ? ToolName() : description.Tool);
  RecordingInfo info{.Title = description.Title,
                     .Tool = tool,
                     .ToolVersion = version,
                     .Host = description.Host,
                     .System = description.System,
                     .Machine = description.Machine,
                     .Start = description.Anchor ? description.Anchor->Utc : 0};
  for (const ChannelDescription& channel : description.Channels) {
    if (!channel.BusType) continue;
    info.Channels.push_back({.BusChannel = channel.Number,
                             .BusType = *channel.BusType,
                             .Name = channel.Name,
                             .Source = channel.Source,
                             .Hardware = channel.Hardware,
                             .Filter = channel.Filter,
                             .BitRate = channel.BitRate,
                             .DataBitRate = channel.DataBitRate});
  }
  for (const Loss& loss : description.Losses) {
    info.Losses.push_back({.BusChannel = loss.Channel,
                           .Cause = CauseText(loss.Cause),
                           .First = loss.First - std::min(loss.First, zero),
                           .Last = loss.Last - std::min(loss.Last, zero),
                           .Count = loss.Count});
  }
  return info;
}

}  // namespace

std::optional<MdfOmission> MdfOmissionOf(const RecordView& record, bool asExported) {
  if (asExported)
    if (const auto omission = ExportOmissionOf(record)) return omission;
  switch (record.Kind()) {
    case RecordKind::EthernetRecord:
      return MdfOmission::EthernetRecord;
    case RecordKind::FlexRayStatus:
      return MdfOmission::FlexRayStatus;
    case RecordKind::Unknown:
      return MdfOmission::Malformed;
    default:
      return std::nullopt;
  }
}

MdfOutput::MdfOutput(const std::string& path, const MdfOptions& options)
    : Path(path),
      Options(options),
      Series({Base(path), kExtension}, {PartBase(path), kExtension},
             options.Split ? PartSeries::Length::Several : PartSeries::Length::One),
      File(PartBase(path), 0, LimitInKiB(options)),
      Omitted(kOmissions),
      FlushPace(kFlushInterval) {
  if (!File.is_open() || (Options.Split && !ClaimNext())) {
    if (Sentence.empty()) Sentence = fmt::format("Cannot write \"{}\": {}", Path, ErrnoText(errno));
    Series.Discard();
    throw Failure(Sentence);
  }
  (void)File.Workers_Set(kWorkers);  // without them it takes longer, and no more
  File.StartTime_Reset(0, true);     // events are on the entries' clock
  if (!Options.AsExported) (void)File.Convention_Set(BusConvention::kStandard);  // the file has no bus yet
}

MdfOutput::~MdfOutput() {
  Series.DiscardNext();
  if (!Start && !Finished) Series.Discard();
}

void MdfOutput::Describe(const Description& description) {
  Times = TimesOf(description);
  if (Options.AsExported) return;
  Untold.Describe(description.Losses);
  File.Recording_Set(RecordingInfoOf(description, Zero));
}

bool MdfOutput::Take(const RecordView& record) {
  if (!Sentence.empty()) return false;
  if (!Start) Begin();
  Latest = std::max(Latest, InFile(record.Timestamp()));
  MarkLossesBefore(record);
  if (const auto omission = MdfOmissionOf(record, Options.AsExported)) {
    Omitted.Count(*omission);
    return true;
  }
  if (Buses.emplace(record.ChannelId(), record.Bus()).second && !File.Bus_Add(record.ChannelId(), record.Bus())) {
    Fail();
    return false;
  }
  return Insert(record);
}

void MdfOutput::Begin() {
  Zero = Times.Start - std::min(Times.Start, kBeforeStart);
  Start = Times.IsKnown() ? Times.UtcOf(Zero) : 0;
  File.StartTime_Reset(*Start, false);
}

/// Once a second of the file at most: a loss may go on for long, and what is added to it comes with the next mark.
void MdfOutput::MarkLossesBefore(const RecordView& record) {
  if (record.HasOverrunMark()) Untold.Shown(record);
  const unsigned long time = InFile(record.Timestamp());
  if (time < NextLossMark) return;
  const std::vector<Loss> losses = Untold.Before(record);
  if (losses.empty()) return;
  MarkLosses(losses);
  NextLossMark = time + kBetweenLossMarks;
}

void MdfOutput::MarkLosses(const std::vector<Loss>& losses) {
  for (Loss loss : losses) {
    loss.First = InFile(loss.First);
    loss.Last = InFile(loss.Last);
    const auto bus = Buses.lower_bound({loss.Channel, 0});
    if (bus != Buses.end() && bus->first == loss.Channel)
      File.Event(LossComment(BusName(bus->second), loss), kMarker, kError, loss.First, loss.Channel, bus->second);
    else
      File.Event(LossComment("channel", loss), kMarker, kError, loss.First);
  }
}

unsigned long MdfOutput::InFile(unsigned long time) const { return time - std::min(time, Zero); }

bool MdfOutput::Insert(const RecordView& record) {
  Entry.assign(record.Bytes().begin(), record.Bytes().end());
  const unsigned long time = InFile(record.Timestamp());
  std::memcpy(Entry.data() + offsetof(Qor_Trace_Entry_t, Timestamp), &time, sizeof time);
  errno = 0;
  const bool inserted = File.Data_Insert(*reinterpret_cast<Qor_Trace_Entry_t*>(Entry.data()));
  const int error = errno;
  if (File.FileName() != Series.Current().PartName()) NextFile();
  errno = error;
  if (!inserted && Sentence.empty()) Fail();
  CollectedBytes += record.Length();
  if (inserted && ++Records % kFlushCheck == 0) Pause();
  return Sentence.empty();
}

void MdfOutput::Pause() {
  if (Sentence.empty() && Records != FlushedRecords && FlushPace.IsDue()) Flush();
}

void MdfOutput::WriteOut(std::vector<WrittenFile>& files) {
  if (!Sentence.empty()) return;
  Flush();
  FlushPace.Restart();
  if (Sentence.empty()) files.push_back(Series.Current().Written());
}

void MdfOutput::FailToKeep(int error) {
  Sentence =
      fmt::format("Cannot put \"{}\" on the disk: {}. What the disk has kept is in \"{}\", marked as unfinalized", Path,
                  ErrnoText(error), Series.Current().PartName());
}

void MdfOutput::Settle() {
  if (Sentence.empty()) Flush();
}

void MdfOutput::Flush() {
  errno = 0;
  if (!File.File_FlushData()) Fail();
  FlushedRecords = Records;
  CollectedBytes = 0;
  struct stat status {};
  if (fstat(Series.Current().File(), &status) == 0) FlushedBytes = static_cast<unsigned long>(status.st_size);
}

bool MdfOutput::Finish() {
  if (!Sentence.empty()) return false;
  errno = 0;
  if (!Start) Begin();  // of an empty recording
  MarkLosses(Untold.Rest());
  if (!File.File_Close(Latest)) Fail();
  Series.DiscardNext();
  if (Sentence.empty()) Sentence = Series.CompleteCurrent(Previous);
  Finished = true;
  return Sentence.empty();
}

/// The library has closed a file and goes on with the next.
void MdfOutput::NextFile() {
  Sentence = Series.CompleteCurrent(Previous);
  if (Sentence.empty()) ClaimNext();
}

bool MdfOutput::ClaimNext() {
  try {
    Series.ClaimNext();
  } catch (const Failure& failure) {
    Sentence = failure.what();
  }
  return Sentence.empty();
}

void MdfOutput::Fail() {
  Sentence =
      fmt::format("Cannot write \"{}\": {}. What was in the file before that is in \"{}\", marked as unfinalized", Path,
                  errno != 0 ? ErrnoText(errno) : "the file takes no more", Series.Current().PartName());
}

std::string MdfOutput::ShortfallText() const { return Omitted.Text("the format has no place for them"); }

void MdfOutput::AddJson(nlohmann::json& json) const {
  json["omitted"] = Omitted.ByName();
  json["records"] = Records;
  json["files"] = Series.Names();
  if (const auto older = Series.OlderFiles(); !older.empty()) json["older_files"] = older;
  json["start_time_ns"] = Start ? nlohmann::json(*Start) : nlohmann::json();
}

}  // namespace client
