// Two recordings, record by record: what is the same in both, and where they differ.
#pragma once

#include <array>
#include <map>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "record/RecordView.h"
#include "views/Alignment.h"
#include "views/ComparedRecord.h"
#include "views/KeptRecord.h"

namespace client {

struct ComparisonPlan {
  TimeRule Times = {};
  ComparedFields Ignored = {};  // with Time, times don't count
  KeptFormats Formats = {};     // what these have no place for doesn't count
  size_t MostShown = 10;        // differences that are kept
};

struct ComparedCounts {
  std::array<unsigned long, 2> Entries = {};                   // that were compared, by side
  std::array<unsigned long, 2> OnlyIn = {};                    // by side
  unsigned long Equal = 0;                                     // pairs
  unsigned long Reordered = 0;                                 // of those: pairs that stand in another order
  unsigned long Differing = 0;                                 // pairs
  std::array<unsigned long, kComparedFieldCount> Fields = {};  // of those: how many differ in each

  [[nodiscard]] unsigned long Only(Side side) const { return OnlyIn[static_cast<size_t>(side)]; }
  [[nodiscard]] bool AnyDifference() const { return Differing > 0 || OnlyIn[0] > 0 || OnlyIn[1] > 0; }
};

/// One record that differs, or several in a row that only one side has.
struct Difference {
  std::optional<ComparedRecord> A = std::nullopt;  // the first of them; nothing where they are only in B
  std::optional<ComparedRecord> B = std::nullopt;
  ComparedFields Fields = {};   // of two records: what they differ in
  unsigned long Count = 1;      // records in a row
  unsigned long LastTime = 0;   // ns, its recording's own clock: of the last of them
  unsigned long LastEntry = 0;  // its number in its recording

  [[nodiscard]] bool IsPair() const { return A && B; }
  /// The one that there is, of two that of A.
  [[nodiscard]] const ComparedRecord& First() const { return A ? *A : *B; }
};

/// ns, B less A, of records that are equal or differ in other things than their moment.
struct TimeSpread {
  long First = 0;
  long Last = 0;
  long Least = 0;
  long Greatest = 0;
};

/// Takes the records of two recordings and counts what is equal. Channels are compared each by itself: their order among each
/// other doesn't count.
///
/// Threads: one. Memory: that of an Alignment for each channel with differences, and the differences that are shown.
class Comparison {
 public:
  using ChannelKey = std::pair<unsigned int, unsigned char>;  // number (0 where numbers don't count), bus

  explicit Comparison(const ComparisonPlan& plan);
  Comparison(const Comparison&) = delete;
  Comparison& operator=(const Comparison&) = delete;

  /// The side whose next record is wanted; nothing when both have ended.
  [[nodiscard]] std::optional<Side> Wanted() const;
  /// @param time   ns, on the clock that both recordings share
  /// @param entry  its number in its recording, from 1
  void Take(Side side, const RecordView& record, unsigned long time, unsigned long entry);
  void End(Side side);

  [[nodiscard]] const ComparisonPlan& Plan() const { return Asked; }
  [[nodiscard]] bool AnyDifference() const { return DifferenceCount > 0; }
  /// Runs of records that only one side has count as one.
  [[nodiscard]] unsigned long Differences() const { return DifferenceCount; }
  /// The first of them, as many as are asked for.
  [[nodiscard]] const std::vector<Difference>& Shown() const { return Kept; }
  [[nodiscard]] std::map<ChannelKey, ComparedCounts> Channels() const;
  [[nodiscard]] ComparedCounts All() const;
  /// Records of a side that the plan's formats have no place for.
  [[nodiscard]] unsigned long LeftOut(Side side) const { return NotKept[static_cast<size_t>(side)]; }
  /// Nothing without a pair.
  [[nodiscard]] const std::optional<TimeSpread>& Times() const { return Spread; }

 private:
  /// Records of a side in a row that the other doesn't have.
  struct Run {
    unsigned long Next = 0;                           // index of the record that would belong to it
    std::optional<size_t> Difference = std::nullopt;  // of those that are kept
  };
  struct Channel {
    ComparedCounts Counts = {};
    std::array<std::optional<Run>, 2> Runs = {};
    std::unique_ptr<Alignment> Aligned = nullptr;
  };

  Channel& ChannelOf(const ComparedRecord& record);
  void AdvanceAll();
  void Settle(Channel& channel, const ComparedPair& pair);
  void SettlePair(Channel& channel, const ComparedPair& pair);
  void SettleOnly(Channel& channel, Side side, const ComparedRecord& record);
  void NoteTimes(const ComparedRecord& a, const ComparedRecord& b);

  const ComparisonPlan Asked;
  ReadingFronts Fronts;
  std::map<ChannelKey, Channel> Known;
  std::array<unsigned long, 2> NotKept = {};
  Side Newest = Side::A;           // that a record was taken of
  unsigned long InARow = 0;        // records taken of that side
  unsigned long SinceAdvance = 0;  // records taken
  unsigned long DifferenceCount = 0;
  std::vector<Difference> Kept;
  std::optional<TimeSpread> Spread;
};

}  // namespace client
