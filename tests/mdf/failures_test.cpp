// Memory that runs out and files that fail under the MDF blocks: each allocation and each call of the operating system in its
// turn. A file is whole, or a call has said that it isn't.
#include <array>
#include <functional>
#include <new>

#include "support/FailingAllocator.h"
#include "support/FailingFiles.h"
#include "support/MdfFiles.h"
#include "support/MdfTwoLists.h"

namespace {

using test::FailingAllocator;
using test::FailingFiles;

/// A file that is written and read back.
class Recording {
 public:
  Recording(const std::string& name, bool packed) : File(name, packed, 3) {
    for (size_t list = 0; list < 2; ++list) File.MaxLength(list, 200);
  }

  /// Writes the whole file. False as soon as a call says that something is wrong.
  bool Write() {
    if (!File.Id.Write(File.Stream)) return false;
    PlaceAndWrite(*File.Header, File.Stream);
    for (unsigned int i = 0; i < 30; ++i) {
      std::string bytes(10 + i, static_cast<char>('a' + i));
      if (!File.Lists[i % 2]->Insert(::Data(bytes), static_cast<unsigned int>(bytes.size()))) return false;
      Expected[i % 2] += bytes;
      if (i % 10 == 9) PlaceAndWrite(*File.Header, File.Stream);
    }
    for (const auto& list : File.Lists) {
      if (!list->Write()) return false;
    }
    File.Channels->CycleCount_Set(Expected[0].size());
    PlaceAndWrite(*File.Header, File.Stream);
    if (!File.Id.Finalize(File.Stream)) return false;
    File.Stream.close();
    return File.Stream.good();
  }
  void Check(const std::string& contents) const {
    StrictMdfReader reader(contents, {.Records = true, .OldBlocks = true});
    reader.ReadFile();
    EXPECT_EQ(reader.Report(), "");
    for (size_t list = 0; list < 2; ++list) EXPECT_EQ(File.DataRead(reader, list), Expected[list]);
  }

 private:
  test::MdfTwoLists File;
  std::array<std::string, 2> Expected;
};

const std::string kName = testing::TempDir() + "failing-" + std::to_string(getpid()) + ".mf4";

class MdfMemory : public testing::TestWithParam<std::tuple<bool, FailingAllocator::Duration>> {};
class MdfFileCalls : public testing::TestWithParam<std::tuple<bool, FailingFiles::How, FailingFiles::Duration>> {};

INSTANTIATE_TEST_SUITE_P(Packed, MdfMemory,
                         testing::Combine(testing::Bool(),
                                          testing::Values(FailingAllocator::Once, FailingAllocator::FromThenOn)));
INSTANTIATE_TEST_SUITE_P(Packed, MdfFileCalls,
                         testing::Combine(testing::Bool(), testing::Values(FailingFiles::Refused, FailingFiles::Short),
                                          testing::Values(FailingFiles::Once, FailingFiles::FromThenOn)));

}  // namespace

TEST_P(MdfMemory, ThatRunsOutIsToldAndNothingStaysBehind) {
  const auto [packed, duration] = GetParam();
  bool failed = true;
  unsigned int told = 0;
  unsigned long number = 1;
  for (; failed; ++number) {
    SCOPED_TRACE(number);
    ASSERT_LT(number, 300U);
    Recording recording(kName, packed);
    bool written = false;
    {
      const FailingAllocator exhausted(FailingAllocator::ThisThread, number, duration);
      try {
        written = recording.Write();
      } catch (const std::bad_alloc&) {
        ++told;
      }
      failed = exhausted.HasFailed();
    }
    EXPECT_TRUE(written || failed);
    if (written) recording.Check(StrictMdfReader::Load(kName));
    std::filesystem::remove(kName);
  }
  EXPECT_GT(told, 10U);
  RecordProperty("runs", std::to_string(number - 2));
}

TEST(MdfMemory, ThatRunsOutWhileDataIsPackedLeavesTheBlockAsItWas) {
  for (unsigned long number = 1; number <= 2; ++number) {
    MDF::ATBLOCK attachment(100, 0);
    std::string data(100, 'a');
    bool prepared = true;
    {
      const FailingAllocator exhausted(FailingAllocator::ThisThread, number, FailingAllocator::Once);
      try {
        prepared = attachment.Zip_Init();
      } catch (const std::bad_alloc&) {
        prepared = false;
      }
      ASSERT_TRUE(exhausted.HasFailed()) << number;
    }
    EXPECT_FALSE(prepared);
    EXPECT_TRUE(attachment.Compressed_Insert(::Data(data), 100, true)) << "it works once there is memory again";
  }
}

TEST_P(MdfFileCalls, ThatFailAreToldOrCostNothing) {
  const auto [packed, how, duration] = GetParam();
  bool failed = true;
  for (unsigned long number = 1; failed; ++number) {
    SCOPED_TRACE(number);
    ASSERT_LT(number, 300U);
    Recording recording(kName, packed);
    bool written = false;
    std::string what;
    {
      const FailingFiles failing(number, how, duration);
      written = recording.Write();
      failed = failing.HasFailed();
      what = failing.What();
    }
    SCOPED_TRACE(what);
    EXPECT_TRUE(written || (failed && how == FailingFiles::Refused));
    if (written) recording.Check(StrictMdfReader::Load(kName));
    std::filesystem::remove(kName);
  }
}
