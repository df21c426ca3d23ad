// Numbers to text, against the C library's formatting.
#include "export/AscText.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <limits>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr uint64_t kSecond = 1'000'000'000;
constexpr uint64_t kMax = std::numeric_limits<uint64_t>::max();

template <class Write>
std::string Written(Write write) {
  char text[64 + asc::kSlack];
  return {text, write(text)};
}

std::string Seconds(uint64_t nanoseconds, int decimals) {
  return Written([&](char* out) { return asc::Seconds(out, nanoseconds, decimals); });
}

std::string Expected(uint64_t nanoseconds, int decimals) {
  char text[64];
  std::snprintf(text, sizeof text, "%.*f", decimals, static_cast<double>(nanoseconds) / 1e9);
  return text;
}

/// True if both numbers of decimals come out as the C library has them; complains otherwise.
bool Agrees(uint64_t nanoseconds) {
  for (const int decimals : {9, 6}) {
    const std::string expected = Expected(nanoseconds, decimals);
    const std::string actual = Seconds(nanoseconds, decimals);
    if (actual != expected) {
      ADD_FAILURE() << nanoseconds << " ns gives " << actual << ", not " << expected;
      return false;
    }
  }
  return true;
}

TEST(AscSeconds, HaveNineOrSixDecimals) {
  EXPECT_EQ(Seconds(0, 9), "0.000000000");
  EXPECT_EQ(Seconds(1'500'000, 9), "0.001500000");
  EXPECT_EQ(Seconds(123'456'789'012, 9), "123.456789012");
  EXPECT_EQ(Seconds(0, 6), "0.000000");
  EXPECT_EQ(Seconds(123'456'789'012, 6), "123.456789");
  EXPECT_EQ(Seconds(999'999'999, 6), "1.000000");
  EXPECT_EQ(Seconds(9'999'999'999'501, 6), "10000.000000");
}

TEST(AscSeconds, AreTheDoubleNotTheIntegerBeyondItsDigits) {
  // 90071992.54740993 as a double is 90071992.547409936785...
  EXPECT_EQ(Seconds(9'007'199'254'740'993, 9), "9007199.254740993");
  EXPECT_EQ(Seconds(90'071'992'547'409'930, 9), "90071992.547409937");
  EXPECT_EQ(Seconds(kMax, 9), "18446744073.709552765");
  EXPECT_EQ(Seconds(kMax, 6), "18446744073.709553");
}

TEST(AscSeconds, NegativeTimesHaveASignEvenIfTheyRoundToZero) {
  const auto signedSeconds = [](long nanoseconds, int decimals) {
    return Written([&](char* out) {
      return asc::Seconds(out, AscTime::Signed(static_cast<unsigned long>(nanoseconds)), decimals);
    });
  };
  EXPECT_EQ(signedSeconds(-1'500'000'000, 9), "-1.500000000");
  EXPECT_EQ(signedSeconds(-1, 9), "-0.000000001");
  EXPECT_EQ(signedSeconds(-1, 6), "-0.000000");
  EXPECT_EQ(signedSeconds(0, 6), "0.000000");
  EXPECT_EQ(signedSeconds(std::numeric_limits<long>::min(), 9), "-9223372036.854776382");
}

TEST(AscSeconds, AgreeAtTheEdges) {
  std::vector<uint64_t> edges = {0, kMax, asc::kExactSecondsEnd, uint64_t{1} << 53};
  for (int bit = 0; bit < 64; ++bit) edges.push_back(uint64_t{1} << bit);
  for (uint64_t power = 1; power < kMax / 10; power *= 10) edges.push_back(power);
  for (uint64_t second = 1; second < kMax / kSecond / 2; second *= 2) edges.push_back(second * kSecond);
  for (const uint64_t edge : edges) {
    for (uint64_t offset = 0; offset < 50; ++offset) {
      ASSERT_TRUE(Agrees(edge + offset));
      ASSERT_TRUE(Agrees(edge - offset));
    }
  }
}

TEST(AscSeconds, AgreeWhereSixDecimalsAreHalfWay) {
  std::mt19937_64 random(1);
  for (int i = 0; i < 100'000; ++i) ASSERT_TRUE(Agrees((random() >> (random() % 54)) / 1000 * 1000 + 500));
}

TEST(AscSeconds, AgreeOnTheWholeClock) {
  std::mt19937_64 random(2);
  for (int i = 0; i < 200'000; ++i) ASSERT_TRUE(Agrees(random() >> (random() % 64)));
}

TEST(AscSeconds, AgreeAroundTheEndOfExactDigits) {
  std::mt19937_64 random(3);
  for (int i = 0; i < 100'000; ++i) {
    ASSERT_TRUE(Agrees(asc::kExactSecondsEnd - 1'000'000 * kSecond + random() % (2'000'000 * kSecond)));
  }
}

TEST(AscIntegers, AgreeInBothBases) {
  std::mt19937 random(4);
  const auto agrees = [](uint32_t value) {
    char expected[32];
    std::snprintf(expected, sizeof expected, "%x %u", value, value);
    AscLineState state;
    std::string actual;
    for (const bool hex : {true, false}) {
      state.Hex = hex;
      actual += Written([&](char* out) { return asc::Integer(state, out, value); }) + (hex ? " " : "");
    }
    EXPECT_EQ(actual, expected);
    return actual == expected;
  };
  for (uint32_t value = 0; value < 20'000; ++value) ASSERT_TRUE(agrees(value));
  for (int bit = 0; bit < 32; ++bit) ASSERT_TRUE(agrees(1u << bit) && agrees((1u << bit) - 1));
  for (int i = 0; i < 100'000; ++i) ASSERT_TRUE(agrees(static_cast<uint32_t>(random()) >> (random() % 32)));
  ASSERT_TRUE(agrees(0xFFFFFFFF));
}

TEST(AscIntegers, AgreeInSixtyFourBits) {
  std::mt19937_64 random(5);
  for (int i = 0; i < 100'000; ++i) {
    const uint64_t value = random() >> (random() % 64);
    ASSERT_EQ(Written([&](char* out) { return asc::Decimal(out, value); }), std::to_string(value));
  }
  EXPECT_EQ(Written([](char* out) { return asc::Decimal(out, kMax); }), "18446744073709551615");
}

TEST(AscIntegers, BytesArePaddedToTheirWidth) {
  for (unsigned int value = 0; value < 256; ++value) {
    for (const int width : {2, 3}) {
      for (const bool hex : {true, false}) {
        char expected[8];
        std::snprintf(expected, sizeof expected, hex ? "%0*x" : "%0*u", width, value);
        AscLineState state;
        state.Hex = hex;
        const auto byte = static_cast<unsigned char>(value);
        ASSERT_EQ(Written([&](char* out) { return asc::PaddedByte(state, out, byte, width); }), expected);
      }
    }
  }
}

}  // namespace
