#include "Clock.h"

#include <gtest/gtest.h>

#include <optional>

#include "FakeTime.h"

using qor_sim::Clock;
using qor_sim::ClockUser;

TEST(Clock, BeginsWithItsFirstUser) {
  FakeTime time;
  Clock clock(time);
  time.Pass(kSecond);
  EXPECT_EQ(clock.Elapsed(), 0u);
  ClockUser user(clock);
  user.Start();
  time.Pass(5);
  EXPECT_EQ(clock.Elapsed(), 5u);
}

TEST(Clock, IsSharedByUsersThatStartLater) {
  FakeTime time;
  Clock clock(time);
  ClockUser first(clock), second(clock);
  first.Start();
  time.Pass(10);
  second.Start();
  time.Pass(10);
  EXPECT_EQ(first.Elapsed(), 20u);
  EXPECT_EQ(second.Elapsed(), 20u);
}

TEST(Clock, GoesOnWhileAnyUserRuns) {
  FakeTime time;
  Clock clock(time);
  ClockUser first(clock), second(clock);
  first.Start();
  second.Start();
  time.Pass(10);
  first.Stop();
  time.Pass(10);
  EXPECT_EQ(clock.Elapsed(), 20u);
}

TEST(Clock, StandsStillWhileNoUserRuns) {
  FakeTime time;
  Clock clock(time);
  ClockUser user(clock);
  user.Start();
  time.Pass(10);
  user.Stop();
  time.Pass(1000);
  EXPECT_EQ(clock.Elapsed(), 10u);
  user.Start();
  time.Pass(1);
  EXPECT_EQ(clock.Elapsed(), 11u);
}

TEST(Clock, BeginsAnewWhenTheLastUserHasLeft) {
  FakeTime time;
  Clock clock(time);
  std::optional<ClockUser> first(std::in_place, clock);
  first->Start();
  time.Pass(10);
  ClockUser second(clock);
  second.Start();
  first.reset();
  time.Pass(10);
  EXPECT_EQ(clock.Elapsed(), 20u);
  second.Leave();
  EXPECT_EQ(clock.Elapsed(), 0u);
}

TEST(Clock, UserThatNeverStartedKeepsNothingGoing) {
  FakeTime time;
  Clock clock(time);
  const ClockUser idle(clock);
  ClockUser user(clock);
  user.Start();
  time.Pass(10);
  user.Leave();
  EXPECT_EQ(clock.Elapsed(), 0u);
}

TEST(Clock, SecondStartOrStopOfAUserChangesNothing) {
  FakeTime time;
  Clock clock(time);
  ClockUser user(clock);
  user.Start();
  user.Start();
  time.Pass(10);
  user.Stop();
  user.Stop();
  time.Pass(10);
  EXPECT_EQ(clock.Elapsed(), 10u);
}
