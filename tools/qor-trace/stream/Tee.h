// One stream of entries for two sinks.
#ifndef QOR_TRACE_TEE_H
#define QOR_TRACE_TEE_H

#include "stream/Entry.h"

namespace client {

/// Hands each entry to two sinks, to the second one only what the first one has taken.
class Tee : public EntrySink {
 public:
  Tee(EntrySink& first, EntrySink& second) : First(first), Second(second) {}

  bool Take(const unsigned char* record, unsigned int length) override {
    return First.Take(record, length) && Second.Take(record, length);
  }
  void Pause() override {
    First.Pause();
    Second.Pause();
  }

 private:
  EntrySink& First;
  EntrySink& Second;
};

}  // namespace client

#endif  // QOR_TRACE_TEE_H
