// The arguments that say when a recording was made, and how its times are shown.
#pragma once

#include <optional>
#include <string>

#include "views/TimeText.h"

namespace client {

class Command;

/// As typed.
struct TimeArguments {
  std::string StartTime;
  std::string Format = "relative";

  void AddTo(Command& command);

  /// When the first entry was, ns since 1970, if that was given.
  /// Failure: UsageError.
  std::optional<unsigned long> FirstTime() const;
  TimeFormat TableFormat() const;
};

}  // namespace client
