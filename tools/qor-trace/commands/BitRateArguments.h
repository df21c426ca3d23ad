// The bit rates that a person gives for the bus loads of a summary.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

#include "views/BusLoad.h"

namespace client {

/// As typed.
struct BitRateArguments {
  std::string Can;       // "500k" or "500k/2M"
  std::string Ethernet;  // "1G"

  void AddTo(CLI::App& command);

  /// Failure: UsageError.
  [[nodiscard]] BitRates Rates() const;
};

}  // namespace client
