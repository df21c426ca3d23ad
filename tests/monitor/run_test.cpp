// The acquisition run: start, stop, the receive handler, the sort thread, the live recording.
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <thread>

#include "monitor/MonitorTest.h"
#include "support/FileSizeLimit.h"
#include "support/Sleeps.h"

using namespace test;

namespace {

constexpr unsigned long kStep = 50'000'000;  // ns by which the sort thread advances a pass
// Passes held up for this long are more than 200 ms late, which the sort thread makes up for.
constexpr std::chrono::milliseconds kHoldUp{300};

class OneChannel : public OneChannelTest {};

/// Two CAN interfaces, channels 1 and 2, whose entries pass the sort stage. The sort thread stands still until Tick
/// is called.
class TwoChannels : public MonitorTest {
 protected:
  TwoChannels() {
    Add(*Monitor, First);
    Add(*Monitor, Second);
  }
  ~TwoChannels() override {
    Clock.Release();
    Monitor.reset();
  }

  /// Puts items of one interface into the sort queue.
  static void Deliver(ScriptedInterface& interface, const Items& items) {
    interface.NextItems(items);
    ASSERT_TRUE(interface.WaitUntilDelivered());
  }
  void Stop() {
    Clock.Release();
    Monitor->Stop();
  }
  [[nodiscard]] std::vector<unsigned long> StoredTimes() {
    std::vector<unsigned long> times;
    for (const Bytes& record : GetItems(*Monitor).Records()) times.push_back(ReadAt<unsigned long>(record, 8));
    return times;
  }
  [[nodiscard]] std::vector<unsigned int> StoredChannels() {
    std::vector<unsigned int> channels;
    for (const Bytes& record : GetItems(*Monitor).Records()) channels.push_back(ReadAt<unsigned int>(record, 4));
    return channels;
  }

  SortClock Clock;
  ScriptedInterface First, Second;
};

using Times = std::vector<unsigned long>;

Items FramesAt(const Times& times) {
  Items items;
  for (const unsigned long time : times) items.push_back(Frame(0x100).At(time));
  return items;
}

/// Identifiers of the frame lines of an ASC file, hexadecimal as they stand.
std::vector<std::string> AscIdentifiers(const std::string& text) {
  std::vector<std::string> identifiers;
  for (size_t at = text.find(" Rx "); at != std::string::npos; at = text.find(" Rx ", at + 1)) {
    identifiers.push_back(text.substr(at + 4, text.find(' ', at + 4) - at - 4));
  }
  return identifiers;
}

}  // namespace

// ---- One channel

TEST_F(OneChannel, StoresInTheOrderOfDeliveryWithoutASortThread) {
  const unsigned int sorts = SleepCount(kSortInterval);
  Monitor->Start(0);
  Deliver(FramesFrom(1000, 3));
  Deliver(FramesFrom(500, 3));  // earlier, but later delivered
  Monitor->Stop();
  Items expected = RecordsOf(1, FramesFrom(1000, 3));
  for (const auto& record : RecordsOf(1, FramesFrom(500, 3))) expected.push_back(record);
  EXPECT_EQ(GetItems(*Monitor).Records(), expected);
  EXPECT_EQ(SleepCount(kSortInterval), sorts);
}

TEST_F(OneChannel, StoresEachPollInTheOrderOfTime) {
  const Items items = FramesFrom(1, 5);
  Record({items[3], items[1], items[4], items[0], items[2]});
  EXPECT_EQ(GetItems(*Monitor).Records(), RecordsOf(1, items));
}

TEST_F(OneChannel, StoresEveryBus) {
  struct {
    Qor_Trace_BusType Bus;
    Bytes Item;
  } const kItems[] = {{BusType_Lin, LinFrame(1).At(1).Data({1, 2})},
                      {BusType_FlexRay, FlexRayFrame(1).At(1).Data({1, 2})},
                      {BusType_Ethernet, EthernetFrame(Counting(60)).At(1)}};
  for (const auto& [bus, item] : kItems) {
    SCOPED_TRACE(bus);
    Qor_Trace_Monitor monitor;
    ScriptedInterface interface(bus);
    Add(monitor, interface);
    interface.NextItems({item});
    monitor.Start(0);
    ASSERT_TRUE(interface.WaitUntilDelivered());
    monitor.Stop();
    EXPECT_EQ(GetItems(monitor).Records(), RecordsOf(1, {item}, bus));
    EXPECT_EQ(ListCount(monitor), bus == BusType_Ethernet ? 0U : 1U);
  }
}

