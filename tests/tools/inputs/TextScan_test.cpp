#include "inputs/TextScan.h"

#include <gtest/gtest.h>

#include <vector>

namespace client {
namespace {

TEST(TextScan, WordsAreTakenOneByOneWhateverIsBetweenThem) {
  TextScan scan(" one\t two  three ");
  EXPECT_EQ(scan.Word(), "one");
  EXPECT_EQ(scan.Peek(), "two");
  scan.SkipWords(1);
  EXPECT_FALSE(scan.AtEnd());
  EXPECT_EQ(scan.Word(), "three");
  EXPECT_TRUE(scan.AtEnd());
  EXPECT_EQ(scan.Word(), "");
}

TEST(TextScan, WhatDoesNotComeNextIsNotTaken) {
  TextScan scan(" checksum = 3c");
  EXPECT_FALSE(scan.Take("check sum"));
  EXPECT_FALSE(scan.TakeTo("BR = "));
  EXPECT_FALSE(scan.TakeNumber(10));
  EXPECT_TRUE(scan.Take("checksum ="));
  EXPECT_FALSE(scan.TakeNumber(16, 0x3Bu));
  EXPECT_EQ(scan.TakeNumber(16), 0x3Cu);
}

TEST(TextScan, NumbersAreWholeWordsWithinTheirType) {
  EXPECT_EQ(NumberOf<unsigned int>("ffffffff", 16), 0xFFFFFFFFu);
  for (const char* const word : {"", "100000000", "-1", "+1", "0x1", "1.", "1 ", "g"})
    EXPECT_EQ(NumberOf<unsigned int>(word, 16), std::nullopt) << word;
  EXPECT_EQ(NumberOf<unsigned char>("256", 10), std::nullopt);
}

TEST(TextScan, SecondsHaveAnyNumberOfDecimals) {
  const struct {
    const char* Text;
    std::optional<unsigned long> Time;
  } cases[] = {{"0", 0},
               {"1.", 1'000'000'000},
               {"1.5", 1'500'000'000},
               {"0.000001", 1000},
               {"1398128223.803317", 1398128223803317000},
               {"0.0000000019", 1},
               {"0.123456789987654321", 123456789},
               {"18446744072.999999999", 18446744072999999999u},
               {"18446744074", std::nullopt},
               {"99999999999999999999999", std::nullopt},
               {".5", std::nullopt},
               {"x", std::nullopt},
               {"", std::nullopt}};
  for (const auto& one : cases) EXPECT_EQ(TextScan(one.Text).TakeSeconds(), one.Time) << one.Text;
}

TEST(TextScan, BytesAreReadInEitherBase) {
  std::vector<unsigned char> bytes(3);
  EXPECT_TRUE(TextScan(" 01 ff  A0").TakeBytes(bytes, 16));
  EXPECT_EQ(bytes, (std::vector<unsigned char>{0x01, 0xFF, 0xA0}));
  EXPECT_TRUE(TextScan("001 255 7 ").TakeBytes(bytes, 10));
  EXPECT_EQ(bytes, (std::vector<unsigned char>{1, 255, 7}));
  EXPECT_TRUE(TextScan("0 0ff 00a").TakeBytes(bytes, 16)) << "other widths than two digits";
  EXPECT_EQ(bytes, (std::vector<unsigned char>{0, 0xFF, 0x0A}));
  for (const char* const text : {"01 02", "01 02 0", "01 02 0g", "01 02 100", "010203", ""})
    EXPECT_EQ(TextScan(text).TakeBytes(bytes, 16), std::string_view(text) == "01 02 0") << text;
  EXPECT_FALSE(TextScan("1 2 256").TakeBytes(bytes, 10));
}

TEST(TextScan, HexadecimalDigitsFillTheirBytesOrNothing) {
  std::vector<unsigned char> bytes(2);
  EXPECT_TRUE(DecodeHex("0aFf", bytes));
  EXPECT_EQ(bytes, (std::vector<unsigned char>{0x0A, 0xFF}));
  for (const char* const text : {"", "0aF", "0aFf0", "0aFg", "0a f"}) EXPECT_FALSE(DecodeHex(text, bytes)) << text;
}

}  // namespace
}  // namespace client
