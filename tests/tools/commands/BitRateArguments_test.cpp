#include "commands/BitRateArguments.h"

#include <gtest/gtest.h>

#include <CLI/CLI.hpp>

#include "commands/Command.h"
#include "qor_api_trace.h"
#include "system/Failure.h"

namespace client {
namespace {

BitRates RatesOf(const char* can, const char* ethernet = "") {
  BitRateArguments arguments;
  arguments.Can = can;
  arguments.Ethernet = ethernet;
  return arguments.Rates();
}

TEST(BitRateArguments, DataRateIsTheNominalOneUnlessGiven) {
  EXPECT_EQ(RatesOf("").CanNominal, 500000u);
  EXPECT_EQ(RatesOf("").CanData, 2000000u);
  EXPECT_EQ(RatesOf("250k").CanNominal, 250000u);
  EXPECT_EQ(RatesOf("250k").CanData, 250000u);
  EXPECT_EQ(RatesOf("1M/8M").CanNominal, 1000000u);
  EXPECT_EQ(RatesOf("1M/8M").CanData, 8000000u);
  EXPECT_EQ(RatesOf("", "1G").Ethernet, 1000000000u);
}

TEST(BitRateArguments, AreTypedAsOptions) {
  CLI::App program;
  Action chosen;
  Command command(program, chosen, "record", "");
  BitRateArguments arguments;
  arguments.AddTo(command);
  program.parse("record --bitrate 250k/1M --ethernet-bitrate 1G");
  EXPECT_EQ(arguments.Rates().CanNominal, 250000u);
  EXPECT_EQ(arguments.Rates().CanData, 1000000u);
  EXPECT_EQ(arguments.Rates().Ethernet, 1000000000u);
}

TEST(BitRateArguments, AChannelsRatesAreAsTypedElseAsDescribedElseAssumed) {
  const ChannelDescription known{.BitRate = 250000, .DataBitRate = 5000000};
  BitRateArguments arguments;
  ChannelRates rates = arguments.RatesOf(&known, BusType_Can);
  EXPECT_EQ(rates.Rates.CanNominal, 250000u);
  EXPECT_EQ(rates.Rates.CanData, 5000000u);
  EXPECT_FALSE(rates.Assumed || rates.DataAssumed);
  EXPECT_EQ(arguments.RatesOf(&known, BusType_Ethernet).Rates.Ethernet, 250000u);
  rates = arguments.RatesOf(nullptr, BusType_Can);
  EXPECT_EQ(rates.Rates.CanNominal, 500000u);
  EXPECT_TRUE(rates.Assumed && rates.DataAssumed);
  const ChannelDescription nominal{.BitRate = 250000};
  EXPECT_FALSE(arguments.RatesOf(&nominal, BusType_Can).Assumed);
  EXPECT_TRUE(arguments.RatesOf(&nominal, BusType_Can).DataAssumed);
  arguments.Can = "1M";
  rates = arguments.RatesOf(&known, BusType_Can);
  EXPECT_EQ(rates.Rates.CanNominal, 1000000u);
  EXPECT_FALSE(rates.Assumed || rates.DataAssumed);
  EXPECT_EQ(arguments.RatesOf(&known, BusType_Ethernet).Rates.Ethernet, 250000u) << "what is typed is of CAN alone";
}

TEST(BitRateArguments, OtherTextsAreWrongUsage) {
  for (const char* text : {"fast", "500k/", "/2M", "500k/2M/5M", "500k 2M", "0/1"})
    EXPECT_THROW(RatesOf(text), UsageError) << text;
  EXPECT_THROW(RatesOf("", "100M/1G"), UsageError);
}

}  // namespace
}  // namespace client
