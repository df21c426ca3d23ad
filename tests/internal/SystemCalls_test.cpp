#include "internal/SystemCalls.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <syslog.h>

#include <cerrno>

#include "internal/SystemCallsForTest.h"

using testing::ElementsAre;

TEST(SystemLog, IsTheSystemsOwnUnlessATestTakesItsPlace) {
  EXPECT_EQ(System.Log, &vsyslog);
  {
    const CapturedLog log;
    EXPECT_NE(System.Log, &vsyslog);
  }
  EXPECT_EQ(System.Log, &vsyslog);
}

TEST(SystemLog, TakesLinesAtPriorityThree) {
  const CapturedLog log;
  LogError("%d of %s", 1, "many");
  EXPECT_THAT(log.Lines, ElementsAre("1 of many"));
  EXPECT_THAT(log.Priorities, ElementsAre(3));
}

TEST(SystemLog, SeesErrnoOfTheFailingCallAndLeavesItAlone) {
  CapturedLog log;
  log.OnLine = [](const std::string&) { errno = EBUSY; };
  errno = ENOENT;
  LogError("%s: %m", "f");
  EXPECT_EQ(errno, ENOENT);
  EXPECT_THAT(log.Lines, ElementsAre("f: No such file or directory"));
}
