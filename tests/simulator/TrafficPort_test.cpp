#include "TrafficPort.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <memory>
#include <thread>

#include "Channel.h"
#include "FakeTime.h"
#include "Thrown.h"

using namespace qor_sim;

namespace {

/// Items of 16 bytes and more at given times, ns; the first byte counts them.
class ListSource : public ItemSource {
 public:
  explicit ListSource(std::vector<uint64_t> times, size_t size = 16) : Times(std::move(times)) {
    Current.Bytes.assign(size, 0);
    Fill();
  }
  const Item* Peek() override { return Next < Times.size() ? &Current : nullptr; }
  void Advance() override {
    ++Next;
    Fill();
  }

 private:
  void Fill() {
    if (Next == Times.size()) return;
    Current.Due = Times[Next];
    Current.Timestamp = Times[Next] + 1'000'000'000'000;
    Current.Bytes[0] = static_cast<unsigned char>(Next);
  }

  std::vector<uint64_t> Times;
  size_t Next = 0;
  Item Current;
};

constexpr size_t kItem = 16;  // bytes on the wire
const BusCommands kCan = CommandsOf(QOR_INTERFACE_CAN, 1);

/// A CAN port on a clock in the test's hand, with one connection.
class TestPort {
 public:
  TestPort(Clock& clock, std::vector<uint64_t> times, const TrafficSettings& settings = {}, size_t itemSize = kItem)
      : TestPort(std::make_unique<ListSource>(std::move(times), itemSize), clock, settings) {}
  TestPort(std::unique_ptr<ItemSource> source, Clock& clock, const TrafficSettings& settings)
      : Target(QOR_INTERFACE_CAN, 1, std::move(source), settings, clock) {
    Target.Connect();
  }

  unsigned int Send(unsigned int mode, const Bytes& request, size_t capacity = 65535) {
    Buffer.assign(capacity, 0xEE);
    ResponseBuffer response{Buffer};
    const Thrown thrown = ThrownBy([&] { Target.Execute({1, 0, 0x50, mode, request}, response); });
    Length = response.Length;
    return thrown.Code;
  }
  void Start() {
    EXPECT_EQ(Send(1, kCan.Configure), 0u);
    EXPECT_EQ(Send(1, kCan.Start), 0u);
  }
  void Stop() { EXPECT_EQ(Send(1, kCan.Stop), 0u); }

  /// The numbers of the items that a poll returns.
  std::vector<unsigned int> Poll(size_t capacity = 65535) {
    EXPECT_EQ(Send(2, kCan.Poll, capacity), 0u);
    std::vector<unsigned int> numbers;
    for (size_t offset = 4; offset < Length; offset += kItem) numbers.push_back(Buffer[offset]);
    return numbers;
  }

  TrafficPort Target;
  Bytes Buffer;
  unsigned int Length = 0;
};

using Numbers = std::vector<unsigned int>;

class TrafficPortTest : public testing::Test {
 protected:
  FakeTime Time;
  Clock Shared{Time};
};

TrafficSettings AtSpeed(uint64_t numerator, uint64_t denominator) {
  TrafficSettings settings;
  settings.Pace = Speed{numerator, denominator};
  return settings;
}

TrafficSettings AsFastAsPossible() {
  TrafficSettings settings;
  settings.Pace.reset();
  return settings;
}

TrafficSettings WithBuffer(size_t items) {
  TrafficSettings settings;
  settings.BufferItems = items;
  return settings;
}

}  // namespace

TEST_F(TrafficPortTest, ItemsComeWhenTheClockHasReachedThem) {
  TestPort port(Shared, {0, 100, 200});
  port.Start();
  EXPECT_EQ(port.Poll(), Numbers{0});
  Time.Pass(99);
  EXPECT_EQ(port.Poll(), Numbers{});
  Time.Pass(1);
  EXPECT_EQ(port.Poll(), Numbers{1});
  Time.Pass(1000);
  EXPECT_EQ(port.Poll(), Numbers{2});
  EXPECT_EQ(port.Poll(), Numbers{});
}

TEST_F(TrafficPortTest, StampsInUtcSayWhenAnItemWasDue) {
  TrafficSettings settings;
  settings.Stamps = StampClock::Utc;
  TestPort port(Shared, {0, 100, 200}, settings);
  Time.Pass(5000);
  const uint64_t begin = Time.Utc();
  port.Start();
  Time.Pass(150);
  EXPECT_EQ(port.Poll().size(), 2u);
  uint64_t first = 0, second = 0;
  std::memcpy(&first, port.Buffer.data() + 4, sizeof first);
  std::memcpy(&second, port.Buffer.data() + 4 + kItem, sizeof second);
  EXPECT_EQ(first, begin);
  EXPECT_EQ(second, begin + 100);
}

