#include "inputs/AscDate.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

namespace client {
namespace {

constexpr unsigned long kSecond = 1'000'000'000;
constexpr unsigned long kNine = 1'794'733'219 * kSecond;  // 15 November 2026, 09:00:19 UTC
constexpr unsigned long kHalfDay = 12 * 3600 * kSecond;

class AscDateTest : public testing::Test {
 protected:
  static void SetZone(const char* zone) {
    setenv("TZ", zone, 1);
    tzset();
  }
  AscDateTest() { SetZone("UTC"); }
  ~AscDateTest() override {
    unsetenv("TZ");
    tzset();
  }
  static std::optional<unsigned long> UtcOf(const char* text) {
    const auto date = ReadAscDate(text);
    return date ? std::optional(date->Utc) : std::nullopt;
  }
};

TEST_F(AscDateTest, EveryWayToWriteADateIsRead) {
  const struct {
    const char* Text;
    unsigned long Utc;
  } cases[] = {{"Sun Nov 15 09:00:19.123 am 2026", kNine + 123'000'000},
               {"Sun Nov 15 09:00:19 2026", kNine},
               {"Sun Nov 15 09:00:19.123 2026", kNine + 123'000'000},
               {"Sun Nov 15 09:00:19.123456789 am 2026", kNine + 123'456'789},
               {"Sun Nov 15 09:00:19.123 pm 2026", kNine + 123'000'000 + kHalfDay},
               {"Sun Nov 15 09:00:19 PM 2026", kNine + kHalfDay},
               {"Sun Nov 15 09:00:19 p.m. 2026", kNine + kHalfDay},
               {"Sun Nov 15 21:00:19.5 2026", kNine + kHalfDay + kSecond / 2},
               {"Sun Nov 15 21:00:19.123 pm 2026", kNine + kHalfDay + 123'000'000},
               {"Nov 15 09:00:19 am 2026", kNine},
               {"So Nov 15 09:00:19.123 2026", kNine + 123'000'000},
               {"Son Nov 15 09:00:19.123 nachm. 2026", kNine + kHalfDay + 123'000'000},
               {"  Sun   Nov  15 09:00:19 2026  ", kNine}};
  for (const auto& one : cases) EXPECT_EQ(UtcOf(one.Text), one.Utc) << one.Text;
}

TEST_F(AscDateTest, NoonAndMidnightAreTwelve) {
  EXPECT_EQ(UtcOf("Thu Jan 01 12:00:00.000 am 1970"), 0u);
  EXPECT_EQ(UtcOf("Thu Jan 01 12:00:00.000 pm 1970"), kHalfDay);
}

TEST_F(AscDateTest, MonthsHaveEnglishAndGermanNames) {
  const char* const names[][2] = {{"Jan", "Jan"}, {"Feb", "Feb"}, {"Mar", "Mrz"}, {"Apr", "Apr"},
                                  {"May", "Mai"}, {"Jun", "Jun"}, {"Jul", "Jul"}, {"Aug", "Aug"},
                                  {"Sep", "Sep"}, {"Oct", "Okt"}, {"Nov", "Nov"}, {"Dec", "Dez"}};
  unsigned long before = 0;
  for (const auto& [english, german] : names) {
    const auto utc = UtcOf((std::string("Mon ") + english + " 2 00:00:00 2026").c_str());
    ASSERT_TRUE(utc) << english;
    EXPECT_GT(*utc, before + 27 * 2 * kHalfDay) << english;
    EXPECT_EQ(UtcOf((std::string("Mit ") + german + " 2 00:00:00 2026").c_str()), utc) << german;
    before = *utc;
  }
}

TEST_F(AscDateTest, DateIsLocalTime) {
  SetZone("CET-1CEST,M3.5.0,M10.5.0/3");
  EXPECT_EQ(UtcOf("Sun Nov 15 10:00:19 2026"), kNine);
  EXPECT_EQ(UtcOf("Wed Jul 15 02:00:00 2026"), 1'784'073'600 * kSecond);
}

TEST_F(AscDateTest, ThePlainFormOfTheCLibraryIsKnown) {
  EXPECT_TRUE(ReadAscDate("Sun Nov 15 09:00:19 2026")->Plain);
  EXPECT_FALSE(ReadAscDate("Sun Nov 15 09:00:19.000 2026")->Plain);
  EXPECT_FALSE(ReadAscDate("Sun Nov 15 09:00:19 am 2026")->Plain);
}

TEST_F(AscDateTest, WhatIsNoDateIsNone) {
  for (const char* const text :
       {"", "Sun", "Sun Nov", "Sun Nov 15", "Sun Nov 15 09:00:19", "Sun Nov 15 09:00:19 26", "Sun Nov 31 09:00:19 2026",
        "Sun Nov 15 24:00:19 2026", "Sun Nov 15 09:60:19 2026", "Sun Nov 15 09:00:61 2026", "Sun Nov 15 9:00:19 2026",
        "Sun Nov 15 09:00:19 xm 2026", "Sun Nov 15 09:00:19 2026 x", "Sun Xxx 15 09:00:19 2026",
        "Sun Nov 15 09:00:19 1969", "Sun Nov 15 09:00:19 99999999"})
    EXPECT_EQ(ReadAscDate(text), std::nullopt) << text;
}

}  // namespace
}  // namespace client
