#include "linux/PacketPort.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <deque>

#include "PacketMaker.h"
#include "linux/PacketDoor.h"
#include "simulator/Channel.h"
#include "simulator/Thrown.h"

using qor_linux::PacketPort;
using qor_linux::PacketPortSettings;

namespace {

constexpr uint64_t kNow = 1'700'000'000'000'000'000;

/// What the sockets of a test deliver.
struct Wire {
  std::deque<std::vector<unsigned char>> Blocks;
  uint64_t Drops = 0;
  int Error = 0;
  bool Attached = true;
  bool Up = true;
  int OpenError = 0;
  int Sockets = 0;
  uint64_t Time = kNow;
  qor_linux::PacketSettings Asked;
};

class FakeSocket final : public qor_linux::PacketSocket {
 public:
  explicit FakeSocket(Wire& wire) : Line(wire) { ++Line.Sockets; }
  ~FakeSocket() override { --Line.Sockets; }
  std::span<const unsigned char> Block() override {
    return Line.Blocks.empty() ? std::span<const unsigned char>() : Line.Blocks.front();
  }
  void FreeBlock() override { Line.Blocks.pop_front(); }
  uint64_t TakeDrops() override { return std::exchange(Line.Drops, 0); }
  int TakeError() override { return std::exchange(Line.Error, 0); }
  bool IsAttached() override { return Line.Attached; }

 private:
  Wire& Line;
};

class FakeSystem final : public qor_linux::PacketSystem {
 public:
  std::unique_ptr<qor_linux::PacketSocket> Open(const qor_linux::PacketSettings& settings, int& error) override {
    Line.Asked = settings;
    error = Line.OpenError;
    if (error != 0) return nullptr;
    return std::make_unique<FakeSocket>(Line);
  }
  bool IsUp(const std::string&) override { return Line.Up; }
  uint64_t Now() override { return Line.Time; }

  Wire Line;
};

class PacketPortTest : public testing::Test {
 protected:
  void Open(const std::string& filter = "") {
    PacketPortSettings settings;
    settings.Socket.Interface = "eth0";
    settings.Filter = filter;
    Target = std::make_unique<PacketPort>(settings, 1, System);
    Target->Connect();
    ASSERT_EQ(Send(1, Commands.Configure), 0u);
    ASSERT_EQ(Send(1, Commands.Start), 0u);
  }
  unsigned int Send(unsigned int mode, const Bytes& request, size_t capacity = 65535) {
    Buffer.assign(capacity, 0xEE);
    qor_sim::ResponseBuffer response{Buffer};
    const Thrown thrown = ThrownBy([&] { Target->Execute({1, 0, 0x50, mode, request}, response); });
    Length = response.Length;
    return thrown.Code;
  }
  /// Lengths of the frames that a poll brings.
  std::vector<size_t> Poll(size_t capacity = 65535) {
    EXPECT_EQ(Send(2, Commands.Poll, capacity), 0u);
    std::vector<size_t> lengths;
    for (size_t place = 8; place < Length;) {
      const size_t size = Buffer[place] + size_t{256} * Buffer[place + 1];
      lengths.push_back(size - 16);
      place += size;
    }
    return lengths;
  }
  void Arrive(const std::vector<size_t>& lengths) {
    std::vector<MadePacket> packets;
    for (const size_t length : lengths) packets.push_back({Bytes(length, 0x11), kNow + length, length % 2 == 1});
    System.Line.Blocks.push_back(BlockOf(packets));
  }
  std::vector<unsigned int> Notices() {
    std::vector<unsigned int> kinds;
    const qor_sim::Notices told = Target->Noticed();
    for (size_t index = 0; index < told.Count(); ++index) kinds.push_back(told.At(index)->Kind);
    return kinds;
  }

  FakeSystem System;
  std::unique_ptr<PacketPort> Target;
  const BusCommands Commands = CommandsOf(QOR_INTERFACE_ETHERNET, 1);
  Bytes Buffer;
  unsigned int Length = 0;
};

using Lengths = std::vector<size_t>;
using Kinds = std::vector<unsigned int>;

}  // namespace

TEST_F(PacketPortTest, PacketsOfAllBlocksComeInTheirOrder) {
  Open();
  Arrive({60, 61});
  Arrive({62});
  EXPECT_EQ(Poll(), (Lengths{60, 61, 62}));
  EXPECT_TRUE(System.Line.Blocks.empty());
  EXPECT_EQ(Poll(), Lengths{});
  EXPECT_EQ(Target->Status().Delivered, 3u);
}

TEST_F(PacketPortTest, WhatDoesNotFitComesWithTheNextPoll) {
  Open();
  Arrive({100, 200, 300});
  EXPECT_EQ(Poll(8 + 116 + 100), (Lengths{100}));
  EXPECT_EQ(Poll(), (Lengths{200, 300}));
}

TEST_F(PacketPortTest, PollThatTheNextPacketDoesNotFitIntoFails) {
  Open();
  Arrive({1500});
  EXPECT_EQ(Send(2, Commands.Poll, 100), unsigned{QOR_SIM_ERROR_CAPACITY});
  EXPECT_EQ(Poll(), (Lengths{1500}));
}

TEST_F(PacketPortTest, FilterSeesWholeFrames) {
  Open("vlan 100");
  std::vector<unsigned char> frame(60, 0x11);
  System.Line.Blocks.push_back(BlockOf({{frame, kNow, false, TP_STATUS_VLAN_VALID, 100, 0},
                                        {frame, kNow, false, TP_STATUS_VLAN_VALID, 101, 0},
                                        {frame, kNow}}));
  EXPECT_EQ(Poll(), (Lengths{64}));
  EXPECT_EQ(Target->Status().Offered, 1u);
}

