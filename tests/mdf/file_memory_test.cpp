// Memory that runs out under MdfFile: each allocation in its turn.
#include <tuple>

#include "FailingSeries.h"
#include "support/FailingAllocator.h"
#include "support/Sanitizers.h"
#include "support/TemporaryDirectory.h"

namespace {

using test::FailingAllocator;
using namespace test::failing_series;

const FileInfo kInfo = {"An author with a long name", "Test bench", "", "", "Longer than a short string"};

RecordingInfo LongInfo(size_t losses) {
  RecordingInfo info;
  info.Tool = "A recorder with a long name";
  info.Channels = {
      {.BusChannel = 2, .BusType = BusType_Ethernet, .Source = "a source that is longer than a short text"}};
  info.Losses.assign(losses, {.BusChannel = 2, .Cause = "the capture buffer of the interface was full"});
  return info;
}

const RecordingInfo kRunning = LongInfo(0);
const RecordingInfo kEnded = LongInfo(2);
const RecordingInfo kLossy = LongInfo(100);

void BeginStandard(Recording& recording) {
  recording.Open();
  recording.UseStandard();
  recording.Add(1, BusType_Can);
}

const Scene kDescriptions[] = {
    {"Recording", Begin, [](Recording& recording) { recording.Describe(kEnded); }},
    {"RecordingInPlace",
     [](Recording& recording) {
       Begin(recording);
       recording.Describe(kRunning);
       recording.Flush();
     },
     [](Recording& recording) {
       recording.Describe(kEnded);
       recording.Flush();
     }},
    {"RecordingThatOutgrowsItsRoom",
     [](Recording& recording) {
       Begin(recording);
       recording.Describe(kRunning);
     },
     [](Recording& recording) {
       recording.Describe(kLossy);
       recording.Flush();
     }},
    {"StandardLin", BeginStandard, [](Recording& recording) { recording.Add(2, BusType_Lin); }},
    {"StandardEthernet", BeginStandard, [](Recording& recording) { recording.Add(2, BusType_Ethernet); }},
    {"MarkOfALoss", BeginStandard,
     [](Recording& recording) {
       recording.LoseAfterEach();
       recording.Insert(2);
       recording.Flush();
     }},
    {"Comment", Begin, [](Recording& recording) { recording.Comment(kInfo); }},
    {"Can", Begin, [](Recording& recording) { recording.Add(2, BusType_Can); }},
    {"Lin", Begin, [](Recording& recording) { recording.Add(2, BusType_Lin); }},
    {"FlexRay", Begin, [](Recording& recording) { recording.Add(2, BusType_FlexRay); }},
};

class MdfFileWithoutMemory : public ::testing::TestWithParam<std::tuple<Scene, FailingAllocator::Duration, unsigned>> {
 protected:
  test::TemporaryDirectory Directory;
};

const auto kDurations = testing::Values(FailingAllocator::Once, FailingAllocator::FromThenOn);
INSTANTIATE_TEST_SUITE_P(Scenes, MdfFileWithoutMemory,
                         testing::Combine(testing::ValuesIn(kScenes), kDurations, testing::Values(0U, 2U)));
INSTANTIATE_TEST_SUITE_P(Descriptions, MdfFileWithoutMemory,
                         testing::Combine(testing::ValuesIn(kDescriptions), kDurations, testing::Values(0U)));

}  // namespace

// A call that has failed is repeated: the files are whole then, unless there never is any memory.
TEST_P(MdfFileWithoutMemory, TellsAndLosesNothingThatIsTriedAgain) {
  const auto [scene, duration, workers] = GetParam();
  unsigned long number = 0;
  unsigned long runs = 0;
  unsigned long whole = 0;
  bool failed = true;
  while (failed && !HasFailure()) {
    ASSERT_LT(number += test::kFailureStep, 10000U);
    ++runs;
    SCOPED_TRACE(number);
    Recording recording(Recording::TryAgain, workers);
    scene.Before(recording);
    {
      const FailingAllocator exhausted(FailingAllocator::ThisThread, number, duration);
      scene.While(recording);
      recording.Destroy();
      failed = exhausted.HasFailed();
    }
    if (recording.IsWhole()) ++whole;
    Check(recording, failed);
  }
  EXPECT_GT(number, 5U);
  if (duration == FailingAllocator::Once) {
    EXPECT_EQ(whole, runs);
  }
  RecordProperty("runs", std::to_string(runs));
}

// Workers that have no memory leave their blocks unpacked.
TEST(MdfFileWorkersWithoutMemory, StoreDataAsTheyAre) {
  const test::TemporaryDirectory directory;
  Recording recording(Recording::GoOn, 2);
  Begin(recording);
  {
    const FailingAllocator exhausted(FailingAllocator::OtherThreads, 1, FailingAllocator::FromThenOn);
    recording.Insert(3 * kBlock);
    recording.Close();
    recording.Destroy();
    EXPECT_TRUE(exhausted.HasFailed());
  }
  EXPECT_TRUE(recording.IsWhole());
  EXPECT_EQ(recording.TakenFrames(), 3 * kBlock);
  Check(recording, false);
}
