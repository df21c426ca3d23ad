#include "outputs/ExportedAsc.h"

#include <nlohmann/json.hpp>

#include "qor_api_trace.h"
#include "record/RecordView.h"
#include "system/Failure.h"

namespace client {

namespace {

unsigned int FlagsOf(const std::string& path, const AscOptions& options) {
  unsigned int flags = 0;
  if (options.Decimal) flags |= QOR_TRACE_ASC_DECIMAL;
  if (options.Relative) flags |= QOR_TRACE_ASC_RELATIVE;
  if ((options.Split || options.Live) && !path.empty()) flags |= QOR_TRACE_ASC_SPLIT;
  return flags;
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

ExportedAsc::ExportedAsc(const std::string& path, const AscOptions& options)
    : Relative(options.Relative),
      UpToDate(options.Live || path.empty()),
      Series(AscSeriesOf(path, options)),
      Files(path.empty()),
      Writer(FlagsOf(path, options), path.c_str(), 0,
             static_cast<unsigned int>(options.Split.value_or(kLongestLiveAsc)), Files) {
  if (!Files.Usable()) throw Failure(Files.Error());
}

ExportedAsc::~ExportedAsc() {
  Writer.Flush();
  if (HasEntries) {
    Files.GiveUp();
  } else {
    Files.Discard();
  }
}

bool ExportedAsc::Take(const RecordView& record) {
  if (!Files.Usable()) return false;
  if (const auto omission = AscOmissionOf(record)) Omitted.Count(*omission);
  HasEntries = true;
  Writer.WriteEntry(Relative ? WithRelativeTime(record) : record.Entry());
  return Files.Usable();
}

const Qor_Trace_Entry_t& ExportedAsc::WithRelativeTime(const RecordView& record) {
  Record.assign(record.Bytes().begin(), record.Bytes().end());
  auto& entry = *reinterpret_cast<Qor_Trace_Entry_t*>(Record.data());
  entry.RelativeTimestamp = Cycles.Next(record);
  return entry;
}

void ExportedAsc::Pause() {
  if (Files.Usable() && (UpToDate || FlushPace.IsDue())) Writer.Flush();
}

void ExportedAsc::WriteOut(std::vector<WrittenFile>& files) {
  if (!Files.Usable()) return;
  Writer.Flush();
  FlushPace.Restart();
  Files.AddTo(files);
}

bool ExportedAsc::Finish() {
  if (!Files.Usable()) return false;
  Writer.EndFile();
  return Error().empty();
}

std::vector<std::string> ExportedAsc::OlderInSeries() const {
  return Series ? OlderFiles(*Series, Files.Names().size()) : std::vector<std::string>();
}

void ExportedAsc::AddJson(nlohmann::json& json) const {
  json["omitted"] = Omitted.ByName();
  json["files"] = Files.Names();
  if (const auto older = OlderInSeries(); !older.empty()) json["older_files"] = older;
}

}  // namespace client
