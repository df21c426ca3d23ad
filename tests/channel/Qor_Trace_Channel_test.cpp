// What all four channels have in common: their commands, their life, their receive thread.
#include "channel/Qor_Trace_Channel.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <random>

#include "channel/ChannelTest.h"
#include "support/Sleeps.h"

using namespace test;

namespace {

constexpr unsigned char kInstance = 0x2A;

/// The commands of a bus, in the order of the hardware library's table.
struct BusCommands {
  Qor_Trace_BusType Bus;
  const char* Name;
  Command Configure;
  Command Start;
  Command Stop;
  Command Poll;
  unsigned int MaxNumberOfItems;
  bool StopsAlways;  // the stop command goes out whether or not the channel runs
};

const BusCommands kBuses[] = {
    {BusType_Can,
     "Can",
     {0x50, 1, {0x09, kInstance, 0, 0, 0x0F, 0x0E, 0, 0, 0, 0, 0, 0}},
     {0x50, 1, {0x0C, kInstance, 0, 0}},
     {0x50, 1, {0x0D, kInstance, 0, 0}},
     {0x50, 2, {0x0F, kInstance, 0, 0}, 65535},
     9000000,
     false},
    {BusType_Lin,
     "Lin",
     {0x50, 1, {0x09, 0, 0, 0, 0x07, 0x06, 0, 0, 0, 0, 0, 0, 0x01, 0, 0, 0}},
     {0x50, 1, {0x0C, 0, 0, 0}},
     {0x50, 1, {0x0D, 0, 0, 0}},
     {0x50, 0, {0x0E, 0, 0, 0}, 65535},
     9000000,
     false},
    {BusType_FlexRay,
     "FlexRay",
     {0x21, 1, {0x00, kInstance, 0, 0, 0x3E, 0x1F, 0, 0}},
     {0x21, 1, {0x01, kInstance, 0, 0}},
     {0x21, 1, {0x02, kInstance, 0, 0}},
     {0x21, 2, {0x03, kInstance, 0, 0}, 65535},
     3000000,
     true},
    {BusType_Ethernet,
     "Ethernet",
     {0x50, 1, {0x00, kInstance, 0, 0, 0x07, 0, 0, 0}},
     {0x50, 1, {0x01, kInstance, 0, 0}},
     {0x50, 1, {0x02, kInstance, 0, 0}},
     {0x50, 2, {0x03, kInstance, 0, 0}, 65535},
     500000,
     false},
};

void PrintTo(const BusCommands& bus, std::ostream* out) { *out << bus.Name; }

/// One item of a bus.
Bytes ItemOf(Qor_Trace_BusType bus, unsigned long time = 100) {
  switch (bus) {
    case BusType_Can:
      return Frame(0x123).At(time).Data({1, 2, 3});
    case BusType_Lin:
      return LinFrame(0x12).At(time).Data({1, 2, 3});
    case BusType_FlexRay:
      return FlexRayFrame(0x12).At(time).Data({1, 2});
    default:
      return EthernetFrame({1, 2, 3}).At(time);
  }
}

class EveryChannel : public testing::TestWithParam<BusCommands> {
 protected:
  EveryChannel() : Interface(GetParam().Bus, kInstance) {
    Interface.LastErrorIs(/*result=*/1, 0, "");  // no text for a failure
    TakeReports();
  }
  ~EveryChannel() override { EXPECT_EQ(Qor_Sim_OpenConnections(), 0U); }  // checked by every test

  [[nodiscard]] std::vector<Report> ReportOnPort(unsigned int code) const { return {{Interface.Port(), code, ""}}; }
  [[nodiscard]] Items OneItem(unsigned long time = 100) const { return {ItemOf(GetParam().Bus, time)}; }
  [[nodiscard]] Bytes RecordOfItem(unsigned long time = 100) const {
    return RecordOf(GetParam().Bus, 1, ItemOf(GetParam().Bus, time));
  }

