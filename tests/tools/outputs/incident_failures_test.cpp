// Each call on files fails in its turn while incidents are written: the others are whole, and what isn't is told.
#include <gtest/gtest.h>

#include <filesystem>
#include <memory>

#include "outputs/BinFile.h"
#include "outputs/IncidentOutput.h"
#include "outputs/MdfOutput.h"
#include "support/FailingFiles.h"
#include "support/Sanitizers.h"
#include "support/TemporaryDirectory.h"
#include "tools/ClientEntries.h"

namespace client {
namespace {

namespace fs = std::filesystem;

constexpr unsigned long kIncidents = 2;
constexpr unsigned long kRecords = 5;

struct Outcome {
  size_t Complete = 0;
  std::vector<std::string> Told = {};
};

Outcome Write(const std::string& name, const IncidentOutput::Make& make) {
  Outcome outcome;
  IncidentOutput output((fs::current_path() / name).string(), 0, make,
                        [&](const std::string& sentence) { outcome.Told.push_back(sentence); });
  for (unsigned long number = 1; number <= kIncidents; ++number) {
    const Incident incident{number, {{number, "x"}}, 1, 0, ~0ul};
    output.Begin(incident);
    for (unsigned long time = 0; time < kRecords; ++time)
      EXPECT_TRUE(Put(output, RecordOf(test::CanItem().At(time).Data({1, 2}))));
    output.Pause();
    output.End(incident);
    outcome.Complete += output.Latest().Complete ? 1 : 0;
  }
  return outcome;
}

class IncidentsWithFailingFiles : public testing::TestWithParam<const char*> {
 protected:
  static std::unique_ptr<StreamOutput> Make(const std::string& path) {
    if (path.ends_with(".bin")) return std::make_unique<BinWriter>(path);
    return std::make_unique<MdfOutput>(path, MdfOptions{});
  }
};

INSTANTIATE_TEST_SUITE_P(Formats, IncidentsWithFailingFiles, testing::Values("i-%n.bin", "i-%n.mf4"));

TEST_P(IncidentsWithFailingFiles, OneCallThatFailsCostsOneIncidentAtMostAndIsTold) {
  bool failed = true;
  unsigned long number = 1;
  for (; failed; number += test::kFailureStep) {
    const test::TemporaryDirectory directory;
    Outcome outcome;
    {
      const test::FailingFiles files(number, test::FailingFiles::Refused, test::FailingFiles::Once);
      outcome = Write(GetParam(), Make);
      failed = files.HasFailed();
    }
    EXPECT_GE(outcome.Complete, kIncidents - 1) << number;
    EXPECT_LE(outcome.Told.size(), 1u) << number;
    EXPECT_TRUE(outcome.Complete == kIncidents || outcome.Told.size() == 1) << number;
  }
  EXPECT_GT(number, 10u);
}

TEST_P(IncidentsWithFailingFiles, WhenEveryCallFailsEachIncidentIsTold) {
  const test::TemporaryDirectory directory;
  const test::FailingFiles files(1, test::FailingFiles::Refused, test::FailingFiles::FromThenOn);
  const Outcome outcome = Write(GetParam(), Make);
  EXPECT_EQ(outcome.Complete, 0u);
  EXPECT_EQ(outcome.Told.size(), kIncidents);
}

}  // namespace
}  // namespace client
