#include "outputs/AscWriter.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <nlohmann/json.hpp>

#include "outputs/AscText.h"
#include "stream/KindText.h"
#include "stream/LossComment.h"
#include "system/Failure.h"
#include "system/Units.h"

namespace client {

namespace {

constexpr size_t kCapacity = size_t{256} * 1024;  // bytes
static_assert(kMostAscRoom <= kCapacity);

std::string HeaderOf(const AscOptions& options, const std::string& date, const std::string& previous) {
  return fmt::format(
      "date {0}\n"
      "base {1}  timestamps {2}\n"
      "internal events logged\n"
      "// version 8.1.0\n"
      "{3}"
      "Begin Triggerblock {0}\n",
      date, options.Decimal ? "dec" : "hex", options.Relative ? "relative" : "absolute", previous);
}

}  // namespace

AscWriter::AscWriter(const std::string& path, const AscOptions& options)
    : Path(path),
      Options(options),
      Style{.Decimal = options.Decimal, .Decimals = options.Decimals.value_or(6)},
      UpToDate(options.Live || path.empty()),
      Series(AscSeriesOf(path, options)),
      Limit(options.Split.value_or(kLongestLiveAsc)),
      Files(path.empty()),
      Buffer(new char[kCapacity]) {
  Files.Begin(FileName(0));
  if (!Files.Usable()) throw Failure(Files.Error());
}

AscWriter::~AscWriter() {
  if (Clock) {
    Flush();
    Files.GiveUp();
  } else {
    Files.Discard();
  }
}

void AscWriter::Describe(const Description& description) {
  Described = description;
  Untold.Describe(description.Losses);
}

bool AscWriter::Take(const RecordView& record) {
  if (!Files.Usable()) return false;
  if (!Clock) Begin();
  if (FileIsFull()) BeginNextFile();
  AppendLosses(Untold.Before(record));
  if (record.HasOverrunMark()) Untold.Shown(record);
  const AscTime time = Clock->Next(record.Timestamp());
  char* const begin = Room(AscRoom(record));
  const ComposedLine line = ComposeAscLine(Style, record, time, begin);
  if (line.End == begin || *begin == '/') Clock->TakeBack();
  Used = static_cast<size_t>(line.End - Buffer.get());
  LatestTime = time.SinceStart;
  FileHasEntries = true;
  if (line.Omission) Omitted.Count(*line.Omission);
  return Files.Usable();
}

void AscWriter::Pause() {
  if (Files.Usable() && (UpToDate || FlushPace.IsDue())) Flush();
}

void AscWriter::WriteOut(std::vector<WrittenFile>& files) {
  if (!Files.Usable()) return;
  Flush();
  FlushPace.Restart();
  Files.AddTo(files);
}

void AscWriter::Settle() {
  if (!Files.Usable()) return;
  Flush();
  Files.Settle();
}

bool AscWriter::Finish() {
  if (!Files.Usable()) return false;
  if (!Clock) Begin();  // even a log without entries has a header
  AppendLosses(Untold.Rest());
  EndFile();
  return Error().empty();
}

/// The place for whole lines of up to that many bytes.
char* AscWriter::Room(size_t bytes) {
  if (kCapacity - Used < bytes) Flush();
  return Buffer.get() + Used;
}

void AscWriter::Append(const std::string& text) {
  std::memcpy(Room(text.size()), text.data(), text.size());
  Used += text.size();
}

void AscWriter::AppendLosses(const std::vector<Loss>& losses) {
  for (Loss loss : losses) {
    const ChannelDescription* const channel = FindChannel(Described, loss.Channel);
    loss.First = Clock->SinceDate(loss.First);
    loss.Last = Clock->SinceDate(loss.Last);
    Append(fmt::format(
        "// {}\n", LossComment(channel != nullptr && channel->BusType ? BusName(*channel->BusType) : "channel", loss)));
  }
}

void AscWriter::Flush() {
  if (Used == 0) return;
  Files.Write({Buffer.get(), Used});
  Written += Used;
  Used = 0;
}

void AscWriter::Begin() {
  const TimeBase times = TimesOf(Described);
  Clock.emplace(AscStart{times.Start, times.Utc.value_or(0)}, Style.Decimals, Options.Relative);
  BeginFile();
}

/// Composes the header of the open file.
void AscWriter::BeginFile() {
  std::string previous;
  if (FileNumber > 0) {
    char text[32];
    const std::string_view time(text, static_cast<size_t>(asc::Seconds(text, LatestTime, Style.Decimals) - text));
    previous = fmt::format("// {} previous log file: {}\n", time, FileName(FileNumber - 1));
  }
  Append(HeaderOf(Options, Clock->Date(), previous));
}

void AscWriter::EndFile() {
  Append("End TriggerBlock\n");
  Flush();
  Files.End();
}

/// A header alone fills no file, however long the name in it.
bool AscWriter::FileIsFull() const { return Series && FileHasEntries && Written + Used > Limit; }

void AscWriter::BeginNextFile() {
  EndFile();
  if (!Files.Usable()) return;
  Files.Begin(FileName(++FileNumber));
  Written = 0;
  FileHasEntries = false;
  Clock->BeginFile();
  BeginFile();
}

std::string AscWriter::FileName(unsigned long number) const { return Series ? Series->Of(number) : Path; }

std::vector<std::string> AscWriter::OlderInSeries() const {
  return Series ? OlderFiles(*Series, Files.Names().size()) : std::vector<std::string>();
}

std::string AscWriter::ShortfallText() const {
  std::string text = Omitted.Text(kWhyOmittedFromAsc);
  if (const unsigned long early = Clock ? Clock->BeforeDate() : 0; early > 0)
    text += fmt::format("{} the times of {} before the start, written as 0", text.empty() ? "," : "; also",
                        FormatCount(early, "entry", "entries"));
  return text;
}

void AscWriter::AddJson(nlohmann::json& json) const {
  json["omitted"] = Omitted.ByName();
  if (Clock && Clock->BeforeDate() > 0) json["before_start"] = Clock->BeforeDate();
  json["files"] = Files.Names();
  if (const auto older = OlderInSeries(); !older.empty()) json["older_files"] = older;
}

}  // namespace client