  ScriptedInterface Interface;
};

INSTANTIATE_TEST_SUITE_P(Bus, EveryChannel, testing::ValuesIn(kBuses),
                         [](const auto& instance) { return instance.param.Name; });

/// The channels whose items state their own size: all but CAN.
class EveryChannelOfSizedItems : public EveryChannel {};

INSTANTIATE_TEST_SUITE_P(Bus, EveryChannelOfSizedItems, testing::ValuesIn(std::begin(kBuses) + 1, std::end(kBuses)),
                         [](const auto& instance) { return instance.param.Name; });

}  // namespace

// ---- Construction

TEST_P(EveryChannel, OpensAConnectionAndConfiguresTheMonitor) {
  const auto channel = NewChannel(Interface);
  EXPECT_EQ(Qor_Sim_OpenConnections(), 1U);
  EXPECT_EQ(Interface.Commands(), (std::vector<Command>{GetParam().Configure}));
}

TEST_P(EveryChannel, KnowsItsPortItsBusAndItsLimit) {
  const auto channel = NewChannel(Interface);
  EXPECT_EQ(channel->GetUserPortHandle(), Interface.Port());
  EXPECT_EQ(channel->GetType(), GetParam().Bus);
  EXPECT_EQ(channel->GetMaxNumberOfItems(), GetParam().MaxNumberOfItems);
}

TEST_P(EveryChannel, ThatCannotBeMadeLeavesNoConnectionOpen) {
  for (const unsigned int call : {QOR_SIM_CALL_INTERFACE_INFO, QOR_SIM_CALL_OPEN, QOR_SIM_CALL_CONFIGURE}) {
    SCOPED_TRACE(call);
    Interface.Fail(call);
    EXPECT_EQ(CodeOf([&] { NewChannel(Interface); }), kHardwareError);
    EXPECT_EQ(TakeReports(), ReportOnPort(kHardwareError));
    EXPECT_EQ(Qor_Sim_OpenConnections(), 0U);
  }
}

// ---- Start and stop

TEST_P(EveryChannel, StartsPollsAndStops) {
  const auto channel = NewChannel(Interface);
  Collector().ListenTo(*channel);
  channel->Start();
  ASSERT_TRUE(WaitUntil([&] { return Interface.PollCount() > 0; }));
  channel->Stop();
  EXPECT_EQ(Interface.FirstPoll(), GetParam().Poll);
  EXPECT_EQ(Interface.Commands(), (std::vector<Command>{GetParam().Configure, GetParam().Start, GetParam().Stop}));
}

TEST_P(EveryChannel, DoesNotPollOnceItIsStopped) {
  const auto channel = NewChannel(Interface);
  for (unsigned int run = 1; run <= 2; ++run) {
    const unsigned int before = Interface.PollCount();
    channel->Start();
    ASSERT_TRUE(WaitUntil([&] { return Interface.PollCount() > before; }));
    channel->Stop();
    Qor_Sim_Command_t last;
    ASSERT_EQ(Qor_Sim_GetCommand(Interface.Port(), Qor_Sim_CommandCount(Interface.Port()) - 1, &last), 0U);
    EXPECT_EQ(Bytes(last.Request, last.Request + last.RequestLength), Interface.Commands().back().Request);
    EXPECT_EQ(Interface.StopCommands(), run);
  }
}

TEST_P(EveryChannel, SleepsTenMillisecondsBetweenPolls) {
  const unsigned int before = SleepCount(kPollInterval);
  const unsigned int others = SleepCount(kSortInterval) + OtherSleepCount();
  const auto channel = NewChannel(Interface);
  channel->Start();
  ASSERT_TRUE(WaitUntil([&] { return Interface.PollCount() >= 3; }));
  channel->Stop();
  EXPECT_EQ(SleepCount(kPollInterval) - before, Interface.PollCount());
  EXPECT_EQ(SleepCount(kSortInterval) + OtherSleepCount(), others);
}

