#include "views/Comparison.h"

#include <algorithm>

namespace client {

namespace {

constexpr unsigned long kAdvanceAfter = 256;  // records: channels of one side alone have to be gone through as well
constexpr unsigned long kMostInARow = 256;    // records of one side: an odd time of the other must not hold it up

template <class Counts>
void Add(Counts& sums, const Counts& more) {
  for (size_t place = 0; place < sums.size(); ++place) sums[place] += more[place];
}

}  // namespace

Comparison::Comparison(const ComparisonPlan& plan) : Asked(plan) {}

std::optional<Side> Comparison::Wanted() const {
  if (Fronts[Side::A].Ended && Fronts[Side::B].Ended) return std::nullopt;
  if (Fronts[Side::A].Ended) return Side::B;
  if (Fronts[Side::B].Ended) return Side::A;
  if (InARow >= kMostInARow) return Other(Newest);
  if (Asked.Times.Counts) return Fronts[Side::B].Time < Fronts[Side::A].Time ? Side::B : Side::A;
  std::array<size_t, 2> waiting = {};
  for (const auto& [key, channel] : Known)
    for (const Side side : {Side::A, Side::B}) waiting[static_cast<size_t>(side)] += channel.Aligned->Waiting(side);
  return waiting[1] < waiting[0] ? Side::B : Side::A;
}

void Comparison::Take(Side side, const RecordView& record, unsigned long time, unsigned long entry) {
  ReadingFronts::Front& front = Fronts[side];
  front.Time = time;
  front.Greatest = std::max(front.Greatest, time);
  ++front.Taken;
  InARow = side == Newest ? InARow + 1 : 1;
  Newest = side;
  ComparedRecord compared(record, time, entry);
  if (!Asked.Formats.Keep(compared)) {
    ++NotKept[static_cast<size_t>(side)];
    return;
  }
  compared.Clear(Asked.Ignored);
  Channel& channel = ChannelOf(compared);
  compared.SetIndex(channel.Counts.Entries[static_cast<size_t>(side)]++);
  channel.Aligned->Take(side, std::move(compared));
  if (++SinceAdvance >= kAdvanceAfter) AdvanceAll();
}

void Comparison::End(Side side) {
  Fronts[side].Ended = true;
  AdvanceAll();
}

Comparison::Channel& Comparison::ChannelOf(const ComparedRecord& record) {
  const auto number = static_cast<unsigned int>(record[ComparedField::Channel]);
  Channel& channel = Known[{number, record.View().Bus()}];
  if (channel.Aligned == nullptr)
    channel.Aligned = std::make_unique<Alignment>(
        Asked.Times, Fronts, [this, &channel](const ComparedPair& pair) { Settle(channel, pair); });
  return channel;
}

void Comparison::AdvanceAll() {
  SinceAdvance = 0;
  for (auto& [key, channel] : Known) channel.Aligned->Advance();
}

// ---- What became of records -----------------------------------------------------------------------------------------

void Comparison::Settle(Channel& channel, const ComparedPair& pair) {
  if (pair.A == nullptr) return SettleOnly(channel, Side::B, *pair.B);
  if (pair.B == nullptr) return SettleOnly(channel, Side::A, *pair.A);
  SettlePair(channel, pair);
}

void Comparison::SettlePair(Channel& channel, const ComparedPair& pair) {
  NoteTimes(*pair.A, *pair.B);
  ComparedFields fields = pair.InOrder ? ComparedFields() : pair.A->DifferencesTo(*pair.B);
  if (!pair.InOrder && !Asked.Times.Agree(*pair.A, *pair.B)) fields.Add(ComparedField::Time);
  ComparedCounts& counts = channel.Counts;
  if (fields.none()) {
    ++counts.Equal;
    counts.Reordered += pair.InOrder ? 0 : 1;
    return;
  }
  ++counts.Differing;
  ++DifferenceCount;
  for (size_t field = 0; field < kComparedFieldCount; ++field) counts.Fields[field] += fields.test(field) ? 1 : 0;
  if (Kept.size() < Asked.MostShown) Kept.push_back({.A = *pair.A, .B = *pair.B, .Fields = fields});
}

void Comparison::SettleOnly(Channel& channel, Side side, const ComparedRecord& record) {
  ++channel.Counts.OnlyIn[static_cast<size_t>(side)];
  auto& run = channel.Runs[static_cast<size_t>(side)];
  if (!run || run->Next != record.Index()) {
    run = Run{};
    ++DifferenceCount;
    if (Kept.size() < Asked.MostShown) {
      run->Difference = Kept.size();
      Difference& shown = Kept.emplace_back();
      (side == Side::A ? shown.A : shown.B) = record;
      shown.Count = 0;
    }
  }
  run->Next = record.Index() + 1;
  if (!run->Difference) return;
  Difference& shown = Kept[*run->Difference];
  ++shown.Count;
  shown.LastTime = record.View().Timestamp();
  shown.LastEntry = record.Entry();
}

void Comparison::NoteTimes(const ComparedRecord& a, const ComparedRecord& b) {
  const auto apart = static_cast<long>(b.Time() - a.Time());
  if (!Spread) Spread = TimeSpread{apart, apart, apart, apart};
  Spread->Last = apart;
  Spread->Least = std::min(Spread->Least, apart);
  Spread->Greatest = std::max(Spread->Greatest, apart);
}

// ---- Sums -----------------------------------------------------------------------------------------------------------

std::map<Comparison::ChannelKey, ComparedCounts> Comparison::Channels() const {
  std::map<ChannelKey, ComparedCounts> counts;
  for (const auto& [key, channel] : Known) counts.emplace(key, channel.Counts);
  return counts;
}

ComparedCounts Comparison::All() const {
  ComparedCounts sums;
  for (const auto& [key, channel] : Known) {
    const ComparedCounts& more = channel.Counts;
    Add(sums.Entries, more.Entries);
    Add(sums.OnlyIn, more.OnlyIn);
    Add(sums.Fields, more.Fields);
    sums.Equal += more.Equal;
    sums.Reordered += more.Reordered;
    sums.Differing += more.Differing;
  }
  return sums;
}

}  // namespace client
