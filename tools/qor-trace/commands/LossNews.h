// When outputs are told of a loss that was found in the stream.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <utility>

#include "stream/LossLedger.h"
#include "stream/RecordSink.h"
#include "system/Pace.h"

namespace client {

/// Tells right away, in front of the record after the loss, so that outputs have it at its place; but of very many only some
/// times a second: an interface may mark entry after entry.
class LossNews {
 public:
  explicit LossNews(std::function<void()> tell) : Tell(std::move(tell)) {}

  void operator()() {
    if (Times < LossLedger::kMost) {
      ++Times;
      Tell();
    } else if (Often.IsDue()) {
      Tell();
    }
  }

 private:
  const std::function<void()> Tell;
  size_t Times = 0;
  Pace Often{std::chrono::milliseconds(100)};
};

/// Tells of the losses that an input has between its records, before the next one is handed on.
class InputLosses : public RecordSink {
 public:
  /// @param next   outlives this
  /// @param known  another number after each loss
  InputLosses(RecordSink& next, std::function<unsigned long()> known, LossNews& news)
      : Next(next), Known(std::move(known)), News(news) {}

  [[nodiscard]] bool Take(const RecordView& record) override {
    const unsigned long known = Known();
    if (known != Before) {
      Before = known;
      News();
    }
    return Next.Take(record);
  }
  void Pause() override { Next.Pause(); }

 private:
  RecordSink& Next;
  const std::function<unsigned long()> Known;
  LossNews& News;
  unsigned long Before = 0;
};

}  // namespace client
