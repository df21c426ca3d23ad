#include "outputs/SeriesOutput.h"

#include <fmt/format.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <utility>

#include "system/Failure.h"
#include "system/PartFile.h"
#include "system/Printable.h"
#include "system/Units.h"

namespace client {

namespace {

/// What is compressed can only be weighed by writing it out, which costs compression: so close to a limit it is reached.
constexpr unsigned long kCloseEnough = 64;  // parts of the limit

bool NeedsUtc(const SeriesPlan& plan, const NamePattern& names) {
  return names.HasTime() || plan.Grid != SplitGrid::FirstEntry;
}

}  // namespace

SeriesOutput::SeriesOutput(const std::string& path, const SeriesPlan& plan, Make make, const SeriesNews& news)
    : Path(path), Plan(plan), MakeWriter(std::move(make)), Names(NamePattern(path)), Kept(plan, news) {
  RefuseParts();
  if (Plan.Time) Periods.emplace(*Plan.Time, Plan.Grid);
  if (Names.Names().HasTime()) return;
  Writer = MakeNext(0);
  IsOpen = true;
}

/// In the middle of the series it would be too late to find them.
void SeriesOutput::RefuseParts() const {
  const std::vector<std::string> parts = Names.Names().Parts();
  if (!parts.empty()) PartFile(Path, parts.front()).Discard();  // says who is writing it, or that it is left over
}

void SeriesOutput::Describe(const Description& description) {
  Known = description;
  if (Known.Id.empty()) Known.Id = Id.empty() ? Id = MakeId() : Id;
  if (IsOpen) Writer->Describe(Own());
}

/// What the open file says of the recording.
/// @param seam  ns, where the next one begins
Description SeriesOutput::Own(std::optional<unsigned long> seam) const {
  Description own = Known;
  own.Losses = Losses.Of(Known.Losses, seam);
  if (seam) own.Complete = true;
  const TimeBase times = TimesOf(Known);
  const bool isFirst = File.Index <= 1;  // it begins with the recording
  if (isFirst || !times.IsKnown()) return own;
  own.Anchor->EntryTime = Start;
  own.Anchor->Utc = times.UtcOf(Start);
  return own;
}

bool SeriesOutput::Take(const RecordView& record) {
  if (!Sentence.empty()) return false;
  const unsigned long time = record.Timestamp();
  if (!Begun && !Begin(time)) return false;
  if (IsOver(time) && !GoOn(time)) return false;
  if (!Writer->Take(record)) {
    Sentence = Writer->Error();
    return false;
  }
  Note(record);
  return true;
}

/// With the first entry of all.
bool SeriesOutput::Begin(unsigned long first) {
  Begun = true;
  const TimeBase times = TimesOf(Known);
  if (NeedsUtc(Plan, Names.Names()) && !times.IsKnown()) {
    Sentence = fmt::format(
        "Cannot write the series \"{}\": it isn't known when its entries were recorded, so that its files can neither "
        "have "
        "times in their names nor follow the clock; say when the first entry was, with --start-time",
        Path);
    return false;
  }
  if (Periods) Periods->Begin(first, times);
  if (!IsOpen && !OpenFirst(first)) return false;
  Enter(first);
  return true;
}

bool SeriesOutput::OpenFirst(unsigned long time) {
  try {
    Writer = MakeNext(time);
    IsOpen = true;
    Writer->Describe(Own());
  } catch (const Failure& failure) {
    Sentence = failure.what();
  }
  return Sentence.empty();
}

std::unique_ptr<StreamOutput> SeriesOutput::MakeNext(unsigned long time) {
  File.Path = Names.Next(TimesOf(Known).UtcOf(time));
  auto writer = MakeWriter(File.Path);
  if (ExistingAreKept) writer->KeepExisting();
  return writer;
}

/// The open file begins with an entry.
void SeriesOutput::Enter(unsigned long time) {
  ++File.Index;
  File.Entries = 0;
  File.FirstTime = File.LastTime = Start = time;
  IsFull = false;
  Losses.BeginFile(time);
  if (Periods) PeriodEnd = Periods->EndAfter(time);
}

bool SeriesOutput::IsOver(unsigned long time) const {
  return File.Entries > 0 && (IsFull || (Periods && time >= PeriodEnd));
}

/// Closes the open file and goes on with the next.
bool SeriesOutput::GoOn(unsigned long seam) {
  const SeriesFile closing = File;
  std::unique_ptr<StreamOutput> next;
  std::string failed;
  try {
    next = MakeNext(seam);
  } catch (const Failure& failure) {
    failed = failure.what();
  }
  const std::string nextPath = std::exchange(File.Path, closing.Path);
  if (!Close(seam)) return false;
  Sentence = failed;
  if (!Sentence.empty()) return false;
  File.Path = nextPath;
  Writer = std::move(next);
  IsOpen = true;
  Enter(seam);
  try {
    Writer->Describe(Own());
  } catch (const Failure& failure) {
    Sentence = failure.what();
  }
  return Sentence.empty();
}

/// @param seam  ns, time of the first entry that isn't in it; nothing at the end of the recording
bool SeriesOutput::Close(std::optional<unsigned long> seam) {
  if (Begun) Writer->Describe(Own(seam));
  if (!Writer->Finish()) {
    Sentence = Writer->Error();
    return false;
  }
  Closed = AllSums();
  IsOpen = false;
  if (DescriptionError.empty()) DescriptionError = Writer->Error();
  if (seam) Losses.EndFile(Known.Losses, *seam);
  const TimeBase times = TimesOf(Known);
  if (times.IsKnown() && File.Entries > 0) {
    File.FirstUtc = times.UtcOf(File.FirstTime);
    File.LastUtc = times.UtcOf(File.LastTime);
  }
  File.Index = std::max(File.Index, 1ul);
  ClosedBytes += Kept.Add(File, Writer->FilesBeside());
  Kept.MakeRoom(0);
  return true;
}

void SeriesOutput::Note(const RecordView& record) {
  ++File.Entries;
  File.FirstTime = std::min(File.FirstTime, record.Timestamp());
  File.LastTime = std::max(File.LastTime, record.Timestamp());
  if (Plan.Size && !IsFull) IsFull = Reaches(*Plan.Size, 0);
  if (Plan.KeepSize && !Kept.Empty() && Reaches(*Plan.KeepSize, Kept.Bytes())) {
    const unsigned long margin = *Plan.KeepSize / kCloseEnough;
    Kept.MakeRoom(Writer->Size() + margin);
  }
}

/// Has the open file, together with other bytes, reached a limit?
bool SeriesOutput::Reaches(unsigned long limit, unsigned long others) {
  if (others + Writer->Size() < limit) return false;
  Writer->Settle();
  return others + Writer->Size() >= limit - limit / kCloseEnough;
}

void SeriesOutput::Pause() {
  if (!IsOpen || !Sentence.empty()) return;
  Writer->Pause();
  Sentence = Writer->Error();
}

void SeriesOutput::WriteOut(std::vector<WrittenFile>& files) {
  if (!IsOpen || !Sentence.empty()) return;
  Writer->WriteOut(files);
  Sentence = Writer->Error();
}

void SeriesOutput::FailToKeep(int error) {
  if (!Writer) return;  // no file was there to be kept
  Writer->FailToKeep(error);
  Sentence = Writer->Error();
}

void SeriesOutput::Settle() {
  if (IsOpen) Writer->Settle();
}

void SeriesOutput::Export(const LibraryExport& capture) {
  if (IsOpen) Writer->Export(capture);
}

void SeriesOutput::KeepExisting() {
  ExistingAreKept = true;
  if (IsOpen) Writer->KeepExisting();
}

void SeriesOutput::NoteCut(const Description& known, unsigned long latest) {
  if (!IsOpen) return;
  Known = known;
  Writer->NoteCut(Own(), latest);
}

/// A recording without entries is a file all the same, unless it would be called after its first one.
bool SeriesOutput::Finish() {
  if (!Sentence.empty()) return false;
  Finished = true;
  if (!IsOpen) return true;
  if (!Close(std::nullopt)) return false;
  Sentence = DescriptionError;
  return true;
}

SeriesOutput::Sums SeriesOutput::AllSums() const {
  Sums sums = Closed;
  if (!IsOpen) return sums;
  nlohmann::json own = nlohmann::json::object();
  Writer->AddJson(own);
  for (const auto& [name, value] : own.items()) {
    if (value.is_number_unsigned() && name != "start_time_ns") sums.Numbers[name] += value.get<unsigned long>();
    if (name != "omitted") continue;
    if (!sums.Omitted) sums.Omitted.emplace();
    for (const auto& [what, count] : value.items()) (*sums.Omitted)[what] += count.get<unsigned long>();
  }
  return sums;
}

std::string SeriesOutput::FilesText() const {
  if (Kept.Count() == 0) return Printable(Path);
  if (Kept.Count() == 1) return Printable(Kept.FirstName());
  return fmt::format("{} to {} ({})", Printable(Kept.FirstName()), Printable(Kept.LastName()),
                     FormatCount(Kept.Count(), "file", "files"));
}

std::string SeriesOutput::ShortfallText() const {
  const Sums sums = AllSums();
  std::string text;
  const auto omitted = sums.Omitted.value_or(std::map<std::string, unsigned long>());
  for (const auto& [what, count] : omitted)
    text += fmt::format("{}{} {}", text.empty() ? ", as its format has no place for them: " : ", ", count, what);
  if (const auto early = sums.Numbers.find("before_start"); early != sums.Numbers.end())
    text += fmt::format("{} the times of {} before the start of their file, written as 0",
                        text.empty() ? "," : "; also", FormatCount(early->second, "entry", "entries"));
  return text;
}

/// Files of the series that somebody else has written. Of an earlier, longer series of this name some stay.
std::vector<std::string> SeriesOutput::OtherFiles() const {
  const NamePattern& names = Names.Names();
  std::vector<std::string> others = names.Files();
  const unsigned long last = names.NumberOf(File.Path);
  std::erase_if(others, [&](const std::string& file) { return names.NumberOf(file) <= last; });
  return others;
}

std::string SeriesOutput::RemarkText() const {
  std::string text = Kept.Remark();
  const std::vector<std::string> others = Finished && Begun ? OtherFiles() : std::vector<std::string>();
  if (others.empty()) return text;
  if (!text.empty()) text += ". ";
  if (others.size() == 1)
    return text + fmt::format("\"{}\" is of an earlier, longer series, not of this run", others.front());
  return text + fmt::format("\"{}\" to \"{}\" are of an earlier, longer series, not of this run", others.front(),
                            others.back());
}

void SeriesOutput::AddJson(nlohmann::json& json) const {
  const Sums sums = AllSums();
  for (const auto& [name, value] : sums.Numbers) json[name] = value;
  if (sums.Omitted) json["omitted"] = *sums.Omitted;
  json["files"] = Kept.Names();
  json["deleted_files"] = Kept.Deleted();
  if (const auto others = OtherFiles(); Finished && Begun && !others.empty()) json["older_files"] = others;
}

}  // namespace client
