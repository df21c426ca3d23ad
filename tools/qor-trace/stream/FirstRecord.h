// The moment at which a stream begins.
#pragma once

#include <functional>
#include <utility>

#include "stream/RecordSink.h"

namespace client {

/// Calls somebody for the first record, before it is handed on.
class FirstRecord : public RecordSink {
 public:
  using Call = std::function<void(const RecordView& record)>;

  FirstRecord(RecordSink& next, Call call) : Next(next), Begin(std::move(call)) {}

  bool Take(const RecordView& record) override {
    if (!Begun) Begin(record);
    Begun = true;
    return Next.Take(record);
  }
  void Pause() override { Next.Pause(); }

 private:
  RecordSink& Next;
  const Call Begin;
  bool Begun = false;
};

}  // namespace client
