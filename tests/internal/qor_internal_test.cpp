#include "internal/qor_internal.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <latch>
#include <string>
#include <thread>

#include "internal/SystemCallsForTest.h"

using testing::ElementsAre;
using testing::IsEmpty;

extern "C" int CallEveryHelperFromC(void);

TEST(Helpers, CanBeCalledFromC) {
  const CapturedLog log;
  EXPECT_EQ(CallEveryHelperFromC(), 0) << "number of the check that failed";
}

// ---- Thread start ------------------------------------------------------------------------------------------

namespace {

void* Increment(void* number) {
  ++*static_cast<int*>(number);
  return number;
}

int DestroyedAttributes;

int CountDestroyedAttributes(pthread_attr_t* attributes) {
  ++DestroyedAttributes;
  return pthread_attr_destroy(attributes);
}

template <int Error>
int FailToCreate(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*) {
  return Error;
}

}  // namespace

TEST(ThreadStart, RunsTheRoutineWithItsArgument) {
  int number = 41;
  const pthread_t thread = Qor_Internal_Thread_Start(Increment, nullptr, &number);
  ASSERT_NE(thread, 0u);
  void* result = nullptr;
  ASSERT_EQ(pthread_join(thread, &result), 0);  // joinable, as threads are by default
  EXPECT_EQ(number, 42);
  EXPECT_EQ(result, &number);
}

TEST(ThreadStart, LogsInvalidAttributes) {
  const CapturedLog log;
  DestroyedAttributes = 0;
  System.ThreadAttributesDestroy = CountDestroyedAttributes;
  System.ThreadCreate = FailToCreate<EINVAL>;
  EXPECT_EQ(Qor_Internal_Thread_Start(Increment, nullptr, nullptr), 0u);
  EXPECT_EQ(DestroyedAttributes, 1);
  EXPECT_THAT(log.Lines, ElementsAre("Qor_Internal_Thread_Start : The value specified by attr is invalid.\r\n"));
  EXPECT_THAT(log.Priorities, ElementsAre(3));
}

TEST(ThreadStart, DoesNotLogOtherFailures) {
  const CapturedLog log;
  DestroyedAttributes = 0;
  System.ThreadAttributesDestroy = CountDestroyedAttributes;
  System.ThreadCreate = FailToCreate<EAGAIN>;
  EXPECT_EQ(Qor_Internal_Thread_Start(Increment, nullptr, nullptr), 0u);
  EXPECT_EQ(DestroyedAttributes, 1);
  EXPECT_THAT(log.Lines, IsEmpty());
}

TEST(ThreadStart, LogsAttributesThatCanNotBeDestroyedAndStillGivesTheThread) {
  const CapturedLog log;
  System.ThreadAttributesDestroy = [](pthread_attr_t* attributes) {
    pthread_attr_destroy(attributes);
    return EBUSY;
  };
  int number = 0;
  const pthread_t thread = Qor_Internal_Thread_Start(Increment, nullptr, &number);
  ASSERT_NE(thread, 0u);
  ASSERT_EQ(pthread_join(thread, nullptr), 0);
  EXPECT_EQ(number, 1);
  EXPECT_THAT(log.Lines, ElementsAre("Qor_Internal_Thread_Start : error 16 at pthread_attr_destroy\r\n"));
}

TEST(ThreadStart, FailsWithoutAttributes) {
  const SystemCallsRestored restored;
  DestroyedAttributes = 0;
  System.ThreadAttributesDestroy = CountDestroyedAttributes;
  System.ThreadAttributesInit = [](pthread_attr_t*) { return ENOMEM; };
  EXPECT_EQ(Qor_Internal_Thread_Start(Increment, nullptr, nullptr), 0u);
  EXPECT_EQ(DestroyedAttributes, 0);  // there were none
}

TEST(ThreadStart, RefusesANullRoutine) { EXPECT_EQ(Qor_Internal_Thread_Start(nullptr, nullptr, nullptr), 0u); }

// ---- Time --------------------------------------------------------------------------------------------------

TEST(TickCount, IsTheMonotonicClockInMilliseconds) {
  const SystemCallsRestored restored;
  static clockid_t asked;
  System.ClockGetTime = [](clockid_t clock, timespec* time) {
    asked = clock;
    *time = {12345, 678901234};
    return 0;
  };
  EXPECT_DOUBLE_EQ(GetTickCount(), 12345678.901234);
  EXPECT_EQ(asked, CLOCK_MONOTONIC);
}

TEST(TickCount, LiesBetweenTwoReadingsOfTheClock) {
  const auto milliseconds = [] {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
  };
  const double before = milliseconds();
  const double ticks = GetTickCount();
  EXPECT_LE(before, ticks);
  EXPECT_LE(ticks, milliseconds());
}

TEST(TickCount, IsZeroIfTheClockFails) {
  const SystemCallsRestored restored;
  System.ClockGetTime = [](clockid_t, timespec* time) {
    *time = {1, 1};
    return -1;
  };
  EXPECT_EQ(GetTickCount(), 0.0);
}

