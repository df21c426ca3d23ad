// Passes on what lies between two times.
#pragma once

#include <algorithm>
#include <optional>
#include <utility>

#include "stream/RecordSink.h"

namespace client {

/// Times in ns since the first record that came; a record at From is in, one at To is not, so that cuts of one recording at
/// the same time have each record once.
struct TimeBounds {
  std::optional<unsigned long> From = std::nullopt;
  std::optional<unsigned long> To = std::nullopt;
};

/// Hands on the records between two times. Records may come a little out of order: the stream is ended by the first one that is a
/// second beyond the end.
class TimeCut : public RecordSink {
 public:
  static constexpr unsigned long kLongestDelay = 1'000'000'000;  // ns of trace time

  /// @param next  outlives this
  TimeCut(RecordSink& next, TimeBounds bounds) : Next(next), Bounds(bounds) {}

  [[nodiscard]] bool Take(const RecordView& record) override {
    const unsigned long time = SinceStart(record.Timestamp());
    if (Bounds.To && time >= *Bounds.To) {
      ++Outside;
      Ended = time - *Bounds.To >= kLongestDelay;
      return !Ended;
    }
    if (time >= Bounds.From.value_or(0)) return Next.Take(record);
    ++Outside;
    return true;
  }
  void Pause() override { Next.Pause(); }

  /// Says when the stream begins, before its first record is taken.
  void BeginAt(unsigned long time) { Start = time; }
  /// The times that are inside, the second one excluded; nothing before the first record, unless that makes no difference.
  [[nodiscard]] std::optional<std::pair<unsigned long, unsigned long>> Inside() const {
    if (!Start && (Bounds.From || Bounds.To)) return std::nullopt;
    return std::pair(Bounds.From ? Later(*Bounds.From) : 0, Bounds.To ? Later(*Bounds.To) : kNever);
  }

  /// Records that were left out.
  [[nodiscard]] unsigned long LeftOut() const { return Outside; }
  /// The stream was ended by a record beyond the end.
  [[nodiscard]] bool HasEnded() const { return Ended; }

 private:
  static constexpr unsigned long kNever = ~0ul;

  /// So long after the first record.
  [[nodiscard]] unsigned long Later(unsigned long time) const { return *Start + std::min(time, kNever - *Start); }

  /// 0 for a record that is older than the first one.
  [[nodiscard]] unsigned long SinceStart(unsigned long time) {
    if (!Start) Start = time;
    return time - std::min(time, *Start);
  }

  RecordSink& Next;
  const TimeBounds Bounds;
  std::optional<unsigned long> Start;  // ns, time of the first record
  unsigned long Outside = 0;
  bool Ended = false;
};

}  // namespace client
