#include "inputs/MdfReader.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <utility>

#include "system/Failure.h"

namespace client {

namespace {

constexpr unsigned long kAsk = 1024;  // records between two looks at whether to go on
constexpr const char* kStandardInput = "/dev/stdin";
constexpr std::string_view kExtension = ".mf4";

/// Is it a later file of the series that begins with `first`?
bool Continues(const std::string& path, const MdfPart& first) {
  try {
    MdfBlocks file(path);
    return ReadMdfHead(file).Start == first.Head().Start;
  } catch (const Failure&) {
    return false;
  }
}

}  // namespace

MdfReader::MdfReader(const std::string& path) {
  Open(path == "-" ? kStandardInput : path);
  Paths.push_back(path);
  Known.Complete = true;
  FindSeries();
}

void MdfReader::Open(const std::string& path) {
  Part = std::make_unique<MdfPart>(path, Channels, Seen);
  ++Opened;
  Known.Losses.clear();  // the last file knows of all
  Part->AddTo(Known);
  if (Opened == 1) AllSize = Part->File().Size();
  if (Part->IsMixed() && !Order) Order.emplace(InOrder, TooLate);
  if (Part->File().IsFinalized()) return;
  Complete = false;
  Seen.AtByte(FindingKind::CutOff, "a file that isn't finalized: its recording was cut off", Part->File().Size());
}

/// Files of a recording that was split are NAME.mf4, NAME_1.mf4, ...
void MdfReader::FindSeries() {
  const std::string first = Paths.front();
  if (!first.ends_with(kExtension) || !Part->File().IsFinalized()) return;
  const std::string stem = first.substr(0, first.size() - kExtension.size());
  for (unsigned long number = 1;; ++number) {
    const std::string next = fmt::format("{}_{}{}", stem, number, kExtension);
    std::error_code missing;
    const auto size = std::filesystem::file_size(next, missing);
    if (missing || !Continues(next, *Part)) return;
    AllSize += size;
    Paths.push_back(next);
  }
}

std::vector<std::string> MdfReader::Remarks() const {
  if (!Part || !Part->Head().IsLocalTime) return {};
  return {fmt::format("\"{}\" says when it began in the local time of some zone; it is taken for UTC", Paths.front())};
}

std::vector<std::string> MdfReader::Notes() const {
  std::vector<std::string> notes;
  if (Paths.size() > 1)
    notes.push_back(fmt::format("\"{}\" is the first of {} files of one recording, which are read as one",
                                Paths.front(), Paths.size()));
  if (const std::string renumbered = Channels.RenumberedText(); !renumbered.empty())
    notes.push_back(fmt::format("\"{}\" numbers each kind of bus by itself: {}", Paths.front(), renumbered));
  return notes;
}

bool MdfReader::MayGoOn() {
  if (!Ended && Count % kAsk == 0 && Present.MayGoOn && !Present.MayGoOn()) Ended = true;
  return !Ended;
}

const RecordView* MdfReader::Next() {
  if (!MayGoOn()) return nullptr;
  const RecordView* record = Order ? NextInOrder() : NextOfParts();
  if (record != nullptr) ++Count;
  return record;
}

const RecordView* MdfReader::NextOfParts() {
  while (!AllRead) {
    if (const RecordView* record = Part->Next()) return record;
    const auto& marked = Part->MarkedLosses();
    Marked.insert(Marked.end(), marked.begin(), marked.end());
    AllRead = Opened == Paths.size();
    if (AllRead) break;
    DoneBytes += Part->File().Size();
    Open(Paths[Opened]);
  }
  return nullptr;
}

const RecordView* MdfReader::NextInOrder() {
  if (Current) InOrder.Waiting.pop_front();
  Current.reset();
  while (InOrder.Waiting.empty() && !OrderFinished) {
    if (const RecordView* record = NextOfParts()) {
      (void)Order->Take(*record);  // the queue takes everything
      continue;
    }
    Order->Finish();
    OrderFinished = true;
    TellLate();
  }
  if (InOrder.Waiting.empty()) return nullptr;
  const auto& bytes = InOrder.Waiting.front();
  return &Current.emplace(bytes.data(), static_cast<unsigned int>(bytes.size()));
}

void MdfReader::TellLate() {
  for (const Loss& late : TooLate.All())
    Seen.Add(FindingKind::Odd,
             fmt::format("a record of channel {} that is much older than those before it", late.Channel),
             fmt::format("{} ns", late.First), late.Count.value_or(1));
}

Description MdfReader::Describe() const {
  Description description = Known;
  description.Complete = Complete && !Seen.Lossy();
  description.Losses.insert(description.Losses.end(), Marked.begin(), Marked.end());
  return description;
}

unsigned long MdfReader::Position() const {
  const unsigned long taken = Part ? std::min(Part->File().Taken(), Part->File().Size()) : 0;
  return std::min(DoneBytes + taken, AllSize);
}

}  // namespace client
