#include "commands/BitRateArguments.h"

#include <gtest/gtest.h>

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
  CLI::App command;
  BitRateArguments arguments;
  arguments.AddTo(command);
  command.parse("--bitrate 250k/1M --ethernet-bitrate 1G");
  EXPECT_EQ(arguments.Rates().CanNominal, 250000u);
  EXPECT_EQ(arguments.Rates().CanData, 1000000u);
  EXPECT_EQ(arguments.Rates().Ethernet, 1000000000u);
}

TEST(BitRateArguments, OtherTextsAreWrongUsage) {
  for (const char* text : {"fast", "500k/", "/2M", "500k/2M/5M", "500k 2M", "0/1"})
    EXPECT_THROW(RatesOf(text), UsageError) << text;
  EXPECT_THROW(RatesOf("", "100M/1G"), UsageError);
}

}  // namespace
}  // namespace client