TEST_F(OneChannel, SecondRunAppendsToTheFirst) {
  Record(FramesFrom(1, 2));
  Record(FramesFrom(11, 2));
  Items expected = RecordsOf(1, FramesFrom(1, 2));
  for (const auto& record : RecordsOf(1, FramesFrom(11, 2))) expected.push_back(record);
  EXPECT_EQ(GetItems(*Monitor).Records(), expected);
  EXPECT_EQ(ListCount(*Monitor), 4U);
}

// ---- Start

TEST_F(TwoChannels, StartInAscendingOrderOfTheirNumbers) {
  // The second one fails, so that the first has been started when the exception leaves.
  Second.Fail(QOR_SIM_CALL_START);
  EXPECT_EQ(CodeOf([&] { Monitor->Start(0); }), kHardwareError);
  EXPECT_EQ(TakeReports(), (std::vector<Report>{{Second.Port(), kHardwareError, ""}}));
  EXPECT_TRUE(WaitUntil([&] { return First.PollCount() > 0; }));
  EXPECT_EQ(Second.PollCount(), 0U);
  Monitor->Start(0);  // it counts as running: nothing happens
  EXPECT_EQ(Second.Commands().size(), 2U);
  Stop();
  EXPECT_EQ(First.StopCommands(), 1U);
  EXPECT_EQ(Second.StopCommands(), 0U);
  Monitor->Start(0);
  EXPECT_TRUE(WaitUntil([&] { return Second.PollCount() > 0; }));
}

TEST_F(TwoChannels, LaterOnesDoNotStartWhenAnEarlierOneFails) {
  First.Fail(QOR_SIM_CALL_START);
  EXPECT_EQ(CodeOf([&] { Monitor->Start(0); }), kHardwareError);
  Stop();
  EXPECT_EQ(Second.Commands().size(), 1U);  // configured, no more
}

TEST_F(OneChannel, StartWithoutChannelsIsRefused) {
  Qor_Trace_Monitor empty;
  EXPECT_EQ(CodeOf([&] { empty.Start(1); }), QOR_TRACE_STATUS_NO_CHANNEL);
  EXPECT_EQ(TakeReports(), (std::vector<Report>{{255, QOR_TRACE_STATUS_NO_CHANNEL, "no bus interfaces selected"}}));
  EXPECT_TRUE(std::filesystem::is_empty("."));
  ScriptedInterface can;
  Add(empty, can);
  empty.Start(0);  // nothing had changed: it starts
  EXPECT_TRUE(WaitUntil([&] { return can.PollCount() > 0; }));
}

TEST_F(OneChannel, SecondStartHasNoEffectWhateverItsMode) {
  Monitor->Start(0);
  Monitor->Start(QOR_TRACE_START_ASC_RECORDING | QOR_TRACE_START_DISCARD_OLDEST);
  SetNumber(*Monitor, QOR_TRACE_PROPERTY_MAX_ENTRIES, 4);
  Deliver(FramesFrom(1, 4));
  Monitor->Stop();
  EXPECT_EQ(EntryCount(*Monitor), 4U);  // swapped, not halved
  EXPECT_FALSE(std::filesystem::exists(Stem() + ".asc"));
  EXPECT_EQ(Can.Commands().size(), 3U);
}

TEST_F(OneChannel, ReservedModeBitIsIgnored) {
  Record(FramesFrom(1, 1), QOR_TRACE_START_RESERVED);
  EXPECT_EQ(EntryCount(*Monitor), 1U);
  EXPECT_TRUE(std::filesystem::is_empty("."));
}

