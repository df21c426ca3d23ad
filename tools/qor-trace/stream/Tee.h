// One stream of entries for two sinks.
#ifndef QOR_TRACE_TEE_H
#define QOR_TRACE_TEE_H

#include "stream/RecordSink.h"

namespace client {

/// Hands each entry to two sinks, to the second one only what the first one has taken.
class Tee : public RecordSink {
 public:
  Tee(RecordSink& first, RecordSink& second) : First(first), Second(second) {}

  bool Take(const RecordView& record) override { return First.Take(record) && Second.Take(record); }
  void Pause() override {
    First.Pause();
    Second.Pause();
  }

 private:
  RecordSink& First;
  RecordSink& Second;
};

}  // namespace client

#endif  // QOR_TRACE_TEE_H
