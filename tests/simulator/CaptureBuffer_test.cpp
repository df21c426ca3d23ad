#include "CaptureBuffer.h"

#include <gtest/gtest.h>

using qor_sim::CaptureBuffer;
using qor_sim::Item;

namespace {

using Times = std::vector<uint64_t>;

Item ItemAt(uint64_t time) { return {time, time + 1000, {}}; }

}  // namespace

TEST(CaptureBuffer, GivesItemsInTheirOrder) {
  CaptureBuffer buffer(3);
  for (const uint64_t time : Times{1, 2, 3}) buffer.Offer(ItemAt(time));
  for (const uint64_t time : Times{1, 2, 3}) {
    ASSERT_NE(buffer.Front(), nullptr);
    EXPECT_EQ(buffer.Front()->Due, time);
    buffer.Pop();
  }
  EXPECT_EQ(buffer.Front(), nullptr);
  EXPECT_EQ(buffer.Lost(), 0u);
  EXPECT_EQ(buffer.FirstLostTime(), 0u);
  EXPECT_EQ(buffer.LastLostTime(), 0u);
}

TEST(CaptureBuffer, DropsTheNewestWhenFullAndPlacesTheLossInTime) {
  CaptureBuffer buffer(2);
  for (const uint64_t time : Times{1, 2, 3, 4, 5}) buffer.Offer(ItemAt(time));
  EXPECT_EQ(buffer.Size(), 2u);
  EXPECT_EQ(buffer.Lost(), 3u);
  EXPECT_EQ(buffer.FirstLostTime(), 1003u);
  EXPECT_EQ(buffer.LastLostTime(), 1005u);
  EXPECT_EQ(buffer.Front()->Due, 1u);
}

TEST(CaptureBuffer, KeepsTheFirstLossOverLaterOnes) {
  CaptureBuffer buffer(1);
  for (const uint64_t time : Times{1, 2}) buffer.Offer(ItemAt(time));
  buffer.Pop();
  for (const uint64_t time : Times{3, 4}) buffer.Offer(ItemAt(time));
  EXPECT_EQ(buffer.Lost(), 2u);
  EXPECT_EQ(buffer.FirstLostTime(), 1002u);
  EXPECT_EQ(buffer.LastLostTime(), 1004u);
}
