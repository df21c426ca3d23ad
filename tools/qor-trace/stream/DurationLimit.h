// Ends a stream after some trace time.
#pragma once

#include <optional>

#include "stream/RecordSink.h"

namespace client {

/// Hands on the entries up to a duration, counted from the first one; the first entry beyond it is declined.
class DurationLimit : public RecordSink {
 public:
  /// @param next      outlives this
  /// @param duration  ns; nothing: no limit
  DurationLimit(RecordSink& next, std::optional<unsigned long> duration) : Next(next), Duration(duration) {}

  [[nodiscard]] bool Take(const RecordView& record) override {
    const unsigned long time = record.Timestamp();
    if (!Begin) Begin = time;
    if (Duration && time > *Begin && time - *Begin > *Duration) return false;
    return Next.Take(record);
  }
  void Pause() override { Next.Pause(); }

 private:
  RecordSink& Next;
  const std::optional<unsigned long> Duration;
  std::optional<unsigned long> Begin;  // ns
};

}  // namespace client
