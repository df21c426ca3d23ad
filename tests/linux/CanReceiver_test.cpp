#include "linux/CanReceiver.h"

#include <gtest/gtest.h>
#include <linux/can/error.h>

#include <new>
#include <utility>

#include "FakeKernel.h"
#include "qor_api.h"
#include "simulator/qor_sim.h"

using qor_linux::CanReceiver;
using qor_linux::Inbox;
using qor_linux::Message;

namespace {

struct Received {
  uint64_t Time;
  unsigned int Identifier;
  unsigned int Flags;

  bool operator==(const Received&) const = default;
};

class CanReceiverTest : public testing::Test {
 protected:
  CanReceiverTest() : Receiver(Kernel, {"can0"}, Kernel.OpenCan({"can0"}), Target) {}

  void Arrive(canid_t id, uint64_t time, int flags = 0, std::optional<uint32_t> dropped = std::nullopt) {
    Message message = FrameMessage(id, {1, 2}, flags);
    AddTimes(message, kFakeNow + time);
    if (dropped) AddDropped(message, *dropped);
    Kernel.Arrive(message);
  }

  void ArriveError(canid_t errorClass, uint64_t time) {
    Message message = FrameMessage(CAN_ERR_FLAG | errorClass, std::vector<unsigned char>(8, 0));
    AddTimes(message, kFakeNow + time);
    Kernel.Arrive(message);
  }

  /// What came, with times since kFakeNow.
  std::vector<Received> Fetch() {
    std::vector<unsigned char> bytes(65535);
    qor_sim::ResponseWriter writer(qor_sim::FindProtocol(QOR_INTERFACE_CAN)->Response, bytes);
    EXPECT_TRUE(Target.MoveTo(writer));
    std::vector<Received> all;
    for (size_t place = 4; place < writer.Length();) {
      qor_sim::CanItem item;
      std::memcpy(&item, bytes.data() + place, qor_sim::kCanItemHead);
      all.push_back({item.Timestamp - kFakeNow, item.Identifier, item.Flags});
      place += (qor_sim::kCanItemHead + item.DataLength + 3u) & ~3u;
    }
    return all;
  }

  std::vector<std::string> Notices() {
    std::vector<std::string> texts;
    const qor_sim::Notices all = Target.Notices();
    for (size_t index = 0; index < all.Count(); ++index)
      texts.push_back((all.At(index)->Kind == QOR_SIM_NOTICE_GONE ? "gone: " : "back: ") + all.At(index)->Text);
    return texts;
  }

  FakeKernel Kernel;
  Inbox Target{1000};
  CanReceiver Receiver;
};

using Texts = std::vector<std::string>;

const std::string kDown = "gone: can0 is down; it is recorded as soon as it is up";

/// Has no memory for the first frame.
class ExhaustedKernel final : public FakeKernel {
 public:
  uint64_t Now() override {
    if (std::exchange(Exhausted, false)) throw std::bad_alloc();
    return FakeKernel::Now();
  }

 private:
  bool Exhausted = true;
};

}  // namespace

TEST(CanReceiver, FrameThatThereIsNoMemoryForIsLostAndTheNextOneCome) {
  ExhaustedKernel kernel;
  Inbox target{1000};
  CanReceiver receiver(kernel, {"can0"}, kernel.OpenCan({"can0"}), target);
  kernel.Arrive(FrameMessage(0x100, {1, 2}));  // without a time of the kernel's
  kernel.Arrive(FrameMessage(0x101, {1, 2}));
  receiver.Step();
  const Qor_Sim_Status_t status = target.Status();
  EXPECT_EQ(status.Offered, 2U);
  EXPECT_EQ(status.Lost, 1U);
  EXPECT_EQ(status.Buffered, 1U);
}

TEST_F(CanReceiverTest, FramesHaveTheTimesOfTheKernel) {
  Arrive(0x100, 10);
  Arrive(0x101, 20);
  Receiver.Step();
  EXPECT_EQ(Fetch(), (std::vector<Received>{{10, 0x100, 0}, {20, 0x101, 0}}));
}

TEST_F(CanReceiverTest, MoreThanABatchIsFetchedAtOnce) {
  for (unsigned int count = 0; count < 200; ++count) Arrive(count, count);
  Receiver.Step();
  EXPECT_EQ(Fetch().size(), 200u);
}

TEST_F(CanReceiverTest, FramesThatProgramsOfThisMachineSentAreTransmitted) {
  Arrive(1, 10, MSG_DONTROUTE);
  Arrive(2, 20, MSG_DONTROUTE | MSG_CONFIRM);
  Arrive(3, 30);
  Receiver.Step();
  EXPECT_EQ(Fetch(),
            (std::vector<Received>{{10, 1, qor_sim::kCanTransmitted}, {20, 2, qor_sim::kCanTransmitted}, {30, 3, 0}}));
}

