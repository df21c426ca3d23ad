#include "monitor/SortQueue.h"

#include <algorithm>

SortedRun::SortedRun(const EntryBatch& batch)
    : Records(std::make_unique_for_overwrite<unsigned char[]>(batch.Bytes())),
      End(batch.Bytes()),
      Last(batch[batch.size() - 1].Timestamp) {
  batch.CopyTo(Records.get());
}

unsigned long SortQueue::OldestTime() const {
  const auto isOlder = [](const Lane& a, const Lane& b) {
    return a.front().Head().Timestamp < b.front().Head().Timestamp;
  };
  return std::min_element(Lanes.begin(), Lanes.end(), isOlder)->front().Head().Timestamp;
}

unsigned long SortQueue::NewestTime() const {
  const auto isOlder = [](const Lane& a, const Lane& b) { return a.back().LastTime() < b.back().LastTime(); };
  return std::max_element(Lanes.begin(), Lanes.end(), isOlder)->back().LastTime();
}

void SortQueue::Add(Runs& arrived) {
  while (!arrived.empty()) {
    Lane& lane = LaneFor(arrived.front());
    arrived.front().Arrival = Arrivals++;
    lane.splice(lane.end(), arrived, arrived.begin());
  }
}

/// A lane that the run continues, or a new one.
SortQueue::Lane& SortQueue::LaneFor(const SortedRun& run) {
  const unsigned long first = run.Head().Timestamp;
  for (Lane& lane : Lanes) {
    if (lane.back().LastTime() <= first) return lane;
  }
  Heads.reserve(Lanes.size() + 1);
  return Lanes.emplace_back();
}

SortQueue::Head SortQueue::HeadOf(std::list<Lane>::iterator lane) {
  const SortedRun& run = lane->front();
  return {run.Head().Timestamp, run.Arrival, lane};
}

/// Returns false if this was the last record of its lane, which then has gone.
bool SortQueue::DropHead(std::list<Lane>::iterator lane) {
  lane->front().DropHead();
  if (lane->front().empty()) lane->pop_front();
  if (!lane->empty()) return true;
  Lanes.erase(lane);
  return false;
}

void SortQueue::MoveTo(Qor_Trace_EntryStore& store, unsigned long horizon) {
  Heads.clear();
  for (auto lane = Lanes.begin(); lane != Lanes.end(); ++lane) Heads.push_back(HeadOf(lane));
  std::sort(Heads.begin(), Heads.end(), [](const Head& a, const Head& b) { return a.IsBefore(b); });
  while (!Heads.empty() && Heads.front().Time <= horizon) {
    const auto oldest = Heads.front().From;
    store.Append(oldest->front().Head());
    if (DropHead(oldest)) {
      Heads.front() = HeadOf(oldest);
    } else {
      Heads.front() = Heads.back();
      Heads.pop_back();
    }
    SinkFirstHead();
  }
}

/// Makes a heap of the heads again after the first one has been replaced.
void SortQueue::SinkFirstHead() {
  for (size_t place = 0;;) {
    size_t next = 2 * place + 1;
    if (next + 1 < Heads.size() && Heads[next + 1].IsBefore(Heads[next])) ++next;
    if (next >= Heads.size() || !Heads[next].IsBefore(Heads[place])) return;
    std::swap(Heads[place], Heads[next]);
    place = next;
  }
}