TEST_F(OneChannel, DiscardOldestIsForgottenAtStop) {
  SetNumber(*Monitor, QOR_TRACE_PROPERTY_MAX_ENTRIES, 4);
  Record(FramesFrom(1, 4), QOR_TRACE_START_DISCARD_OLDEST);
  EXPECT_EQ(EntryCount(*Monitor), 2U);
  Record(FramesFrom(11, 4));
  EXPECT_EQ(EntryCount(*Monitor), 6U);
  EXPECT_TRUE(std::filesystem::exists(SwapName()));
}

// ---- Stop

TEST_F(OneChannel, StopOfAMonitorThatDoesNotRunStopsItsChannelsAgain) {
  ScriptedInterface flexRay(BusType_FlexRay);
  Add(*Monitor, flexRay);
  Monitor->Stop();
  Monitor->Stop();
  EXPECT_EQ(flexRay.StopCommands(), 2U);
  EXPECT_EQ(Can.StopCommands(), 0U);
}

TEST_F(TwoChannels, AreAllStoppedAndTheLastErrorIsTold) {
  ScriptedInterface third;
  Add(*Monitor, third);
  Monitor->Start(0);
  First.Fail(QOR_SIM_CALL_STOP, kHardwareError);
  Second.Fail(QOR_SIM_CALL_STOP, kHardwareError + 1);
  Clock.Release();
  EXPECT_EQ(CodeOf([&] { Monitor->Stop(); }), kHardwareError + 1);
  EXPECT_EQ(TakeReports(), (std::vector<Report>{{First.Port(), kHardwareError, ""},
                                                {Second.Port(), kHardwareError + 1, ""}}));  // each once
  EXPECT_EQ(third.StopCommands(), 1U);
  Monitor->Stop();  // again: now it can
  EXPECT_EQ(First.StopCommands(), 2U);
  EXPECT_EQ(Second.StopCommands(), 2U);
  EXPECT_EQ(third.StopCommands(), 1U);
  EXPECT_TRUE(TakeReports().empty());
}

TEST_F(OneChannel, ThatCouldNotBeStoppedMayRunAgain) {
  Monitor->Start(0);
  Can.Fail(QOR_SIM_CALL_STOP);
  EXPECT_EQ(CodeOf([&] { Monitor->Stop(); }), kHardwareError);
  Monitor->Stop();
  Record(FramesFrom(1, 1));
  EXPECT_EQ(EntryCount(*Monitor), 1U);
}

TEST_F(OneChannel, StopJoinsAThreadThatAPollErrorHasEnded) {
  Monitor->Start(0);
  Deliver(FramesFrom(1, 2));
  Can.ThenFailOnce();
  ASSERT_TRUE(WaitUntil([&] { return Can.LastPollFailed(); }));
  Monitor->Stop();
  EXPECT_EQ(Can.StopCommands(), 1U);
  EXPECT_EQ(EntryCount(*Monitor), 2U);
  EXPECT_TRUE(TakeReports().empty());
}

// ---- Sorting

TEST_F(TwoChannels, EntriesAreStoredNoEarlierThanTwoIntervalsAfterTheyAreQueued) {
  Monitor->Start(0);
  Clock.Tick();  // nothing is queued: nothing begins
  Deliver(First, FramesAt({1000}));
  Clock.Tick();
  EXPECT_EQ(EntryCount(*Monitor), 0U);
  Clock.Tick();
  EXPECT_EQ(EntryCount(*Monitor), 1U);
  Stop();
}

TEST_F(TwoChannels, AreMergedByTime) {
  Monitor->Start(0);
  Deliver(First, FramesAt({1000, 3000}));
  Deliver(Second, FramesAt({990, 2000, 4000}));  // 10 ns before one that is queued already
  Clock.Tick();
  Clock.Tick();
  EXPECT_EQ(StoredTimes(), (Times{990, 1000, 2000, 3000, 4000}));
  EXPECT_EQ(StoredChannels(), (std::vector<unsigned int>{2, 1, 2, 1, 2}));
  Stop();
}