TEST_F(CanReceiverTest, TimeOfTheHardwareComesFirst) {
  for (const auto& [hardware, software] : {std::pair{1000u, 1500u}, {2000u, 2900u}}) {
    Message message = FrameMessage(1, {});
    AddTimes(message, kFakeNow + software, 7'000'000'000 + hardware);
    Kernel.Arrive(message);
  }
  Receiver.Step();
  EXPECT_EQ(Fetch(), (std::vector<Received>{{1500, 1, 0}, {2500, 1, 0}}));
}

TEST_F(CanReceiverTest, FrameWithoutATimeHasThatOfItsFetching) {
  Kernel.Arrive(FrameMessage(1, {}));
  Receiver.Step();
  EXPECT_EQ(Fetch(), (std::vector<Received>{{0, 1, 0}}));
}

TEST_F(CanReceiverTest, DropsAreCountedOnceBetweenTheFramesWhereTheyWere) {
  Arrive(1, 10, 0, 0);
  Arrive(2, 20, 0, 5);
  Arrive(3, 30, 0, 5);
  Kernel.DroppedByNow = 5;
  Receiver.Step();
  const Qor_Sim_Status_t status = Target.Status();
  EXPECT_EQ(status.Lost, 5u);
  EXPECT_EQ(status.FirstLostTime, kFakeNow + 10);
  EXPECT_EQ(status.LastLostTime, kFakeNow + 20);
}

TEST_F(CanReceiverTest, DropsAfterTheLastFrameAreCountedToo) {
  Arrive(1, 10, 0, 0);
  Kernel.DroppedByNow = 3;
  Receiver.Step();
  EXPECT_EQ(Target.Status().Lost, 3u);
  Arrive(2, 20, 0, 2);  // had been queued before the last one was dropped
  Receiver.Step();
  EXPECT_EQ(Target.Status().Lost, 3u);
}

TEST_F(CanReceiverTest, CounterOfDropsMayWrap) {
  Arrive(1, 10, 0, 0x7FFFFFFF);
  Arrive(2, 20, 0, 0xFFFFFFFE);
  Kernel.DroppedByNow = 1;
  Receiver.Step();
  EXPECT_EQ(Target.Status().Lost, 0x1'0000'0001u);
}

TEST_F(CanReceiverTest, MessageThatIsNoFrameIsALoss) {
  const unsigned char bytes[20] = {};
  Kernel.Arrive(MessageOf(bytes, sizeof bytes));
  Kernel.Arrive(MessageOf(bytes, CAN_MTU, MSG_TRUNC));
  Receiver.Step();
  EXPECT_TRUE(Fetch().empty());
  EXPECT_EQ(Target.Status().Lost, 2u);
}

TEST_F(CanReceiverTest, InterfaceThatGoesDownIsWaitedFor) {
  Kernel.Fail(ENETDOWN);
  Kernel.Up = 0;
  Receiver.Step();
  Receiver.Step();
  EXPECT_EQ(Notices(), (Texts{kDown}));
  EXPECT_EQ(Kernel.OpenSockets(), 1);
  Kernel.Up = 1;
  Receiver.Step();
  Receiver.Step();
  EXPECT_EQ(Notices(), (Texts{kDown, "back: can0 is up"}));
  Arrive(1, 10);
  Receiver.Step();
  EXPECT_EQ(Fetch().size(), 1u);
}

TEST_F(CanReceiverTest, InterfaceThatIsTakenAwayIsOpenedAgain) {
  Arrive(1, 10, 0, 7);
  Kernel.DroppedByNow = 7;
  Receiver.Step();
  Kernel.Fail(ENETDOWN);
  Kernel.Fail(ENODEV);
  Kernel.Up = -ENODEV;
  Kernel.OpenError = ENODEV;
  for (int step = 0; step < 3; ++step) Receiver.Step();
  EXPECT_EQ(Notices(), (Texts{kDown}));
  EXPECT_EQ(Kernel.OpenSockets(), 0);
  Kernel.Up = 1;
  Kernel.OpenError = 0;
  Kernel.DroppedByNow = 2;  // the new socket counts from 0
  Receiver.Step();
  EXPECT_EQ(Notices(), (Texts{kDown, "back: can0 is up"}));
  EXPECT_EQ(Kernel.OpenSockets(), 1);
  EXPECT_EQ(Kernel.Asked.Interface, "can0");
  Arrive(2, 20, 0, 2);
  Receiver.Step();
  EXPECT_EQ(Fetch().size(), 2u);
  EXPECT_EQ(Target.Status().Lost, 9u);
}

TEST_F(CanReceiverTest, ControllerOffTheBusIsTold) {
  ArriveError(CAN_ERR_BUSOFF, 10);
  ArriveError(CAN_ERR_PROT, 20);
  ArriveError(CAN_ERR_RESTARTED, 30);
  Receiver.Step();
  EXPECT_EQ(Notices(),
            (Texts{"gone: can0 is bus-off: its controller has left the bus", "back: can0 is on the bus again"}));
  EXPECT_EQ(Target.Notices().At(0)->Time, kFakeNow + 10);
  EXPECT_EQ(Target.Notices().At(1)->Time, kFakeNow + 30);
  EXPECT_EQ(Fetch().size(), 3u);
}

TEST_F(CanReceiverTest, FrameShowsThatTheControllerIsBack) {
  ArriveError(CAN_ERR_BUSOFF, 10);
  Arrive(1, 20);
  Receiver.Step();
  EXPECT_EQ(Notices().size(), 2u);
}

TEST_F(CanReceiverTest, ErrorsThatPassByThemselvesArePassedOver) {
  Kernel.Fail(EINTR);
  Kernel.Fail(ENOBUFS);
  for (int step = 0; step < 2; ++step) Receiver.Step();
  Arrive(1, 10);
  Receiver.Step();
  EXPECT_EQ(Notices(), Texts{});
  EXPECT_EQ(Fetch().size(), 1u);
}
