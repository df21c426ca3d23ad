#include "outputs/LiveCapture.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>

#include "system/Failure.h"
#include "tools/ClientEntries.h"

namespace client {
namespace {

constexpr size_t kSection = 48, kInterface = 44, kPacket = 56, kCounts = 52;  // bytes

class LiveCaptureTest : public testing::Test {
 protected:
  LiveCaptureTest() {
    int ends[2] = {-1, -1};
    EXPECT_EQ(pipe2(ends, O_NONBLOCK), 0);
    Reading = Descriptor(ends[0]);
    Writing = Descriptor(ends[1]);
    std::signal(SIGPIPE, SIG_IGN);  // as the program does
  }

  /// Bytes that a reader finds right now.
  size_t Arrived() const {
    unsigned char bytes[4096];
    const ssize_t got = read(Reading.Get(), bytes, sizeof bytes);
    return got > 0 ? static_cast<size_t>(got) : 0;
  }

  Descriptor Reading;
  Descriptor Writing;
  const Bytes Record = RecordOf(test::CanItem().Data({1}));
};

TEST_F(LiveCaptureTest, HeadArrivesBeforeTheFirstEntry) {
  LiveCapture capture(std::move(Writing), {});
  capture.Pause();
  EXPECT_EQ(Arrived(), kSection);
}

TEST_F(LiveCaptureTest, SingleEntryArrivesWithThePauseAfterIt) {
  LiveCapture capture(std::move(Writing), {});
  EXPECT_TRUE(Put(capture, Record));
  EXPECT_EQ(Arrived(), 0u);
  capture.Pause();
  EXPECT_EQ(Arrived(), kSection + kInterface + kPacket);
  EXPECT_FALSE(capture.NobodyReads());
}

TEST_F(LiveCaptureTest, EndHasTheCounts) {
  LiveCapture capture(std::move(Writing), {});
  EXPECT_TRUE(Put(capture, Record));
  capture.Finish();
  EXPECT_EQ(Arrived(), kSection + kInterface + kPacket + kCounts);
}

TEST_F(LiveCaptureTest, ReaderThatGoesIsNoticedOnASilentBus) {
  LiveCapture capture(std::move(Writing), {});
  capture.Pause();
  EXPECT_FALSE(capture.NobodyReads());
  Reading.Close();
  EXPECT_TRUE(capture.NobodyReads());
}

TEST_F(LiveCaptureTest, ReaderThatGoesIsNoFailure) {
  LiveCapture capture(std::move(Writing), {});
  Reading.Close();
  EXPECT_TRUE(Put(capture, Record));  // not written yet
  capture.Pause();
  EXPECT_FALSE(Put(capture, Record));
  EXPECT_NO_THROW(capture.Finish());
}

TEST_F(LiveCaptureTest, FailedWriteIsAFailure) {
  LiveCapture capture(Descriptor(open("/dev/full", O_WRONLY)), {});
  EXPECT_TRUE(Put(capture, Record));
  capture.Pause();
  EXPECT_TRUE(capture.NobodyReads());
  EXPECT_FALSE(Put(capture, Record));
  try {
    capture.Finish();
    FAIL();
  } catch (const Failure& failure) {
    EXPECT_STREQ(failure.what(), "Cannot write the capture: No space left on device");
  }
}

}  // namespace
}  // namespace client
