// What a person is told of inputs while they are read.
#pragma once

#include <set>
#include <string>

#include "inputs/MergedReader.h"
#include "inputs/Reader.h"
#include "system/Terminal.h"

namespace client {

constexpr const char* kSameChannelsHelp =
    "Several inputs: channels of the same number are one, as in parts of a recording; else those of a later input get "
    "other numbers";

[[nodiscard]] constexpr ChannelMerging MergingOf(bool sameChannels) {
  return sameChannels ? ChannelMerging::Same : ChannelMerging::Apart;
}

/// Says a reader's notes and remarks, each once: some are known when it is opened, some later.
class ToldRemarks {
 public:
  /// @param reader  outlives this
  explicit ToldRemarks(const Reader& reader) : Source(reader) { Tell(); }

  /// Those that are new.
  void Tell() {
    for (const auto& sentences : {Source.Notes(), Source.Remarks()})
      for (const std::string& sentence : sentences)
        if (Told.insert(sentence).second) Say(sentence);
  }

 private:
  const Reader& Source;
  std::set<std::string> Told;
};

}  // namespace client
