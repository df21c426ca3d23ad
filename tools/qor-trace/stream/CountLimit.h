// Ends a stream after some records.
#pragma once

#include <optional>

#include "stream/RecordSink.h"

namespace client {

/// Hands on so many records, and ends the stream with the last one: nobody waits for a further one that isn't wanted.
class CountLimit : public RecordSink {
 public:
  /// @param next  outlives this
  /// @param most  records, at least 1; nothing: no limit
  CountLimit(RecordSink& next, std::optional<unsigned long> most) : Next(next), Most(most) {}

  [[nodiscard]] bool Take(const RecordView& record) override {
    if (HasEnded() || !Next.Take(record)) return false;
    ++Passed;
    if (HasEnded()) End = record.Timestamp();
    return !HasEnded();
  }
  void Pause() override { Next.Pause(); }

  [[nodiscard]] bool HasEnded() const { return Most && Passed >= *Most; }
  /// ns, the time of the last record that was wanted; once the stream was ended.
  [[nodiscard]] unsigned long EndTime() const { return End; }

 private:
  RecordSink& Next;
  const std::optional<unsigned long> Most;
  unsigned long Passed = 0;
  unsigned long End = 0;
};

}  // namespace client
