#include "commands/BitRateArguments.h"

#include <fmt/format.h>

#include "commands/Command.h"
#include "system/Failure.h"

namespace client {

namespace {

unsigned long RateOf(std::string_view text, const std::string& typed) {
  if (const auto rate = ParseBitRate(text)) return *rate;
  throw UsageError(fmt::format("\"{}\" is no bit rate; write 500k or, with a rate for FD data, 500k/2M", typed));
}

}  // namespace

void BitRateArguments::AddTo(Command& command) {
  command.Add("--bitrate", Can, "Bit rates of CAN buses, for the bus load: nominal[/data] (500k/2M)");
  command.Add("--ethernet-bitrate", Ethernet, "Bit rate of Ethernet, for the bus load (100M)");
}

BitRates BitRateArguments::Rates() const {
  BitRates rates;
  if (!Ethernet.empty()) rates.Ethernet = RateOf(Ethernet, Ethernet);
  if (Can.empty()) return rates;
  const std::string_view typed = Can;
  const auto slash = typed.find('/');
  rates.CanNominal = RateOf(typed.substr(0, slash), Can);
  rates.CanData = slash == std::string_view::npos ? rates.CanNominal : RateOf(typed.substr(slash + 1), Can);
  return rates;
}

ChannelRates BitRateArguments::RatesOf(const ChannelDescription* known, unsigned char busType) const {
  const bool typed = !(busType == BusType_Ethernet ? Ethernet : Can).empty();
  ChannelRates rates{Rates(), !typed, !typed};
  if (typed || known == nullptr) return rates;
  if (known->BitRate > 0) {
    rates.Rates.CanNominal = rates.Rates.Ethernet = known->BitRate;
    rates.Assumed = false;
  }
  if (known->DataBitRate > 0) {
    rates.Rates.CanData = known->DataBitRate;
    rates.DataAssumed = false;
  }
  return rates;
}

}  // namespace client
