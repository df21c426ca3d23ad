// Monitors and their channels: numbers, ports, limits, birth and death.
#include <gtest/gtest.h>

#include <ctime>
#include <filesystem>

#include "monitor/MonitorTest.h"

using namespace test;

namespace {

class Registry : public MonitorTest {};

/// The stem of a monitor that is built now.
std::string StemOfNow() {
  const std::time_t now = std::time(nullptr);
  char text[40];
  std::strftime(text, sizeof text, "Qor_Trace_%y-%m-%d-%H-%M-%S", std::localtime(&now));
  return text;
}

}  // namespace

// ---- Birth

TEST_F(Registry, HandlesCountOnAndAreNeverReused) {
  const unsigned int first = Monitor->GetHandle();
  EXPECT_EQ(Qor_Trace_Monitor().GetHandle(), first + 1);
  EXPECT_EQ(Qor_Trace_Monitor().GetHandle(), first + 2);
}

TEST_F(Registry, FilesAreNamedByTheSecondOfBirth) {
  const std::string before = StemOfNow();
  Qor_Trace_Monitor monitor;
  const std::string after = StemOfNow();
  const std::string asc = Text(monitor, QOR_TRACE_PROPERTY_ASC_FILE_NAME);
  EXPECT_GE(asc, before + ".asc");
  EXPECT_LE(asc, after + ".asc");
  EXPECT_EQ(Text(monitor, QOR_TRACE_PROPERTY_MDF_FILE_NAME), asc.substr(0, asc.size() - 4) + ".mf4");
}

TEST_F(Registry, NewMonitorTouchesNoFile) { EXPECT_TRUE(std::filesystem::is_empty(".")); }

// ---- Numbers

TEST_F(Registry, GivesTheLowestFreeNumber) {
  ScriptedInterface ports[5];
  EXPECT_EQ(Add(*Monitor, ports[0]), 1U);
  EXPECT_EQ(Add(*Monitor, ports[1], 3), 3U);
  EXPECT_EQ(Add(*Monitor, ports[2]), 2U);
  EXPECT_EQ(Add(*Monitor, ports[3]), 4U);
  Monitor->RemoveChannel(1);
  EXPECT_EQ(Add(*Monitor, ports[4]), 1U);
}

TEST_F(Registry, TakesTheNumberThatIsWanted) {
  ScriptedInterface first, second;
  EXPECT_EQ(Add(*Monitor, first, 7), 7U);
  EXPECT_EQ(Add(*Monitor, second, 0xFFFFFFFF), 0xFFFFFFFFU);
}

TEST_F(Registry, RefusesANumberThatIsTaken) {
  ScriptedInterface first, second;
  Add(*Monitor, first, 7);
  unsigned int number = 99;
  EXPECT_EQ(CodeOf([&] { Monitor->AddChannel(second.Port(), 7, &number); }), QOR_TRACE_STATUS_INVALID_VALUE);
  EXPECT_EQ(number, 99U);
  EXPECT_EQ(TakeReports(),
            (std::vector<Report>{{second.Port(), QOR_TRACE_STATUS_INVALID_VALUE, "channel id 7 already used"}}));
  EXPECT_FALSE(Monitor->IsPortHandleUsed(second.Port()));
  EXPECT_EQ(second.Commands().size(), 0U);
}

TEST_F(Registry, NumbersAreThoseOfTheEntries) {
  ScriptedInterface can;
  Add(*Monitor, can, 0x12345678);
  can.NextItems(FramesFrom(1, 1));
  Monitor->Start(0);
  ASSERT_TRUE(can.WaitUntilDelivered());
  EXPECT_EQ(GetItems(*Monitor).Records(), RecordsOf(0x12345678, FramesFrom(1, 1)));
}

// ---- Ports

TEST_F(Registry, KnowsWhichPortsAreUsed) {
  ScriptedInterface first, second, third;
  Add(*Monitor, first);
  Add(*Monitor, second);
  EXPECT_TRUE(Monitor->IsPortHandleUsed(first.Port()));
  EXPECT_TRUE(Monitor->IsPortHandleUsed(second.Port()));
  EXPECT_FALSE(Monitor->IsPortHandleUsed(third.Port()));
  Monitor->RemoveChannel(1);
  EXPECT_FALSE(Monitor->IsPortHandleUsed(first.Port()));
  EXPECT_TRUE(Monitor->IsPortHandleUsed(second.Port()));
}

