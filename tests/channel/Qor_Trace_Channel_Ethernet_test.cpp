#include "channel/Qor_Trace_Channel_Ethernet.h"

#include <gtest/gtest.h>

#include "channel/ChannelTest.h"

using namespace test;

namespace {

Bytes Recorded(const Bytes& item) { return RecordOf(BusType_Ethernet, 1, item); }

/// The report of a channel whose configuration fails.
std::vector<Report> ReportOfFailedConfiguration(ScriptedInterface& ethernet) {
  ethernet.Fail(QOR_SIM_CALL_CONFIGURE);
  EXPECT_EQ(CodeOf([&] { NewChannel(ethernet); }), kHardwareError);
  EXPECT_EQ(Qor_Sim_OpenConnections(), 0U);
  return TakeReports();
}

}  // namespace

TEST(EthernetChannel, MakesARecordOfEveryItemWithoutPaddingBetweenThem) {
  const Items items = {EthernetFrame(Counting(61)).At(1), EthernetFrame(Counting(1)).At(2),
                       EthernetFrame(Counting(1518)).At(3).Flags(3), EthernetFrame({}).At(4).Kind(2)};
  ScriptedInterface ethernet(BusType_Ethernet);
  ethernet.NextItems(items);
  RunningChannel channel(ethernet);
  EXPECT_EQ(channel.OnlyDelivery().Entries,
            (Items{Recorded(items[0]), Recorded(items[1]), Recorded(items[2]), Recorded(items[3])}));
}

TEST(EthernetChannel, ListsNothing) {
  ScriptedInterface ethernet(BusType_Ethernet);
  ethernet.NextItems({EthernetFrame(Counting(60))});
  RunningChannel channel(ethernet);
  EXPECT_TRUE(channel.OnlyDelivery().Latest.empty());
}

TEST(EthernetChannel, GoesByTheItemCountAndNotByTheLength) {
  const Bytes item = EthernetFrame(Counting(60)).At(1);
  for (const size_t reported : {0U, 1U, 8U, 65535U}) {
    SCOPED_TRACE(reported);
    ScriptedInterface ethernet(BusType_Ethernet);
    ethernet.NextResponse(Response(BusType_Ethernet, {item, item}), reported);
    RunningChannel channel(ethernet);
    EXPECT_EQ(channel.OnlyDelivery().Entries, (Items{Recorded(item), Recorded(item)}));
  }
}

TEST(EthernetChannel, TakesNoMoreItemsThanAreCounted) {
  const Bytes item = EthernetFrame(Counting(60));
  Bytes response = Response(BusType_Ethernet, {item, item, item});
  response[4] = 2;
  ScriptedInterface ethernet(BusType_Ethernet);
  ethernet.NextResponse(response);
  RunningChannel channel(ethernet);
  EXPECT_EQ(channel.OnlyDelivery().Entries.size(), 2U);
}

TEST(EthernetChannel, DeliversNothingForACountOfZeroHoweverLongTheResponse) {
  Bytes response = Response(BusType_Ethernet, {EthernetFrame(Counting(60))});
  response[4] = 0;
  ScriptedInterface ethernet(BusType_Ethernet);
  ethernet.NextResponse(response);
  RunningChannel channel(ethernet);
  EXPECT_TRUE(channel.AllDeliveries().empty());
}

TEST(EthernetChannel, TellsTheHardwaresTextWhenItsConfigurationFails) {
  ScriptedInterface ethernet(BusType_Ethernet);
  ethernet.LastErrorIs(0, kHardwareError, "link is down");
  EXPECT_EQ(ReportOfFailedConfiguration(ethernet),
            (std::vector<Report>{{ethernet.Port(), kHardwareError, "link is down"}}));
}

TEST(EthernetChannel, TellsNoTextThatBelongsToAnotherError) {
  ScriptedInterface ethernet(BusType_Ethernet);
  ethernet.LastErrorIs(0, kHardwareError + 1, "an older error");
  EXPECT_EQ(ReportOfFailedConfiguration(ethernet), (std::vector<Report>{{ethernet.Port(), kHardwareError, ""}}));
}

TEST(EthernetChannel, TellsNoTextWhenThereIsNone) {
  ScriptedInterface ethernet(BusType_Ethernet);
  ethernet.LastErrorIs(1, kHardwareError, "not to be read");
  EXPECT_EQ(ReportOfFailedConfiguration(ethernet), (std::vector<Report>{{ethernet.Port(), kHardwareError, ""}}));
}

TEST(EthernetChannel, CutsATextThatFillsItsBuffer) {
  ScriptedInterface ethernet(BusType_Ethernet);
  ethernet.LastErrorIs(0, kHardwareError, std::string(1000, 'x'));
  const auto reports = ReportOfFailedConfiguration(ethernet);
  ASSERT_EQ(reports.size(), 1U);
  EXPECT_LE(reports[0].Text.size(), 511U);
}

TEST(EthernetChannel, TellsNoTextForAFailingStart) {
  ScriptedInterface ethernet(BusType_Ethernet);
  ethernet.LastErrorIs(0, kHardwareError, "link is down");
  const auto channel = NewChannel(ethernet);
  ethernet.Fail(QOR_SIM_CALL_START);
  EXPECT_EQ(CodeOf([&] { channel->Start(); }), kHardwareError);
  EXPECT_EQ(TakeReports(), (std::vector<Report>{{ethernet.Port(), kHardwareError, ""}}));
}
