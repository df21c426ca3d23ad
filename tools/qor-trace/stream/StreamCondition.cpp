#include "stream/StreamCondition.h"

#include <algorithm>
#include <utility>

namespace client {

namespace {

bool OnlyLooksAtRecords(const FilterTree& tree) {
  if (tree.Is == FilterTree::Kind::Missing || tree.Is == FilterTree::Kind::Loss) return false;
  return std::all_of(tree.Parts.begin(), tree.Parts.end(), OnlyLooksAtRecords);
}

}  // namespace

unsigned long StreamCondition::Absence::Deadline() const { return Since + std::min(Longest, ~0ul - Since); }

StreamCondition::StreamCondition(std::string_view expression) { AddAlternatives(ParseCondition(expression)); }

void StreamCondition::AddAlternatives(const FilterTree& tree) {
  if (tree.Is != FilterTree::Kind::Any || OnlyLooksAtRecords(tree)) {
    Alternatives.push_back({Compiled(tree)});
    return;
  }
  for (const FilterTree& part : tree.Parts) AddAlternatives(part);
}

StreamCondition::Node StreamCondition::Compiled(const FilterTree& tree) {
  if (OnlyLooksAtRecords(tree)) return {FilterTree::Kind::Test, Filter(tree)};
  Node node{tree.Is};
  if (tree.Is == FilterTree::Kind::Missing) {
    node.Absence = Absences.size();
    Absences.push_back({Filter(tree.Parts.front()), tree.Duration});
    return node;
  }
  for (const FilterTree& part : tree.Parts) node.Parts.push_back(Compiled(part));
  return node;
}

void StreamCondition::NoteLosses(const std::vector<Loss>& losses) {
  std::set<LossKey> known;
  for (const Loss& loss : losses) {
    if (!IsMissing(loss.Cause)) continue;
    const LossKey key{loss.Channel, loss.Cause, loss.First};
    const bool isNew = !Noted.contains(key) && loss.First >= Beginning;
    if (isNew) Upcoming.insert(loss.First);
    known.insert(key);
  }
  Noted = std::move(known);
}

void StreamCondition::Begin(unsigned long time) {
  if (std::exchange(Begun, true)) return;
  Now = Beginning = time;
  for (Absence& absence : Absences) absence.Since = time;
  Upcoming.erase(Upcoming.begin(), Upcoming.lower_bound(time));
  for (Alternative& alternative : Alternatives)
    alternative.Held = Holds(alternative.What, nullptr, false) == Truth::Yes;
}

/// The one that is the first to last too long; null if none does before that time.
StreamCondition::Absence* StreamCondition::NextAbsence(unsigned long before) {
  Absence* next = nullptr;
  for (Absence& absence : Absences) {
    const unsigned long deadline = absence.Deadline();
    if (absence.TooLong || deadline >= before) continue;
    if (next == nullptr || deadline < next->Deadline()) next = &absence;
  }
  return next;
}

std::optional<unsigned long> StreamCondition::NextMoment(unsigned long time) {
  Begin(time);
  for (;;) {
    Absence* const absence = NextAbsence(time);
    const bool lossIsDue = !Upcoming.empty() && *Upcoming.begin() < time;
    if (absence == nullptr && !lossIsDue) break;
    const bool lossIsFirst = lossIsDue && (absence == nullptr || *Upcoming.begin() <= absence->Deadline());
    Now = std::max(Now, lossIsFirst ? *Upcoming.begin() : absence->Deadline());
    if (lossIsFirst)
      Upcoming.erase(Upcoming.begin());
    else
      absence->TooLong = true;
    if (ComesToHold(lossIsFirst)) return Now;
  }
  Now = std::max(Now, time);
  return std::nullopt;
}

bool StreamCondition::Take(const RecordView& record) {
  const unsigned long time = record.Timestamp();
  Begin(time);
  Now = std::max(Now, time);
  for (Absence& absence : Absences) {
    if (!absence.Wanted.Matches(record)) continue;
    absence.Since = std::max(absence.Since, time);
    if (absence.Deadline() >= Now) absence.TooLong = false;  // not for one that comes late itself
  }
  NoteMark(record);
  bool happens = false;
  for (Alternative& alternative : Alternatives) happens = HappensWith(alternative, record) || happens;
  return happens;
}

/// Others hear of the loss when the channel's next record comes, and not at the same time in recordings and in files.
void StreamCondition::NoteMark(const RecordView& record) {
  if (!record.HasOverrunMark()) {
    if (!Marked.empty()) Marked.erase(record.ChannelId());
    return;
  }
  const bool goesOn = !Marked.insert(record.ChannelId()).second;
  const LossKey key{record.ChannelId(), LossCause::OverrunMark, record.Timestamp()};
  if (!goesOn && Noted.insert(key).second) Upcoming.insert(record.Timestamp());
}

bool StreamCondition::HappensWith(Alternative& alternative, const RecordView& record) const {
  if (alternative.What.Is == FilterTree::Kind::Test) return alternative.What.Tests->Matches(record);
  const bool held = std::exchange(alternative.Held, Holds(alternative.What, nullptr, false) == Truth::Yes);
  if (alternative.Held) return !held;
  return Holds(alternative.What, &record, false) == Truth::Yes;
}

/// Does one of the alternatives begin to hold, whatever record might come? A loss is a moment: after it nothing holds by it.
bool StreamCondition::ComesToHold(bool atLoss) {
  bool begins = false;
  for (Alternative& alternative : Alternatives) {
    const bool holds = Holds(alternative.What, nullptr, atLoss) == Truth::Yes;
    begins = begins || (holds && !alternative.Held);
    alternative.Held = atLoss ? Holds(alternative.What, nullptr, false) == Truth::Yes : holds;
  }
  return begins;
}

StreamCondition::Truth StreamCondition::Holds(const Node& node, const RecordView* record, bool atLoss) const {
  const auto truth = [](bool holds) { return holds ? Truth::Yes : Truth::No; };
  switch (node.Is) {
    case FilterTree::Kind::Test:
      return record == nullptr ? Truth::Open : truth(node.Tests->Matches(*record));
    case FilterTree::Kind::Missing:
      return truth(Absences[node.Absence].TooLong);
    case FilterTree::Kind::Loss:
      return truth(atLoss);
    case FilterTree::Kind::Not: {
      const Truth part = Holds(node.Parts.front(), record, atLoss);
      return part == Truth::Open ? part : truth(part == Truth::No);
    }
    case FilterTree::Kind::All:
    case FilterTree::Kind::Any:
      return HoldTogether(node, record, atLoss);
  }
  return Truth::No;
}

/// All is as true as the least true part, Any as the truest one.
StreamCondition::Truth StreamCondition::HoldTogether(const Node& node, const RecordView* record, bool atLoss) const {
  const bool all = node.Is == FilterTree::Kind::All;
  Truth together = all ? Truth::Yes : Truth::No;
  for (const Node& part : node.Parts) {
    const Truth truth = Holds(part, record, atLoss);
    together = all ? std::min(together, truth) : std::max(together, truth);
  }
  return together;
}

}  // namespace client
