#include "outputs/UntoldLosses.h"

#include <algorithm>
#include <utility>

namespace client {

namespace {

/// Whether a record of the loss's channel comes after it. After an overrun mark the loss ends with the next record.
bool LiesBefore(const Loss& loss, unsigned long time) {
  const bool endsWithRecord = loss.Cause == LossCause::OverrunMark && loss.Last > loss.First;
  return endsWithRecord ? loss.Last <= time : loss.Last < time;
}

bool IsPartOf(const Loss& part, const Loss& whole) {
  return part.Cause == whole.Cause && whole.First <= part.First && part.Last <= whole.Last;
}

}  // namespace

Loss UntoldLosses::Entry::Take() {
  Loss rest = What;
  if (Named) rest.First = std::max(rest.First, Until);
  if (rest.Count) *rest.Count -= std::min(*rest.Count, Count);
  Named = true;
  Count = What.Count.value_or(0);
  Until = What.Last;
  return rest;
}

void UntoldLosses::Describe(const std::vector<Loss>& losses) {
  const std::map<unsigned int, Entries> before = std::exchange(Known, {});
  for (const Loss& loss : losses) {
    Entry& entry = Known[loss.Channel].emplace_back(Entry{loss});
    const auto channel = before.find(loss.Channel);
    if (channel == before.end()) continue;
    for (const Entry& known : channel->second) {
      if (!IsPartOf(known.What, loss)) continue;
      entry.Named = entry.Named || known.Named;
      entry.Count += known.Count;
      entry.Until = std::max(entry.Until, known.Until);
    }
  }
  FindNextDue();
}

void UntoldLosses::FindNextDue() {
  NextDue = ~0ul;
  for (const auto& [channel, entries] : Known)
    for (const Entry& entry : entries)
      if (entry.IsDue()) NextDue = std::min(NextDue, entry.What.Last);
}

std::vector<Loss> UntoldLosses::TakeDue(unsigned int channel, unsigned long time, size_t most) {
  std::vector<Loss> due;
  const auto found = Known.find(channel);
  if (found == Known.end()) return due;
  for (Entry& entry : found->second) {
    if (due.size() == most) break;
    if (!entry.IsDue() || !LiesBefore(entry.What, time)) continue;
    const Loss loss = entry.Take();
    if (!IsShown(loss)) due.push_back(loss);
  }
  FindNextDue();
  return due;
}

std::vector<Loss> UntoldLosses::Rest() {
  std::vector<Loss> rest;
  for (auto& [channel, entries] : Known) {
    for (Entry& entry : entries) {
      if (!entry.IsDue()) continue;
      const Loss loss = entry.Take();
      if (!IsShown(loss)) rest.push_back(loss);
    }
  }
  NextDue = ~0ul;
  std::stable_sort(rest.begin(), rest.end(),
                   [](const Loss& left, const Loss& right) { return left.First < right.First; });
  return rest;
}

void UntoldLosses::Shown(const RecordView& mark) {
  std::set<unsigned long>& times = Marks[mark.ChannelId()];
  times.insert(mark.Timestamp());
  if (times.size() > kMostMarks) times.erase(times.begin());
}

bool UntoldLosses::IsShown(const Loss& loss) const {
  const auto marks = Marks.find(loss.Channel);
  if (loss.Cause != LossCause::OverrunMark || marks == Marks.end()) return false;
  const auto mark = marks->second.lower_bound(loss.First);
  return mark != marks->second.end() && *mark <= loss.Last;
}

}  // namespace client
