#include "views/LoadCurve.h"

#include <gtest/gtest.h>

#include <numeric>

namespace client {
namespace {

double TotalOf(const LoadCurve& curve) {
  double total = 0;
  for (const LoadCurve::Bin& bin : curve.Bins().All()) total += bin.Busy;
  return total;
}

TEST(LoadCurve, AFrameCountsInEachBinForItsPartOfIt) {
  LoadCurve curve;
  curve.Add(1500, 2000);  // bins of 1 us: half of the second, all of the third, half of the fourth
  const auto& bins = curve.Bins().All();
  ASSERT_EQ(bins.size(), 3u);
  EXPECT_EQ(curve.Bins().Begin(), 1000u);
  EXPECT_DOUBLE_EQ(bins[0].Busy, 500);
  EXPECT_DOUBLE_EQ(bins[1].Busy, 1000);
  EXPECT_DOUBLE_EQ(bins[2].Busy, 500);
  EXPECT_EQ(curve.End(), 3500u);
}

TEST(LoadCurve, WhatTakesNoTimeLeavesNothing) {
  LoadCurve curve;
  curve.Add(1000, 0);
  EXPECT_TRUE(curve.Bins().Empty());
  EXPECT_FALSE(curve.Peak());
}

TEST(LoadCurve, AFrameMuchLongerThanBinsIsKeptWhole) {
  LoadCurve curve;
  curve.Add(0, 1e9);
  EXPECT_LE(curve.Bins().All().size(), TimeBins<LoadCurve::Bin>::kMost);
  EXPECT_DOUBLE_EQ(TotalOf(curve), 1e9);
}

TEST(LoadCurve, PeaksAreOfTenthsOfASecond) {
  LoadCurve curve;
  curve.Add(0, 10e6);                   // first tenth: 10 ms
  curve.Add(150 * kMillisecond, 20e6);  // second: 20 ms
  curve.Add(195 * kMillisecond, 10e6);  // and 5 ms, the rest in the third
  curve.Add(5 * kSecond, 30e6);
  curve.Finish();
  ASSERT_TRUE(curve.Peak());
  EXPECT_EQ(curve.Peak()->Begin, 5 * kSecond);
  EXPECT_DOUBLE_EQ(curve.Peak()->Busy, 30e6);
  curve.Widen(kSecond);
  EXPECT_DOUBLE_EQ(curve.Bins().All().front().Peak, 25e6);
  EXPECT_DOUBLE_EQ(curve.Bins().All().front().Busy, 40e6);
  EXPECT_DOUBLE_EQ(curve.Bins().All().back().Peak, 30e6);
}

TEST(LoadCurve, WideningKeepsTheBusyTimeAndTheGreatestPeak) {
  LoadCurve curve;
  for (unsigned long index = 0; index < 5000; ++index)
    curve.Add(index * 10 * kMillisecond, 1e6 + static_cast<double>(index));
  curve.Finish();
  const double total = TotalOf(curve);
  EXPECT_DOUBLE_EQ(total, 5000 * 1e6 + 4999 * 5000 / 2.0);
  curve.Widen(kMinute);
  EXPECT_DOUBLE_EQ(TotalOf(curve), total);
  EXPECT_DOUBLE_EQ(curve.Bins().All().front().Peak, curve.Peak()->Busy);
}

TEST(LoadCurve, LateFramesCountInTheirBinsButInNoPeak) {
  LoadCurve curve;
  curve.Add(kSecond, 10e6);
  curve.Add(0, 50e6);
  curve.Finish();
  EXPECT_EQ(curve.Peak()->Begin, kSecond);
  EXPECT_DOUBLE_EQ(TotalOf(curve), 60e6);
}

TEST(LoadCurve, TimesUpToTheLastOneOf64BitsAreTaken) {
  LoadCurve curve;
  curve.Add(~0ul - 10, 1e9);
  EXPECT_EQ(curve.End(), ~0ul);
  EXPECT_DOUBLE_EQ(TotalOf(curve), 10);
}

}  // namespace
}  // namespace client
