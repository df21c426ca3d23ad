// Which records of two recordings of a channel are the same one.
#pragma once

#include <array>
#include <deque>
#include <functional>
#include <optional>

#include "views/ComparedRecord.h"
#include "views/Strays.h"

namespace client {

/// How far two recordings have been read.
struct ReadingFronts {
  struct Front {
    unsigned long Time = 0;      // ns, on the clock that both share: of the newest record
    unsigned long Greatest = 0;  // ns, of any record so far
    unsigned long Taken = 0;     // records
    bool Ended = false;          // no record will follow
  };
  [[nodiscard]] const Front& operator[](Side side) const { return Fronts[static_cast<size_t>(side)]; }
  [[nodiscard]] Front& operator[](Side side) { return Fronts[static_cast<size_t>(side)]; }

  std::array<Front, 2> Fronts = {};
};

/// What makes two records equal, besides their content.
struct TimeRule {
  bool Counts = true;           // false: whatever their times
  unsigned long Tolerance = 0;  // ns

  [[nodiscard]] bool Agree(const ComparedRecord& a, const ComparedRecord& b) const;
};

/// Aligns the records of a channel. Those at the heads of both sides that are equal go together. Where they aren't, the
/// recordings go on at the place after which most of the next records are equal, looked for among at most kMostAhead records of
/// each side, and what lies before it is left to Strays. Where times count, a record that the other side has gone past needs no
/// such search: a gap may have any length then.
///
/// Threads: one. Memory: kMostMemory for the records of both sides, and as much for the strays.
class Alignment {
 public:
  static constexpr size_t kFirstAhead = 64;  // records, where a search begins
  static constexpr size_t kMostAhead = 16384;
  static constexpr size_t kMostMemory = size_t{8} << 20;     // bytes
  static constexpr unsigned long kLatePatience = 512;        // records that one waits for which goes back in time
  static constexpr unsigned long kPatience = 1'000'000'000;  // ns of trace time that a stray waits for a partner

  /// That strays may be apart which are a pair: ns, or where times don't count, records.
  static constexpr Strays::Reach kReach = {.Content = 10'000'000, .Message = 1'000'000, .Moment = 0};
  static constexpr Strays::Reach kReachInRecords = {.Content = 8, .Message = 2, .Moment = 0};

  /// @param fronts   outlives this
  /// @param settled  gets each record once, with the one of the other side that it is held against, if there is one
  Alignment(const TimeRule& rule, const ReadingFronts& fronts, Strays::Settled settled);

  void Take(Side side, ComparedRecord&& record);
  /// Goes as far as the fronts allow; everything is settled once both have ended.
  void Advance();

  /// Records that have not been held against others yet.
  [[nodiscard]] size_t Waiting(Side side) const { return Queue(side).size(); }

 private:
  using Records = std::deque<ComparedRecord>;
  /// Where two sides go on alike: records before it.
  struct Junction {
    size_t A = 0;
    size_t B = 0;
    size_t Alike = 0;   // of the records after it
    size_t Looked = 0;  // records after it that were looked at

    [[nodiscard]] bool IsBetterThan(const Junction& other) const {
      return Alike != other.Alike ? Alike > other.Alike : A + B < other.A + other.B;
    }
  };

  [[nodiscard]] const Records& Queue(Side side) const { return Queues[static_cast<size_t>(side)]; }
  [[nodiscard]] Records& Queue(Side side) { return Queues[static_cast<size_t>(side)]; }
  [[nodiscard]] bool IsFull() const { return QueueMemory > kMostMemory; }
  [[nodiscard]] bool AreEqual(size_t a, size_t b) const;
  [[nodiscard]] bool Step();
  [[nodiscard]] Side FrontToLeave() const;
  void TakeEqual();
  [[nodiscard]] bool LeaveLonely(Side side);
  [[nodiscard]] bool Resynchronise();
  [[nodiscard]] bool SeesEverything(Side side) const;
  [[nodiscard]] bool SeesEnough(Side side) const;
  [[nodiscard]] size_t WithoutEqual(Side side) const;
  [[nodiscard]] std::optional<Junction> FindJunction() const;
  [[nodiscard]] Junction Judged(size_t a, size_t b) const;
  void Leave(const Junction& junction);
  void LeaveFront(Side side, unsigned long offset);
  [[nodiscard]] ComparedRecord Popped(Side side);
  void SettleStrays();
  [[nodiscard]] unsigned long PastStrays(Side side) const;

  const TimeRule Rule;
  const ReadingFronts& Fronts;
  const Strays::Settled Settled;
  Strays Left;
  std::array<Records, 2> Queues;
  size_t QueueMemory = 0;      // bytes, of both
  unsigned long Position = 0;  // records that lie behind, on an axis that both sides share
  bool InStep = true;  // the heads stand for the same moment; false after a time that only one side has records of
  size_t Ahead = kFirstAhead;  // records of each side that are searched now
  size_t Acceptable;           // records after a junction that must be alike
};

}  // namespace client
