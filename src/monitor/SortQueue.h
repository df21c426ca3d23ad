// The sort stage: batches of several channels on their way into one sequence in the order of time.
#pragma once

#include <list>
#include <memory>
#include <optional>
#include <vector>

#include "record/EntryBatch.h"
#include "record/Qor_Trace_EntryStore.h"

/// A copy of one batch, in the order of its times, that is taken away from the front.
///
/// Threads: one at a time.
class SortedRun {
 public:
  /// @param batch  sorted, not empty
  /// @throws std::bad_alloc
  explicit SortedRun(const EntryBatch& batch);

  [[nodiscard]] bool empty() const { return Next == End; }
  /// The oldest record; not when empty.
  [[nodiscard]] const Qor_Trace_Entry_t& Head() const {
    return *reinterpret_cast<const Qor_Trace_Entry_t*>(Records.get() + Next);
  }
  void DropHead() { Next += Qor_Trace_EntryStore::Padded(Head().Length); }
  /// ns, of the newest record.
  [[nodiscard]] unsigned long LastTime() const { return Last; }

  unsigned long Arrival = 0;  // number of the batch in the order of arrival, set by the queue

 private:
  std::unique_ptr<unsigned char[]> Records;  // back to back, each at a multiple of 8
  size_t Next = 0;                           // place of the head
  size_t End;
  unsigned long Last;
};

/// Merges runs. Each is queued in a lane, whose records are in the order of time from run to run; a channel whose clock doesn't
/// go backwards needs one. Taking the oldest records costs a comparison or two each with few lanes, whatever is queued.
///
/// Records with equal times leave in the order in which their batches arrived. Threads: the owner locks.
class SortQueue {
 public:
  using Runs = std::list<SortedRun>;

  [[nodiscard]] bool empty() const { return Lanes.empty(); }
  /// ns, of the oldest and of the newest record; not when empty.
  [[nodiscard]] unsigned long OldestTime() const;
  [[nodiscard]] unsigned long NewestTime() const;

  /// Takes runs over, in the order of their arrival.
  /// @throws std::bad_alloc; `arrived` then holds those that aren't queued.
  void Add(Runs& arrived);
  /// Moves all records up to `horizon` (ns, included) to the end of a store.
  /// @throws std::bad_alloc; the others are still queued.
  void MoveTo(Qor_Trace_EntryStore& store, unsigned long horizon);

 private:
  using Lane = Runs;  // neither it nor a run in it is empty

  /// The oldest record of a lane.
  struct Head {
    unsigned long Time;     // ns
    unsigned long Arrival;  // of its batch
    std::list<Lane>::iterator From;

    [[nodiscard]] bool IsBefore(const Head& other) const {
      return Time != other.Time ? Time < other.Time : Arrival < other.Arrival;
    }
  };

  [[nodiscard]] Lane& LaneFor(const SortedRun& run);
  [[nodiscard]] static Head HeadOf(std::list<Lane>::iterator lane);
  [[nodiscard]] bool DropHead(std::list<Lane>::iterator lane);
  void SinkFirstHead();

  std::list<Lane> Lanes;
  std::vector<Head> Heads;  // of MoveTo, a heap with the oldest one on top; has room for all lanes
  unsigned long Arrivals = 0;
};