TEST_F(TwoChannels, KeepTheOrderOfArrivalForEqualTimes) {
  Monitor->Start(0);
  Deliver(Second, FramesAt({1000, 1000}));
  Deliver(First, FramesAt({1000}));
  Deliver(Second, FramesAt({1000}));
  Clock.Tick();
  Clock.Tick();
  EXPECT_EQ(StoredChannels(), (std::vector<unsigned int>{2, 2, 1, 2}));
  Stop();
}

TEST_F(TwoChannels, AreMergedByTimeEvenWhereAChannelGoesBack) {
  Monitor->Start(0);
  Deliver(First, FramesAt({3000, 5000}));
  Deliver(First, FramesAt({1000, 2000, 3000}));
  Deliver(Second, FramesAt({1500, 4000}));
  Deliver(First, FramesAt({500, 6000}));
  Clock.Tick();
  Clock.Tick();
  EXPECT_EQ(StoredTimes(), (Times{500, 1000, 1500, 2000, 3000, 3000, 4000, 5000, 6000}));
  Stop();
}

TEST_F(TwoChannels, AreMergedByTimeWithinAPollToo) {
  Monitor->Start(0);
  Deliver(First, FramesAt({3000, 1000, 2000}));
  Deliver(Second, FramesAt({2500, 500}));
  Clock.Tick();
  Clock.Tick();
  EXPECT_EQ(StoredTimes(), (Times{500, 1000, 2000, 2500, 3000}));
  Stop();
}

TEST_F(TwoChannels, HorizonAdvancesByOneIntervalAPass) {
  Monitor->Start(0);
  Deliver(First, FramesAt({1000, 1000 + kStep, 1001 + kStep, 1000 + 2 * kStep, 1001 + 3 * kStep}));
  Clock.Tick();
  EXPECT_EQ(StoredTimes(), (Times{}));
  Clock.Tick();
  EXPECT_EQ(StoredTimes(), (Times{1000, 1000 + kStep}));
  Clock.Tick();
  EXPECT_EQ(StoredTimes(), (Times{1000, 1000 + kStep, 1001 + kStep, 1000 + 2 * kStep}));
  Clock.Tick();
  EXPECT_EQ(EntryCount(*Monitor), 4U);
  Clock.Tick();
  EXPECT_EQ(EntryCount(*Monitor), 5U);
  Stop();
}

TEST_F(TwoChannels, PassesThatAreLateCatchUpWithTheEntriesInShortSleeps) {
  Monitor->Start(0);
  Deliver(First, FramesAt({1000, 1000 + 6 * kStep}));
  Clock.Tick();
  const unsigned int before = SleepCount(kLateInterval);
  std::this_thread::sleep_for(kHoldUp);
  Clock.Tick();
  EXPECT_EQ(SleepCount(kLateInterval), before + 1);  // 250 ms behind the newest entry
  Clock.Tick();
  EXPECT_EQ(SleepCount(kLateInterval), before + 1);  // 200 ms
  EXPECT_EQ(StoredTimes(), (Times{1000}));           // passes are as long as ever
  Stop();
}

TEST_F(TwoChannels, PassesThatAreLateDoNotOvertakeTheEntries) {
  Monitor->Start(0);
  Deliver(First, FramesAt({1000, 1000 + 5 * kStep}));
  Clock.Tick();
  const unsigned int before = SleepCount(kLateInterval);
  std::this_thread::sleep_for(kHoldUp);
  Clock.Tick();
  Clock.Tick();
  EXPECT_EQ(SleepCount(kLateInterval), before);
  Stop();
}

TEST_F(TwoChannels, EntryThatComesTooLateIsStoredBehindThoseBeforeIt) {
  Monitor->Start(0);
  Deliver(First, FramesAt({1000, 2000}));
  Clock.Tick();
  Clock.Tick();
  Deliver(Second, FramesAt({1500}));
  Clock.Tick();
  EXPECT_EQ(StoredTimes(), (Times{1000, 2000, 1500}));
  Stop();
}

