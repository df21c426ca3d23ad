#include "views/TimeBins.h"

#include <gtest/gtest.h>

#include <iterator>
#include <numeric>
#include <vector>

namespace client {
namespace {

using Counts = TimeBins<unsigned long>;

unsigned long SumOf(const Counts& counts) { return std::accumulate(counts.All().begin(), counts.All().end(), 0ul); }

TEST(TimeBins, WidthsAreMultiplesOfEachOther) {
  for (size_t step = 1; step < std::size(kBinWidths); ++step) {
    EXPECT_EQ(kBinWidths[step] % kBinWidths[step - 1], 0u) << step;
    EXPECT_GT(kBinWidths[step], kBinWidths[step - 1]) << step;
  }
}

TEST(TimeBins, BeginAtMultiplesOfTheirWidth) {
  Counts counts;
  EXPECT_TRUE(counts.Empty());
  counts.At(12345) += 1;
  counts.At(12999) += 1;
  counts.At(14000) += 1;
  EXPECT_EQ(counts.Width(), 1000u);
  EXPECT_EQ(counts.Begin(), 12000u);
  EXPECT_EQ(counts.All(), (std::vector<unsigned long>{2, 0, 1}));
}

TEST(TimeBins, TakeTimesBeforeTheFirstOne) {
  Counts counts;
  counts.At(5000) += 1;
  counts.At(3000) += 7;
  EXPECT_EQ(counts.Begin(), 3000u);
  EXPECT_EQ(counts.All(), (std::vector<unsigned long>{7, 0, 1}));
}

TEST(TimeBins, NeighboursBecomeOneOnceTimesNoLongerFit) {
  Counts counts;
  for (unsigned long time = 0; time < 1200; ++time) counts.At(time * 1000) += 1;
  EXPECT_EQ(counts.Width(), 1000u);
  EXPECT_EQ(counts.All().size(), 1200u);
  counts.At(1200 * 1000) += 1;
  EXPECT_EQ(counts.Width(), 2000u);
  EXPECT_EQ(counts.All().size(), 601u);
  EXPECT_EQ(counts.All().front(), 2u);
  EXPECT_EQ(counts.All().back(), 1u);
  counts.At(2400 * 1000) += 1;
  EXPECT_EQ(counts.Width(), 10000u);
  EXPECT_EQ(counts.All().front(), 10u);
  EXPECT_EQ(SumOf(counts), 1202u);
}

TEST(TimeBins, OddPlacesGoIntoTheBinThatHoldsThem) {
  Counts counts;
  counts.At(3000) += 1;
  counts.At(4000) += 2;
  counts.Widen(2000);
  EXPECT_EQ(counts.Begin(), 2000u);
  EXPECT_EQ(counts.All(), (std::vector<unsigned long>{1, 2}));
}

TEST(TimeBins, AllTimesOf64BitsFit) {
  Counts counts;
  counts.At(~0ul) += 1;
  counts.At(0) += 2;
  EXPECT_LE(counts.All().size(), Counts::kMost);
  EXPECT_EQ(counts.All().front(), 2u);
  EXPECT_EQ(counts.All().back(), 1u);
}

TEST(TimeBins, WidenWithoutBinsOnlySetsTheWidth) {
  Counts counts;
  counts.Widen(kSecond);
  EXPECT_EQ(counts.Width(), kSecond);
  counts.At(1500 * kMillisecond) += 1;
  EXPECT_EQ(counts.Begin(), kSecond);
}

}  // namespace
}  // namespace client