struct TimeCase {
  long Ns;
  long Seconds;
  long Nanoseconds;
};

TEST(NsToTimespec, SplitsIntoSecondsAndNanoseconds) {
  const TimeCase cases[] = {
      {0, 0, 0},
      {1, 0, 1},
      {999999999, 0, 999999999},
      {1000000000, 1, 0},
      {1500000000, 1, 500000000},
      {LONG_MAX, 9223372036, 854775807},
      // negative: the nanoseconds stay positive, the seconds go down
      {-1, -1, 999999999},
      {-999999999, -1, 1},
      {-1000000000, -1, 0},
      {-1000000001, -2, 999999999},
      {LONG_MIN, -9223372037, 145224192},
  };
  for (const auto& c : cases) {
    const timespec time = ns_to_timespec(c.Ns);
    EXPECT_EQ(time.tv_sec, c.Seconds) << c.Ns;
    EXPECT_EQ(time.tv_nsec, c.Nanoseconds) << c.Ns;
  }
}

// ---- Numbers and texts -------------------------------------------------------------------------------------

TEST(Itoa, PrintsDecimals) {
  char buffer[21];
  EXPECT_EQ(itoa(0, buffer), buffer);
  EXPECT_STREQ(buffer, "0");
  EXPECT_STREQ(itoa(-42, buffer), "-42");
  EXPECT_STREQ(itoa(LONG_MAX, buffer), "9223372036854775807");
  EXPECT_STREQ(itoa(LONG_MIN, buffer), "-9223372036854775808");
}

TEST(Itoa, WritesNoFurtherThanTheClosingZero) {
  char buffer[22];
  std::fill(std::begin(buffer), std::end(buffer), '#');
  itoa(LONG_MIN, buffer);
  EXPECT_EQ(buffer[20], '\0');
  EXPECT_EQ(buffer[21], '#');
}

TEST(Itoa, GivesNullForNull) { EXPECT_EQ(itoa(1, nullptr), nullptr); }

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

// ---- File size ---------------------------------------------------------------------------------------------

namespace {

constexpr unsigned int kFileError = 0x02000108;

struct FileSize : testing::Test {
  FileSize() : Folder(std::filesystem::temp_directory_path() / ("qor-file-size-" + std::to_string(getpid()))) {
    std::filesystem::create_directory(Folder);
  }
  ~FileSize() override { std::filesystem::remove_all(Folder); }

  std::string Path(const char* name) const { return Folder / name; }

  static long OpenFiles() {
    const std::filesystem::directory_iterator files("/proc/self/fd");
    return std::distance(begin(files), end(files));
  }

  void ExpectFailure(const std::string& path, int error) {
    unsigned int size = 7;
    const long filesBefore = OpenFiles();
    errno = 0;
    EXPECT_EQ(Qor_Internal_GetFileSize(path.c_str(), &size), kFileError) << path;
    EXPECT_EQ(errno, error) << path;
    EXPECT_EQ(size, 7u) << path;
    EXPECT_EQ(OpenFiles(), filesBefore) << path;
  }

  const std::filesystem::path Folder;
};

}  // namespace

TEST_F(FileSize, IsTheNumberOfBytes) {
  for (const std::size_t bytes : {0u, 1u, 100000u}) {
    std::ofstream(Path("file"), std::ios::binary) << std::string(bytes, 'x');
    unsigned int size = 7;
    const long filesBefore = OpenFiles();
    EXPECT_EQ(Qor_Internal_GetFileSize(Path("file").c_str(), &size), 0u);
    EXPECT_EQ(size, bytes);
    EXPECT_EQ(OpenFiles(), filesBefore);
  }
}

TEST_F(FileSize, OfFourGigabytesAndMoreKeepsTheLowHalf) {
  std::ofstream(Path("sparse")).close();
  if (truncate(Path("sparse").c_str(), 0x140000005) != 0) GTEST_SKIP() << "no room for a 5 GiB sparse file here";
  unsigned int size = 0;
  EXPECT_EQ(Qor_Internal_GetFileSize(Path("sparse").c_str(), &size), 0u);
  EXPECT_EQ(size, 0x40000005u);
}

TEST_F(FileSize, OfAMissingFileFails) { ExpectFailure(Path("missing"), ENOENT); }

TEST_F(FileSize, OfADirectoryFails) { ExpectFailure(Folder, EISDIR); }

TEST_F(FileSize, OfAPipeFailsWithoutWaitingForAWriter) {
  ASSERT_EQ(mkfifo(Path("pipe").c_str(), 0600), 0);
  ExpectFailure(Path("pipe"), ESPIPE);
}

TEST_F(FileSize, RefusesNullPointers) {
  unsigned int size = 7;
  EXPECT_EQ(Qor_Internal_GetFileSize(nullptr, &size), kFileError);
  EXPECT_EQ(size, 7u);
  std::ofstream(Path("file")) << "exists";
  EXPECT_EQ(Qor_Internal_GetFileSize(Path("file").c_str(), nullptr), kFileError);
}
