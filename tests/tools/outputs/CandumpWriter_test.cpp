#include "outputs/CandumpWriter.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>

#include "support/TemporaryDirectory.h"
#include "tools/ClientEntries.h"

namespace client {
namespace {

class CandumpWriterTest : public testing::Test {
 protected:
  std::string TextOf(const std::vector<Bytes>& records, const Description& description = {}) {
    CandumpWriter writer(Path);
    writer.Describe(description);
    for (const Bytes& record : records) EXPECT_TRUE(Put(writer, record));
    EXPECT_TRUE(writer.Finish());
    Shortfall = writer.ShortfallText();
    return test::FileText(Path);
  }

  test::TemporaryDirectory Directory;
  std::string Path = (std::filesystem::current_path() / "x.log").string();
  std::string Shortfall;
};

TEST_F(CandumpWriterTest, EachSortOfFrameHasItsLine) {
  using test::CanItem;
  EXPECT_EQ(TextOf({
                RecordOf(CanItem().Channel(1).At(1'500'000'999).Id(0x12).Data({0x01, 0xAB})),
                RecordOf(CanItem().Channel(2).At(1'500'001'000).Id(0x18FE0102).Extended().Data({})),
                RecordOf(CanItem().Channel(1).At(1'500'002'000).Id(0x7FF).Tx().Data({0xFF})),
                RecordOf(CanItem().Channel(1).At(1'500'003'000).Id(0x7FF).Dlc(5)),
                RecordOf(CanItem().Channel(1).At(1'500'004'000).Id(0x123).Fd().Data({1})),
                RecordOf(CanItem().Channel(1).At(1'500'005'000).Id(0x123).Extended().Fd().Brs().Esi().Data({1, 2})),
                RecordOf(CanItem().Channel(1).At(1'500'006'000).Fd().Brs().Id(1).Data({})),
                RecordOf(CanItem().Channel(1).At(1'500'007'000).ErrorFrame(1)),
                RecordOf(CanItem().Channel(1).At(1'500'008'000).ErrorFrame(3).Tx()),
            }),
            "(0000000001.500000) can0 012#01AB\n"
            "(0000000001.500001) can1 18FE0102#\n"
            "(0000000001.500002) can0 7FF#FF T\n"
            "(0000000001.500003) can0 7FF#R5\n"
            "(0000000001.500004) can0 123##001\n"
            "(0000000001.500005) can0 00000123##30102\n"
            "(0000000001.500006) can0 001##1\n"
            "(0000000001.500007) can0 20000088#0000040000000000\n"
            "(0000000001.500008) can0 200000A8#0000801900000000\n");
  EXPECT_EQ(Shortfall, "");
}

TEST_F(CandumpWriterTest, TimesAreThoseOfTheWallClockWhereItIsKnown) {
  Description description;
  description.Anchor = ClockAnchor{.EntryTime = 1000, .Utc = 1'436'509'052'249'713'000};
  EXPECT_EQ(TextOf({RecordOf(test::CanItem().At(2000).Id(1).Data({}))}, description),
            "(1436509052.249714) can0 001#\n");
}

TEST_F(CandumpWriterTest, WhatIsNoCanFrameIsCounted) {
  Bytes tooLong = RecordOf(test::CanItem().Data(Bytes(9, 0)));
  Bytes cut = RecordOf(test::CanItem().Data({1, 2, 3}));
  cut.resize(cut.size() - 1);
  Bytes odd = RecordOf(test::CanItem().Data({}));
  odd[24] = 9;
  EXPECT_EQ(TextOf({RecordOf(test::CanItem().RisingEdge()), RecordOf(test::LinItem()), RecordOf(test::LinItem()),
                    RecordOf(test::FlexRayItem()), RecordOf(test::EthernetItem()), tooLong, cut, odd}),
            "");
  EXPECT_EQ(Shortfall,
            ", as candump text has CAN frames only: 1 CAN log-trigger events, 2 LIN entries, 1 FlexRay entries, "
            "1 Ethernet entries, 3 malformed entries");
}

}  // namespace
}  // namespace client
