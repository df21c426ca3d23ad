#include "inputs/MergedReader.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <filesystem>

#include "inputs/Inputs.h"
#include "inputs/SeriesFiles.h"
#include "system/Failure.h"
#include "system/Units.h"

namespace client {

namespace {

bool IsAmong(const std::string& path, const std::vector<std::string>& files) {
  std::error_code ignored;
  return std::any_of(files.begin(), files.end(),
                     [&](const std::string& file) { return std::filesystem::equivalent(path, file, ignored); });
}

/// Whoever names all files of a series means each of them once. @return sentences that say so
std::vector<std::string> LeaveOutLaterFiles(std::vector<MergedInput>& inputs) {
  std::vector<std::string> notes;
  std::vector<std::string> leftOut;
  for (const MergedInput& input : inputs) {
    const auto first = std::find_if(inputs.begin(), inputs.end(), [&](const MergedInput& other) {
      const auto* const series = dynamic_cast<const SeriesFiles*>(other.Source.get());
      return series != nullptr && IsAmong(input.Name, series->LaterFiles());
    });
    if (first == inputs.end()) continue;
    leftOut.push_back(input.Name);
    notes.push_back(fmt::format("\"{}\" is read with \"{}\", the first file of its series", input.Name, first->Name));
  }
  std::erase_if(inputs, [&](const MergedInput& input) {
    return std::find(leftOut.begin(), leftOut.end(), input.Name) != leftOut.end();
  });
  return notes;
}

}  // namespace

std::unique_ptr<Reader> OpenInputs(const std::vector<std::string>& paths, ChannelMerging channels) {
  if (std::count(paths.begin(), paths.end(), "-") > 1)
    throw UsageError("Standard input can only be read once; leave one - out");
  std::vector<MergedInput> inputs;
  inputs.reserve(paths.size());
  for (const std::string& path : paths) inputs.push_back({path, OpenInput(path)});
  std::vector<std::string> notes = LeaveOutLaterFiles(inputs);
  if (inputs.size() == 1 && notes.empty()) return std::move(inputs.front().Source);
  return std::make_unique<MergedReader>(std::move(inputs), channels, std::move(notes));
}

namespace {

/// What the descriptions say there, each text once: "morning + evening".
std::string Joined(const std::vector<Description>& descriptions, std::string Description::*text) {
  std::vector<std::string> texts;
  std::string joined;
  for (const Description& description : descriptions) {
    const std::string& one = description.*text;
    if (one.empty() || std::find(texts.begin(), texts.end(), one) != texts.end()) continue;
    texts.push_back(one);
    joined += (joined.empty() ? "" : " + ") + one;
  }
  return joined;
}

/// A recording of several began with the first of them.
void AddAnchor(const ClockAnchor& anchor, Description& merged) {
  merged.Epoch = ClockEpoch::Since1970;
  if (!merged.Anchor) merged.Anchor = ClockAnchor{anchor.Utc, anchor.Utc, anchor.Uncertainty, AnchorOrigin::Clock};
  merged.Anchor->EntryTime = merged.Anchor->Utc = std::min(merged.Anchor->Utc, anchor.Utc);
  if (anchor.Uncertainty)
    merged.Anchor->Uncertainty = std::max(merged.Anchor->Uncertainty.value_or(0), *anchor.Uncertainty);
}

/// Where a record's payload repeats its time; nothing where it doesn't.
std::optional<size_t> ItemTimestampOf(unsigned char bus) {
  switch (bus) {
    case BusType_Can:
      return offsetof(Qor_Trace_Entry_t, Payload.Can.ItemTimestamp);
    case BusType_FlexRay:
      return offsetof(Qor_Trace_Entry_t, Payload.FlexRay.ItemTimestamp);
    case BusType_Ethernet:
      return offsetof(Qor_Trace_Entry_t, Payload.Ethernet.ItemTimestamp);
    default:
      return std::nullopt;
  }
}

void SetTimestamp(std::vector<unsigned char>& record, unsigned long time) {
  const unsigned long before = record_view::Load<unsigned long>(record.data() + offsetof(Qor_Trace_Entry_t, Timestamp));
  std::memcpy(record.data() + offsetof(Qor_Trace_Entry_t, Timestamp), &time, sizeof time);
  const auto place = ItemTimestampOf(record[offsetof(Qor_Trace_Entry_t, BusType)]);
  if (!place || *place + sizeof time > record.size()) return;
  if (record_view::Load<unsigned long>(record.data() + *place) == before)
    std::memcpy(record.data() + *place, &time, sizeof time);
}

}  // namespace

MergedReader::MergedReader(std::vector<MergedInput> inputs, ChannelMerging channels, std::vector<std::string> notes)
    : Merging(channels), OwnNotes(std::move(notes)) {
  for (MergedInput& input : inputs)
    Members.push_back({.Name = std::move(input.Name), .Source = std::move(input.Source)});
}

// ---- Reading --------------------------------------------------------------------------------------------------------

const RecordView* MergedReader::Next() {
  if (!Begun) Begin();
  if (Current) {
    const size_t index = *std::exchange(Current, std::nullopt);
    Pull(index);
    if (Members[index].Head != nullptr) Push(index);
  }
  if (Stopped()) return nullptr;
  if (Queue.empty()) {
    if (Failed) std::rethrow_exception(std::exchange(Failed, nullptr));
    return nullptr;
  }
  Current = PopOldest();
  ++Count;
  return Handed(*Current);
}

/// Nothing is handed out before each input has shown what it begins with.
void MergedReader::Begin() {
  for (size_t index = 0; index < Members.size(); ++index) {
    Pull(index);
    if (Failed) std::rethrow_exception(std::exchange(Failed, nullptr));
    if (Stopped()) return;
    if (Members[index].Head == nullptr) RefuseWithoutRecords(*Members[index].Source, Members[index].Name);
  }
  Begun = true;
  FindRecordings();
  FindClock();
  for (const Member& member : Members) NoteNumbers(member);
  for (size_t index = 0; index < Members.size(); ++index) NumberChannels(index);
  for (size_t index = 0; index < Members.size(); ++index) {
    if (Members[index].Head == nullptr) continue;
    Members[index].Due = Members[index].Times.UtcOf(Members[index].Head->Timestamp());
    Push(index);
  }
}

void MergedReader::Pull(size_t index) {
  Member& member = Members[index];
  try {
    member.Head = member.Source->Next();
  } catch (const Failure&) {
    member.Head = nullptr;
    if (!Failed) Failed = std::current_exception();
  }
  if (member.Head == nullptr) {
    if (Begun && !Stopped()) NumberChannels(index);  // that the end of the file has described
    return;
  }
  const unsigned long time = member.Head->Timestamp();
  member.Due = member.Times.UtcOf(time);
  if (time < member.Latest) {
    Disorder& back = member.Back;
    if (back.Count++ == 0) back.First = member.Source->Records();
    back.GreatestStep = std::max(back.GreatestStep, member.Latest - time);
  }
  member.Latest = std::max(member.Latest, time);
}

void MergedReader::Push(size_t index) {
  Queue.push_back(index);
  std::push_heap(Queue.begin(), Queue.end(), [this](size_t one, size_t other) {
    return std::pair(Members[one].Due, one) > std::pair(Members[other].Due, other);
  });
}

size_t MergedReader::PopOldest() {
  std::pop_heap(Queue.begin(), Queue.end(), [this](size_t one, size_t other) {
    return std::pair(Members[one].Due, one) > std::pair(Members[other].Due, other);
  });
  const size_t oldest = Queue.back();
  Queue.pop_back();
  return oldest;
}

const RecordView* MergedReader::Handed(size_t index) {
  const Member& member = Members[index];
  const RecordView& record = *member.Head;
  Channel& channel = ChannelOf(index, record.ChannelId());
  if (!channel.BusType) channel.BusType = record.Bus();
  if (channel.Number == record.ChannelId() && member.Due == record.Timestamp()) return member.Head;
  Copy.assign(record.Bytes().begin(), record.Bytes().end());
  std::memcpy(Copy.data() + offsetof(Qor_Trace_Entry_t, ChannelId), &channel.Number, sizeof channel.Number);
  SetTimestamp(Copy, member.Due);
  return &Handout.emplace(Copy.data(), record.Length());
}

// ---- What the inputs are to each other ------------------------------------------------------------------------------

void MergedReader::FindRecordings() {
  for (size_t index = 0; index < Members.size(); ++index) {
    const std::string id = Members[index].Source->Describe().Id;
    size_t first = Merging == ChannelMerging::Same ? 0 : index;
    for (size_t other = 0; other < first && !id.empty(); ++other)
      if (Members[other].Source->Describe().Id == id) first = other;
    Members[index].Recording = first;
  }
  const std::string id = Members.front().Source->Describe().Id;
  const bool one = std::all_of(Members.begin(), Members.end(),
                               [&](const Member& member) { return member.Source->Describe().Id == id; });
  if (!one) Id = MakeId();
}

void MergedReader::FindClock() {
  std::string unknown;
  for (Member& member : Members) {
    Description known = member.Source->Describe();
    if (member.Head != nullptr) SetFirstTime(known, member.Head->Timestamp());
    member.Times = TimesOf(known);
    if (!member.Times.IsKnown() && unknown.empty()) unknown = member.Name;
  }
  ByUtc = unknown.empty();
  if (ByUtc) return;
  for (Member& member : Members) member.Times = {};
  UnknownClock = fmt::format(
      "It isn't known when \"{}\" was recorded, so the entries of each input are merged by the times of its own clock",
      unknown);
}

/// So that a channel that is moved doesn't get the number of another one that is known.
void MergedReader::NoteNumbers(const Member& member) {
  for (const ChannelDescription& channel : member.Source->Describe().Channels)
    GreatestNumber = std::max(GreatestNumber, channel.Number);
  if (member.Head != nullptr) GreatestNumber = std::max(GreatestNumber, member.Head->ChannelId());
}

/// Of all channels that an input has described by now, and of its next record. One sentence says which were moved.
void MergedReader::NumberChannels(size_t index) {
  Member& member = Members[index];
  std::string moved;
  for (const ChannelDescription& channel : member.Source->Describe().Channels) ChannelOf(index, channel.Number, &moved);
  if (member.Head != nullptr) ChannelOf(index, member.Head->ChannelId(), &moved);
  if (!moved.empty())
    OwnNotes.push_back(fmt::format("\"{}\": {}, as another input has these channels", member.Name, moved));
}

/// @param moved  gets words for a channel that is seen for the first time and has to be moved; null: a sentence of its own
MergedReader::Channel& MergedReader::ChannelOf(size_t index, unsigned int number, std::string* moved) {
  const ChannelKey key(Members[index].Recording, number);
  const auto known = Channels.find(key);
  if (known != Channels.end()) return known->second;
  GreatestNumber = std::max(GreatestNumber, number);
  const unsigned int given = Owners.contains(number) ? ++GreatestNumber : number;
  Owners.emplace(given, key);
  if (given != number) {
    const std::string words = fmt::format("channel {} becomes {}", number, given);
    if (moved == nullptr)
      OwnNotes.push_back(fmt::format("\"{}\": {}, as another input has this channel", Members[index].Name, words));
    else
      *moved += (moved->empty() ? "" : ", ") + words;
  }
  return Channels.emplace(key, Channel{.Number = given, .Input = index}).first->second;
}

// ---- What is known of them ------------------------------------------------------------------------------------------

Description MergedReader::Describe() const {
  std::vector<Description> known;
  for (const Member& member : Members) known.push_back(DescriptionOf(member));
  Description merged;
  for (std::string Description::*const text :
       {&Description::Title, &Description::Tool, &Description::Host, &Description::System, &Description::Machine})
    merged.*text = Joined(known, text);
  merged.Id = Id.empty() ? known.front().Id : Id;
  merged.Complete = std::all_of(known.begin(), known.end(), [](const Description& one) { return one.Complete; });
  for (size_t index = 0; index < Members.size(); ++index) {
    if (Begun) AddChannels(known[index], Members[index], merged);
    if (ByUtc && known[index].Anchor) AddAnchor(*known[index].Anchor, merged);
  }
  std::sort(merged.Channels.begin(), merged.Channels.end(),
            [](const auto& one, const auto& other) { return one.Number < other.Number; });
  return merged;
}

Description MergedReader::DescriptionOf(const Member& member) const {
  Description known = member.Source->Describe();
  if (ByUtc && !known.Anchor && member.Times.IsKnown())
    known.Anchor = ClockAnchor{member.Times.Start, *member.Times.Utc, std::nullopt, AnchorOrigin::Clock};
  return known;
}

void MergedReader::AddChannels(const Description& known, const Member& member, Description& merged) const {
  for (const auto& [key, channel] : Channels) {
    if (key.first != member.Recording || FindChannel(merged, channel.Number) != nullptr) continue;
    const ChannelDescription* const described = FindChannel(known, key.second);
    const bool moved = channel.Number != key.second;
    if (described == nullptr && (!moved || &Members[channel.Input] != &member)) continue;
    ChannelDescription added = described != nullptr ? *described : ChannelDescription{.BusType = channel.BusType};
    added.Number = channel.Number;
    if (moved) {
      const std::string origin = fmt::format("channel {} of {}", key.second, member.Name);
      added.Source += added.Source.empty() ? origin : fmt::format(" ({})", origin);
    }
    merged.Channels.push_back(std::move(added));
  }
  for (Loss loss : known.Losses) {
    const auto channel = Channels.find({member.Recording, loss.Channel});
    if (channel == Channels.end()) continue;
    loss.Channel = channel->second.Number;
    loss.First = member.Times.UtcOf(loss.First);
    loss.Last = member.Times.UtcOf(loss.Last);
    merged.Losses.push_back(loss);
  }
}

unsigned long MergedReader::LossesKnown() const {
  unsigned long sum = 0;
  for (const Member& member : Members) sum += member.Source->LossesKnown();
  return sum;
}

std::vector<std::string> MergedReader::Remarks() const {
  std::vector<std::string> remarks;
  for (const Member& member : Members) {
    const auto more = member.Source->Remarks();
    remarks.insert(remarks.end(), more.begin(), more.end());
  }
  if (!UnknownClock.empty()) remarks.push_back(UnknownClock);
  return remarks;
}

std::vector<std::string> MergedReader::Notes() const {
  std::vector<std::string> notes;
  for (const Member& member : Members) {
    const auto more = member.Source->Notes();
    notes.insert(notes.end(), more.begin(), more.end());
  }
  notes.insert(notes.end(), OwnNotes.begin(), OwnNotes.end());
  return notes;
}

const Findings& MergedReader::Found() const {
  AllFound = {};
  for (const Member& member : Members) {
    for (const Finding& finding : member.Source->Found().All())
      AllFound.Add(finding.Kind, fmt::format("{}: {}", member.Name, finding.What), finding.Where, finding.Count);
    const Disorder& back = member.Back;
    if (back.Count > 0)
      AllFound.Add(FindingKind::Odd,
                   fmt::format("{}: an entry older than the one before, by up to {} s", member.Name,
                               FormatSeconds(back.GreatestStep)),
                   fmt::format("entry {}", back.First), back.Count);
  }
  return AllFound;
}

void MergedReader::Attend(Attendance attendance) {
  for (Member& member : Members) member.Source->Attend(attendance);
}

bool MergedReader::Stopped() const {
  return std::any_of(Members.begin(), Members.end(), [](const Member& member) { return member.Source->Stopped(); });
}

unsigned long MergedReader::Position() const {
  unsigned long sum = 0;
  for (const Member& member : Members) sum += member.Source->Position();
  return sum;
}

unsigned long MergedReader::Size() const {
  unsigned long sum = 0;
  for (const Member& member : Members) {
    if (member.Source->Size() == 0) return 0;
    sum += member.Source->Size();
  }
  return sum;
}

}  // namespace client