TEST_F(Registry, RefusesInterfacesOfOtherTypes) {
  for (const unsigned int type : {1U, 2U, 3U, 6U, 7U, 8U, 10U, 13U, 15U, 255U}) {
    SCOPED_TRACE(type);
    ScriptedInterface other("script?type=" + std::to_string(type));
    EXPECT_EQ(CodeOf([&] { Add(*Monitor, other); }), QOR_TRACE_STATUS_UNSUPPORTED_INTERFACE);
    EXPECT_EQ(TakeReports(), (std::vector<Report>{{other.Port(), QOR_TRACE_STATUS_UNSUPPORTED_INTERFACE, ""}}));
    EXPECT_FALSE(Monitor->IsPortHandleUsed(other.Port()));
    EXPECT_EQ(Qor_Sim_OpenConnections(), 0U);
  }
  EXPECT_EQ(CodeOf([&] { Monitor->Start(0); }), QOR_TRACE_STATUS_NO_CHANNEL);  // no channel was left over
}

TEST_F(Registry, FailedChannelLeavesEverythingAsBefore) {
  for (const unsigned int call : {QOR_SIM_CALL_INTERFACE_INFO, QOR_SIM_CALL_OPEN, QOR_SIM_CALL_CONFIGURE}) {
    SCOPED_TRACE(call);
    ScriptedInterface can;
    can.Fail(call);
    EXPECT_EQ(CodeOf([&] { Add(*Monitor, can); }), kHardwareError);
    EXPECT_EQ(TakeReports(), (std::vector<Report>{{can.Port(), kHardwareError, ""}}));
    EXPECT_FALSE(Monitor->IsPortHandleUsed(can.Port()));
    EXPECT_EQ(Number(*Monitor, QOR_TRACE_PROPERTY_MAX_ENTRIES), 0U);
    EXPECT_EQ(Add(*Monitor, can), 1U);
    Monitor->RemoveChannel(1);
    SetNumber(*Monitor, QOR_TRACE_PROPERTY_MAX_ENTRIES, 0);
  }
}

TEST_F(Registry, IgnoresTheRemovalOfAChannelThatIsNotThere) {
  ScriptedInterface can;
  Monitor->RemoveChannel(99);
  Add(*Monitor, can);
  Monitor->RemoveChannel(99);
  EXPECT_TRUE(Monitor->IsPortHandleUsed(can.Port()));
  EXPECT_TRUE(TakeReports().empty());
}

TEST_F(Registry, ClearedListHasNoChannel) {
  ScriptedInterface first, second(BusType_Lin);
  Add(*Monitor, first);
  Add(*Monitor, second);
  Monitor->ClearChannelList();
  EXPECT_FALSE(Monitor->IsPortHandleUsed(first.Port()));
  EXPECT_FALSE(Monitor->IsPortHandleUsed(second.Port()));
  EXPECT_EQ(Qor_Sim_OpenConnections(), 0U);
  EXPECT_EQ(Add(*Monitor, second), 1U);
}

// ---- The memory limit

TEST_F(Registry, MemoryLimitIsTheSmallestOfTheChannels) {
  struct {
    Qor_Trace_BusType First, Second;
    unsigned int AfterFirst, AfterSecond;
  } constexpr kCases[] = {{BusType_Can, BusType_Ethernet, 9000000, 500000},
                          {BusType_Ethernet, BusType_Can, 500000, 500000},
                          {BusType_Lin, BusType_FlexRay, 9000000, 3000000},
                          {BusType_FlexRay, BusType_Lin, 3000000, 3000000}};
  for (const auto& c : kCases) {
    SCOPED_TRACE(testing::Message() << c.First << " then " << c.Second);
    Qor_Trace_Monitor monitor;
    ScriptedInterface first(c.First), second(c.Second);
    EXPECT_EQ(Number(monitor, QOR_TRACE_PROPERTY_MAX_ENTRIES), 0U);
    Add(monitor, first);
    EXPECT_EQ(Number(monitor, QOR_TRACE_PROPERTY_MAX_ENTRIES), c.AfterFirst);
    Add(monitor, second);
    EXPECT_EQ(Number(monitor, QOR_TRACE_PROPERTY_MAX_ENTRIES), c.AfterSecond);
    monitor.ClearChannelList();
    EXPECT_EQ(Number(monitor, QOR_TRACE_PROPERTY_MAX_ENTRIES), c.AfterSecond);  // nothing raises it again
  }
}

