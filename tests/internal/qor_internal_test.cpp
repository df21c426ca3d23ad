#include "internal/qor_internal.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <latch>
#include <string>
#include <thread>

TEST(ErrorDescription, IsTheSystemsText) {
  EXPECT_STREQ(Qor_Internal_GetWindowsErrorDescription(ENOENT), strerror(ENOENT));
  EXPECT_STREQ(Qor_Internal_GetWindowsErrorDescription(0), strerror(0));
}

TEST(ErrorDescription, NamesAnUnknownNumber) {
  EXPECT_STREQ(Qor_Internal_GetWindowsErrorDescription(123456), "Unknown error 123456");
  EXPECT_STREQ(Qor_Internal_GetWindowsErrorDescription(-1), "Unknown error -1");
}

TEST(ErrorDescription, LeavesErrnoAlone) {
  errno = EBUSY;
  Qor_Internal_GetWindowsErrorDescription(123456);
  EXPECT_EQ(errno, EBUSY);
}

TEST(ErrorDescription, OfOneThreadSurvivesTheCallOfAnother) {
  const char* mine = Qor_Internal_GetWindowsErrorDescription(111111);
  std::thread([] { Qor_Internal_GetWindowsErrorDescription(222222); }).join();
  EXPECT_STREQ(mine, "Unknown error 111111");
}

TEST(ErrorDescription, MayBeAskedForByManyThreadsAtOnce) {
  std::latch together(2);
  const auto ask = [&](int number) {
    together.arrive_and_wait();
    for (int round = 0; round < 1000; ++round)
      ASSERT_EQ(Qor_Internal_GetWindowsErrorDescription(number), "Unknown error " + std::to_string(number));
  };
  std::thread other(ask, 70001);
  ask(70002);
  other.join();
}
