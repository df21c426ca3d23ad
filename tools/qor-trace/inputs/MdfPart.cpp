#include "inputs/MdfPart.h"

#include <fmt/format.h>

#include <algorithm>

#include "system/Failure.h"

namespace client {

namespace {

constexpr unsigned long kHeadPosition = 64;
constexpr size_t kHeadLinks = 6;
constexpr unsigned char kLocalTime = 1;
constexpr unsigned long kMarkTolerance = 1000000000;  // ns that a mark waits for its record

const char* BusText(unsigned char bus) {
  constexpr const char* kTexts[] = {"CAN", "LIN", "FlexRay", "Ethernet"};
  return bus < std::size(kTexts) ? kTexts[bus] : "bus";
}

}  // namespace

// --- channels ---

unsigned int MdfChannels::Of(unsigned char bus, unsigned int number) {
  const auto known = Numbers.find({bus, number});
  if (known != Numbers.end()) return known->second;
  if (Numbers.size() >= kMost) return 0;
  unsigned int channel = std::max(number, 1u);
  if (Taken.contains(channel)) channel += 100 * (bus == BusType_Can ? 4u : bus);
  while (channel == 0 || Taken.contains(channel)) ++channel;
  Taken.emplace(channel, bus);
  return Numbers[{bus, number}] = channel;
}

unsigned int MdfChannels::Find(const MdfBusName& name) const {
  for (const auto& [bus, channel] : Numbers)
    if (bus.second == name.Number && (!name.Bus || *name.Bus == bus.first)) return channel;
  return 0;
}

std::string MdfChannels::RenumberedText() const {
  std::string text;
  for (const auto& [bus, channel] : Numbers)
    if (channel != bus.second)
      text += fmt::format("{}{} {} is channel {}", text.empty() ? "" : ", ", BusText(bus.first), bus.second, channel);
  return text;
}

// --- head ---

MdfHead ReadMdfHead(MdfBlocks& file) {
  const auto block = file.Find(kHeadPosition);
  if (!block || block->Kind != "HD" || block->Links.size() < kHeadLinks)
    throw Failure(fmt::format("\"{}\" ends before anything was recorded: there is no header at byte {}", file.Path(),
                              kHeadPosition));
  const MdfFields fields = file.Fields(*block);
  return {.Start = fields.At<unsigned long>(0),
          .IsLocalTime = (fields.At<unsigned char>(12) & kLocalTime) != 0,
          .Groups = block->Link(0),
          .Events = block->Link(4),
          .Comment = block->Link(5)};
}

// --- sources ---

bool MdfSource::Advance() {
  Both = false;
  Current = Ahead != nullptr ? std::exchange(Ahead, nullptr) : Records->Next();
  if (Current == nullptr) return false;
  if (!MayBeHalf(*Current)) return true;
  Keep(*Current);
  Current = &Kept;
  Ahead = Records->Next();
  if (Ahead == nullptr || !AreHalves(Kept, *Ahead)) return true;
  Ahead = nullptr;
  Both = true;
  return true;
}

bool MdfSource::MayBeHalf(const MdfRecord& record) const {
  const auto event = MdfEventOf(record.Group->Event);
  const bool isFrame = event == MdfEvent::FlexRayFrame || event == MdfEvent::FlexRayNullFrame;
  return isFrame && !IsMixed() && IsOfBothChannels(record);
}

void MdfSource::Keep(const MdfRecord& record) {
  KeptBytes.assign(record.Bytes.begin(), record.Bytes.end());
  KeptSignal.assign(record.Signal.begin(), record.Signal.end());
  Kept = record;
  Kept.Bytes = KeptBytes;
  Kept.Signal = KeptSignal;
}

// --- the file ---

MdfPart::MdfPart(const std::string& path, MdfChannels& channels, Findings& found)
    : Blocks(path),
      Channels(channels),
      Found(found),
      Header(ReadMdfHead(Blocks)),
      Groups(ReadMdfGroups(Blocks, Header.Groups, found)) {
  ClaimChannels();
  OpenSources();
  const auto busOf = [&](unsigned long position) -> std::optional<MdfBus> {
    for (const MdfDataGroup& data : Groups)
      for (const MdfGroup& group : data.Groups) {
        const auto event = MdfEventOf(group.Event);
        if (!event || (group.Position != position && group.DataGroup != position)) continue;
        return MdfBus{BusOf(*event), ChannelOf(group, nullptr)};
      }
    return std::nullopt;
  };
  Marks = ReadMdfMarks(Blocks, Header.Events, busOf, Found);
  for (size_t source = 0; source < Sources.size(); ++source) Enqueue(source);
}

void MdfPart::OpenSources() {
  std::string refusal;
  bool hasEvents = false;
  for (const MdfDataGroup& data : Groups) {
    for (const MdfGroup& group : data.Groups) {
      hasEvents = hasEvents || !group.Event.empty();
      if (refusal.empty()) refusal = group.Refusal;
      TellUnknownEvents(group);
    }
    if (auto records = OpenMdfRecords(Blocks, data, Found)) Sources.emplace_back(std::move(records));
  }
  if (!hasEvents && Blocks.IsFinalized())
    throw Failure(
        fmt::format("\"{}\" is a measurement of signals: it has no bus events that could be records", Blocks.Path()));
  if (!Sources.empty() || !hasEvents) return;
  if (refusal.empty() && !Found.All().empty()) refusal = Found.All().back().What;
  throw Failure(fmt::format("The bus events of \"{}\" can't be read: {}", Blocks.Path(), refusal));
}

/// Such as overload frames: sound, but no record of ours.
void MdfPart::TellUnknownEvents(const MdfGroup& group) {
  if (group.Event.empty() || group.Cycles == 0 || MdfEventOf(group.Event)) return;
  Found.Add(FindingKind::LeftOut, fmt::format("a record of {}", group.Event), fmt::format("byte {}", group.Position),
            group.Cycles);
}

/// In the order of the file, so that numbers don't depend on which bus is heard first.
void MdfPart::ClaimChannels() {
  for (const MdfDataGroup& data : Groups)
    for (const MdfGroup& group : data.Groups)
      if (MdfEventOf(group.Event)) (void)ChannelOf(group, nullptr);
}

/// @param record  null for the number that all records of a group have; 0 where each has its own
unsigned int MdfPart::ChannelOf(const MdfGroup& group, const MdfRecord* record) const {
  const auto event = MdfEventOf(group.Event);
  if (!event) return 0;
  const MdfField& field = group.Field(MdfName::BusChannel);
  if (field.Place == MdfPlace::InRecord) {
    if (record == nullptr) return 0;
    const unsigned long number = MdfNumber(field, record->Bytes);
    return number > 0xFFFFFFFF ? 0 : Channels.Of(BusOf(*event), static_cast<unsigned int>(number));
  }
  if (field.Place == MdfPlace::Constant && field.IsLinear)
    return Channels.Of(BusOf(*event), static_cast<unsigned int>(std::min(MdfNumber(field, {}), 0xFFFFFFFFul)));
  const auto name = ParseMdfBusName(group.BusName);
  return Channels.Of(BusOf(*event), name ? name->Number : 1);
}

bool MdfPart::IsMixed() const {
  return std::any_of(Sources.begin(), Sources.end(), [](const MdfSource& source) { return source.IsMixed(); });
}

void MdfPart::Enqueue(size_t source) {
  if (Sources[source].Advance()) Heads.emplace(TimeOf(Sources[source].Record()), source);
}

unsigned long MdfPart::TimeOf(const MdfRecord& record) {
  const long time = MdfNanoseconds(record.Group->Field(MdfName::Time), record.Bytes, record.Index);
  if (time < 0) Found.AtByte(FindingKind::Odd, "a time before that of the file", record.Place);
  return static_cast<unsigned long>(std::max(time, 0l));
}

const RecordView* MdfPart::Next() {
  for (;;) {
    if (Handed) Enqueue(*std::exchange(Handed, std::nullopt));
    if (NextMarkIndex < Marks.size() && (Heads.empty() || Marks[NextMarkIndex].Time <= Heads.top().first)) {
      if (const RecordView* record = NextMark()) return record;
      continue;
    }
    if (Heads.empty()) break;
    const auto [time, source] = Heads.top();
    Heads.pop();
    Handed = source;
    if (const RecordView* record = Take(Sources[source], time)) return record;
  }
  for (const auto& [channel, times] : std::exchange(PendingLosses, {}))
    for (const unsigned long time : times) LossWithoutRecord(channel, time);
  return nullptr;
}

const RecordView* MdfPart::NextMark() {
  const MdfMark& mark = Marks[NextMarkIndex++];
  const bool isFlag = mark.What == MdfMark::Kind::Loss && (mark.Of.Bus == BusType_Can || mark.Of.Bus == BusType_Lin);
  if (isFlag) PendingLosses[mark.Of.Channel].push_back(mark.Time);
  return RecordOfMark(Made, mark);
}

const RecordView* MdfPart::Take(MdfSource& source, unsigned long time) {
  const MdfRecord& record = source.Record();
  const auto event = MdfEventOf(record.Group->Event);
  if (!event) return nullptr;
  if (IsInvalidated(*record.Group, record.Bytes)) {
    Found.AtByte(FindingKind::LeftOut, fmt::format("a record of {} that is marked as invalid", record.Group->Event),
                 record.Place);
    return nullptr;
  }
  const unsigned int channel = ChannelOf(*record.Group, &record);
  if (channel == 0) {
    Found.AtByte(FindingKind::Unread, "a record of more channels than this program tells apart", record.Place);
    return nullptr;
  }
  const RecordView* made = Frames.Make(*event, record, {channel, time},
                                       {source.IsOnBothChannels(), IsLastBeforeLoss(BusOf(*event), channel, time)});
  if (made == nullptr)
    Found.AtByte(FindingKind::LeftOut, fmt::format("a record of {} of another kind", record.Group->Event),
                 record.Place);
  return made;
}

/// The mark of a loss has the time of the record that it belongs to.
bool MdfPart::IsLastBeforeLoss(unsigned char bus, unsigned int channel, unsigned long time) {
  if (PendingLosses.empty() || (bus != BusType_Can && bus != BusType_Lin)) return false;
  const auto found = PendingLosses.find(channel);
  if (found == PendingLosses.end()) return false;
  auto& times = found->second;
  for (; !times.empty() && time > kMarkTolerance && times.front() < time - kMarkTolerance; times.pop_front())
    LossWithoutRecord(channel, times.front());
  const auto mark = std::find(times.begin(), times.end(), time);
  const bool marked = mark != times.end();
  if (marked) times.erase(mark);
  if (times.empty()) PendingLosses.erase(found);
  return marked;
}

void MdfPart::LossWithoutRecord(unsigned int channel, unsigned long time) {
  OtherLosses.push_back({.Channel = channel, .Cause = LossCause::OverrunMark, .First = time, .Last = time});
}

void MdfPart::AddTo(Description& description) {
  if (Header.Start != 0) {
    description.Epoch = ClockEpoch::Own;
    description.Anchor = ClockAnchor{0, Header.Start, std::nullopt, AnchorOrigin::RecordingStart};
  }
  for (const MdfDataGroup& data : Groups)
    for (const MdfGroup& group : data.Groups) {
      const auto event = MdfEventOf(group.Event);
      const unsigned int channel = ChannelOf(group, nullptr);
      if (channel == 0 || FindChannel(description, channel) != nullptr) continue;
      ChannelDescription described{.Number = channel, .BusType = BusOf(*event)};
      // What a file says for lack of anything better: the name of the bus or the event.
      if (group.SourceName != group.BusName && group.SourceName != group.Event) described.Name = group.SourceName;
      if (group.SourcePath != group.BusName) described.Source = group.SourcePath;
      description.Channels.push_back(std::move(described));
    }
  std::sort(description.Channels.begin(), description.Channels.end(),
            [](const auto& left, const auto& right) { return left.Number < right.Number; });
  TakeMdfProperties(description, MdfProperties(Blocks.Text(Header.Comment)),
                    [&](const MdfBusName& name) { return Channels.Find(name); });
}

}  // namespace client
