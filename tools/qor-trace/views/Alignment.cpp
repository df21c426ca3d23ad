#include "views/Alignment.h"

#include <algorithm>
#include <unordered_map>
#include <utility>
#include <vector>

namespace client {

namespace {

constexpr size_t kJudged = 64;            // records after a junction that are looked at
constexpr size_t kUsuallyAlike = 60;      // of them, in recordings that are mostly equal
constexpr unsigned long kLongMoved = 16;  // records after which one that stands elsewhere isn't looked for any more

unsigned long Sum(unsigned long one, unsigned long other) { return one + std::min(other, ~0ul - one); }
unsigned long Distance(unsigned long one, unsigned long other) { return std::max(one, other) - std::min(one, other); }

Strays::Reach ReachOf(const TimeRule& rule) {
  if (!rule.Counts) return Alignment::kReachInRecords;
  Strays::Reach reach = Alignment::kReach;
  for (unsigned long* const part : {&reach.Content, &reach.Message, &reach.Moment})
    *part = std::max(*part, rule.Tolerance);
  return reach;
}

}  // namespace

bool TimeRule::Agree(const ComparedRecord& a, const ComparedRecord& b) const {
  return !Counts || Distance(a.Time(), b.Time()) <= Tolerance;
}

Alignment::Alignment(const TimeRule& rule, const ReadingFronts& fronts, Strays::Settled settled)
    : Rule(rule), Fronts(fronts), Settled(std::move(settled)), Left(ReachOf(rule)), Acceptable(kUsuallyAlike) {}

void Alignment::Take(Side side, ComparedRecord&& record) {
  // One side alone has gone back in time, as where a clock is reset: its times say nothing about how far the other one is.
  if (record.Time() < Fronts[side].Greatest) record.WaitFor(Fronts[Other(side)].Taken + kLatePatience);
  QueueMemory += record.Memory();
  Queue(side).push_back(std::move(record));
  Advance();
}

void Alignment::Advance() {
  bool goesOn = true;
  while (goesOn) {
    goesOn = Step();
    SettleStrays();
  }
}

bool Alignment::AreEqual(size_t a, size_t b) const {
  const ComparedRecord& one = Queue(Side::A)[a];
  const ComparedRecord& other = Queue(Side::B)[b];
  return Rule.Agree(one, other) && one.HasSameContent(other);
}

/// False when more has to be read first.
bool Alignment::Step() {
  const Records& a = Queue(Side::A);
  const Records& b = Queue(Side::B);
  if (a.empty() && b.empty()) return false;
  if (a.empty()) return LeaveLonely(Side::B);
  if (b.empty()) return LeaveLonely(Side::A);
  if (!Rule.Agree(a.front(), b.front())) {
    LeaveFront(FrontToLeave(), 0);
    InStep = false;
    return true;
  }
  if (!InStep || !AreEqual(0, 0)) return Resynchronise();
  TakeEqual();
  return true;
}

/// The earlier one of heads that are apart; but before it one that is later than the next of its own side: an odd time must not
/// hold up what follows it.
Side Alignment::FrontToLeave() const {
  for (const Side side : {Side::A, Side::B}) {
    const Records& queue = Queue(side);
    if (queue.size() > 1 && queue[1].Time() < queue[0].Time()) return side;
  }
  return Queue(Side::A).front().Time() < Queue(Side::B).front().Time() ? Side::A : Side::B;
}

ComparedRecord Alignment::Popped(Side side) {
  Records& queue = Queue(side);
  ComparedRecord record = std::move(queue.front());
  queue.pop_front();
  QueueMemory -= record.Memory();
  return record;
}

void Alignment::TakeEqual() {
  const ComparedRecord a = Popped(Side::A);
  const ComparedRecord b = Popped(Side::B);
  ++Position;
  Settled({.A = &a, .B = &b, .InOrder = true});
}

/// The other side has nothing to hold against its head.
bool Alignment::LeaveLonely(Side side) {
  const Records& queue = Queue(side);
  const ReadingFronts::Front& other = Fronts[Other(side)];
  const ComparedRecord& head = queue.front();
  const bool passed = Rule.Counts && other.Time > Sum(head.Time(), Rule.Tolerance) && other.Taken >= head.WaitsFor();
  if (!passed && !other.Ended && queue.size() < kMostAhead && !IsFull()) return false;
  LeaveFront(side, 0);
  ++Position;
  InStep = InStep && !Rule.Counts;
  return true;
}

// ---- Going on after a difference ------------------------------------------------------------------------------------

bool Alignment::Resynchronise() {
  if (!SeesEnough(Side::A) || !SeesEnough(Side::B)) return false;
  const bool farthest = Ahead >= kMostAhead || IsFull() || (SeesEverything(Side::A) && SeesEverything(Side::B));
  const auto junction = FindJunction();
  if (!farthest && (!junction || junction->Alike < Acceptable)) {
    Ahead *= 2;
    return true;
  }
  if (junction) {
    // Recordings that differ all the time aren't searched to the end each time.
    if (junction->Looked == kJudged) Acceptable = std::min(Acceptable, junction->Alike * 7 / 8);
    Leave(*junction);
  } else {
    Leave({.A = WithoutEqual(Side::A), .B = WithoutEqual(Side::B)});
  }
  InStep = true;
  Ahead = kFirstAhead;
  return true;
}

/// How many of a side can't have an equal when the search has found none: where times count, those whose partners it has all
/// seen.
size_t Alignment::WithoutEqual(Side side) const {
  const Records& queue = Queue(side);
  if (!Rule.Counts) return std::min(Ahead / 2, queue.size());
  const unsigned long first = std::min(Queue(Side::A).front().Time(), Queue(Side::B).front().Time());
  const unsigned long last = Sum(first, Rule.Tolerance);
  size_t count = 1;
  while (count < std::min(Ahead / 2, queue.size()) && queue[count].Time() <= last) ++count;
  return count;
}

/// The search has all that could be equal to something of the other side.
bool Alignment::SeesEverything(Side side) const {
  const Records& queue = Queue(side);
  const auto passes = [&](unsigned long time) {
    return Rule.Counts && time > Sum(Sum(queue.front().Time(), Rule.Tolerance), Rule.Tolerance);
  };
  if (queue.size() > Ahead) return passes(queue[Ahead].Time());
  return Fronts[side].Ended || passes(Fronts[side].Time);
}

bool Alignment::SeesEnough(Side side) const { return Queue(side).size() >= Ahead || IsFull() || SeesEverything(side); }

std::optional<Alignment::Junction> Alignment::FindJunction() const {
  const Records& ofA = Queue(Side::A);
  const Records& ofB = Queue(Side::B);
  const size_t countA = std::min(Ahead, ofA.size()), countB = std::min(Ahead, ofB.size());
  std::unordered_multimap<unsigned long, size_t> places;  // in B, by content
  places.reserve(countB);
  for (size_t b = 0; b < countB; ++b) places.emplace(ofB[b].Content(), b);
  std::vector<bool> judged(countA + countB);  // by how far the sides are apart: only the first place is a junction
  std::optional<Junction> best;
  for (size_t a = 0; a < countA; ++a) {
    const auto isFarther = [&](size_t records) {
      return best && best->Alike == kJudged && best->A + best->B <= records;
    };
    if (isFarther(a)) break;
    const auto [from, to] = places.equal_range(ofA[a].Content());
    for (auto place = from; place != to; ++place) {
      const size_t b = place->second;
      if (judged[countB + a - b] || isFarther(a + b) || !AreEqual(a, b)) continue;
      judged[countB + a - b] = true;
      const Junction found = Judged(a, b);
      if (!best || found.IsBetterThan(*best)) best = found;
    }
  }
  return best;
}

Alignment::Junction Alignment::Judged(size_t a, size_t b) const {
  const size_t count = std::min({kJudged, Queue(Side::A).size() - a, Queue(Side::B).size() - b});
  size_t alike = 0;
  for (size_t index = 0; index < count; ++index) alike += AreEqual(a + index, b + index) ? 1 : 0;
  return {a, b, alike, count};
}

void Alignment::Leave(const Junction& junction) {
  for (size_t a = 0; a < junction.A; ++a) LeaveFront(Side::A, a);
  for (size_t b = 0; b < junction.B; ++b) LeaveFront(Side::B, b);
  Position += std::max(junction.A, junction.B);
}

/// @param offset  among those that are left together
void Alignment::LeaveFront(Side side, unsigned long offset) {
  ComparedRecord record = Popped(side);
  const unsigned long place = Rule.Counts ? record.Time() : Position + offset;
  Left.Add(side, std::move(record), place);
}

// ---- Strays ---------------------------------------------------------------------------------------------------------

/// What will still be left has a later place, unless a recording goes back in time.
unsigned long Alignment::PastStrays(Side side) const {
  if (!Queue(side).empty()) return std::min(Queue(side).front().Time(), Fronts[side].Time);
  return Fronts[side].Ended ? ~0ul : Fronts[side].Time;
}

void Alignment::SettleStrays() {
  if (Left.Empty()) return;
  const bool ended = Fronts[Side::A].Ended && Fronts[Side::B].Ended;
  if (ended && Queue(Side::A).empty() && Queue(Side::B).empty()) return Left.SettleAll(Settled);
  const unsigned long past = Rule.Counts ? std::min(PastStrays(Side::A), PastStrays(Side::B)) : Position;
  const unsigned long patience = Rule.Counts ? std::max(kPatience, Sum(Rule.Tolerance, Rule.Tolerance)) : kLongMoved;
  Left.SettleBefore(past - std::min(past, patience), Settled);
  while (Left.Memory() > kMostMemory) Left.SettleOne(Settled);
}

}  // namespace client
