// Puts entries that come a little out of order in the order of their times.
#pragma once

#include <chrono>
#include <cstddef>
#include <deque>
#include <functional>
#include <list>
#include <queue>
#include <utility>
#include <vector>

#include "stream/LossLedger.h"
#include "stream/RecordSink.h"

namespace client {

/// Holds entries back until nothing within a window of the newest one can come before them, then hands them to the next
/// sink in the order of their times; those of the same time in the order in which they came. An entry that is older
/// than one already handed over is passed on at once, out of order, and entered into the ledger.
///
/// What is held is bounded in bytes: beyond the limit the oldest are handed over early. When nothing has come for
/// a second of real time, nothing is on its way either, and Pause hands everything over.
///
/// Threads: one. Memory: the limit, and some 32 bytes for each entry held.
class Reorder : public RecordSink {
 public:
  using Clock = std::function<std::chrono::steady_clock::time_point()>;

  static constexpr unsigned long kUsualWindow = 1000000000;  // ns of trace time
  static constexpr size_t kUsualLimit = 64u << 20;           // bytes
  static constexpr std::chrono::seconds kLongestSilence{1};  // until a pause hands everything over

  /// @param next    outlives this, as does the ledger
  /// @param window  ns of trace time; 0 hands everything over at once, and only counts
  /// @param limit   bytes of entries held
  Reorder(RecordSink& next, LossLedger& ledger, unsigned long window = kUsualWindow, size_t limit = kUsualLimit,
          Clock now = std::chrono::steady_clock::now)
      : Next(next), Ledger(ledger), Window(window), Limit(limit), Now(std::move(now)) {}

  /// False once the next sink has declined an entry, which ends the stream. What is held goes on with Finish all the same:
  /// some of several outputs may still take it.
  [[nodiscard]] bool Take(const RecordView& record) override;
  void Pause() override;

  /// Entries that are held.
  [[nodiscard]] size_t Waiting() const { return InOrder.size() + Stragglers.size(); }
  /// Hands over what is held. Nothing is taken afterwards.
  void Finish();

 private:
  /// Records back to back; freed when all of them have been handed over.
  struct Block {
    std::vector<unsigned char> Bytes;
    unsigned int Waiting = 0;  // records
  };
  using BlockPlace = std::list<Block>::iterator;
  struct Held {
    unsigned long Time;    // ns
    unsigned long Number;  // in which it came
    BlockPlace Place;
    unsigned int Offset;  // in the block
    unsigned int Length;

    bool operator>(const Held& other) const { return Time != other.Time ? Time > other.Time : Number > other.Number; }
  };

  void MakeRoomFor(unsigned int length);
  void Free(const Held& held);
  void Hold(const RecordView& record);
  [[nodiscard]] bool HandOverDue();
  bool HandOverOldest();
  [[nodiscard]] bool OldestIsStraggler() const;
  [[nodiscard]] bool PassLate(const RecordView& record);

  RecordSink& Next;
  LossLedger& Ledger;
  const unsigned long Window;
  const size_t Limit;
  const Clock Now;
  std::deque<Held> InOrder;                                                     // oldest first; nearly all of them
  std::priority_queue<Held, std::vector<Held>, std::greater<Held>> Stragglers;  // each came after a newer one
  std::list<Block> Blocks;                                                      // the last one is being filled
  size_t HeldBytes = 0;
  unsigned long Newest = 0;      // ns; of all that came
  unsigned long HandedOver = 0;  // ns; of the newest that was handed over
  unsigned long Taken = 0;       // entries
  std::chrono::steady_clock::time_point LastTaken;
  bool TakenSincePause = false;
  bool Declined = false;
};

}  // namespace client