TEST_F(TwoChannels, EntryAtTimeZeroDoesNotStallTheOthers) {
  Monitor->Start(0);
  Deliver(First, FramesAt({0, 5}));
  Clock.Tick();
  Clock.Tick();
  EXPECT_EQ(StoredTimes(), (Times{0, 5}));
  Stop();
}

TEST_F(TwoChannels, EntriesAtTheEndOfTimeAreStored) {
  constexpr unsigned long kEnd = 0xFFFFFFFFFFFFFFFF;
  Monitor->Start(0);
  Deliver(First, FramesAt({kEnd - 5, kEnd}));
  Clock.Tick();
  Clock.Tick();
  EXPECT_EQ(StoredTimes(), (Times{kEnd - 5, kEnd}));
  Clock.Tick();
  Deliver(Second, FramesAt({kEnd - 1}));
  Clock.Tick();
  EXPECT_EQ(EntryCount(*Monitor), 3U);
  Stop();
}

TEST_F(TwoChannels, EntriesStillQueuedAtStopAreStoredInOrder) {
  Monitor->Start(0);
  Deliver(First, FramesAt({1000, 1000 + 100 * kStep, 1000 + 300 * kStep}));
  Deliver(Second, FramesAt({1000 + 200 * kStep}));
  Stop();
  EXPECT_EQ(StoredTimes(), (Times{1000, 1000 + 100 * kStep, 1000 + 200 * kStep, 1000 + 300 * kStep}));
}

TEST_F(TwoChannels, LeftOversPassTheMemoryGuard) {
  SetNumber(*Monitor, QOR_TRACE_PROPERTY_MAX_ENTRIES, 3);
  Monitor->Start(0);
  Deliver(First, FramesFrom(1, 3));
  Stop();
  EXPECT_EQ(FileBytes(SwapName()).size(), 3 * 45U);
  EXPECT_EQ(GetItems(*Monitor).Records(), RecordsOf(1, FramesFrom(1, 3)));
}

TEST_F(TwoChannels, FailingSwapOfTheLeftOversIsTheStatusOfStop) {
  SetNumber(*Monitor, QOR_TRACE_PROPERTY_MAX_ENTRIES, 3);
  std::filesystem::create_directory(SwapName());
  Monitor->Start(0);
  Deliver(First, FramesAt({1000, 1000 + 200 * kStep, 1000 + 300 * kStep}));
  Clock.Release();
  EXPECT_EQ(CodeOf([&] { Monitor->Stop(); }), QOR_TRACE_STATUS_FILE_ERROR);
  EXPECT_EQ(TakeReports().size(), 1U);
  EXPECT_EQ(StoredTimes(), (Times{1000, 1000 + 200 * kStep, 1000 + 300 * kStep}));
}

TEST_F(TwoChannels, FlushEmptiesTheSortQueueToo) {
  Monitor->Start(0);
  Deliver(First, FramesAt({1000}));
  Monitor->FlushMonitorBuffer();
  Stop();
  EXPECT_EQ(EntryCount(*Monitor), 0U);
}

TEST_F(TwoChannels, ListIsUpToDateBeforeTheTraceIs) {
  Monitor->Start(0);
  Deliver(First, FramesAt({1000}));
  EXPECT_EQ(ListCount(*Monitor), 1U);
  EXPECT_EQ(EntryCount(*Monitor), 0U);
  Stop();
}

// ---- Live recording

TEST_F(OneChannel, LiveRecordingWritesEveryStoredEntryToItsFile) {
  SetText(*Monitor, QOR_TRACE_PROPERTY_ASC_FILE_NAME, "live.asc");
  Record({Frame(0x123).At(1'500'000'000).Data({1, 2}), Frame(0x124).At(2'000'000'000)}, QOR_TRACE_START_ASC_RECORDING);
  const std::string text = FileText("live.asc");
  EXPECT_NE(text.find("base hex  timestamps absolute\n"), std::string::npos) << text;
  EXPECT_NE(text.find("1.500000000 CANFD 1 Rx 123   0 0 2  2 01 02 0 0 0 0 0 0 0 0\n"
                      "2.000000000 CANFD 1 Rx 124   0 0 0  0 0 0 0 0 0 0 0 0\n"
                      "End Triggerblock\n"),
            std::string::npos)
      << text;
  EXPECT_EQ(EntryCount(*Monitor), 2U);
}

