#include "inputs/SeriesReader.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <filesystem>
#include <utility>

#include "system/Failure.h"
#include "system/Units.h"

namespace client {

namespace {

constexpr unsigned long kMostDisorder = 60'000'000'000;  // ns by which entries may come late

std::string MissingText(const NamePattern& names, const std::vector<std::string>& files) {
  const unsigned long first = names.NumberOf(files.front()), last = names.NumberOf(files.back());
  const unsigned long missing = last >= first ? last - first + 1 - std::min(last - first + 1, files.size()) : 0;
  if (first == 0 || missing == 0) return "";
  return fmt::format("; {} between them {} missing", FormatCount(missing, "file", "files"),
                     missing == 1 ? "is" : "are");
}

bool IsTheSame(const Loss& one, const Loss& other) {
  return one.Channel == other.Channel && one.Cause == other.Cause && one.Last == other.Last && one.Count == other.Count;
}

}  // namespace

SeriesReader::SeriesReader(const NamePattern& names, std::vector<std::string> files, Open open)
    : Files(std::move(files)), OpenFile(std::move(open)), Missing(MissingText(names, Files)) {
  for (const std::string& file : Files) {
    std::error_code unknown;
    const auto size = std::filesystem::file_size(file, unknown);
    if (!unknown) AllSize += size;
  }
  Part = OpenFile(Files.front());
  Opened = 1;
  if (const auto kind = Part->Kind()) SetKind(*kind);
}

const RecordView* SeriesReader::Next() {
  const RecordView* record = Part->Next();
  while (record == nullptr && !Part->Stopped() && Opened < Files.size()) record = FirstOfNext();
  if (record == nullptr) return nullptr;
  if (!Aligned) Align(*record);
  ++Count;
  return OnOneClock(*record);
}

/// Goes on with the next file, if that is one of the recording. Null where it isn't, or has no record.
const RecordView* SeriesReader::FirstOfNext() {
  const std::string& file = Files[Opened++];
  auto next = OpenFile(file);
  next->Attend(Present);
  const RecordView* const first = next->Next();
  Description known = next->Describe();
  if (first != nullptr) SetFirstTime(known, first->Timestamp());
  if (!Belongs(known)) {
    FoundBefore.Add(FindingKind::LeftOut, "a file of another recording among those of the series", file);
    BytesBefore += next->Size();
    return nullptr;
  }
  TakeKnown();
  Part = std::move(next);
  Aligned = false;
  LossesBefore += known.Losses.size() + 1;
  return first;
}

bool SeriesReader::Belongs(const Description& part) const {
  const Description before = Part->Describe();
  if (!part.Id.empty() && !before.Id.empty()) return part.Id == before.Id;
  const TimeBase times = TimesOf(part), timesBefore = TimesOf(before);
  if (!times.IsKnown() || !timesBefore.IsKnown()) return true;
  return *times.Utc + kMostDisorder >= *timesBefore.Utc;
}

/// What the file that was read has told.
void SeriesReader::TakeKnown() {
  Done = Describe();
  LossesBefore += Part->LossesKnown();
  BytesBefore += Part->Size();
  FoundBefore.Append(Part->Found());
}

/// Once the file's first record is known, its clock is.
void SeriesReader::Align(const RecordView& first) {
  const bool isFirst = !Done;
  Aligned = true;
  Description known = Part->Describe();
  SetFirstTime(known, first.Timestamp());
  const TimeBase times = TimesOf(known);
  if (isFirst) FirstTimes = times;
  const bool comparable = times.IsKnown() && FirstTimes.IsKnown();
  Shift = comparable ? (*times.Utc - times.Start) - (*FirstTimes.Utc - FirstTimes.Start) : 0;
}

const RecordView* SeriesReader::OnOneClock(const RecordView& record) {
  if (Shift == 0) return &Handout.emplace(record);
  Copy.assign(record.Bytes().begin(), record.Bytes().end());
  const unsigned long time = record.Timestamp() + Shift;
  std::memcpy(Copy.data() + offsetof(Qor_Trace_Entry_t, Timestamp), &time, sizeof time);
  return &Handout.emplace(Copy.data(), static_cast<unsigned int>(Copy.size()));
}

Description SeriesReader::Describe() const {
  Description known = Part->Describe();
  if (Done) known = With(*Done, known);
  known.Records.reset();
  return known;
}

Description SeriesReader::With(Description known, const Description& part) const {
  known.Complete = known.Complete && part.Complete;
  for (const ChannelDescription& channel : part.Channels)
    if (FindChannel(known, channel.Number) == nullptr) known.Channels.push_back(channel);
  std::sort(known.Channels.begin(), known.Channels.end(),
            [](const auto& left, const auto& right) { return left.Number < right.Number; });
  for (Loss loss : part.Losses) {
    loss.First += Shift;
    loss.Last += Shift;
    const bool isKnown = std::any_of(known.Losses.begin(), known.Losses.end(),
                                     [&](const Loss& other) { return IsTheSame(loss, other); });
    if (!isKnown) known.Losses.push_back(loss);
  }
  return known;
}

std::vector<std::string> SeriesReader::Notes() const {
  std::vector<std::string> notes = Part->Notes();
  notes.insert(notes.begin(), fmt::format("\"{}\" to \"{}\" are read as one recording of {}{}", Files.front(),
                                          Files.back(), FormatCount(Files.size(), "file", "files"), Missing));
  return notes;
}

const Findings& SeriesReader::Found() const {
  AllFound = FoundBefore;
  AllFound.Append(Part->Found());
  return AllFound;
}

void SeriesReader::Attend(Attendance attendance) {
  Present = attendance;
  Part->Attend(std::move(attendance));
}

std::unique_ptr<Reader> OpenSeries(const std::string& path, const SeriesReader::Open& open) {
  std::error_code ignored;
  if (path == "-" || std::filesystem::exists(path, ignored)) return nullptr;
  std::optional<NamePattern> names;
  try {
    names.emplace(path);
  } catch (const UsageError&) {
    return nullptr;  // a name with a percent sign, of a file that isn't there
  }
  std::vector<std::string> files = names->Files();
  if (files.empty()) return nullptr;
  return std::make_unique<SeriesReader>(*names, std::move(files), open);
}

}  // namespace client