TEST_P(EveryChannel, StopOnAChannelThatNeverStarted) {
  const auto channel = NewChannel(Interface);
  channel->Stop();
  EXPECT_EQ(Interface.StopCommands(), GetParam().StopsAlways ? 1U : 0U);
}

TEST_P(EveryChannel, StopTwice) {
  const auto channel = NewChannel(Interface);
  channel->Start();
  channel->Stop();
  channel->Stop();
  EXPECT_EQ(Interface.StopCommands(), GetParam().StopsAlways ? 2U : 1U);
}

TEST_P(EveryChannel, CanBeStartedAgain) {
  const auto channel = NewChannel(Interface);
  Collector received;
  received.ListenTo(*channel);
  for (size_t run = 1; run <= 3; ++run) {
    Interface.NextItems(OneItem());
    channel->Start();
    ASSERT_TRUE(received.WaitFor(run));
    channel->Stop();
  }
  EXPECT_EQ(received.Deliveries().size(), 3U);
}

TEST_P(EveryChannel, ThatCannotStartIsAsBefore) {
  const auto channel = NewChannel(Interface);
  Interface.Fail(QOR_SIM_CALL_START);
  EXPECT_EQ(CodeOf([&] { channel->Start(); }), kHardwareError);
  EXPECT_EQ(TakeReports(), ReportOnPort(kHardwareError));
  channel->Stop();
  EXPECT_EQ(Interface.StopCommands(), GetParam().StopsAlways ? 1U : 0U);
  EXPECT_EQ(Interface.PollCount(), 0U);
  channel->Start();
  EXPECT_TRUE(WaitUntil([&] { return Interface.PollCount() > 0; }));
}

TEST_P(EveryChannel, ThatCannotStopHasEndedItsThreadAndMayBeStoppedAgain) {
  const auto channel = NewChannel(Interface);
  channel->Start();
  Interface.Fail(QOR_SIM_CALL_STOP);
  EXPECT_EQ(CodeOf([&] { channel->Stop(); }), kHardwareError);
  EXPECT_EQ(TakeReports(), ReportOnPort(kHardwareError));
  const unsigned int polls = Interface.PollCount();
  channel->Stop();  // there is no thread any more, and the command goes out again
  EXPECT_EQ(Interface.StopCommands(), 2U);
  EXPECT_EQ(Interface.PollCount(), polls);
  EXPECT_TRUE(TakeReports().empty());
}

// ---- Destruction

TEST_P(EveryChannel, StopsAndClosesWhenItIsDestroyed) {
  auto channel = NewChannel(Interface);
  channel->Start();
  channel.reset();
  EXPECT_EQ(Interface.StopCommands(), 1U);
  EXPECT_EQ(Qor_Sim_OpenConnections(), 0U);
}

TEST_P(EveryChannel, SwallowsAFailingStopWhenItIsDestroyed) {
  auto channel = NewChannel(Interface);
  channel->Start();
  Interface.Fail(QOR_SIM_CALL_STOP);
  channel.reset();
  EXPECT_EQ(TakeReports(), ReportOnPort(kHardwareError));
  EXPECT_EQ(Qor_Sim_OpenConnections(), 0U);
}

// ---- The receive thread

TEST_P(EveryChannel, DeliversEachPollAsOneBatch) {
  Interface.NextItems(OneItem(100)).NextItems(OneItem(200));
  RunningChannel channel(Interface);
  const auto deliveries = channel.AllDeliveries();
  ASSERT_EQ(deliveries.size(), 2U);
  EXPECT_EQ(deliveries[0].Entries, (Items{RecordOfItem(100)}));
  EXPECT_EQ(deliveries[1].Entries, (Items{RecordOfItem(200)}));  // without those of the poll before
  EXPECT_EQ(deliveries[1].Latest.size(), GetParam().Bus == BusType_Ethernet ? 0U : 1U);
}

