#include "views/Summary.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "tools/ClientEntries.h"
#include "views/SummaryText.h"

namespace client {
namespace {

Summary TwoChannels() {
  Summary summary;
  summary.NameChannel(1, "can?seed=1");
  summary.NameChannel(2, "quiet.log");
  Put(summary, RecordOf(test::CanItem().Channel(1).At(2000000000).Data({1})));
  Put(summary, RecordOf(test::CanItem().Channel(1).At(1000000000).Tx()));
  Put(summary, RecordOf(test::CanItem().Channel(1).At(3000000000).ErrorFrame(2)));
  Put(summary, RecordOf(test::CanItem().Channel(1).At(3500000000).Tx().RisingEdge()));
  Put(summary, RecordOf(test::CanItem().Channel(1).At(3600000000).Fd()));
  return summary;
}

TEST(Summary, EveryEntryIsCountedAsOneKind) {
  EXPECT_EQ(TwoChannels().Text(),
            "channel 1: can?seed=1 (CAN)\n"
            "  2 frames received, 1 transmitted, 1 FD frame, 1 error frame, 1 event, load 0.0 %, "
            "1.000000000 s to 3.600000000 s\n"
            "channel 2: quiet.log\n"
            "  nothing\n"
            "bus load: CAN taken at 500k/2M bit/s (--bitrate)\n");
  EXPECT_EQ(TwoChannels().Entries(), 5u);
  EXPECT_FALSE(TwoChannels().Lossy());
}

TEST(Summary, LateEntriesAreALossAndPlacedInTime) {
  Summary summary = TwoChannels();
  summary.SetLosses({{1, LossCause::Reordering, 1000000000, 2000000000, 3}});
  EXPECT_TRUE(summary.Lossy());
  EXPECT_NE(summary.Text().find("  OUT OF ORDER: 3 entries came too late to be put in order, 1.000000000 s to "
                                "2.000000000 s\n"),
            std::string::npos);
  EXPECT_EQ(summary.ChannelsJson()[0]["late"].dump(),
            R"({"count":3,"first_time_ns":1000000000,"last_time_ns":2000000000})");
  EXPECT_EQ(summary.BusesJson()[0]["late"], 3);
}

TEST(Summary, LinesThatCannotBeReadAreALossAndNamed) {
  Summary summary;
  summary.SetUnread({{"x.log", 3, {{2, "why"}, {7, "another why"}}}});
  EXPECT_TRUE(summary.Lossy());
  EXPECT_EQ(summary.Text(),
            "x.log: LOST: 3 lines that can't be read\n  x.log:2: why\n  x.log:7: another why\n"
            "  and 1 more\n");
  EXPECT_EQ(summary.UnreadJson().dump(), R"([{"count":3,"file":"x.log","first":[{"line":2,"reason":"why"},)"
                                         R"({"line":7,"reason":"another why"}]}])");
}

TEST(Summary, EachBusHasItsOwnKinds) {
  Summary summary;
  for (unsigned int channel = 1; channel <= 3; ++channel) summary.NameChannel(channel, "x");
  Put(summary, RecordOf(test::LinItem().Channel(1).Id(1).Data({1}, 2)));
  Put(summary, RecordOf(test::LinItem().Channel(1).WakeUp()));
  Put(summary, RecordOf(test::LinItem().Channel(1).WakeUp()));
  Put(summary, RecordOf(test::LinItem().Channel(1).Data({1}, 2).ChecksumError()));
  Put(summary, RecordOf(test::FlexRayItem().Channel(2).Slot(1).Tx()));
  Put(summary, RecordOf(test::FlexRayItem().Channel(2).Slot(2).FrameFlags(QOR_TRACE_FLEXRAY_NULL)));
  Put(summary, RecordOf(test::FlexRayItem().Channel(2).Kind(3)));
  Put(summary, RecordOf(test::EthernetItem().Channel(3).Frame(Bytes(60))));
  Put(summary, RecordOf(test::EthernetItem().Channel(3).Frame(Bytes(40)).CrcError()));
  EXPECT_EQ(summary.Text(),
            "channel 1: x (LIN)\n"
            "  1 frame received, 0 transmitted, 2 wake-ups, 1 checksum error, at 0.000000000 s\n"
            "channel 2: x (FlexRay)\n"
            "  1 frame received, 1 transmitted, 1 null frame, 1 start of cycle, at 0.000000000 s\n"
            "channel 3: x (Ethernet)\n"
            "  2 frames received, 0 transmitted, 1 frame with a CRC error, 100 bytes, at 0.000000000 s\n"
            "bus load: LIN at the rate of its frames, FlexRay at 10M bit/s, "
            "Ethernet taken at 100M bit/s (--ethernet-bitrate)\n");
  const nlohmann::json json = summary.ChannelsJson();
  EXPECT_EQ(json[0]["counts"]["wake_ups"], 2);
  EXPECT_EQ(json[0]["counts"]["sync_errors"], 0);
  EXPECT_EQ(json[1]["counts"]["null_frames"], 1);
  EXPECT_EQ(json[1]["load_percent"].dump(), R"({"A":null,"B":null})");
  EXPECT_EQ(json[2]["frame_bytes"], 100);
}

TEST(Summary, BusesAreTheSumsOfTheirChannels) {
  Summary summary = TwoChannels();
  Put(summary, RecordOf(test::CanItem().Channel(2).At(1500000000)));
  Put(summary, RecordOf(test::LinItem().Channel(3).Data({1}, 2)));
  summary.SetLosses({{1, LossCause::CaptureBufferFull, 0, 0, 4}});
  EXPECT_NE(
      summary.Text().find("CAN, 2 channels: 3 frames received, 1 transmitted, 1 FD frame, 1 error frame, 1 event\n"),
      std::string::npos);
  EXPECT_EQ(summary.Text().find("LIN, 1 channel"), std::string::npos);
  const nlohmann::json json = summary.BusesJson();
  ASSERT_EQ(json.size(), 2u);
  EXPECT_EQ(json[0].dump(),
            R"({"bus":"CAN","channels":2,"counts":{"classic_frames":3,"error_frames":1,"events":1,"fd_frames":1,)"
            R"("malformed":0},"entries":6,"late":0,"lost":4,"overruns":0,"received":3,"transmitted":1})");
  EXPECT_EQ(json[1]["bus"], "LIN");
}

TEST(Summary, LoadIsThatOfTheWholeRecording) {
  Summary summary({.CanNominal = 1000000});
  for (unsigned long ms = 0; ms < 10; ++ms) Put(summary, RecordOf(test::CanItem().At(ms * 1000000)));
  Put(summary, RecordOf(test::LinItem().Channel(2).At(20000000).BitTime(400000).Data({1, 2}, 3)));
  const nlohmann::json json = summary.ChannelsJson();
  EXPECT_EQ(json[0]["load_percent"]["bus"], 2.64);   // 10 * 53 us of 20.053 ms
  EXPECT_EQ(json[1]["load_percent"]["bus"], 13.79);  // 3.2 ms of 23.2 ms
  EXPECT_EQ(json[0]["bit_rate"]["nominal"], 1000000);
  EXPECT_NE(summary.Text().find("load 2.6 %, 0.000000000 s to 0.009000000 s\n"), std::string::npos);
}

TEST(Summary, LoadIsThatOfTheTimeThatIsCovered) {
  Summary summary({.CanNominal = 1000000});
  for (const unsigned long begin : {0ul, 1000ul})
    for (unsigned long ms = 0; ms <= 10; ++ms) Put(summary, RecordOf(test::CanItem().At((begin + ms) * 1000000)));
  EXPECT_EQ(summary.ChannelsJson()[0]["load_percent"]["bus"], 0.12);  // 22 * 53 us of 1010.053 ms
  summary.SetCovered(20000000);
  EXPECT_EQ(summary.Span(), 20000000u);
  EXPECT_EQ(summary.ChannelsJson()[0]["load_percent"]["bus"], 5.81);  // of 20.053 ms
  EXPECT_EQ(summary.Times()->Last, 1010000000u);
}

TEST(Summary, TimesSpanAllChannels) {
  Summary summary = TwoChannels();
  Put(summary, RecordOf(test::CanItem().Channel(2).At(500)));
  ASSERT_TRUE(summary.Times());
  EXPECT_EQ(summary.Times()->First, 500u);
  EXPECT_EQ(summary.Times()->Last, 3600000000u);
  EXPECT_FALSE(Summary().Times());
}

TEST(Summary, LossIsCountedAndPlacedInTime) {
  Summary summary = TwoChannels();
  summary.SetLosses({{2, LossCause::CaptureBufferFull, 1000000000, 2500000000, 7}});
  EXPECT_TRUE(summary.Lossy());
  EXPECT_EQ(summary.Lost(), 7u);
  EXPECT_NE(summary.Text().find("  LOST: 7 items found the capture buffer full, 1.000000000 s to 2.500000000 s\n"),
            std::string::npos);
}

TEST(Summary, EachLossIsShownAtItsPlaceUnlessTheyAreMany) {
  Summary summary;
  std::vector<Loss> losses = {{1, LossCause::CaptureBufferFull, 1000000000, 2000000000, 7},
                              {1, LossCause::CaptureBufferFull, 4000000000, 4000000000, 1}};
  summary.SetLosses(losses);
  EXPECT_EQ(summary.Text(),
            "channel 1\n  nothing\n"
            "  LOST: 8 items found the capture buffer full, 1.000000000 s to 4.000000000 s\n"
            "    7 items, 1.000000000 s to 2.000000000 s\n"
            "    1 item, at 4.000000000 s\n");
  for (unsigned long second = 5; second < 100; ++second)
    losses.push_back({1, LossCause::CaptureBufferFull, second * 1000000000, second * 1000000000, 1});
  Summary of97;
  of97.SetLosses(losses);
  EXPECT_NE(of97.Text().find("    1 item, at 12.000000000 s\n    and at 87 more places\n"), std::string::npos);
  EXPECT_EQ(of97.LossesJson().size(), 97u);
}

TEST(Summary, CausesAreNotMixedAndWhatNobodyCountedIsNoNumber) {
  Summary summary;
  summary.SetLosses({{1, LossCause::CaptureBufferFull, 1, 2, 7},
                     {1, LossCause::OverrunMark, 3, 4, std::nullopt},
                     {1, LossCause::MemoryLimit, 5, 6, 8},
                     {1, LossCause::MemoryLimit, 7, 8, std::nullopt},
                     {1, LossCause::DiskFull, 9, 9, std::nullopt},
                     {2, LossCause::InterfaceGone, 10, 20, 9}});
  EXPECT_EQ(summary.Text(),
            "channel 1\n  nothing\n"
            "  LOST: 7 items found the capture buffer full, 0.000000001 s to 0.000000002 s\n"
            "  LOST: an unknown number of items are missing after an overrun mark, 0.000000003 s to 0.000000004 s\n"
            "  LOST: at least 8 items were dropped for newer ones, 0.000000005 s to 0.000000008 s\n"
            "    8 items, 0.000000005 s to 0.000000006 s\n"
            "    an unknown number of items, 0.000000007 s to 0.000000008 s\n"
            "  LOST: an unknown number of items found the disk full, at 0.000000009 s\n"
            "channel 2\n  nothing\n"
            "  LOST: 9 items are missing as the interface was gone, 0.000000010 s to 0.000000020 s\n");
  EXPECT_EQ(summary.Lost(), 24u);
  EXPECT_EQ(summary.ChannelsJson()[0]["lost"].dump(), R"({"count":15,"first_time_ns":1,"last_time_ns":9})");
  EXPECT_EQ(summary.LossesJson()[1].dump(),
            R"({"cause":"overrun_mark","channel":1,"count":null,"first_time_ns":3,"last_time_ns":4})");
}

TEST(Summary, LossOfUnknownSizeIsALoss) {
  Summary summary;
  summary.SetLosses({{1, LossCause::InterfaceGone, 1, 2, std::nullopt}});
  EXPECT_TRUE(summary.Lossy());
}

TEST(Summary, OverrunMarkIsALossOnEveryBus) {
  const Bytes marked[] = {RecordOf(test::CanItem().At(4000000000).Overrun()),
                          RecordOf(test::LinItem().At(4000000000).Flags(QOR_TRACE_LIN_OVERRUN)),
                          RecordOf(test::FlexRayItem().At(4000000000).Kind(0)),
                          RecordOf(test::EthernetItem().At(4000000000).Kind(0))};
  for (const Bytes& record : marked) {
    Summary summary;
    Put(summary, record);
    EXPECT_TRUE(summary.Lossy());
    EXPECT_NE(summary.Text().find("  LOST: 1 overrun mark, after which data are missing, at 4.000000000 s\n"),
              std::string::npos);
  }
}

TEST(Summary, JsonHasTimesInNanosecondsAndNullWithoutEntries) {
  Summary summary = TwoChannels();
  summary.SetLosses({{1, LossCause::CaptureBufferFull, 5, 6, 2}});
  const nlohmann::json json = summary.ChannelsJson();
  EXPECT_EQ(
      json.dump(),
      R"([{"bit_rate":{"data":2000000,"nominal":500000},"bus":"CAN","channel":1,)"
      R"("counts":{"classic_frames":2,"error_frames":1,"events":1,"fd_frames":1,"malformed":0},"entries":5,)"
      R"("first_time_ns":1000000000,"last_time_ns":3600000000,)"
      R"("late":{"count":0,"first_time_ns":null,"last_time_ns":null},"load_percent":{"bus":0.02},)"
      R"("lost":{"count":2,"first_time_ns":5,"last_time_ns":6},)"
      R"("overruns":{"count":0,"first_time_ns":null,"last_time_ns":null},"received":2,"source":"can?seed=1","transmitted":1},)"
      R"({"bus":null,"channel":2,"entries":0,"first_time_ns":null,"last_time_ns":null,)"
      R"("late":{"count":0,"first_time_ns":null,"last_time_ns":null},)"
      R"("lost":{"count":0,"first_time_ns":null,"last_time_ns":null},)"
      R"("overruns":{"count":0,"first_time_ns":null,"last_time_ns":null},"received":0,"source":"quiet.log","transmitted":0}])");
}

TEST(Summary, WhatWasFoundOnceHasAPlaceAndNoNumber) {
  EXPECT_EQ(FindingText({FindingKind::Unread, "a damaged packet", 1, "byte 96"}),
            "LOST: a damaged packet; at byte 96\n");
  EXPECT_EQ(FindingText({FindingKind::Odd, "a damaged packet", 2, "byte 96"}),
            "odd: a damaged packet, 2 times; the first at byte 96\n");
}

TEST(Summary, NameThatWouldSteerATerminalIsShown) {
  Summary summary;
  summary.NameChannel(1, "a\x1b[31m\nchannel 2.log");
  Put(summary, RecordOf(test::CanItem()));
  EXPECT_TRUE(summary.Text().starts_with("channel 1: a\\x1b[31m\\nchannel 2.log (CAN)\n")) << summary.Text();
}

}  // namespace
}  // namespace client
