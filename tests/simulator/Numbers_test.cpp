#include "Numbers.h"

#include <gtest/gtest.h>

#include <string>

using qor_sim::ParseDuration;
using qor_sim::ParseUnsigned;
using qor_sim::TakeDecimal;

TEST(Numbers, DurationAddsItsParts) {
  struct Case {
    const char* Text;
    uint64_t Ns;
  };
  constexpr Case kCases[] = {
      {"90s", 90'000'000'000},
      {"1h30m", 5'400'000'000'000},
      {"0.5s", 500'000'000},
      {"1.000000001s", 1'000'000'001},
      {"7ns", 7},
      {"3us", 3'000},
      {"250ms", 250'000'000},
      {"2m", 120'000'000'000},
      {"1m1ms1us1ns", 60'001'001'001},
      {"0s", 0},
      {"0.3ns", 0},
      {"18446744073709551615ns", 18446744073709551615u},
  };
  for (const auto& c : kCases) EXPECT_EQ(ParseDuration(c.Text), c.Ns) << c.Text;
}

TEST(Numbers, MalformedDurationIsNone) {
  for (const char* text : {"", "s", "90", "90 s", "-1s", "1.s", ".5s", "1e3s", "1S", "1sm", "1.0000000001s",
                           "18446744073709551616ns", "99999999999999999999h", "6000000h", "1s ", "+1s"}) {
    EXPECT_FALSE(ParseDuration(text)) << text;
  }
}

TEST(Numbers, UnsignedTakesTheWholeTextOnly) {
  EXPECT_EQ(ParseUnsigned("0"), 0u);
  EXPECT_EQ(ParseUnsigned("18446744073709551615"), 18446744073709551615u);
  for (const char* text : {"", " 1", "1 ", "+1", "-1", "0x10", "1.0", "18446744073709551616", "a"}) {
    EXPECT_FALSE(ParseUnsigned(text)) << text;
  }
}

TEST(Numbers, DecimalLeavesWhatFollows) {
  std::string_view text = "12.25rest";
  const auto number = TakeDecimal(text);
  ASSERT_TRUE(number);
  EXPECT_EQ(number->Whole, 12u);
  EXPECT_EQ(number->Billionths, 250'000'000u);
  EXPECT_EQ(text, "rest");
}

TEST(Numbers, WhatIsNoDecimalStaysWhole) {
  for (const std::string_view original : {"x1", "", "1.", "1.0000000000"}) {
    std::string_view text = original;
    EXPECT_FALSE(TakeDecimal(text)) << original;
    EXPECT_EQ(text, original);
  }
}
