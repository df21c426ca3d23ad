#include "views/LogHistogram.h"

#include <gtest/gtest.h>

namespace client {
namespace {

struct Place {
  unsigned long Value;
  unsigned int Index;
  unsigned long Edge;
};
constexpr Place kPlaces[] = {{0, 0, 0},
                             {31, 31, 31},
                             {32, 32, 32},
                             {63, 63, 63},
                             {64, 64, 64},
                             {65, 64, 64},
                             {66, 65, 66},
                             {127, 95, 126},
                             {128, 96, 128},
                             {131, 96, 128},
                             {132, 97, 132},
                             {1000, 190, 992},
                             {~0ul, 1919, 63ul << 58}};

TEST(LogHistogram, ValuesBelongToTheBinWhoseLowerEdgeTheyReach) {
  for (const Place& place : kPlaces) {
    EXPECT_EQ(LogHistogram::IndexOf(place.Value), place.Index) << place.Value;
    EXPECT_EQ(LogHistogram::LowerEdge(place.Index), place.Edge) << place.Value;
  }
}

TEST(LogHistogram, BinsAreAtMostOneThirtySecondOfTheirValuesWide) {
  for (unsigned int index = 0; index < 1919; ++index) {
    const unsigned long edge = LogHistogram::LowerEdge(index), next = LogHistogram::LowerEdge(index + 1);
    ASSERT_EQ(LogHistogram::IndexOf(edge), index);
    ASSERT_EQ(LogHistogram::IndexOf(next - 1), index);
    if (edge >= 32) {
      ASSERT_LE((next - edge) * 32, edge) << index;
    }
  }
}

TEST(LogHistogram, CountsByValueInAnyOrder) {
  LogHistogram histogram;
  for (const unsigned long value : {1000ul, 5ul, 1000ul, 999ul, 100000ul, 5ul}) histogram.Add(value);
  EXPECT_EQ(histogram.Count(), 6u);
  ASSERT_EQ(histogram.Bins().size(), 3u);  // 999 and 1000 are in one
  EXPECT_EQ(histogram.Bins()[0].Count, 2u);
  EXPECT_EQ(histogram.Bins()[1].Count, 3u);
  EXPECT_EQ(histogram.Bins()[2].Count, 1u);
  EXPECT_EQ(histogram.CountFrom(0), 6u);
  EXPECT_EQ(histogram.CountFrom(190), 4u);
  EXPECT_EQ(histogram.CountFrom(191), 1u);
  EXPECT_EQ(histogram.CountFrom(1919), 0u);
}

TEST(LogHistogram, MeanOfABinIsThatOfItsValues) {
  LogHistogram histogram;
  for (const unsigned long value : {992ul, 999ul, 1001ul}) histogram.Add(value);
  ASSERT_EQ(histogram.Bins().size(), 1u);
  EXPECT_DOUBLE_EQ(LogHistogram::MeanOf(histogram.Bins()[0]), (992 + 999 + 1001) / 3.0);
}

TEST(LogHistogram, RanksCountFromTheSmallestValue) {
  LogHistogram histogram;
  for (const unsigned long value : {10ul, 20ul, 20ul, 40ul}) histogram.Add(value);
  EXPECT_EQ(histogram.AtRank(1).Index, 10u);
  EXPECT_EQ(histogram.AtRank(2).Index, 20u);
  EXPECT_EQ(histogram.AtRank(3).Index, 20u);
  EXPECT_EQ(histogram.AtRank(4).Index, 40u);
}

}  // namespace
}  // namespace client
