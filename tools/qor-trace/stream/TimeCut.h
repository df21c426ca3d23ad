// Passes on what lies between two times.
#pragma once

#include <algorithm>
#include <optional>
#include <utility>

#include "stream/RecordSink.h"
#include "stream/TimeBase.h"

namespace client {

/// A time at which a cut lies.
struct TimeBound {
  unsigned long Time = 0;  // ns
  bool Utc = false;        // since 1970; else since the first record that came

  bool operator==(const TimeBound&) const = default;
};

/// A record at From is in, one at To is not, so that cuts of one recording at the same time have each record once.
struct TimeBounds {
  std::optional<TimeBound> From = std::nullopt;
  std::optional<TimeBound> To = std::nullopt;

  /// It must be known when the recording was made.
  [[nodiscard]] bool NeedUtc() const { return (From && From->Utc) || (To && To->Utc); }
};

/// Hands on the records between two times. Records may come a little out of order: the stream is ended by the first one that is a
/// second beyond the end.
class TimeCut : public RecordSink {
 public:
  static constexpr unsigned long kLongestDelay = 1'000'000'000;  // ns of trace time

  /// @param next  outlives this
  TimeCut(RecordSink& next, TimeBounds bounds) : Next(next), Bounds(bounds) {}

  [[nodiscard]] bool Take(const RecordView& record) override {
    const unsigned long time = record.Timestamp();
    if (!Range) BeginAt(time);
    if (time >= Range->second && Bounds.To) {
      ++Outside;
      Ended = time - Range->second >= kLongestDelay;
      return !Ended;
    }
    if (time >= Range->first) return Next.Take(record);
    ++Outside;
    return true;
  }
  void Pause() override { Next.Pause(); }

  /// Says when the stream begins, before its first record is taken.
  /// @param times  of the records, for bounds in UTC
  void BeginAt(unsigned long time, const TimeBase& times = kUnknownTimes) {
    Start = time;
    Range.emplace(Bounds.From ? PlaceOf(*Bounds.From, times) : 0, Bounds.To ? PlaceOf(*Bounds.To, times) : kNever);
    // A record that is older than the first one is as much from the beginning on.
    if (Range->first == Start) Range->first = 0;
  }
  /// The times that are inside, the second one excluded; nothing before the first record, unless that makes no difference.
  [[nodiscard]] std::optional<std::pair<unsigned long, unsigned long>> Inside() const {
    if (Range || Bounds.From || Bounds.To) return Range;
    return std::pair(0ul, kNever);
  }

  /// Records that were left out.
  [[nodiscard]] unsigned long LeftOut() const { return Outside; }
  /// The stream was ended by a record beyond the end.
  [[nodiscard]] bool HasEnded() const { return Ended; }

 private:
  static constexpr unsigned long kNever = ~0ul;

  /// On the records' clock.
  [[nodiscard]] unsigned long PlaceOf(const TimeBound& bound, const TimeBase& times) const {
    if (!bound.Utc) return Start + std::min(bound.Time, kNever - Start);
    const TimeBase back{times.Utc.value_or(0), times.IsKnown() ? times.Start : 0};  // from UTC to the records' clock
    return back.UtcOf(bound.Time);
  }

  RecordSink& Next;
  const TimeBounds Bounds;
  unsigned long Start = 0;                                       // ns, time of the first record
  std::optional<std::pair<unsigned long, unsigned long>> Range;  // ns, of what is inside; once it is known
  unsigned long Outside = 0;
  bool Ended = false;
};

}  // namespace client