TEST_P(EveryChannel, OrdersABatchByTimeAndKeepsTheOrderOfEqualTimes) {
  const auto bus = GetParam().Bus;
  Items items;
  for (const unsigned long time : {300UL, 100UL, 200UL, 100UL, 300UL}) {
    Bytes item = ItemOf(bus, time);
    item.back() = static_cast<unsigned char>(items.size());  // tells them apart
    items.push_back(item);
  }
  Interface.NextItems(items);
  RunningChannel channel(Interface);
  EXPECT_EQ(channel.OnlyDelivery().Entries,
            (Items{RecordOf(bus, 1, items[1]), RecordOf(bus, 1, items[3]), RecordOf(bus, 1, items[2]),
                   RecordOf(bus, 1, items[0]), RecordOf(bus, 1, items[4])}));
}

TEST_P(EveryChannel, DeliversNothingForAnEmptyResponse) {
  Interface.NextItems({}).NextResponse({}).NextItems({}).NextItems(OneItem());
  RunningChannel channel(Interface);
  EXPECT_EQ(channel.OnlyDelivery().Entries, (Items{RecordOfItem()}));
}

TEST_P(EveryChannel, WritesItsNumberIntoEveryEntry) {
  Interface.NextItems(OneItem());
  const auto channel = NewChannel(Interface, 0xFFFFFFFF);
  Collector received;
  received.ListenTo(*channel);
  channel->Start();
  ASSERT_TRUE(received.WaitFor(1));
  channel->Stop();
  const auto delivery = received.Deliveries().front();
  EXPECT_EQ(delivery.Entries, (Items{RecordOf(GetParam().Bus, 0xFFFFFFFF, ItemOf(GetParam().Bus))}));
  for (const auto& [key, entry] : delivery.Latest) EXPECT_EQ(key.first, 0xFFFFFFFFU);
}

TEST_P(EveryChannel, EndsItsThreadSilentlyWhenAPollFails) {
  const auto channel = NewChannel(Interface);
  channel->Start();
  Interface.ThenFailOnce();
  ASSERT_TRUE(WaitUntil([&] { return Interface.LastPollFailed(); }));
  const unsigned int polls = Interface.PollCount();
  channel->Stop();
  EXPECT_EQ(Interface.PollCount(), polls);
  EXPECT_EQ(Interface.StopCommands(), 1U);
  EXPECT_TRUE(TakeReports().empty());
  channel->Start();  // and it may run again
  EXPECT_TRUE(WaitUntil([&] { return Interface.PollCount() > polls; }));
}

TEST_P(EveryChannel, EndsItsThreadWhenTheBatchCannotBeTaken) {
  const auto channel = NewChannel(Interface);
  channel->ConnectReceiveCallback(
      [](EntryBatch&, LatestByKey&) { throw Qor_Trace_Exception(255, QOR_TRACE_STATUS_FILE_ERROR, "full"); });
  Interface.NextItems(OneItem(1)).NextItems(OneItem(2));
  channel->Start();
  ASSERT_TRUE(WaitUntil([&] { return Qor_Sim_ReportCount() > 0; }));
  channel->Stop();
  EXPECT_EQ(Interface.Pending(), 1U);  // the second batch was never polled
  EXPECT_EQ(Interface.StopCommands(), 1U);
  EXPECT_EQ(TakeReports(), (std::vector<Report>{{255, QOR_TRACE_STATUS_FILE_ERROR, "full"}}));
}

TEST_P(EveryChannel, DeliversEachEntryOnce) {
  Interface.NextItems(OneItem(1)).NextItems(OneItem(2));
  RunningChannel channel(Interface);
  const auto deliveries = channel.AllDeliveries();
  ASSERT_EQ(deliveries.size(), 2U);
  for (const auto& delivery : deliveries) {
    EXPECT_EQ(delivery.Entries.size(), 1U);
    EXPECT_LE(delivery.Latest.size(), 1U);
  }
}

// ---- Responses that lie. The entries may be malformed; AddressSanitizer checks that nothing is read outside.

