// The arguments about what of a stream is wanted, alike in every subcommand.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "recording/Recorder.h"
#include "stream/Description.h"
#include "stream/Selection.h"

namespace client {

class Command;

/// As typed.
struct StreamArguments {
  std::string Filter;
  std::string StartOn;
  std::string StopOn;
  std::string From;
  std::string To;
  std::optional<unsigned long> Count;
  std::vector<std::string> StopAfter;
  std::vector<std::string> Channels;  // "A=B"

  void AddTo(Command& command);
  /// Only those by which it begins and ends with what happens: --start-on, --stop-on, --stop-after.
  void AddConditionsTo(Command& command);

  /// Failure: UsageError, of the expression FilterError.
  [[nodiscard]] SelectionPlan Plan() const;
  /// The options that were given, for people: "--filter bus == can --from 10s".
  [[nodiscard]] std::string Typed() const;
  /// The description of what is selected: its channels' numbers, and the filter that each was recorded through.
  /// @param wanted  Plan()
  [[nodiscard]] Description Describe(Description recording, const SelectionPlan& wanted) const;
};

/// A recording isn't continued beyond the end of what is selected of it.
void EndWithSelection(RecordingOptions& options, const SelectionPlan& wanted);

/// Before anything is selected by UTC.
/// @param input  for the sentence
/// Failure: Failure when it isn't known when the recording was made.
void CheckTimes(const SelectionPlan& wanted, const Description& recording, const std::string& input);

/// Failure: UsageError when a channel's new number is another channel's, or there is no such channel.
/// @param channels  of a recording: they are numbered from 1
void CheckChannels(const ChannelNumbers& numbers, size_t channels);

/// What a user has to know about expressions, for the end of help texts.
extern const char* const kFilterHelp;

}  // namespace client
