// One stream of entries for two sinks.
#pragma once

#include "stream/RecordSink.h"

namespace client {

/// Hands each entry to two sinks, to the second one only what the first one has taken.
class Tee : public RecordSink {
 public:
  Tee(RecordSink& first, RecordSink& second) : First(first), Second(second) {}

  [[nodiscard]] bool Take(const RecordView& record) override { return First.Take(record) && Second.Take(record); }
  void Pause() override {
    First.Pause();
    Second.Pause();
  }

 private:
  RecordSink& First;
  RecordSink& Second;
};

}  // namespace client