TEST_F(OneChannel, LiveRecordingEndsWithItsRun) {
  Record(FramesFrom(0x100, 1), QOR_TRACE_START_ASC_RECORDING);
  const std::string first = FileText(Stem() + ".asc");
  Record(FramesFrom(0x200, 1));
  EXPECT_EQ(FileText(Stem() + ".asc"), first);
  EXPECT_EQ(EntryCount(*Monitor), 2U);
}

TEST_F(OneChannel, LiveRecordingIsReadableBatchByBatch) {
  Monitor->Start(QOR_TRACE_START_ASC_RECORDING);
  Deliver(FramesFrom(0x100, 2));
  EXPECT_EQ(AscIdentifiers(FileText(Stem() + ".asc")), (std::vector<std::string>{"100", "101"}));
  Monitor->Stop();
}

TEST_F(OneChannel, LiveRecordingKeepsItsFileWhenTheNameChanges) {
  Monitor->Start(QOR_TRACE_START_ASC_RECORDING);
  const std::string stem = Stem();
  SetText(*Monitor, QOR_TRACE_PROPERTY_ASC_FILE_NAME, "other.asc");
  Deliver(FramesFrom(0x100, 1));
  Monitor->Stop();
  EXPECT_EQ(AscIdentifiers(FileText(stem + ".asc")).size(), 1U);
  EXPECT_FALSE(std::filesystem::exists("other.asc"));
  Record(FramesFrom(0x200, 1), QOR_TRACE_START_ASC_RECORDING);
  EXPECT_EQ(AscIdentifiers(FileText("other.asc")), (std::vector<std::string>{"200"}));
}

TEST_F(OneChannel, LiveRecordingGoesOnInTheNextFileBeyondItsSize) {
  SetText(*Monitor, QOR_TRACE_PROPERTY_ASC_FILE_NAME, "live.asc");
  SetNumber(*Monitor, QOR_TRACE_PROPERTY_ASC_MAX_FILE_SIZE, 1000);
  Record(FramesFrom(0x100, 40), QOR_TRACE_START_ASC_RECORDING);
  std::vector<std::string> identifiers = AscIdentifiers(FileText("live.asc"));
  EXPECT_TRUE(std::filesystem::exists("live_1.asc"));
  for (int i = 1; std::filesystem::exists("live_" + std::to_string(i) + ".asc"); ++i) {
    for (const auto& id : AscIdentifiers(FileText("live_" + std::to_string(i) + ".asc"))) identifiers.push_back(id);
  }
  ASSERT_EQ(identifiers.size(), 40U);
  EXPECT_EQ(identifiers.front(), "100");
  EXPECT_EQ(identifiers.back(), "127");
}

TEST_F(TwoChannels, LeftOversReachTheLiveRecordingBeforeItIsClosed) {
  SetText(*Monitor, QOR_TRACE_PROPERTY_ASC_FILE_NAME, "live.asc");
  Monitor->Start(QOR_TRACE_START_ASC_RECORDING);
  Deliver(First, {Frame(0x100).At(1000), Frame(0x102).At(1000 + 300 * kStep)});
  Deliver(Second, {Frame(0x101).At(1000 + 200 * kStep)});
  Stop();
  const std::string text = FileText("live.asc");
  EXPECT_EQ(AscIdentifiers(text), (std::vector<std::string>{"100", "101", "102"}));
  EXPECT_EQ(text.substr(text.size() - 17), "End Triggerblock\n");
}

