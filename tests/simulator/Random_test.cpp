#include "Random.h"

#include <gtest/gtest.h>

using qor_sim::Random;

// The published first numbers of this generator for the seeds 0 and 1234567.
TEST(Random, GivesTheNumbersOfItsGenerator) {
  EXPECT_EQ(Random(0).Next(), 0xE220A8397B1DCDAFu);
  Random random(1234567);
  EXPECT_EQ(random.Next(), 6457827717110365317u);
  EXPECT_EQ(random.Next(), 3203168211198807973u);
}

TEST(Random, BelowStaysBelowItsBoundAndReachesItsEnds) {
  Random random(1);
  bool seen[5] = {};
  for (int i = 0; i < 200; ++i) {
    const auto number = random.Below(5);
    ASSERT_LT(number, 5u);
    seen[number] = true;
  }
  for (const bool reached : seen) EXPECT_TRUE(reached);
  EXPECT_EQ(random.Below(1), 0u);
}
