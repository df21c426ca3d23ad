#include "inputs/MdfRecords.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <utility>

namespace client {

namespace {

constexpr unsigned int kMostSignal = 1u << 17;     // bytes of a value of variable length; no frame has more
constexpr size_t kMostWaiting = size_t{16} << 20;  // bytes that are read ahead to find a value

unsigned long Little(std::span<const unsigned char> bytes) {
  unsigned long value = 0;
  std::memcpy(&value, bytes.data(), std::min<size_t>(bytes.size(), sizeof value));
  return value;
}

unsigned long OffsetIn(const MdfField& field, std::span<const unsigned char> record) {
  return Little(record.subspan(field.Byte, std::min<size_t>(8, (field.Bits + 7) / 8)));
}

/// More records than the file says aren't sound; but a file that was cut off counts what it had when it last looked.
bool CountIsTrue(const MdfBlocks& file) { return file.IsFinalized(); }

// --- one group: records of one length, back to back ---

class SortedRecords : public MdfRecords {
 public:
  SortedRecords(MdfBlocks& file, const MdfDataGroup& data, const MdfGroup& group, Findings& found)
      : File(file),
        Group(group),
        IdSize(data.IdSize),
        Found(found),
        Data(file, data.Data, found),
        Signal(file,
               group.Field(MdfName::DataBytes).Place == MdfPlace::InSignal ? group.Field(MdfName::DataBytes).Link : 0,
               found),
        Bytes(data.IdSize + group.DataBytes) {}

  [[nodiscard]] std::string Refused() const { return Data.Refused().empty() ? Signal.Refused() : Data.Refused(); }

  const MdfRecord* Next() override {
    while (!Ended && !IsAtCount()) {
      if (!ReadBytes()) continue;
      Current = {.Group = &Group,
                 .Bytes = std::span(Bytes).subspan(IdSize),
                 .Index = Index,
                 .Place = Data.PlaceOf(Index * Bytes.size())};
      ++Index;
      if (ReadSignal()) return &Current;
    }
    if (!std::exchange(Ended, true) || !EndTold) TellEnd();
    return nullptr;
  }

 private:
  [[nodiscard]] bool IsAtCount() const { return CountIsTrue(File) && Index >= Group.Cycles; }

  /// False where there is no whole record: then Index is that of the next one after the gap, or it is the end.
  bool ReadBytes() {
    const unsigned long offset = Index * Bytes.size();
    const size_t got = Data.Get(offset, Bytes);
    if (got == Bytes.size()) return true;
    const auto after = Data.AfterGap(offset + got);
    if (!after) {
      Ended = true;
      Rest = got;
      return false;
    }
    const unsigned long next = (*after + Bytes.size() - 1) / Bytes.size();
    Found.AtByte(FindingKind::Unread, fmt::format("a gap in the records of {}", Group.BusName), Data.PlaceOf(*after));
    Index = std::max(next, Index + 1);
    return false;
  }

  /// False where the record's data aren't there.
  bool ReadSignal() {
    const MdfField& field = Group.Field(MdfName::DataBytes);
    if (field.Place != MdfPlace::InSignal) return true;
    unsigned char head[4];
    const unsigned long offset = OffsetIn(field, Current.Bytes);
    if (Signal.Get(offset, head) == sizeof head) {
      const unsigned long length = Little(head);
      if (length <= kMostSignal) {
        Value.resize(length);
        if (Signal.Get(offset + sizeof head, Value) == length) {
          Current.Signal = Value;
          return true;
        }
      }
    }
    // Of a file that was cut off, the data may be missing that the last records belong to, counted or not.
    const bool isUncounted = !File.IsFinalized() && Index > Group.Cycles;
    const bool isTail = !File.IsFinalized() && !Signal.AfterGap(offset);
    if (!isUncounted)
      Found.AtByte(isTail ? FindingKind::CutOff : FindingKind::Unread,
                   fmt::format("a record of {} without its data", Group.BusName), Current.Place);
    return false;
  }

  void TellEnd() {
    EndTold = true;
    const unsigned long place = Data.PlaceOf(Data.Size());
    if (Index < Group.Cycles) {
      Found.Add(FindingKind::CutOff,
                fmt::format("a record of {} that the file counts, but doesn't have", Group.BusName),
                fmt::format("byte {}", place), Group.Cycles - Index);
    } else if (CountIsTrue(File) && Data.Size() >= (Index + 1) * Bytes.size()) {
      Found.AtByte(FindingKind::Odd, fmt::format("records of {} beyond those that the file counts", Group.BusName),
                   place);
    }
  }

  MdfBlocks& File;
  const MdfGroup& Group;
  const size_t IdSize;
  Findings& Found;
  MdfData Data;
  MdfData Signal;
  std::vector<unsigned char> Bytes;
  std::vector<unsigned char> Value;
  MdfRecord Current;
  unsigned long Index = 0;
  size_t Rest = 0;  // bytes of a record that the data end in
  bool Ended = false;
  bool EndTold = false;
};

// --- several groups: each record begins with the id of its group ---

/// The values of one group of values of variable length, as far as records may still ask for them.
struct SignalValues {
  struct Value {
    unsigned long Offset;
    std::vector<unsigned char> Bytes;
  };
  std::deque<Value> Kept;
  unsigned long Next = 0;  // offset of the next one

