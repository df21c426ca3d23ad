#include "system/Pace.h"

#include <gtest/gtest.h>

namespace client {
namespace {

TEST(Pace, IsDueAtOnceAndNotAgainBeforeTheInterval) {
  Pace pace(std::chrono::hours(24));
  EXPECT_TRUE(pace.IsDue());
  EXPECT_FALSE(pace.IsDue());
}

TEST(Pace, IsDueAgainAfterTheInterval) {
  Pace pace(std::chrono::steady_clock::duration::zero());
  EXPECT_TRUE(pace.IsDue());
  EXPECT_TRUE(pace.IsDue());
}

}  // namespace
}  // namespace client
