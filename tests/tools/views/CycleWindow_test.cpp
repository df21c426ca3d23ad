#include "views/CycleWindow.h"

#include <gtest/gtest.h>

namespace client {
namespace {

TEST(CycleWindow, JitterIsFromTheShortestToTheLongestCycle) {
  CycleWindow cycles;
  EXPECT_EQ(cycles.Mean(), std::nullopt);
  cycles.Add(10);
  EXPECT_EQ(cycles.Mean(), 10u);
  EXPECT_EQ(cycles.Jitter(), std::nullopt);
  cycles.Add(14);
  cycles.Add(9);
  EXPECT_EQ(cycles.Mean(), 11u);
  EXPECT_EQ(cycles.Shortest(), 9u);
  EXPECT_EQ(cycles.Longest(), 14u);
  EXPECT_EQ(cycles.Jitter(), 5u);
}

TEST(CycleWindow, OldCyclesAreForgotten) {
  CycleWindow cycles;
  cycles.Add(1000000);
  for (size_t count = 0; count < CycleWindow::kMost; ++count) cycles.Add(7);
  EXPECT_EQ(cycles.Size(), CycleWindow::kMost);
  EXPECT_EQ(cycles.Mean(), 7u);
  EXPECT_EQ(cycles.Jitter(), 0u);
  cycles.Clear();
  EXPECT_EQ(cycles.Size(), 0u);
  EXPECT_EQ(cycles.Longest(), std::nullopt);
}

}  // namespace
}  // namespace client