TEST_F(PacketPortTest, FilterThatCannotBeReadIsRefused) {
  const Thrown thrown = ThrownBy([&] { Open("no filter"); });
  EXPECT_EQ(thrown.Code, unsigned{QOR_SIM_ERROR_SOURCE});
  EXPECT_EQ(thrown.Text.rfind("The option filter can't be \"no filter\": ", 0), 0u) << thrown.Text;
}

TEST_F(PacketPortTest, DropsLieBetweenTwoLooks) {
  Open();
  System.Line.Time = kNow + 100;
  Poll();
  System.Line.Time = kNow + 200;
  System.Line.Drops = 7;
  Poll();
  const Qor_Sim_Status_t status = Target->Status();
  EXPECT_EQ(status.Lost, 7u);
  EXPECT_EQ(status.FirstLostTime, kNow + 100);
  EXPECT_EQ(status.LastLostTime, kNow + 200);
}

TEST_F(PacketPortTest, PacketsThatABlockShouldHaveAreLost) {
  Open();
  Arrive({60, 60, 60});
  System.Line.Blocks.front().resize(300);
  const size_t came = Poll().size();
  EXPECT_LT(came, 3u);
  EXPECT_EQ(came + Target->Status().Lost, 3u);
}

TEST_F(PacketPortTest, InterfaceThatGoesDownIsToldAndWaitedFor) {
  Open();
  System.Line.Error = ENETDOWN;
  System.Line.Up = false;
  for (int poll = 0; poll < 50; ++poll) Poll();
  EXPECT_EQ(Notices(), (Kinds{QOR_SIM_NOTICE_GONE}));
  System.Line.Up = true;
  for (int poll = 0; poll < 50; ++poll) Poll();
  EXPECT_EQ(Notices(), (Kinds{QOR_SIM_NOTICE_GONE, QOR_SIM_NOTICE_BACK}));
}

TEST_F(PacketPortTest, PacketShowsThatTheInterfaceIsBackButNoneFromBefore) {
  Open();
  System.Line.Error = ENETDOWN;
  System.Line.Up = false;
  System.Line.Time = kNow + 1000;
  Arrive({60});
  Poll();
  EXPECT_EQ(Notices(), (Kinds{QOR_SIM_NOTICE_GONE}));
  Arrive({1001});
  Poll();
  EXPECT_EQ(Notices(), (Kinds{QOR_SIM_NOTICE_GONE, QOR_SIM_NOTICE_BACK}));
}

TEST_F(PacketPortTest, InterfaceThatWasTakenAwayIsOpenedAgainAfterItsLastPackets) {
  Open();
  System.Line.Error = ENETDOWN;
  System.Line.Attached = false;
  System.Line.OpenError = ENODEV;
  System.Line.Time = kNow + 1000;  // after the last packet
  Arrive({60});
  EXPECT_EQ(Poll(), (Lengths{60}));
  for (int poll = 0; poll < 50; ++poll) Poll();
  EXPECT_EQ(Notices(), (Kinds{QOR_SIM_NOTICE_GONE}));
  System.Line.OpenError = 0;
  for (int poll = 0; poll < 50; ++poll) Poll();
  EXPECT_EQ(System.Line.Sockets, 1);
  EXPECT_EQ(Notices(), (Kinds{QOR_SIM_NOTICE_GONE, QOR_SIM_NOTICE_BACK}));
}

TEST_F(PacketPortTest, InterfaceThatWasUpForAMomentBeforeItWasTakenAwayIsOpenedAgain) {
  Open();
  System.Line.Error = ENETDOWN;
  System.Line.Up = false;
  System.Line.Time = kNow + 1000;
  Poll();
  System.Line.Error = ENETDOWN;
  System.Line.Attached = false;
  System.Line.Time = kNow + 3000;
  Arrive({2000});
  EXPECT_EQ(Poll(), (Lengths{2000}));
  for (int poll = 0; poll < 50; ++poll) Poll();
  EXPECT_EQ(Notices(), (Kinds{QOR_SIM_NOTICE_GONE}));
  System.Line.Up = true;
  for (int poll = 0; poll < 50; ++poll) Poll();
  EXPECT_EQ(System.Line.Sockets, 1);
  EXPECT_EQ(Notices(), (Kinds{QOR_SIM_NOTICE_GONE, QOR_SIM_NOTICE_BACK}));
}

TEST_F(PacketPortTest, FrameThatNoItemHoldsIsCutAndToldOnce) {
  Open();
  Arrive({65512});
  Arrive({65512});
  EXPECT_EQ(Poll(), (Lengths{65511}));
  EXPECT_EQ(Poll(), (Lengths{65511}));
  EXPECT_EQ(Notices(), (Kinds{QOR_SIM_NOTICE_CUT}));
}

TEST_F(PacketPortTest, MissingRightIsExplained) {
  System.Line.OpenError = EPERM;
  const Thrown thrown = ThrownBy([&] { Open(); });
  EXPECT_EQ(thrown.Code, unsigned{QOR_SIM_ERROR_INTERFACE});
  EXPECT_EQ(thrown.Text, "Cannot open eth0: " + qor_linux::PacketRightsAdvice() + ".");
  System.Line.OpenError = ENODEV;
  EXPECT_EQ(ThrownBy([&] { Open(); }).Text, "Cannot open eth0: there is no interface eth0.");
}

TEST_F(PacketPortTest, SocketIsClosedWithThePort) {
  Open();
  EXPECT_EQ(System.Line.Sockets, 1);
  Target->Close();
  EXPECT_EQ(System.Line.Sockets, 0);
}
