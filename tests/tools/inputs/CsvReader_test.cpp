#include "inputs/CsvReader.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "inputs/CsvRow.h"
#include "system/Failure.h"
#include "tools/ReadText.h"

namespace client {
namespace {

class CsvReaderTest : public testing::Test {
 protected:
  static WholeInput ReadRows(const std::string& rows) {
    return ReadText(std::string(kCsvHeader) + "\n" + rows, "x.csv");
  }

  test::TemporaryDirectory Directory;
};

TEST_F(CsvReaderTest, EveryKindOfLinIsRead) {
  const auto lin = [] { return test::LinItem().At(5).BitTime(0); };
  const struct {
    const char* Row;
    Bytes Record;
  } cases[] = {
      {"5,1,frame,tx,1,,52,01020304", RecordOf(lin().Id(1).Tx().Data({1, 2, 3, 4}, 52))},
      {"5,1,frame,rx,0x3F,,0xFF,", RecordOf(lin().Id(0x3F).Data({}, 0xFF))},
      {" 5 , 1 , frame , rx | overrun , 1 , , 52 , 01 ",
       RecordOf(lin().Id(1).Flags(QOR_TRACE_LIN_OVERRUN).Data({1}, 52))},
      // 0x01 is 0xC1 on the bus: C1 + 02 + FF = 1C2, C3 with its carry.
      {"5,1,frame,,1,,,02FF", RecordOf(lin().Id(1).Data({2, 0xFF}, 0x3C))},
      // Diagnosis has the classic checksum: 02 + FF = 101, 02 with its carry.
      {"5,1,frame,,60,,,02FF", RecordOf(lin().Id(60).Data({2, 0xFF}, 0xFD))},
      {"5,1,checksum_error,,1,,7,02FF", RecordOf(lin().Id(1).ChecksumError().Data({2, 0xFF}, 7))},
      {"5,1,checksum_error,,1,,,02FF", RecordOf(lin().Id(1).ChecksumError().Data({2, 0xFF}, 0xC3))},
      {"5,1,parity_error,,1,,,", RecordOf(lin().Id(1).ParityError().DataLength(0))},
      {"5,1,parity_error,tx,1,,9,01", RecordOf(lin().Id(1).Tx().Flags(0x41).Data({1}, 9))},
      {"5,1,sync_error,,,,,", RecordOf(lin().SyncError().DataLength(0))},
      {"5,1,no_response,,3,,,", RecordOf(lin().Id(3).TransmitError().DataLength(0))},
      {"5,1,transmit_error,tx,3,,4,05", RecordOf(lin().Id(3).TransmitError().Data({5}, 4))},
      {"5,1,wakeup,tx,,,,", RecordOf(lin().Tx().WakeUp().DataLength(0))},
      {"5,1,trigger,rising,,,,", RecordOf(lin().Event().DataLength(0))},
      {"5,1,trigger,falling,,,,", RecordOf(lin().Event().Id(1).DataLength(0))},
  };
  for (const auto& one : cases) {
    SCOPED_TRACE(one.Row);
    const WholeInput input = ReadRows(std::string(one.Row) + "\r\n");
    EXPECT_EQ(input.Records, std::vector<Bytes>{one.Record});
    EXPECT_EQ(input.Findings(), std::vector<std::string>());
  }
}

TEST_F(CsvReaderTest, EveryKindOfFlexRayIsRead) {
  const auto flexRay = [] { return test::FlexRayItem().At(5); };
  const struct {
    const char* Row;
    Bytes Record;
  } cases[] = {
      {"5,A,frame,null|sync|startup,64,10,1047,00000000",
       RecordOf(flexRay().Slot(64).Cycle(10).HeaderCrc(1047).FrameFlags(0x1C).Data(Bytes(4)))},
      {"5,AB,frame,tx|ppi,2047,63,0x7FF,",
       RecordOf(flexRay().Tx().Code(2).Slot(2047).Cycle(63).HeaderCrc(0x7FF).FrameFlags(2))},
      {"5,A,frame,,1,0,0,", RecordOf(flexRay().Slot(1).HeaderCrc(0))},
      {"5,B,start_of_cycle,,,11,,", RecordOf(flexRay().Kind(3).Code(11))},
      {"5,A,state,wakeup,,,,", RecordOf(flexRay().Kind(4).Code(7))},
      {"5,A,status,,,,,", RecordOf(flexRay().Kind(5))},
      {"5,AB,symbol,,,,,", RecordOf(flexRay().Kind(6).Code(2))},
      {"5,B,nit_syntax_error,,,7,,", RecordOf(flexRay().Kind(7).Slot(7).EventCode(1))},
      {"5,A,syntax_error,,0x123,7,,", RecordOf(flexRay().Kind(8).Slot(7).Code(0x23).FrameFlags(1))},
      {"5,AB,nit_boundary_violation,,,7,,", RecordOf(flexRay().Kind(9).Slot(7).EventCode(2))},
      {"5,A,content_error,,5,63,,", RecordOf(flexRay().Kind(10).Slot(63).Code(5))},
      {"5,A,overrun,,,,,", RecordOf(flexRay().Kind(0))},
  };
  for (const auto& one : cases) {
    SCOPED_TRACE(one.Row);
    const WholeInput input = ReadRows(std::string(one.Row) + "\n");
    EXPECT_EQ(input.Records, std::vector<Bytes>{one.Record});
    EXPECT_EQ(input.Findings(), std::vector<std::string>());
  }
}

/// Rows of real buses, whose CRCs are known.
TEST_F(CsvReaderTest, HeaderCrcIsComputedWhereThereIsNone) {
  const WholeInput input = ReadRows(
      "84640,A,frame,null,63,10,,00000000000000000000000000000000\n"
      "117610,A,frame,null|startup|sync,64,10,,00000000000000000000000000000000\n"
      "10037340,A,frame,null|startup|sync,1,0,,00000000000000000000000000000000\n");
  std::vector<unsigned short> crcs;
  for (const Bytes& record : input.Records) crcs.push_back(ViewOf(record).FlexRay().HeaderCrc);
  EXPECT_EQ(crcs, (std::vector<unsigned short>{586, 1047, 283}));
}

TEST_F(CsvReaderTest, WhatDoesNotFitIsUnread) {
  const struct {
    const char* Row;
    const char* Finding;
  } cases[] = {
      {"5,1,frame,,1,,52", "a row with a column or a flag that doesn't fit"},
      {"5,1,frame,,1,,52,01,", "a row with a column or a flag that doesn't fit"},
      {"x,1,frame,,1,,52,01", "a row with a column or a flag that doesn't fit"},
      {"18446744073709551616,1,frame,,1,,52,01", "a row with a column or a flag that doesn't fit"},
      {"5,C,frame,,1,,52,01", "a row whose channel is neither one of LIN nor one of FlexRay"},
      {"5,65536,frame,,1,,52,01", "a row whose channel is neither one of LIN nor one of FlexRay"},
      {"5,1,fame,,1,,52,01", "a row of an unknown kind"},
      {"5,A,wakeup,,,,,", "a row of an unknown kind"},
      {"5,1,frame,,64,,52,01", "a row with a column or a flag that doesn't fit"},
      {"5,1,frame,,,,52,01", "a row with a column or a flag that doesn't fit"},
      {"5,1,frame,,1,,256,01", "a row with a column or a flag that doesn't fit"},
      {"5,1,frame,,1,,52,010203040506070809", "a row with a column or a flag that doesn't fit"},
      {"5,1,frame,,1,,52,0", "a row with a column or a flag that doesn't fit"},
      {"5,1,frame,,1,3,52,01", "a row with a column or a flag that doesn't fit"},
      {"5,1,frame,sync,1,,52,01", "a row with a column or a flag that doesn't fit"},
      {"5,1,frame,a|b|c|d|e|f|g|h|i,1,,52,01", "a row with a column or a flag that doesn't fit"},
      {"5,1,trigger,,,,,", "a row with a column or a flag that doesn't fit"},
      {"5,A,frame,,0,1,2,0102", "a row with a column or a flag that doesn't fit"},
      {"5,A,frame,,1,64,2,0102", "a row with a column or a flag that doesn't fit"},
      {"5,A,frame,,1,1,2,010203", "a row with a column or a flag that doesn't fit"},
  };
  for (const auto& one : cases) {
    SCOPED_TRACE(one.Row);
    const WholeInput input = ReadRows(std::string("\n") + one.Row + "\n1,1,wakeup,,,,,\n");
    EXPECT_EQ(input.Records.size(), 1u);
    EXPECT_EQ(input.Findings(), std::vector<std::string>{std::string("unread: ") + one.Finding + ", line 3"});
  }
}

TEST_F(CsvReaderTest, BusesAreChannelsInTheOrderInWhichTheyCome) {
  const WholeInput input = ReadRows("1,7,wakeup,,,,,\n2,A,status,,,,,\n3,0,wakeup,,,,,\n4,B,status,,,,,\n");
  std::vector<unsigned int> channels;
  for (const Bytes& record : input.Records) channels.push_back(ViewOf(record).ChannelId());
  EXPECT_EQ(channels, (std::vector<unsigned int>{1, 2, 3, 2}));
  ASSERT_EQ(input.Known.Channels.size(), 3u);
  EXPECT_EQ(input.Known.Channels[0], (ChannelDescription{.Number = 1, .BusType = BusType_Lin, .Name = "LIN 7"}));
  EXPECT_EQ(input.Known.Channels[1], (ChannelDescription{.Number = 2, .BusType = BusType_FlexRay, .Name = "FlexRay"}));
  EXPECT_EQ(input.Known.Channels[2].Name, "LIN 0");
}

TEST_F(CsvReaderTest, AnotherCsvIsRefused) {
  EXPECT_THROW(ReadText("time,id,data\n1,2,3\n", "x.csv"), Failure);
  EXPECT_THROW(ReadText("timestamp_ns,id,data\n1,2,3\n", "x.csv"), Failure);
}

TEST_F(CsvReaderTest, TextThatIsCutAnywhereGivesTheWholeRowsBeforeThat) {
  const std::string head = std::string(kCsvHeader) + "\n";
  const std::string rows = "1,1,frame,tx,1,,52,01020304\n2,A,status,,,,,\n";
  for (size_t size = 1; size < rows.size(); ++size) {
    SCOPED_TRACE(size);
    const std::string part = rows.substr(0, size);
    const WholeInput input = ReadText(head + part, "x.csv");
    EXPECT_EQ(input.Records.size(), static_cast<size_t>(std::count(part.begin(), part.end(), '\n')));
    EXPECT_EQ(input.Known.Complete, part.ends_with('\n'));
  }
}

}  // namespace
}  // namespace client
