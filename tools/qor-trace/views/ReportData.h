// What a report is made of.
#pragma once

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "stream/Description.h"
#include "stream/Findings.h"
#include "stream/RecordSink.h"
#include "views/ChannelTimes.h"
#include "views/MessageTimes.h"
#include "views/Summary.h"
#include "views/SummaryText.h"

namespace client {

/// Takes the records of a recording, in one pass.
///
/// Threads: one. Memory: bounded, whatever the recording's length: see ChannelTimes and MessageTimes.
class ReportData : public RecordSink {
 public:
  /// @param ratesOf  as for ChannelTimes
  explicit ReportData(RatesOfChannel ratesOf) : Channels(std::move(ratesOf)) {}

  [[nodiscard]] bool Take(const RecordView& record) override { return Channels.Take(record) && Messages.Take(record); }
  /// After the last record.
  void Finish() { Channels.Finish(); }

  [[nodiscard]] const ChannelTimes& OfChannels() const { return Channels; }
  [[nodiscard]] const MessageTimes& OfMessages() const { return Messages; }

 private:
  ChannelTimes Channels;
  MessageTimes Messages;
};

/// What is known of the recording besides its records.
struct ReportFacts {
  std::vector<std::string> Inputs = {};  // as typed
  std::string Format = {};               // for people; empty: not known
  unsigned long Size = 0;                // bytes; 0: not known
  Description Known = {};                // with the losses that concern what is selected
  Findings Found = {};
  ShownTimes Times = {};
  std::string Selected = {};  // what of the inputs, as typed; empty: everything
  std::string LeftOut = {};   // lines that say how much that left out
  std::string Error = {};     // why the report ends before the inputs; empty: it doesn't
  std::string Tool = {};      // that writes the report
};

/// All that a page is written from.
struct ReportSubject {
  const ReportData& Data;  // finished
  const Summary& Held;
  const ReportFacts& Facts;

  [[nodiscard]] const ChannelActivity* Activity(unsigned int channel) const {
    const auto place = Data.OfChannels().All().find(channel);
    return place == Data.OfChannels().All().end() ? nullptr : &place->second;
  }
};

}  // namespace client
