#include "inputs/BinReader.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <iterator>

#include "support/TemporaryDirectory.h"
#include "system/Failure.h"
#include "tools/ClientEntries.h"
#include "tools/ReadBin.h"

namespace client {
namespace {

namespace fs = std::filesystem;

class BinReaderTest : public testing::Test {
 protected:
  void Write(const Bytes& bytes) const { test::WriteFile(Path, bytes); }

  test::TemporaryDirectory Directory;
  fs::path Folder = fs::current_path();
  std::string Path = (Folder / "x.bin").string();
};

TEST_F(BinReaderTest, RecordsAreReadBackAsTheyWereWritten) {
  std::vector<Bytes> records;
  while (records.size() < 40000) {
    const auto more = OddRecords();
    records.insert(records.end(), more.begin(), more.end());
  }
  Write(Joined(records));
  Collector collector;
  EXPECT_EQ(ReadBin(Path, collector), records.size());
  EXPECT_EQ(collector.Records, records);
}

TEST_F(BinReaderTest, EmptyFileHasNoRecords) {
  Write({});
  Collector collector;
  EXPECT_EQ(ReadBin(Path, collector), 0u);
}

TEST_F(BinReaderTest, ReadingEndsWhenTheSinkHasEnough) {
  Write(Joined(OddRecords()));
  Collector collector;
  collector.Limit = 3;
  EXPECT_EQ(ReadBin(Path, collector), 3u);
}

TEST_F(BinReaderTest, FileThatIsNotMadeOfWholeRecordsIsAFailure) {
  const Bytes good = RecordOf(test::CanItem().Data({1, 2, 3}));
  for (const std::size_t kept : {1u, 4u, 27u, 28u, 46u}) {
    SCOPED_TRACE(kept);
    Write(Joined({good, Bytes(good.begin(), good.begin() + static_cast<std::ptrdiff_t>(kept))}));
    Collector collector;
    EXPECT_THROW(ReadBin(Path, collector), Failure);
    EXPECT_EQ(collector.Records.size(), 1u);
  }
  for (const unsigned int length : {0u, 27u, 65564u, 0xFFFFFFFFu}) {
    SCOPED_TRACE(length);
    Bytes odd = good;
    std::memcpy(odd.data(), &length, 4);
    Write(Joined({good, odd}));
    Collector collector;
    EXPECT_THROW(ReadBin(Path, collector), Failure);
    EXPECT_EQ(collector.Records.size(), 1u);
  }
}

TEST_F(BinReaderTest, LongestRecordThatAnInterfaceCanDeliverIsRead) {
  Bytes longest = RecordOf(test::CanItem());
  const unsigned int length = RecordView::kHeader + 65535;
  longest.resize(length);
  std::memcpy(longest.data(), &length, 4);
  Write(longest);
  Collector collector;
  EXPECT_EQ(ReadBin(Path, collector), 1u);
}

TEST_F(BinReaderTest, DamageBetweenRecordsIsPassedOverWhereThatIsAskedFor) {
  std::vector<Bytes> records(10, RecordOf(test::CanItem().Data({1, 2, 3})));
  const Bytes before = Joined({records[0], records[1]});
  const Bytes damages[] = {Bytes(500, 0), Bytes(500, 0xFF), Bytes(records[0].begin(), records[0].begin() + 29)};
  for (const Bytes& damage : damages) {
    SCOPED_TRACE(damage.size());
    Write(Joined({before, damage, Joined(records), Bytes(5, 1)}));
    BinReader reader(InputBytes(Path), Path, BinReader::AtDamage::PassOver);
    Collector collector;
    EXPECT_EQ(ReadAll(reader, collector), ReadingEnd::Whole);
    EXPECT_EQ(collector.Records, std::vector<Bytes>(12, records[0]));
    ASSERT_EQ(reader.Found().All().size(), 2u);
    EXPECT_EQ(reader.Found().All()[0].Kind, FindingKind::Unread);
    EXPECT_EQ(reader.Found().All()[0].Count, damage.size());
    EXPECT_EQ(reader.Found().All()[1].Kind, FindingKind::CutOff);
    EXPECT_EQ(reader.Found().All()[1].Count, 5u);
  }
}

TEST_F(BinReaderTest, MissingFileIsAFailure) {
  Collector collector;
  EXPECT_THROW(ReadBin((Folder / "missing.bin").string(), collector), Failure);
}

TEST_F(BinReaderTest, FileThatDoesNotBeginWithARecordIsRefusedBeforeItIsRead) {
  Write(Bytes(100, 0xFF));
  EXPECT_THROW(BinReader{Path}, Failure);
}

TEST_F(BinReaderTest, FileThatIsRefusedIsClosedAgain) {
  const auto openFiles = [] {
    return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
  };
  Write(Bytes(100, 0xFF));
  const auto before = openFiles();
  EXPECT_THROW(BinReader{Path}, Failure);
  EXPECT_EQ(openFiles(), before);
}

TEST_F(BinReaderTest, ProgressIsThatOfTheFile) {
  Write(Joined(OddRecords()));
  BinReader reader(Path);
  Collector collector;
  EXPECT_EQ(reader.Size(), Joined(OddRecords()).size());
  EXPECT_EQ(ReadAll(reader, collector), ReadingEnd::Whole);
  EXPECT_EQ(reader.Position(), reader.Size());
  EXPECT_EQ(reader.Records(), 64u);
}

TEST_F(BinReaderTest, PipeIsReadNoFurtherThanWanted) {
  ASSERT_EQ(mkfifo(Path.c_str(), 0600), 0);
  const int end = open(Path.c_str(), O_RDWR);  // keeps the pipe open, so that a read would wait
  const Bytes record = OddRecords()[5];
  const Bytes cut = Joined({record, record, Bytes(record.begin(), record.begin() + 30)});
  ASSERT_EQ(write(end, cut.data(), cut.size()), static_cast<ssize_t>(cut.size()));
  BinReader reader(Path);
  Collector collector;
  EXPECT_EQ(ReadAll(reader, collector, [&] { return collector.Records.size() < 2; }), ReadingEnd::Stopped);
  EXPECT_EQ(collector.Records, (std::vector<Bytes>{record, record}));
  EXPECT_EQ(reader.Size(), 0u);
  close(end);
}

TEST_F(BinReaderTest, SinkIsPausedWhileAPipeHasNothing) {
  class Pausing : public Collector {
   public:
    void Pause() override { Paused = true; }
    bool Paused = false;
  };
  ASSERT_EQ(mkfifo(Path.c_str(), 0600), 0);
  const int end = open(Path.c_str(), O_RDWR);
  BinReader reader(Path);
  Pausing sink;
  EXPECT_EQ(ReadAll(reader, sink, [&] { return !sink.Paused; }), ReadingEnd::Stopped);
  close(end);
}

}  // namespace
}  // namespace client
