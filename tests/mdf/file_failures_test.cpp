// Files that fail under MdfFile: each call of the operating system in its turn.
// Whatever happens, it is reported to the caller, and the files of the series can be read.
#include <tuple>

#include "FailingSeries.h"
#include "support/FailingFiles.h"
#include "support/Sanitizers.h"
#include "support/TemporaryDirectory.h"

namespace {

using test::FailingFiles;
using namespace test::failing_series;

class MdfFileWithFailingFiles
    : public ::testing::TestWithParam<std::tuple<Scene, FailingFiles::How, FailingFiles::Duration, unsigned>> {
 protected:
  test::TemporaryDirectory Directory;
};

INSTANTIATE_TEST_SUITE_P(Scenes, MdfFileWithFailingFiles,
                         testing::Combine(testing::ValuesIn(kScenes),
                                          testing::Values(FailingFiles::Refused, FailingFiles::Short),
                                          testing::Values(FailingFiles::Once, FailingFiles::FromThenOn),
                                          testing::Values(0U, 2U)));

}  // namespace

TEST_P(MdfFileWithFailingFiles, TellsAndLeavesReadableFiles) {
  const auto [scene, how, duration, workers] = GetParam();
  unsigned long number = 0;
  bool failed = true;
  while (failed && !HasFailure()) {
    ASSERT_LT(number += test::kFailureStep, 1000U);
    Recording recording(Recording::GoOn, workers);
    scene.Before(recording);
    std::string what;
    {
      const FailingFiles failing(number, how, duration);
      scene.While(recording);
      recording.Destroy();
      failed = failing.HasFailed();
      what = failing.What();
    }
    SCOPED_TRACE(what + ", call " + std::to_string(number));
    Check(recording, failed && how == FailingFiles::Refused);
  }
  EXPECT_GT(number, 10U);
  RecordProperty("runs", std::to_string((number - 1) / test::kFailureStep));
}