TEST_F(OneChannel, StartWithALiveFileThatCannotBeOpenedChangesNothing) {
  SetText(*Monitor, QOR_TRACE_PROPERTY_ASC_FILE_NAME, "missing/live.asc");
  EXPECT_EQ(CodeOf([&] { Monitor->Start(QOR_TRACE_START_ASC_RECORDING); }), QOR_TRACE_STATUS_FILE_ERROR);
  const auto reports = TakeReports();
  ASSERT_EQ(reports.size(), 1U);
  EXPECT_EQ(reports[0], (Report{255, QOR_TRACE_STATUS_FILE_ERROR,
                                "error opening file 'missing/live.ascNo such file or directory"}));
  EXPECT_EQ(Can.Commands().size(), 1U);  // configured, not started
  Record(FramesFrom(1, 1));
  EXPECT_EQ(EntryCount(*Monitor), 1U);
}

// ---- Failures on the receive thread

TEST_F(OneChannel, FailingSwapEndsTheThreadAndKeepsTheEntries) {
  SetNumber(*Monitor, QOR_TRACE_PROPERTY_MAX_ENTRIES, 3);
  std::filesystem::create_directory(SwapName());
  Monitor->Start(0);
  Can.NextItems(FramesFrom(1, 3)).NextItems(FramesFrom(11, 3));
  ASSERT_TRUE(WaitUntil([] { return Qor_Sim_ReportCount() > 0; }));
  Monitor->Stop();
  const auto reports = TakeReports();
  ASSERT_EQ(reports.size(), 1U);
  EXPECT_EQ(reports[0].Level, 255U);
  EXPECT_EQ(reports[0].Code, QOR_TRACE_STATUS_FILE_ERROR);
  EXPECT_NE(reports[0].Text, "");
  EXPECT_EQ(Can.Pending(), 1U);  // the thread has ended
  EXPECT_EQ(Can.StopCommands(), 1U);
  EXPECT_EQ(GetItems(*Monitor).Records(), RecordsOf(1, FramesFrom(1, 3)));
}

TEST_F(OneChannel, FailingLiveRecordingEndsTheThreadAndKeepsTheEntries) {
  SetText(*Monitor, QOR_TRACE_PROPERTY_ASC_FILE_NAME, "live.asc");
  Monitor->Start(QOR_TRACE_START_ASC_RECORDING);
  const FileSizeLimit limit(400);
  Can.NextItems(FramesFrom(0x100, 20)).NextItems(FramesFrom(0x200, 3));
  ASSERT_TRUE(WaitUntil([] { return Qor_Sim_ReportCount() > 0; }));
  Monitor->Stop();
  EXPECT_EQ(TakeReports(),
            (std::vector<Report>{{255, QOR_TRACE_STATUS_FILE_ERROR,
                                  "Cannot write ASC file: path=\"live.asc\", errno=27 (File too large)"}}));
  EXPECT_EQ(Can.Pending(), 1U);
  EXPECT_EQ(GetItems(*Monitor).Records(), RecordsOf(1, FramesFrom(0x100, 20)));
  EXPECT_EQ(FileBytes("live.asc").size(), 400U);  // what could be written is there
}

TEST_F(TwoChannels, LiveRecordingThatCannotBeClosedWholeIsTheStatusOfStop) {
  // The file has room for every line but not for its trailer, which Stop writes.
  SetText(*Monitor, QOR_TRACE_PROPERTY_ASC_FILE_NAME, "live.asc");
  Monitor->Start(QOR_TRACE_START_ASC_RECORDING);
  Deliver(First, FramesAt({1000}));
  Clock.Tick();
  Clock.Tick();
  const auto size = std::filesystem::file_size("live.asc");
  const FileSizeLimit limit(size + 3);
  Clock.Release();
  EXPECT_EQ(CodeOf([&] { Monitor->Stop(); }), QOR_TRACE_STATUS_FILE_ERROR);
  EXPECT_EQ(TakeReports(),
            (std::vector<Report>{{255, QOR_TRACE_STATUS_FILE_ERROR,
                                  "Cannot write ASC file: path=\"live.asc\", errno=27 (File too large)"}}));
  EXPECT_EQ(FileText("live.asc").substr(size), "End");
  Monitor->Stop();
  EXPECT_TRUE(TakeReports().empty());
}