TEST_F(TrafficPortTest, StampsInUtcGoOnWithUtcAfterAPause) {
  TrafficSettings settings;
  settings.Stamps = StampClock::Utc;
  TestPort port(Shared, {0, 100}, settings);
  port.Start();
  const uint64_t begin = Time.Utc();
  Time.Pass(50);
  EXPECT_EQ(port.Poll().size(), 1u);
  port.Stop();
  Time.Pass(1000);  // which the clock leaves out
  EXPECT_EQ(port.Send(1, kCan.Start), 0u);
  Time.Pass(60);
  EXPECT_EQ(port.Poll().size(), 1u);
  uint64_t second = 0;
  std::memcpy(&second, port.Buffer.data() + 4, sizeof second);
  EXPECT_EQ(second, begin + 1100);
}

TEST_F(TrafficPortTest, SpeedScalesTheClock) {
  TestPort fast(Shared, {100, 101}, AtSpeed(10, 1));
  TestPort slow(Shared, {5, 6}, AtSpeed(500'000'000, 1'000'000'000));
  fast.Start();
  slow.Start();
  Time.Pass(10);
  EXPECT_EQ(fast.Poll(), Numbers{0});
  EXPECT_EQ(slow.Poll(), Numbers{0});
}

TEST(Speed, SourceTimeNeverOverflows) {
  EXPECT_EQ((Speed{1'000'000, 1}.SourceTime(~0ul)), ~0ul);
  EXPECT_EQ((Speed{1, 3}.SourceTime(10)), 3u);
}

TEST_F(TrafficPortTest, AtMaxSpeedEachPollIsFull) {
  TestPort port(Shared, {0, kSecond, 2 * kSecond}, AsFastAsPossible());
  port.Start();
  EXPECT_EQ(port.Poll(4 + 2 * kItem), (Numbers{0, 1}));
  EXPECT_EQ(port.Poll(4 + 2 * kItem), Numbers{2});
  EXPECT_EQ(port.Poll(), Numbers{});
}

TEST_F(TrafficPortTest, PortsShareTheClockOfTheFirstStart) {
  TestPort first(Shared, {0}), second(Shared, {10, 30});
  first.Start();
  Time.Pass(20);
  second.Start();
  EXPECT_EQ(second.Poll(), Numbers{0});
}

TEST_F(TrafficPortTest, RestartGoesOnWithTheNextItem) {
  TestPort port(Shared, {0, 10, 20});
  port.Start();
  EXPECT_EQ(port.Poll(), Numbers{0});
  Time.Pass(10);
  port.Stop();      // item 1 is due and waits in the buffer
  Time.Pass(1000);  // the clock stands still
  port.Start();
  EXPECT_EQ(port.Poll(), Numbers{1});
  Time.Pass(10);
  EXPECT_EQ(port.Poll(), Numbers{2});
}

TEST_F(TrafficPortTest, WhatPassedWhileOnlyThisPortWasStoppedComesAtOnce) {
  TestPort other(Shared, {0});
  TestPort port(Shared, {0, 10, 20});
  other.Start();
  port.Start();
  EXPECT_EQ(port.Poll(), Numbers{0});
  port.Stop();
  Time.Pass(20);
  EXPECT_EQ(port.Target.Status().Offered, 1u);
  port.Start();
  EXPECT_EQ(port.Poll(), (Numbers{1, 2}));
}

TEST_F(TrafficPortTest, FullBufferDropsTheNewestAndCounts) {
  TestPort port(Shared, {0, 10, 20, 30}, WithBuffer(2));
  port.Start();
  Time.Pass(30);
  const auto full = port.Target.Status();
  EXPECT_EQ(full.Offered, 4u);
  EXPECT_EQ(full.Delivered, 0u);
  EXPECT_EQ(full.Buffered, 2u);
  EXPECT_EQ(full.Lost, 2u);
  EXPECT_EQ(full.FirstLostTime, 1'000'000'000'020u);
  EXPECT_EQ(full.LastLostTime, 1'000'000'000'030u);
  EXPECT_EQ(full.Finished, 0u);
  EXPECT_EQ(port.Poll(), (Numbers{0, 1}));
  const auto drained = port.Target.Status();
  EXPECT_EQ(drained.Delivered, 2u);
  EXPECT_EQ(drained.Buffered, 0u);
  EXPECT_EQ(drained.Finished, 1u);
}

TEST_F(TrafficPortTest, SourceTooSlowForItsSpeedFallsBehind) {
  TestPort port(Shared, std::vector<uint64_t>(1'000'003, 0), WithBuffer(1));
  port.Start();
  EXPECT_LE(port.Target.Status().Offered, 1'000'000u);
  while (port.Target.Status().Offered < 1'000'003u) {
  }
  EXPECT_EQ(port.Target.Status().Lost, 1'000'002u);
}

/// Ten milliseconds an item, and all of them are due.
class SlowSource : public ListSource {
 public:
  explicit SlowSource(size_t count) : ListSource(std::vector<uint64_t>(count, 0), kItem) {}
  void Advance() override {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    ListSource::Advance();
  }
};

TEST_F(TrafficPortTest, SlowSourceDoesntKeepItsPortBusyUntilItHasCaughtUp) {
  constexpr size_t kDue = 100'000;
  TestPort port(std::make_unique<SlowSource>(kDue), Shared, WithBuffer(8));
  port.Start();
  EXPECT_LT(port.Target.Status().Offered, kDue);
}

TEST_F(TrafficPortTest, NothingIsDroppedAtMaxSpeed) {
  TrafficSettings settings = AsFastAsPossible();
  settings.BufferItems = 1;
  TestPort port(Shared, std::vector<uint64_t>(100, 0), settings);
  port.Start();
  EXPECT_EQ(port.Poll().size(), 100u);
  const auto status = port.Target.Status();
  EXPECT_EQ(status.Offered, 100u);
  EXPECT_EQ(status.Delivered, 100u);
  EXPECT_EQ(status.Lost, 0u);
  EXPECT_EQ(status.Finished, 1u);
}

TEST_F(TrafficPortTest, PollThatHasNoRoomForAnItemLosesNothing) {
  for (const auto& settings : {AsFastAsPossible(), TrafficSettings{}}) {
    TestPort port(Shared, {0}, settings);
    port.Start();
    EXPECT_EQ(port.Send(2, kCan.Poll, 3), unsigned{QOR_SIM_ERROR_CAPACITY});
    EXPECT_EQ(port.Send(2, kCan.Poll, 4 + kItem - 1), unsigned{QOR_SIM_ERROR_CAPACITY});
    EXPECT_EQ(port.Target.Status().Delivered, 0u);
    EXPECT_EQ(port.Poll(4 + kItem), Numbers{0});
  }
}

TEST_F(TrafficPortTest, EmptyPollIsTheHeadAlone) {
  TestPort port(Shared, {50});
  port.Start();
  EXPECT_EQ(port.Poll(4), Numbers{});
  EXPECT_EQ(port.Length, 4u);
}

TEST_F(TrafficPortTest, EveryItemIsPaddedTheLastOneToo) {
  TestPort port(Shared, {0, 0}, {}, 17);
  port.Start();
  EXPECT_EQ(port.Send(2, kCan.Poll), 0u);
  EXPECT_EQ(port.Length, 4u + 20 + 20);
  EXPECT_EQ(port.Buffer[4 + 20], 1);
  for (const size_t pad : {21u, 22u, 23u, 41u, 42u, 43u}) EXPECT_EQ(port.Buffer[pad], 0);
  EXPECT_EQ(port.Buffer[44], 0xEE);
}

TEST_F(TrafficPortTest, PollOfAChannelTakesAsManyItemsAsFit) {
  TestPort port(Shared, std::vector<uint64_t>(10'000, 0), AsFastAsPossible());
  port.Start();
  EXPECT_EQ(port.Poll().size(), (65535u - 4) / kItem);
}

// ---- An interface that is pulled ------------------------------------------------------------------------------------

TEST_F(TrafficPortTest, InterfaceThatIsGoneAnswersNothing) {
  constexpr unsigned int kGone = QOR_SIM_ERROR_GONE;
  TrafficSettings settings = AtSpeed(2, 1);
  settings.GoneAt = 100;
  TestPort port(Shared, {0, 90, 98, 100}, settings);
  port.Start();
  Time.Pass(45);
  EXPECT_EQ(port.Poll(), (Numbers{0, 1}));
  Time.Pass(4);
  EXPECT_EQ(port.Target.Status().Gone, 0u);
  EXPECT_EQ(port.Target.Status().Finished, 0u);
  Time.Pass(1);
  for (const Bytes* request : {&kCan.Configure, &kCan.Start, &kCan.Stop}) EXPECT_EQ(port.Send(1, *request), kGone);
  EXPECT_EQ(port.Send(2, kCan.Poll), kGone);
  EXPECT_EQ(ThrownBy([&] { port.Target.AskInfo(); }).Code, kGone);
  EXPECT_EQ(ThrownBy([&] { port.Target.Connect(); }).Code, kGone);
  const auto status = port.Target.Status();
  EXPECT_EQ(status.Gone, 1u);
  EXPECT_EQ(status.Finished, 1u);
  EXPECT_EQ(status.Offered, 3u);
  EXPECT_EQ(status.Delivered, 2u);
  EXPECT_EQ(status.Buffered, 0u) << "what waited has gone with it";
  port.Target.Disconnect();
  port.Target.Close();
}

TEST_F(TrafficPortTest, AtMaxSpeedAnInterfaceIsGoneOnceAllBeforeIsDelivered) {
  TrafficSettings settings = AsFastAsPossible();
  settings.GoneAt = 100;
  TestPort port(Shared, {0, 99, 100, 101}, settings);
  port.Start();
  EXPECT_EQ(port.Target.Status().Gone, 0u);
  EXPECT_EQ(port.Poll(), (Numbers{0, 1}));
  EXPECT_EQ(port.Send(2, kCan.Poll), unsigned{QOR_SIM_ERROR_GONE});
  EXPECT_EQ(port.Target.Status().Gone, 1u);
  EXPECT_EQ(port.Target.Status().Finished, 1u);
}

TEST_F(TrafficPortTest, SourceThatEndsBeforeIsNotGoneAtMaxSpeed) {
  TrafficSettings settings = AsFastAsPossible();
  settings.GoneAt = 100;
  TestPort port(Shared, {0, 99}, settings);
  port.Start();
  EXPECT_EQ(port.Poll(), (Numbers{0, 1}));
  EXPECT_EQ(port.Poll(), Numbers{});
  EXPECT_EQ(port.Target.Status().Gone, 0u);
  EXPECT_EQ(port.Target.Status().Finished, 1u);
}

// ---- States --------------------------------------------------------------------------------------------------------

TEST_F(TrafficPortTest, CommandsInTheWrongStateAreRefused) {
  constexpr unsigned int kState = QOR_SIM_ERROR_STATE;
  TestPort port(Shared, {0});
  EXPECT_EQ(port.Send(1, kCan.Start), kState);
  EXPECT_EQ(port.Send(1, kCan.Stop), kState);
  EXPECT_EQ(port.Send(2, kCan.Poll), kState);
  EXPECT_EQ(port.Send(1, kCan.Configure), 0u);
  EXPECT_EQ(port.Send(1, kCan.Configure), 0u);
  EXPECT_EQ(port.Send(1, kCan.Stop), kState);
  EXPECT_EQ(port.Send(2, kCan.Poll), kState);
  EXPECT_EQ(port.Send(1, kCan.Start), 0u);
  EXPECT_EQ(port.Send(1, kCan.Start), kState);
  EXPECT_EQ(port.Send(1, kCan.Configure), kState);
  EXPECT_EQ(port.Poll(), Numbers{0});
  EXPECT_EQ(port.Send(1, kCan.Stop), 0u);
  EXPECT_EQ(port.Send(1, kCan.Stop), kState);
  EXPECT_EQ(port.Send(2, kCan.Poll), kState);
  EXPECT_EQ(port.Send(1, kCan.Start), 0u);
}

TEST_F(TrafficPortTest, LastConnectionTakesTheMonitorBackToIdle) {
  TestPort port(Shared, {0, 50});
  port.Start();
  port.Target.Connect();
  port.Target.Disconnect();
  EXPECT_EQ(port.Poll(), Numbers{0});
  port.Target.Disconnect();
  EXPECT_EQ(port.Send(2, kCan.Poll), unsigned{QOR_SIM_ERROR_STATE});
  Time.Pass(1000);
  EXPECT_EQ(Shared.Elapsed(), 0u);
  port.Target.Connect();
  EXPECT_EQ(port.Send(1, kCan.Start), unsigned{QOR_SIM_ERROR_STATE});
  port.Start();
  EXPECT_EQ(port.Poll(), Numbers{});
}

TEST_F(TrafficPortTest, ClosedPortAnswersNothingAndLeavesTheClock) {
  TestPort port(Shared, {0});
  port.Start();
  Time.Pass(10);
  port.Target.Close();
  EXPECT_EQ(Shared.Elapsed(), 0u);
  EXPECT_EQ(port.Send(2, kCan.Poll), unsigned{QOR_SIM_ERROR_HANDLE});
  EXPECT_EQ(ThrownBy([&] { port.Target.Connect(); }).Code, unsigned{QOR_SIM_ERROR_HANDLE});
  EXPECT_EQ(ThrownBy([&] { port.Target.AskInfo(); }).Code, unsigned{QOR_SIM_ERROR_HANDLE});
  EXPECT_EQ(ThrownBy([&] { port.Target.Status(); }).Code, unsigned{QOR_SIM_ERROR_HANDLE});
}

TEST_F(TrafficPortTest, ControlCommandsNeedRoomForTheirAnswer) {
  TestPort port(Shared, {0});
  EXPECT_EQ(port.Send(1, kCan.Configure, 3), unsigned{QOR_SIM_ERROR_CAPACITY});
  EXPECT_EQ(port.Send(1, kCan.Start), unsigned{QOR_SIM_ERROR_STATE});
  EXPECT_EQ(port.Send(1, kCan.Configure, 4), 0u);
  EXPECT_EQ(port.Length, 4u);
  EXPECT_EQ(port.Buffer, Bytes(4, 0));
}
