#include "outputs/MdfOutput.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <nlohmann/json.hpp>

#include "stream/KindText.h"
#include "system/Failure.h"
#include "system/Units.h"

namespace client {

namespace {

constexpr const char* kExtension = ".mf4";
constexpr std::chrono::seconds kFlushInterval{1};
constexpr unsigned long kFlushCheck = 4096;  // records between two looks at the clock

unsigned long Now() {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return static_cast<unsigned long>(std::chrono::duration_cast<std::chrono::nanoseconds>(now).count());
}

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

unsigned long ClockZero(unsigned long made, unsigned long now, unsigned long first) {
  if (first >= kWallClockFrom) return 0;
  if (first <= now - made) return made;
  return now - std::min(now, first);
}

MdfOutput::MdfOutput(const std::string& path, const MdfOptions& options)
    : Path(path),
      Options(options),
      Made(Now()),
      Series({Base(path), kExtension}, {PartBase(path), kExtension},
             options.Split ? PartSeries::Length::Several : PartSeries::Length::One),
      File(PartBase(path), Made, LimitInKiB(options)),
      Omitted(kOmissions),
      FlushPace(kFlushInterval) {
  if (!File.is_open() || (Options.Split && !ClaimNext())) {
    if (Sentence.empty()) Sentence = fmt::format("Cannot write \"{}\": {}", Path, ErrnoText(errno));
    Series.Discard();
    throw Failure(Sentence);
  }
  File.StartTime_Reset(0, true);  // events are on the entries' clock
  if (Options.AsExported) return;
  (void)File.Convention_Set(BusConvention::kStandard);  // the file has no bus yet
  RecordingInfo info;
  info.Tool = "qor-trace";
  info.ToolVersion =
      fmt::format("{}.{}.{}", QOR_API_TRACE_VERSION_MAJOR, QOR_API_TRACE_VERSION_MINOR, QOR_API_TRACE_VERSION_PATCH);
  SetRecording(info);
}

MdfOutput::~MdfOutput() {
  Series.DiscardNext();
  if (!Start && !Finished) Series.Discard();
}

void MdfOutput::SetRecording(const RecordingInfo& info) {
  if (Options.AsExported) return;
  Info = info;
  if (Info.Start == 0) Info.Start = Made;
  File.Recording_Set(Info);
}

// When they were lost isn't known here.
void MdfOutput::SetLost(const LostItems& itemsByChannel) {
  if (itemsByChannel.empty()) return;
  RecordingInfo info = Info;
  for (const auto& [channel, items] : itemsByChannel) {
    if (items == 0) continue;
    info.Losses.push_back(
        {.BusChannel = channel, .Cause = "capture buffer full", .First = First, .Last = Latest, .Count = items});
  }
  SetRecording(info);
}

bool MdfOutput::Take(const RecordView& record) {
  if (!Sentence.empty()) return false;
  if (!Start) Begin(record.Timestamp());
  Latest = std::max(Latest, record.Timestamp());
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

void MdfOutput::Begin(unsigned long firstTime) {
  First = firstTime;
  const unsigned long known = Options.FirstEntry.value_or(firstTime);
  Start =
      Options.FirstTime ? *Options.FirstTime - std::min(*Options.FirstTime, known) : ClockZero(Made, Now(), firstTime);
  File.StartTime_Reset(*Start, false);
}

bool MdfOutput::Insert(const RecordView& record) {
  Entry.assign(record.Bytes().begin(), record.Bytes().end());
  errno = 0;
  const bool inserted = File.Data_Insert(*reinterpret_cast<Qor_Trace_Entry_t*>(Entry.data()));
  const int error = errno;
  if (File.FileName() != Series.Current().PartName()) NextFile();
  errno = error;
  if (!inserted && Sentence.empty()) Fail();
  if (inserted && ++Records % kFlushCheck == 0) Pause();
  return Sentence.empty();
}

void MdfOutput::Pause() {
  if (!Sentence.empty() || Records == FlushedRecords || !FlushPace.IsDue()) return;
  errno = 0;
  if (!File.File_FlushData()) Fail();
  FlushedRecords = Records;
}

bool MdfOutput::Finish() {
  if (!Sentence.empty()) return false;
  errno = 0;
  if (!Start) File.StartTime_Reset(Made, false);  // of an empty recording
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
