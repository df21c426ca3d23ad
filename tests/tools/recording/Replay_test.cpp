// Records go through a monitor of the library and its threads, and have to come out as they went in: Replay compares
// them itself and throws otherwise.
#include "recording/Replay.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <random>

#include "recording/TraceDrain.h"
#include "support/TemporaryDirectory.h"
#include "system/Failure.h"
#include "tools/ClientEntries.h"

namespace client {
namespace {

class ReplayTest : public testing::Test {
 protected:
  /// Plays the records and reads them from the monitor, with their own times.
  std::vector<Bytes> Played(const std::vector<Bytes>& records, unsigned int memoryLimit = 50000) {
    Replay replay(Folder, memoryLimit);
    for (const Bytes& record : records) Put(replay, record);
    replay.Finish();
    Omitted = replay.Omitted();
    std::vector<Bytes> read;
    TraceDrain drain(replay.Trace().Handle());
    drain.PullAll([&](const unsigned char* record, unsigned int length) {
      const EntryHeader header = ReadHeader(record);
      if (header.Timestamp >= Replay::Shift) read.emplace_back(record, record + length);
      return true;
    });
    return read;
  }

  void ExpectSame(const std::vector<Bytes>& records, unsigned int memoryLimit = 50000) {
    const std::vector<Bytes> played = Played(records, memoryLimit);
    ASSERT_EQ(played.size(), records.size());
    for (std::size_t index = 0; index < records.size(); ++index) {
      const auto length = static_cast<unsigned int>(played[index].size());
      EXPECT_TRUE(IsReplayOf(records[index].data(), played[index].data(), length, Replay::Shift)) << index;
    }
    EXPECT_EQ(Omitted, 0u);
  }

  test::TemporaryDirectory Directory;
  std::string Folder = std::filesystem::current_path().string();
  unsigned long Omitted = 0;
};

TEST_F(ReplayTest, BusesOfOneTraceComeOutInTheirOrder) {
  std::vector<Bytes> records;
  for (unsigned long time = 0; time < 2000; time += 4) {
    records.push_back(RecordOf(test::CanItem().Channel(1).At(time).Id(0x123).Data({1, 2})));
    records.push_back(RecordOf(test::LinItem().Channel(2).At(time + 1).Data({1}, 2)));
    records.push_back(RecordOf(test::FlexRayItem().Channel(30).At(time + 2).Slot(4).Data({1, 2})));
    records.push_back(RecordOf(test::EthernetItem().Channel(4).At(time + 3).Frame(test::Counting(60))));
  }
  ExpectSame(records);
}

TEST_F(ReplayTest, EqualTimesKeepTheirOrderOverAllChannels) {
  std::vector<Bytes> records;
  std::mt19937 random(1);
  for (int index = 0; index < 3000; ++index) {
    const auto channel = 1 + random() % 3;
    records.push_back(RecordOf(
        test::CanItem().Channel(static_cast<unsigned int>(channel)).At(static_cast<unsigned long>(index) / 6)));
  }
  ExpectSame(records);
}

TEST_F(ReplayTest, TimesThatGoBackStayWhereTheyAre) {
  std::vector<Bytes> records;
  for (const unsigned long time : {5ul, 9ul, 3ul, 3ul, 10ul, 0ul, 1ul << 60, 2ul})
    for (unsigned int channel = 1; channel <= 2; ++channel)
      records.push_back(RecordOf(test::CanItem().Channel(channel).At(time).Data({static_cast<unsigned char>(time)})));
  ExpectSame(records);
}

TEST_F(ReplayTest, LongRunsAndSmallMemoryLimitsChangeNothing) {
  std::vector<Bytes> records;
  for (unsigned int index = 0; index < 14000; ++index)  // more than the 16 MiB of a run
    records.push_back(RecordOf(test::EthernetItem().Channel(1 + index % 2).At(index * 1000ul).Frame(Bytes(1500, 7))));
  ExpectSame(records, 1000);
}

TEST_F(ReplayTest, ASingleRecordIsPlayedToo) {
  ExpectSame({RecordOf(test::LinItem().At(0))}, 1);
  ExpectSame({});
}

TEST_F(ReplayTest, RecordsThatNoInterfaceGivesAreCounted) {
  Bytes odd = RecordOf(test::CanItem().Data({1, 2}));
  odd[43] = 1;  // announces fewer bytes than there are
  const std::vector<Bytes> records = {RecordOf(test::CanItem().Channel(1).Id(1)),
                                      odd,
                                      RecordOf(test::CanItem().Channel(0)),
                                      RecordOf(test::LinItem().Channel(1)),  // the number of a CAN channel
                                      RecordOf(test::EthernetItem().Channel(2).Frame(Bytes(65519))),
                                      RecordOf(test::CanItem().Channel(1).Id(2))};
  const std::vector<Bytes> played = Played(records);
  ASSERT_EQ(played.size(), 2u);
  EXPECT_EQ(ReadCan(played[1].data(), 44)->Identifier, 2u);
  EXPECT_EQ(Omitted, 4u);
}

TEST_F(ReplayTest, ExportFromTheShiftOnHasTheTimesOfTheRecords) {
  Replay replay(Folder, 10);
  for (unsigned int index = 0; index < 25; ++index) {
    Put(replay, RecordOf(test::CanItem().Channel(1).At(index * 1000000ul).Id(index)));
    Put(replay, RecordOf(test::LinItem().Channel(2).At(index * 1000000ul).Id(index).Data({1}, 2)));
  }
  replay.Finish();
  const std::string path = Folder + "/x.asc";
  replay.Trace().ExportToAsc(path, QOR_TRACE_ASC_START_OFFSET, 0, Replay::Shift);
  std::ifstream file(path);
  std::vector<std::string> lines;
  for (std::string line; std::getline(file, line);) lines.push_back(line);
  ASSERT_EQ(lines.size(), 5u + 50 + 1);
  EXPECT_EQ(lines[5].substr(0, 20), "0.000000000 CANFD 1 ");
  EXPECT_EQ(lines[6].substr(0, 14), "0.000000000 L2");
  EXPECT_EQ(lines[53].substr(0, 13), "0.024000 CANF") << lines[53];  // six decimals behind a LIN line
}

TEST_F(ReplayTest, SwapFolderIsGoneAfterwards) {
  { Played({RecordOf(test::CanItem())}, 1); }
  EXPECT_TRUE(std::filesystem::is_empty(Folder));
}

}  // namespace
}  // namespace client
