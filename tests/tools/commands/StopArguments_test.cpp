#include "commands/StopArguments.h"

#include <gtest/gtest.h>

#include "system/Failure.h"

namespace client {
namespace {

constexpr unsigned long kSecond = 1'000'000'000;

std::string Refusal(const std::vector<std::string>& typed) {
  try {
    (void)StopLimitsOf(typed);
  } catch (const UsageError& error) {
    return error.what();
  }
  return "";
}

TEST(StopArguments, AUnitSaysWhatIsMeant) {
  EXPECT_EQ(StopLimitsOf({"10000frames"}).Frames, 10000ul);
  EXPECT_EQ(StopLimitsOf({"1 frame"}).Frames, 1ul);
  EXPECT_EQ(StopLimitsOf({"500 entries"}).Entries, 500ul);
  EXPECT_EQ(StopLimitsOf({"500MB"}).Bytes, 500'000'000ul);
  EXPECT_EQ(StopLimitsOf({"1MiB"}).Bytes, 1ul << 20);
  EXPECT_EQ(StopLimitsOf({"90s"}).Time, 90 * kSecond);
  EXPECT_EQ(StopLimitsOf({"5m"}).Time, 300 * kSecond);
  EXPECT_FALSE(StopLimitsOf({}).Any());
}

TEST(StopArguments, LimitsOfDifferentKindsGoTogether) {
  const StopLimits limits = StopLimitsOf({"90s", "10000frames"});
  EXPECT_EQ(limits.Time, 90 * kSecond);
  EXPECT_EQ(limits.Frames, 10000ul);
}

TEST(StopArguments, WhatCouldBeMistakenIsRefusedWithItsPlace) {
  const char* const kHelp = "; write 10000frames, 10000entries, 500MB or 90s";
  const std::pair<const char*, const char*> kCases[] = {
      {"10000", "it is a number of what?"},
      {"500M", "the size at character 4 has no B at its end"},
      {"2G", "the size at character 2 has no B at its end"},
      {"frames", "it begins with no number"},
      {"", "it begins with no number"},
      {"10frogs", "there is no unit \"frogs\" (character 3)"},
      {"-5frames", "it begins with no number"},
  };
  for (const auto& [typed, why] : kCases)
    EXPECT_EQ(Refusal({typed}), std::string("--stop-after \"") + typed + "\" isn't understood: " + why + kHelp);
}

TEST(StopArguments, TwoOfAKindAndNothingAtAllAreRefused) {
  EXPECT_EQ(Refusal({"10frames", "20frames"}), "--stop-after \"20frames\": there is a limit of this kind already");
  EXPECT_EQ(Refusal({"0s"}), "--stop-after \"0s\" would leave nothing; give more than 0");
}

}  // namespace
}  // namespace client
