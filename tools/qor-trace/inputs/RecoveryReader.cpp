#include "inputs/RecoveryReader.h"

#include <fcntl.h>
#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <utility>

#include "inputs/BinReader.h"
#include "inputs/Inputs.h"
#include "system/Descriptor.h"
#include "system/Failure.h"
#include "system/FileLock.h"

namespace client {

namespace {

/// Nobody recovers what is still being recorded.
void RefuseLocked(const std::string& path) {
  const Descriptor file(open(path.c_str(), O_RDWR | O_CLOEXEC | O_NONBLOCK));
  if (file.IsOpen() && IsLocked(file.Get()))
    throw Failure(fmt::format("\"{}\" is still being written by {}", path, HolderOf(file.Get())));
}

/// The bytes by which two records are the same. Those of a swap file may have their relative times.
std::string KeyOf(const RecordView& record) {
  std::string bytes(record.Bytes().begin(), record.Bytes().end());
  std::memset(bytes.data() + offsetof(Qor_Trace_Entry_t, RelativeTimestamp), 0, sizeof(long));
  return bytes;
}

}  // namespace

bool IsNameOfPart(const std::string& path) {
  const std::filesystem::path file(path);
  const std::string name = file.filename().string();
  const std::string folder = std::filesystem::absolute(file).parent_path().filename().string();
  return name.ends_with(".part") || name.find(".part.mf4") != std::string::npos ||
         name.find(".part_") != std::string::npos || folder.starts_with(".qor-trace-swap-");
}

RecoveryReader::RecoveryReader(const std::vector<std::string>& paths) {
  for (const std::string& path : paths) {
    RefuseLocked(path);
    Inputs.push_back({.Path = path, .Source = OpenDamagedInput(path)});
  }
  const bool allRaw = std::all_of(Inputs.begin(), Inputs.end(), [](const Input& input) {
    return dynamic_cast<const BinReader*>(input.Source.get()) != nullptr;
  });
  if (Inputs.size() > 1 && !allRaw)
    throw UsageError(
        "Several files are recovered together only if all are raw records (.bin, .bin.part, swap files); "
        "recover the others one by one");
}

void RecoveryReader::Attend(Attendance attendance) {
  for (Input& input : Inputs) input.Source->Attend(attendance);
}

bool RecoveryReader::Stopped() const {
  return std::any_of(Inputs.begin(), Inputs.end(), [](const Input& input) { return input.Source->Stopped(); });
}

const RecordView* RecoveryReader::Next() {
  if (Count == 0 && Handed == nullptr)
    for (Input& input : Inputs) Advance(input);
  for (;;) {
    if (Handed != nullptr) Advance(*Handed);
    Handed = Earliest();
    if (Handed == nullptr) break;
    if (Inputs.size() > 1 && !IsNew(*Handed)) continue;
    Latest = std::max(Latest, Handed->Head->Timestamp());
    ++Count;
    return Handed->Head;
  }
  if (!Stopped()) Conclude();
  return nullptr;
}

void RecoveryReader::Advance(Input& input) {
  try {
    input.Head = input.Source->Next();
  } catch (const Failure& failure) {
    input.Head = nullptr;
    Seen.AtByte(FindingKind::Unread, fmt::format("the rest of a file: {}", failure.what()), input.Source->Position());
  }
}

RecoveryReader::Input* RecoveryReader::Earliest() {
  Input* earliest = nullptr;
  for (Input& input : Inputs) {
    if (input.Head == nullptr) continue;
    if (earliest == nullptr || input.Head->Timestamp() < earliest->Head->Timestamp()) earliest = &input;
  }
  return earliest;
}

/// Of records that are the same, as many are handed out as the file has that has most of them.
bool RecoveryReader::IsNew(Input& input) {
  if (input.Head->Timestamp() != Moment) {
    Moment = input.Head->Timestamp();
    HandedAtThisTime.clear();
    for (Input& each : Inputs) each.AtThisTime.clear();
  }
  const auto key = KeyOf(*input.Head);
  const unsigned int had = ++input.AtThisTime[key];
  unsigned int& handed = HandedAtThisTime[key];
  if (had <= handed) return false;
  handed = had;
  return true;
}

/// What was missing, and from when on.
void RecoveryReader::Conclude() {
  if (std::exchange(Concluded, true)) return;
  bool cut = false;
  for (const Input& input : Inputs) {
    Seen.Append(input.Source->Found());
    cut = cut || IsNameOfPart(input.Path) || !input.Source->Describe().Complete;
  }
  if (!cut && !Seen.Lossy()) return;
  Seen.Add(FindingKind::CutOff, "the recording: what came after its last entry is missing",
           fmt::format("{}.{:09} s", Latest / 1000000000, Latest % 1000000000));
}

Description RecoveryReader::Describe() const {
  Description description = Inputs.front().Source->Describe();
  for (const Input& input : Inputs) {
    const Description other = input.Source->Describe();
    if (!description.Anchor && description.Channels.empty() && (other.Anchor || !other.Channels.empty()))
      description = other;
  }
  const bool parts =
      std::any_of(Inputs.begin(), Inputs.end(), [](const Input& input) { return IsNameOfPart(input.Path); });
  description.Complete = description.Complete && !parts && !Seen.Lossy();
  return description;
}

unsigned long RecoveryReader::LossesKnown() const {
  unsigned long sum = 0;
  for (const Input& input : Inputs) sum += input.Source->LossesKnown();
  return sum;
}

std::vector<std::string> RecoveryReader::Notes() const {
  std::vector<std::string> all;
  for (const Input& input : Inputs)
    for (std::string& note : input.Source->Notes()) all.push_back(std::move(note));
  return all;
}

std::vector<std::string> RecoveryReader::Remarks() const {
  std::vector<std::string> all;
  for (const Input& input : Inputs)
    for (std::string& remark : input.Source->Remarks()) all.push_back(std::move(remark));
  return all;
}

unsigned long RecoveryReader::Position() const {
  unsigned long sum = 0;
  for (const Input& input : Inputs) sum += input.Source->Position();
  return sum;
}

unsigned long RecoveryReader::Size() const {
  unsigned long sum = 0;
  for (const Input& input : Inputs) sum += input.Source->Size();
  return sum;
}

}  // namespace client