  void Add(std::vector<unsigned char> bytes) {
    const unsigned long size = 4 + bytes.size();
    Kept.push_back({Next, std::move(bytes)});
    Next += size;
  }
  /// Null where there is none.
  const std::vector<unsigned char>* Find(unsigned long offset) const {
    const auto found = std::lower_bound(Kept.begin(), Kept.end(), offset,
                                        [](const Value& value, unsigned long wanted) { return value.Offset < wanted; });
    return found != Kept.end() && found->Offset == offset ? &found->Bytes : nullptr;
  }
  /// @return bytes that were forgotten
  size_t ForgetBefore(unsigned long offset) {
    size_t bytes = 0;
    for (; !Kept.empty() && Kept.front().Offset < offset; Kept.pop_front()) bytes += Kept.front().Bytes.size();
    return bytes;
  }
};

class MixedRecords : public MdfRecords {
 public:
  MixedRecords(MdfBlocks& file, const MdfDataGroup& data, Findings& found)
      : File(file), IdSize(data.IdSize), Found(found), Data(file, data.Data, found) {
    for (const MdfGroup& group : data.Groups) {
      ById.emplace(group.RecordId, &group);
      ByPosition.emplace(group.Position, &group);
    }
  }

  [[nodiscard]] const std::string& Refused() const { return Data.Refused(); }
  [[nodiscard]] bool IsMixed() const override { return true; }

  const MdfRecord* Next() override {
    if (!Waiting.empty()) Waiting.pop_front();
    for (;;) {
      while (Waiting.empty() && ReadOne()) {
      }
      if (Waiting.empty()) return nullptr;
      const Raw& first = Waiting.front();
      Current = {.Group = first.Group, .Bytes = first.Bytes, .Index = first.Index, .Place = first.Place};
      if (TakeSignal()) return &Current;
      Waiting.pop_front();
    }
  }

 private:
  struct Raw {
    const MdfGroup* Group;
    std::vector<unsigned char> Bytes;
    unsigned long Index;
    unsigned long Place;
  };

  /// Gives the first waiting record its value of variable length, for which it may have to be looked for further on.
  bool TakeSignal() {
    const MdfField& field = Current.Group->Field(MdfName::DataBytes);
    if (field.Place != MdfPlace::InGroup && field.Place != MdfPlace::InSignal) return true;
    if (field.Place == MdfPlace::InSignal) return FindInSignal(field);
    const auto group = ByPosition.find(field.Link);
    if (group == ByPosition.end()) return Without();
    SignalValues& values = Values[group->second];
    const bool inOrder = (File.UnfinalizedFlags() & MdfBlocks::kSignalOffsetOpen) != 0;
    const unsigned long offset = OffsetIn(field, Current.Bytes);
    for (;;) {
      const unsigned long wanted = !inOrder ? offset : values.Kept.empty() ? values.Next : values.Kept.front().Offset;
      if (const auto* value = values.Find(wanted)) {
        Value = *value;
        Current.Signal = Value;
        HeldBytes -= std::min(HeldBytes, values.ForgetBefore(inOrder ? wanted + 1 : wanted));
        return true;
      }
      const bool isPast = wanted < values.Next;  // it was there, or never will be
      if (isPast || HeldBytes > kMostWaiting || !ReadOne()) return Without();
      Current.Bytes = Waiting.front().Bytes;
    }
  }

  bool FindInSignal(const MdfField& field) {
    auto [found, isNew] = Signals.try_emplace(field.Link, nullptr);
    if (isNew) found->second = std::make_unique<MdfData>(File, field.Link, Found);
    unsigned char head[4];
    const unsigned long offset = OffsetIn(field, Current.Bytes);
    if (found->second->Get(offset, head) < sizeof head || Little(head) > kMostSignal) return Without();
    Value.resize(Little(head));
    if (found->second->Get(offset + sizeof head, Value) < Value.size()) return Without();
    Current.Signal = Value;
    return true;
  }

  bool Without() {
    const bool isTail = !File.IsFinalized() && Ended;
    Found.AtByte(isTail ? FindingKind::CutOff : FindingKind::Unread,
                 fmt::format("a record of {} without its data", Current.Group->BusName), Current.Place);
    return false;
  }

  /// Reads the next record, to where it belongs. False at the end.
  bool ReadOne() {
    if (Ended) return false;
    unsigned char id[8] = {};
    const unsigned long place = Data.PlaceOf(Offset);
    const size_t got = Data.Get(Offset, std::span(id).first(IdSize));
    if (got < IdSize) return End(got > 0, place);
    const auto group = ById.find(Little(id));
    if (group == ById.end()) return Lost(place);
    return group->second->IsSignalGroup ? ReadValue(*group->second, place) : ReadRecord(*group->second, place);
  }