TEST_P(EveryChannel, SurvivesRandomBytes) {
  std::mt19937 random(20240607);
  std::uniform_int_distribution<unsigned int> byte(0, 255);
  std::uniform_int_distribution<size_t> sizes(0, 65535);
  RunningChannel channel(Interface);
  for (int round = 0; round < 60; ++round) {
    Bytes response(round % 2 == 0 ? sizes(random) : sizes(random) % 300);
    std::generate(response.begin(), response.end(), [&] { return static_cast<unsigned char>(byte(random)); });
    Interface.NextResponse(response);
  }
  for (const auto& delivery : channel.AllDeliveries()) {
    for (const Bytes& record : delivery.Entries) ASSERT_EQ(ReadAt<unsigned int>(record, 0), record.size());
  }
}

TEST_P(EveryChannel, SurvivesAResponseOfNothingButOnes) {
  Interface.NextResponse(Bytes(65535, 0xFF));
  RunningChannel channel(Interface);
  EXPECT_FALSE(channel.OnlyDelivery().Entries.empty());
}

TEST_P(EveryChannel, SurvivesALengthBeyondItsBuffer) {
  Interface.NextResponse(Response(GetParam().Bus, OneItem()), 0xFFFFFFFF);
  RunningChannel channel(Interface);
  const auto entries = channel.OnlyDelivery().Entries;
  EXPECT_NE(std::find(entries.begin(), entries.end(), RecordOfItem()), entries.end());
}

TEST_P(EveryChannel, TakesAnItemThatRunsPastTheEndOfTheBuffer) {
  // One item from the first place for one on to a byte before the end of the buffer, then one that begins there.
  const auto bus = GetParam().Bus;
  Bytes response(65535);
  if (bus == BusType_Can) {
    for (size_t offset = 4; offset < response.size(); offset += 16) response[std::min(offset + 15, size_t{65534})] = 0;
    response[65524 + 10] = 0x77;  // the last byte of the buffer lies in the last item
  } else {
    PutAt(response, 4, static_cast<unsigned short>(2));
    PutAt(response, 8, static_cast<unsigned short>(65534 - 8 - (bus == BusType_FlexRay ? 2 : 0)));
    PutAt(response, bus == BusType_FlexRay ? 65532 : 65533, static_cast<unsigned short>(0xFFFF));
    if (bus == BusType_FlexRay) response[65533] = 0xFF;
    response[65534] = 0xFF;
  }
  Interface.NextResponse(response);
  RunningChannel channel(Interface);
  const auto entries = channel.OnlyDelivery().Entries;
  EXPECT_EQ(entries.size(), bus == BusType_Can ? 4096U : 2U);
  for (const Bytes& record : entries) EXPECT_EQ(ReadAt<unsigned int>(record, 0), record.size());
}

TEST_P(EveryChannelOfSizedItems, EndTheWalkAtAnItemWithoutASize) {
  Bytes item = ItemOf(GetParam().Bus);
  Bytes nothing = item;
  PutAt(nothing, 0, static_cast<unsigned short>(0));
  Interface.NextItems({item, nothing, item}).NextItems({nothing, item}).NextItems({item});
  RunningChannel channel(Interface);
  const auto deliveries = channel.AllDeliveries();
  ASSERT_EQ(deliveries.size(), 2U);  // the second poll brought none
  EXPECT_EQ(deliveries[0].Entries, (Items{RecordOfItem()}));
  EXPECT_EQ(deliveries[1].Entries, (Items{RecordOfItem()}));
}

TEST_P(EveryChannelOfSizedItems, TakeTheSmallestItems) {
  // 0x01 0x00 again and again: items that say they are one byte long.
  Bytes response(65535, 1);
  for (size_t i = 9; i < response.size(); i += 4) response[i] = 0;
  PutAt(response, 4, static_cast<unsigned short>(0xFFFF));
  Interface.NextResponse(response);
  RunningChannel channel(Interface);
  EXPECT_FALSE(channel.OnlyDelivery().Entries.empty());
}
