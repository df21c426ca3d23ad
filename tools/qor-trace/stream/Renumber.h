// Gives records the new numbers of their channels.
#pragma once

#include <map>
#include <utility>
#include <vector>

#include "stream/ChannelNumbers.h"
#include "stream/RecordSink.h"

namespace client {

/// Hands on each record with its channel's new number.
class Renumber : public RecordSink {
 public:
  /// @param next  outlives this
  Renumber(RecordSink& next, ChannelNumbers numbers) : Next(next), Numbers(std::move(numbers)) {}

  /// Failure: Failure when two channels would get the same number, which nobody could tell apart afterwards.
  [[nodiscard]] bool Take(const RecordView& record) override;
  void Pause() override { Next.Pause(); }

 private:
  void Claim(unsigned int number, unsigned int channel);

  RecordSink& Next;
  const ChannelNumbers Numbers;
  std::map<unsigned int, unsigned int> Owners;  // the channel that has a number, by number
  std::vector<unsigned char> Copy;              // of a record, with another channel
};

}  // namespace client
