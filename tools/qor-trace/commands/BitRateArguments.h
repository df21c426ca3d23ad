// The bit rates that a person gives for the bus loads of a summary.
#pragma once

#include <string>

#include "stream/Description.h"
#include "views/BusLoad.h"
#include "views/ChannelTimes.h"

namespace client {

class Command;

/// As typed.
struct BitRateArguments {
  std::string Can;       // "500k" or "500k/2M"
  std::string Ethernet;  // "1G"

  void AddTo(Command& command);

  /// Failure: UsageError.
  [[nodiscard]] BitRates Rates() const;
  /// Those of a channel: as typed, else as its description says, else assumed.
  /// @param known  null for a channel that isn't described
  /// Failure: UsageError.
  [[nodiscard]] ChannelRates RatesOf(const ChannelDescription* known, unsigned char busType) const;
};

}  // namespace client
