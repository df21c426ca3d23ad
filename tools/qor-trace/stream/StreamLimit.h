// Ends a stream when there is enough of it.
#pragma once

#include <optional>

#include "stream/RecordSink.h"

namespace client {

/// Whichever is reached first.
struct StopLimits {
  std::optional<unsigned long> Entries = std::nullopt;  // at least 1
  std::optional<unsigned long> Frames = std::nullopt;   // likewise; of the entries, those that are frames: see IsFrame
  std::optional<unsigned long> Bytes = std::nullopt;    // likewise; of their records, as raw record files have them
  std::optional<unsigned long> Time = std::nullopt;     // ns since the first entry

  [[nodiscard]] bool Any() const { return Entries || Frames || Bytes || Time; }
};

/// Hands on records up to a limit. Numbers and sizes end the stream with the record that reaches them: nobody waits for a further
/// one that isn't wanted. A time ends it as TimeCut does: records may come a little out of order.
class StreamLimit : public RecordSink {
 public:
  enum class Reached { Nothing, Entries, Frames, Bytes, Time };

  /// @param next  outlives this
  StreamLimit(RecordSink& next, const StopLimits& limits) : Next(next), Limits(limits) {}

  [[nodiscard]] bool Take(const RecordView& record) override;
  void Pause() override { Next.Pause(); }

  [[nodiscard]] Reached EndedBy() const { return Ended; }
  /// ns: from here on nothing is wanted. Nothing as long as that isn't known.
  [[nodiscard]] std::optional<unsigned long> EndTime() const { return End; }

 private:
  void Count(const RecordView& record);

  RecordSink& Next;
  const StopLimits Limits;
  bool Begun = false;
  unsigned long Entries = 0;
  unsigned long Frames = 0;
  unsigned long Bytes = 0;
  std::optional<unsigned long> End;  // ns
  Reached Ended = Reached::Nothing;
};

}  // namespace client
