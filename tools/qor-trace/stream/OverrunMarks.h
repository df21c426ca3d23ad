// Enters the overrun marks of a stream into a ledger.
#pragma once

#include <algorithm>
#include <functional>
#include <map>
#include <utility>

#include "stream/LossLedger.h"
#include "stream/RecordSink.h"

namespace client {

/// Hands everything on, and notes for each record that is the last one before a loss: nothing is missing before it, nor after
/// the next one of its channel. How many items are missing isn't known.
class OverrunMarks : public RecordSink {
 public:
  /// Called when a loss has ended, before the record after it is handed on.
  using News = std::function<void()>;

  /// @param next    outlives this, as does the ledger
  OverrunMarks(RecordSink& next, LossLedger& ledger, News tell = nullptr)
      : Next(next), Ledger(ledger), Tell(std::move(tell)) {}

  [[nodiscard]] bool Take(const RecordView& record) override {
    if (!Open.empty()) Close(record);
    if (record.HasOverrunMark()) Begin(record);
    return Next.Take(record);
  }
  void Pause() override { Next.Pause(); }

 private:
  void Begin(const RecordView& record) {
    Note(record.ChannelId(), record.Timestamp(), record.Timestamp());
    Open.insert_or_assign(record.ChannelId(), record.Timestamp());
  }

  void Close(const RecordView& record) {
    const auto open = Open.extract(record.ChannelId());
    if (open.empty()) return;
    const unsigned long before = Ledger.Changes();
    const unsigned long mark = open.mapped();
    Note(record.ChannelId(), mark, std::max(mark, record.Timestamp()));
    if (Tell && Ledger.Changes() != before) Tell();
  }

  void Note(unsigned int channel, unsigned long first, unsigned long last) {
    Ledger.Add({channel, LossCause::OverrunMark, first, last, std::nullopt});
  }

  RecordSink& Next;
  LossLedger& Ledger;
  const News Tell;
  std::map<unsigned int, unsigned long>
      Open;  // ns, of marks after which no record of their channel has come yet; by channel
};

}  // namespace client
