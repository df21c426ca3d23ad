// The arguments that divide outputs into files.
#pragma once

#include <optional>
#include <string>

#include "outputs/SeriesPlan.h"

namespace client {

class Command;

/// As typed.
struct SeriesArguments {
  std::string Size;
  std::string Time;
  std::string Clock;
  std::optional<unsigned long> Keep;
  std::string KeepSize;

  void AddTo(Command& command);

  /// Failure: UsageError.
  [[nodiscard]] SeriesPlan Plan() const;
};

/// Says what becomes of the files of series: in words on standard error, or as lines of JSON on standard output.
[[nodiscard]] SeriesNews TellOfSeries(bool json);

}  // namespace client