TEST_F(Registry, LowerMemoryLimitOfTheClientStays) {
  SetNumber(*Monitor, QOR_TRACE_PROPERTY_MAX_ENTRIES, 200);
  ScriptedInterface can;
  Add(*Monitor, can);
  EXPECT_EQ(Number(*Monitor, QOR_TRACE_PROPERTY_MAX_ENTRIES), 200U);
}

// ---- While it runs

TEST_F(Registry, RemovedChannelIsStopped) {
  ScriptedInterface can;
  Add(*Monitor, can);
  Monitor->Start(0);
  Monitor->RemoveChannel(1);
  EXPECT_EQ(can.StopCommands(), 1U);
  EXPECT_EQ(Qor_Sim_OpenConnections(), 0U);
  Monitor->Stop();
}

TEST_F(Registry, ClearedListIsStopped) {
  ScriptedInterface can, lin(BusType_Lin);
  Add(*Monitor, can);
  Add(*Monitor, lin);
  Monitor->Start(0);
  Monitor->ClearChannelList();
  EXPECT_EQ(can.StopCommands(), 1U);
  EXPECT_EQ(lin.StopCommands(), 1U);
  Monitor->Stop();
}

TEST_F(Registry, ChannelThatIsAddedToARunTakesPartInTheNextOne) {
  ScriptedInterface first, second;
  Add(*Monitor, first);
  Monitor->Start(0);
  Add(*Monitor, second);
  first.NextItems(FramesFrom(1, 3));
  second.NextItems(FramesFrom(11, 3));
  ASSERT_TRUE(first.WaitUntilDelivered());
  EXPECT_EQ(GetItems(*Monitor).Records(), RecordsOf(1, FramesFrom(1, 3)));  // and the run goes on as it began
  EXPECT_EQ(second.Pending(), 1U);
  Monitor->Stop();
  Monitor->Start(0);
  ASSERT_TRUE(second.WaitUntilDelivered());
  Monitor->Stop();
  Items all = RecordsOf(1, FramesFrom(1, 3));
  for (const auto& record : RecordsOf(2, FramesFrom(11, 3))) all.push_back(record);
  EXPECT_EQ(GetItems(*Monitor).Records(), all);
}

TEST_F(Registry, RunGoesOnWithoutARemovedChannel) {
  ScriptedInterface first, second;
  Add(*Monitor, first);
  Add(*Monitor, second);
  Monitor->Start(0);
  Monitor->RemoveChannel(2);
  first.NextItems(FramesFrom(1, 3));
  ASSERT_TRUE(first.WaitUntilDelivered());
  Monitor->Stop();
  EXPECT_EQ(GetItems(*Monitor).Records(), RecordsOf(1, FramesFrom(1, 3)));
}

// ---- Death

TEST_F(Registry, DestroyedMonitorStopsAndDeletesItsSwapFile) {
  ScriptedInterface can, flexRay(BusType_FlexRay);
  Add(*Monitor, can);
  Add(*Monitor, flexRay);
  Monitor->FlushMonitorBuffer();
  EXPECT_TRUE(std::filesystem::exists(SwapName()));
  Monitor->Start(0);
  Monitor.reset();
  EXPECT_EQ(can.StopCommands(), 1U);
  EXPECT_GE(flexRay.StopCommands(), 1U);
  EXPECT_EQ(Qor_Sim_OpenConnections(), 0U);
  EXPECT_TRUE(std::filesystem::is_empty("."));
}

TEST_F(Registry, DestructionSwallowsErrors) {
  ScriptedInterface can;
  Add(*Monitor, can);
  Monitor->Start(0);
  can.Fail(QOR_SIM_CALL_STOP, kHardwareError, 2);
  std::filesystem::create_directory(SwapName());  // can't be truncated
  Monitor.reset();
  const auto reports = TakeReports();
  ASSERT_GE(reports.size(), 2U);
  EXPECT_EQ(reports.front(), (Report{can.Port(), kHardwareError, ""}));
  EXPECT_EQ(reports.back().Code, QOR_TRACE_STATUS_FILE_ERROR);
}
