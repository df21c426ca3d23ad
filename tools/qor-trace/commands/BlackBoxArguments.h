// The arguments of a black box: what of the past is kept, and what is written of it when.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "outputs/Outputs.h"
#include "stream/BlackBox.h"
#include "stream/TriggerSink.h"

namespace client {

class Command;

/// As typed.
struct BlackBoxArguments {
  std::vector<std::string> Ring;  // a time, a size, or both
  bool RingOnDisk = false;
  std::vector<std::string> Triggers;
  std::string Post;

  void AddTo(Command& command);

  /// Nothing for outputs of everything.
  /// @param outputs  whose first folder a ring on disk is in
  /// Failure: UsageError, of a trigger FilterError.
  [[nodiscard]] std::optional<BlackBoxPlan> Plan(const OutputPlan& outputs) const;
  /// Failure: FilterError.
  [[nodiscard]] std::vector<Trigger> TriggerList() const;

 private:
  [[nodiscard]] RingPlan Past(const OutputPlan& outputs) const;
};

/// What a user has to know about black boxes, for the end of help texts.
extern const char* const kBlackBoxHelp;

}  // namespace client