  bool ReadRecord(const MdfGroup& group, unsigned long place) {
    if (group.DataBytes == 0) return Lost(place);
    std::vector<unsigned char> bytes(group.DataBytes);
    if (Data.Get(Offset + IdSize, bytes) < bytes.size()) return End(true, place);
    Offset += IdSize + bytes.size();
    const unsigned long index = Counts[&group]++;
    if (group.Event.empty() || !group.Refusal.empty()) return true;
    HeldBytes = Waiting.empty() ? 0 : HeldBytes + bytes.size();
    Waiting.push_back({&group, std::move(bytes), index, place});
    return true;
  }

  bool ReadValue(const MdfGroup& group, unsigned long place) {
    unsigned char head[4];
    if (Data.Get(Offset + IdSize, head) < sizeof head) return End(true, place);
    if (Little(head) > kMostSignal) return Lost(place);
    std::vector<unsigned char> bytes(Little(head));
    if (Data.Get(Offset + IdSize + sizeof head, bytes) < bytes.size()) return End(true, place);
    Offset += IdSize + sizeof head + bytes.size();
    HeldBytes += bytes.size();
    SignalValues& values = Values[&group];
    values.Add(std::move(bytes));
    // What nobody has asked for by now is of records that came long before.
    while (values.Kept.size() > 1 && HeldBytes > 2 * kMostWaiting) {
      HeldBytes -= std::min(HeldBytes, values.Kept.front().Bytes.size());
      values.Kept.pop_front();
    }
    return true;
  }

  /// Without knowing the group of a record nobody knows where the next one begins.
  bool Lost(unsigned long place) {
    Found.AtByte(FindingKind::Unread, "records after one of no known group", place);
    Ended = true;
    return false;
  }

  bool End(bool inRecord, unsigned long place) {
    Ended = true;
    if (Data.AfterGap(Offset)) {
      Found.AtByte(FindingKind::Unread, "records after a gap", place);
    } else if (inRecord) {
      Found.AtByte(FindingKind::CutOff, "a record that the data end in", place);
    }
    TellCounts(place);
    return false;
  }

  void TellCounts(unsigned long place) {
    for (const auto& [id, group] : ById) {
      const unsigned long count = Counts[group];
      if (group->IsSignalGroup || group->Event.empty() || count >= group->Cycles) continue;
      Found.Add(FindingKind::CutOff,
                fmt::format("a record of {} that the file counts, but doesn't have", group->BusName),
                fmt::format("byte {}", place), group->Cycles - count);
    }
  }

  MdfBlocks& File;
  const size_t IdSize;
  Findings& Found;
  MdfData Data;
  std::map<unsigned long, const MdfGroup*> ById;
  std::map<unsigned long, const MdfGroup*> ByPosition;
  std::map<const MdfGroup*, SignalValues> Values;
  std::map<const MdfGroup*, unsigned long> Counts;
  std::map<unsigned long, std::unique_ptr<MdfData>> Signals;  // by link
  std::deque<Raw> Waiting;
  size_t HeldBytes = 0;
  std::vector<unsigned char> Value;
  MdfRecord Current;
  unsigned long Offset = 0;
  bool Ended = false;
};

bool IsReadable(const MdfGroup& group) { return !group.Event.empty() && group.Refusal.empty(); }

void Refuse(const MdfGroup& group, const std::string& reason, Findings& found) {
  found.Add(FindingKind::Unread, fmt::format("{} of {}: {}", group.Event, group.BusName, reason),
            fmt::format("byte {}", group.Position), std::max(1ul, group.Cycles));
}

void TellUnreadable(const MdfDataGroup& data, Findings& found) {
  for (const MdfGroup& group : data.Groups) {
    if (!group.Refusal.empty()) Refuse(group, group.Refusal, found);
    if (group.Event.empty() && !group.IsSignalGroup && group.Cycles > 0)
      found.Add(FindingKind::LeftOut, "a record of signals, which are no bus events",
                fmt::format("byte {}", group.Position), group.Cycles);
  }
}

}  // namespace

std::unique_ptr<MdfRecords> OpenMdfRecords(MdfBlocks& file, const MdfDataGroup& data, Findings& found) {
  TellUnreadable(data, found);
  const auto readable = std::find_if(data.Groups.begin(), data.Groups.end(), IsReadable);
  if (readable == data.Groups.end()) return nullptr;
  if (data.IdSize > 8 || (data.IdSize == 0 && data.Groups.size() > 1)) {
    Refuse(*readable, "its records can't be told from those of other groups", found);
    return nullptr;
  }
  if (data.Groups.size() == 1) {
    auto records = std::make_unique<SortedRecords>(file, data, *readable, found);
    if (records->Refused().empty()) return records;
    Refuse(*readable, records->Refused(), found);
    return nullptr;
  }
  auto records = std::make_unique<MixedRecords>(file, data, found);
  if (records->Refused().empty()) return records;
  Refuse(*readable, records->Refused(), found);
  return nullptr;
}

}  // namespace client
