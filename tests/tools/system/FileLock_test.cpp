#include "system/FileLock.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <gtest/gtest.h>

#include "support/TemporaryDirectory.h"
#include "system/Descriptor.h"
#include "tools/AnotherProcess.h"

namespace client {
namespace {

class FileLockTest : public testing::Test {
 protected:
  static Descriptor Open() { return Descriptor(open("x", O_RDWR | O_CREAT | O_CLOEXEC, 0600)); }
  test::TemporaryDirectory Directory;
};

TEST_F(FileLockTest, LockIsSeenThroughEveryOtherDescriptor) {
  const Descriptor one = Open(), other = Open();
  EXPECT_FALSE(IsLocked(other.Get()));
  EXPECT_EQ(TryLock(one.Get()), LockState::Taken);
  EXPECT_TRUE(IsLocked(other.Get()));
  EXPECT_EQ(TryLock(other.Get()), LockState::Held);
}

TEST_F(FileLockTest, LockEndsWithItsDescriptor) {
  const Descriptor other = Open();
  {
    const Descriptor one = Open();
    LockWithName(one.Get());
    EXPECT_TRUE(IsLocked(other.Get()));
  }
  EXPECT_FALSE(IsLocked(other.Get()));
}

TEST_F(FileLockTest, LookingLocksNothing) {
  const Descriptor one = Open(), other = Open();
  EXPECT_FALSE(IsLocked(other.Get()));
  EXPECT_EQ(TryLock(one.Get()), LockState::Taken);
}

TEST_F(FileLockTest, HolderIsToldToOtherProcesses) {
  const Descriptor one = Open();
  LockWithName(one.Get());
  EXPECT_EQ(InAnotherProcess([] { return HolderOf(Open().Get()); }), fmt::format("process {}", getpid()));
}

TEST_F(FileLockTest, HolderThatIsNotKnownIsAnotherProcess) {
  const Descriptor one = Open();
  ASSERT_EQ(TryLock(one.Get()), LockState::Taken);
  EXPECT_EQ(InAnotherProcess([] { return HolderOf(Open().Get()); }), "another process");
}

TEST_F(FileLockTest, WhatCannotBeLockedIsUnknown) {
  EXPECT_EQ(TryLock(-1), LockState::Unknown);
  EXPECT_FALSE(IsLocked(-1));
  EXPECT_EQ(HolderOf(-1), "another process");
}

}  // namespace
}  // namespace client
