// Each call on files fails in its turn, under every output: a file that was there is kept or replaced by a whole one, and
// whatever else happens is reported.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <iterator>
#include <memory>
#include <optional>

#include "outputs/BinFile.h"
#include "outputs/CandumpWriter.h"
#include "outputs/CaptureFile.h"
#include "outputs/MdfOutput.h"
#include "outputs/RowWriter.h"
#include "outputs/SeriesOutput.h"
#include "stream/DescriptionJson.h"
#include "support/FailingFiles.h"
#include "support/TemporaryDirectory.h"
#include "system/Failure.h"
#include "tools/ClientEntries.h"

namespace client {
namespace {

namespace fs = std::filesystem;
using test::FailingFiles;

constexpr int kRecords = 200;

struct OutputCase {
  const char* Name;
  const char* Part;
  std::function<std::unique_ptr<StreamOutput>(const std::string&)> Make;
};

const OutputCase kOutputs[] = {
    {"x.bin", "x.bin.part", [](const std::string& path) { return std::make_unique<BinWriter>(path); }},
    {"x.pcapng", "x.pcapng.part",
     [](const std::string& path) { return std::make_unique<CaptureWriter>(path, PcapngOptions{}); }},
    {"x.csv", "x.csv.part", [](const std::string& path) { return std::make_unique<RowWriter>(path, RowFormat::Csv); }},
    {"x.log", "x.log.part", [](const std::string& path) { return std::make_unique<CandumpWriter>(path); }},
    {"x.mf4", "x.part.mf4", [](const std::string& path) { return std::make_unique<MdfOutput>(path, MdfOptions{}); }},
};

std::ptrdiff_t OpenFiles() { return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator()); }

/// What a run said. An empty sentence with Done false would be silence.
struct Outcome {
  bool Done = false;
  std::string Sentence;
};

Outcome Record(const OutputCase& output, bool keepExisting) {
  try {
    const auto writer = output.Make(fs::current_path() / output.Name);
    for (int index = 0; index < kRecords; ++index) {
      Put(*writer, RecordOf(test::CanItem().At(static_cast<unsigned long>(index) * 1000).Data({1, 2, 3})));
      if (index == kRecords / 2) writer->Pause();
    }
    if (keepExisting) writer->KeepExisting();
    const bool done = writer->Finish();
    return {done, writer->Error()};
  } catch (const Failure& failure) {
    return {false, failure.what()};
  }
}

class OutputsWithFailingFiles
    : public testing::TestWithParam<std::tuple<std::size_t, FailingFiles::How, FailingFiles::Duration>> {
 protected:
  test::TemporaryDirectory Directory;
};

INSTANTIATE_TEST_SUITE_P(AllCalls, OutputsWithFailingFiles,
                         testing::Combine(testing::Range(std::size_t{0}, std::size(kOutputs)),
                                          testing::Values(FailingFiles::Refused),
                                          testing::Values(FailingFiles::Once, FailingFiles::FromThenOn)));
// Writes of the .mf4 file that are done by half are tested with MdfFile.
INSTANTIATE_TEST_SUITE_P(AllCallsByHalf, OutputsWithFailingFiles,
                         testing::Combine(testing::Range(std::size_t{0}, std::size(kOutputs) - 1),
                                          testing::Values(FailingFiles::Short),
                                          testing::Values(FailingFiles::Once, FailingFiles::FromThenOn)));

TEST_P(OutputsWithFailingFiles, ExistingFileIsKeptOrReplacedByAWholeOne) {
  const auto [index, how, duration] = GetParam();
  const OutputCase& output = kOutputs[index];
  ASSERT_TRUE(Record(output, false).Done);
  const auto whole = fs::file_size(output.Name);
  const auto open = OpenFiles();
  unsigned long number = 1;
  for (bool failed = true; failed; ++number) {
    SCOPED_TRACE(number);
    fs::remove(output.Part);
    test::WriteFile(output.Name, {1, 2, 3});
    Outcome outcome;
    {
      const FailingFiles failing(number, how, duration);
      outcome = Record(output, false);
      failed = failing.HasFailed();
      SCOPED_TRACE(failing.What());
      if (!failed || (how == FailingFiles::Short && duration == FailingFiles::Once)) {
        EXPECT_TRUE(outcome.Done) << outcome.Sentence;
      }
      const std::string what = how == FailingFiles::Refused ? failing.What() : "";
      if (what == "write" || what == "fsync" || what == "rename") {
        EXPECT_FALSE(outcome.Done);
      }
    }
    EXPECT_EQ(outcome.Done, outcome.Sentence.empty()) << outcome.Sentence;
    EXPECT_EQ(fs::file_size(output.Name), outcome.Done ? whole : 3) << outcome.Sentence;
    EXPECT_FALSE(outcome.Done && fs::exists(output.Part));
    EXPECT_EQ(OpenFiles(), open);
  }
  EXPECT_GT(number, 6u);
  RecordProperty("runs", std::to_string(number - 1));
}

TEST(OutputWithFailingFiles, ExistingFileIsKeptIfThatIsWanted) {
  const test::TemporaryDirectory directory;
  for (const OutputCase& output : {kOutputs[0], kOutputs[1]}) {
    SCOPED_TRACE(output.Name);
    unsigned long number = 1;
    for (bool failed = true; failed; ++number) {
      SCOPED_TRACE(number);
      fs::remove(output.Part);
      test::WriteFile(output.Name, {1, 2, 3});
      const FailingFiles failing(number, FailingFiles::Refused, FailingFiles::Once);
      const Outcome outcome = Record(output, true);
      failed = failing.HasFailed();
      EXPECT_FALSE(outcome.Done);
      EXPECT_NE(outcome.Sentence, "");
      EXPECT_EQ(fs::file_size(output.Name), 3u);
    }
  }
}

// ---- Series ---------------------------------------------------------------------------------------------------------

/// Three files x_000001.bin to x_000003.bin.
template <class Writer = BinWriter>
Outcome RecordSeries(const char* name = "x.bin", std::optional<unsigned long> keep = std::nullopt) {
  constexpr unsigned long kSecond = 1'000'000'000;
  try {
    const auto make = [](const std::string& path) { return std::make_unique<Writer>(path); };
    SeriesOutput series((fs::current_path() / name).string(), {.Time = kSecond, .KeepFiles = keep}, make);
    Description known;
    known.Id = "00000000-1111-2222-3333-444444444444";
    series.Describe(known);
    for (unsigned long index = 0; index < 3 * 50; ++index)
      Put(series, RecordOf(test::CanItem().At(index * (kSecond / 50)).Data({1, 2, 3})));
    const bool done = series.Finish();
    return {done, series.Error().empty() ? series.RemarkText() : series.Error()};
  } catch (const Failure& failure) {
    return {false, failure.what()};
  }
}

constexpr const char* kSeries[] = {"x_000001.bin", "x_000002.bin", "x_000003.bin"};

TEST(SeriesWithFailingFiles, EveryFileThatHasItsNameIsWhole) {
  const test::TemporaryDirectory directory;
  ASSERT_TRUE(RecordSeries().Done);
  const auto whole = fs::file_size(kSeries[0]);
  const auto open = OpenFiles();
  for (const auto duration : {FailingFiles::Once, FailingFiles::FromThenOn}) {
    unsigned long number = 1;
    for (bool failed = true; failed; ++number) {
      SCOPED_TRACE(number);
      for (const auto& file : fs::directory_iterator(".")) fs::remove(file);
      test::WriteFile(kSeries[1], {1, 2, 3});
      Outcome outcome;
      {
        const FailingFiles failing(number, FailingFiles::Refused, duration);
        outcome = RecordSeries();
        failed = failing.HasFailed();
        SCOPED_TRACE(failing.What());
        if (!failed) {
          EXPECT_TRUE(outcome.Done) << outcome.Sentence;
        }
      }
      if (!outcome.Done) {
        EXPECT_NE(outcome.Sentence, "");
      }
      for (const char* name : kSeries) {
        if (!fs::exists(name)) {
          EXPECT_FALSE(outcome.Done) << name;
        } else if (name == kSeries[1] && fs::file_size(name) == 3) {
          EXPECT_FALSE(outcome.Done) << "the file that was there isn't one of this series";
        } else {
          EXPECT_EQ(fs::file_size(name), whole) << name;
        }
      }
      EXPECT_EQ(OpenFiles(), open);
    }
    EXPECT_GT(number, 20u);
  }
}

TEST(SeriesWithFailingFiles, WhatCannotBeDeletedStaysAndIsTold) {
  const test::TemporaryDirectory directory;
  const FailingFiles failing("unlink");
  const Outcome outcome = RecordSeries<CandumpWriter>("x.log", 1);
  EXPECT_TRUE(outcome.Done);
  EXPECT_NE(outcome.Sentence.find("should have been deleted"), std::string::npos) << outcome.Sentence;
  for (const char* name : {"x_000001.log", "x_000002.log", "x_000003.log"}) EXPECT_TRUE(fs::exists(name));
}

// ---- Records with a description --------------------------------------------------------------------------------------

constexpr int kOldRecords = 3;

Description Titled(const char* title) {
  Description description;
  description.Title = title;
  description.Complete = true;
  return description;
}

/// Writes x.bin with a description. The first record is always the same, as that of one bus recorded twice may be.
Outcome RecordDescribed(const char* title, int records, bool keepExisting = false) {
  try {
    BinWriter writer(fs::current_path() / "x.bin");
    writer.Describe({});
    writer.Describe(Titled(title));
    for (int index = 0; index < records; ++index) {
      Put(writer, RecordOf(test::CanItem().At(static_cast<unsigned long>(index) * 1000).Data({1, 2, 3})));
      if (index == records / 2) writer.Pause();
    }
    if (keepExisting) writer.KeepExisting();
    const bool done = writer.Finish();
    return {done, writer.Error()};
  } catch (const Failure& failure) {
    return {false, failure.what()};
  }
}

std::string TitleIn(const char* name) {
  const auto bytes = test::FileBytes(name);
  return DescriptionFromJson({reinterpret_cast<const char*>(bytes.data()), bytes.size()}).Title;
}

/// What lies under the two names belongs together, and a part of a description is whole.
void CheckPair(std::uintmax_t oldSize) {
  const bool old = fs::file_size("x.bin") == oldSize;
  if (fs::exists("x.bin.json")) {
    EXPECT_EQ(TitleIn("x.bin.json"), old ? "old" : "new");
  }
  if (fs::exists("x.bin.json.part") && fs::file_size("x.bin.json.part") > 0) {
    EXPECT_NO_THROW(TitleIn("x.bin.json.part"));
  }
}

void StartOver() {
  for (const char* name : {"x.bin", "x.bin.part", "x.bin.json", "x.bin.json.part"}) fs::remove(name);
  ASSERT_EQ(RecordDescribed("old", kOldRecords).Sentence, "");
}

/// Runs in a process of its own that ends at a call on files. @return false when there are no more calls
bool EndsAtCall(unsigned long number) {
  const pid_t child = fork();
  if (child == 0) {
    const FailingFiles ending(number, FailingFiles::Ends, FailingFiles::FromThenOn);
    RecordDescribed("new", kRecords);
    _exit(0);
  }
  int status = 0;
  waitpid(child, &status, 0);
  EXPECT_TRUE(WIFEXITED(status));
  return WEXITSTATUS(status) == FailingFiles::kEnded;
}

TEST(DescribedRecords, NoDescriptionOfOldRecordsLiesBesideNewOnesWheneverTheProcessEnds) {
  const test::TemporaryDirectory directory;
  StartOver();
  const auto oldSize = fs::file_size("x.bin");
  unsigned long number = 1;
  unsigned int replacedOnly = 0;
  for (bool ended = true; ended; ++number) {
    SCOPED_TRACE(number);
    StartOver();
    ended = EndsAtCall(number);
    CheckPair(oldSize);
    if (fs::file_size("x.bin") != oldSize && !fs::exists("x.bin.json")) {
      ++replacedOnly;
      EXPECT_EQ(TitleIn("x.bin.json.part"), "new");
    }
  }
  EXPECT_GT(number, 15u);
  EXPECT_GT(replacedOnly, 0u);  // it did end between the two names
  EXPECT_EQ(TitleIn("x.bin.json"), "new");
}

TEST(DescribedRecords, FailedCallsLeaveAPairAndAreTold) {
  const test::TemporaryDirectory directory;
  StartOver();
  const auto oldSize = fs::file_size("x.bin");
  for (const bool keepExisting : {false, true}) {
    unsigned long number = 1;
    for (bool failed = true; failed; ++number) {
      SCOPED_TRACE(number);
      StartOver();
      Outcome outcome;
      {
        const FailingFiles failing(number, FailingFiles::Refused, FailingFiles::Once);
        outcome = RecordDescribed("new", kRecords, keepExisting);
        failed = failing.HasFailed();
        SCOPED_TRACE(failing.What());
        if (failing.What() == "pwrite" || failing.What() == "rename") {
          EXPECT_NE(outcome.Sentence, "");
        }
      }
      CheckPair(oldSize);
      EXPECT_EQ(fs::file_size("x.bin") == oldSize, keepExisting || !outcome.Done) << outcome.Sentence;
      EXPECT_TRUE(outcome.Done || !outcome.Sentence.empty());
    }
  }
}

}  // namespace
}  // namespace client
