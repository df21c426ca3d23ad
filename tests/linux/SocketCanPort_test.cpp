// A port with its thread: what arrives is polled, and it ends when it is closed.
#include "linux/SocketCanPort.h"

#include <gtest/gtest.h>

#include "FakeKernel.h"
#include "simulator/Channel.h"
#include "simulator/Thrown.h"
#include "support/WaitUntil.h"

using qor_linux::SocketCanPort;

namespace {

class SocketCanPortTest : public testing::Test {
 protected:
  unsigned int Send(SocketCanPort& port, unsigned int mode, const Bytes& request) {
    Buffer.assign(65535, 0xEE);
    qor_sim::ResponseBuffer response{Buffer};
    const Thrown thrown = ThrownBy([&] { port.Execute({1, 0, 0x50, mode, request}, response); });
    Length = response.Length;
    return thrown.Code;
  }

  /// Identifiers of what a poll brings.
  std::vector<unsigned int> Poll(SocketCanPort& port) {
    EXPECT_EQ(Send(port, 2, Commands.Poll), 0u);
    std::vector<unsigned int> identifiers;
    for (size_t place = 4; place < Length; place += 16) identifiers.push_back(Buffer[place + 8]);
    return identifiers;
  }

  bool PollsUntil(SocketCanPort& port, std::vector<unsigned int> expected) {
    std::vector<unsigned int> all;
    return test::WaitUntil([&] {
      for (const unsigned int one : Poll(port)) all.push_back(one);
      return all == expected;
    });
  }

  FakeKernel Kernel;
  const BusCommands Commands = CommandsOf(QOR_INTERFACE_CAN, 1);
  Bytes Buffer;
  unsigned int Length = 0;
};

}  // namespace

TEST_F(SocketCanPortTest, WhatArrivesIsPolled) {
  SocketCanPort port({{"can0"}}, 1, Kernel);
  port.Connect();
  ASSERT_EQ(Send(port, 1, Commands.Configure), 0u);
  ASSERT_EQ(Send(port, 1, Commands.Start), 0u);
  for (const canid_t id : {1u, 2u, 3u}) Kernel.Arrive(FrameMessage(id, {}));
  EXPECT_TRUE(PollsUntil(port, {1, 2, 3}));
  EXPECT_EQ(port.Status().Delivered, 3u);
}

TEST_F(SocketCanPortTest, WhatArrivesWhileStoppedComesAfterTheNextStart) {
  SocketCanPort port({{"can0"}}, 1, Kernel);
  port.Connect();
  ASSERT_EQ(Send(port, 1, Commands.Configure), 0u);
  ASSERT_EQ(Send(port, 1, Commands.Start), 0u);
  ASSERT_EQ(Send(port, 1, Commands.Stop), 0u);
  Kernel.Arrive(FrameMessage(7, {}));
  EXPECT_TRUE(test::WaitUntil([&] { return port.Status().Buffered == 1; }));
  ASSERT_EQ(Send(port, 1, Commands.Start), 0u);
  EXPECT_EQ(Poll(port), std::vector<unsigned int>{7});
}

TEST_F(SocketCanPortTest, InterfaceIsFreeOnceThePortIsClosed) {
  SocketCanPort port({{"can0"}}, 1, Kernel);
  EXPECT_EQ(Kernel.OpenSockets(), 0);
  port.Connect();
  ASSERT_EQ(Send(port, 1, Commands.Configure), 0u);
  ASSERT_EQ(Send(port, 1, Commands.Start), 0u);
  EXPECT_EQ(Kernel.OpenSockets(), 1);
  port.Close();
  EXPECT_EQ(Kernel.OpenSockets(), 0);
}

TEST_F(SocketCanPortTest, InterfaceThatCannotBeOpenedIsExplained) {
  const std::pair<int, const char*> cases[] = {
      {EAFNOSUPPORT, "Cannot open can0: this kernel has no CAN: load it with \"sudo modprobe can_raw\"."},
      {ENODEV, "Cannot open can0: there is no CAN interface can0."},
      {EPERM, "Cannot open can0: this program may not open CAN interfaces."},
      {EMFILE, "Cannot open can0: Too many open files."},
  };
  for (const auto& [error, text] : cases) {
    Kernel.OpenError = error;
    const Thrown thrown = ThrownBy([&] { const SocketCanPort port({{"can0"}}, 1, Kernel); });
    EXPECT_EQ(thrown.Code, unsigned{QOR_SIM_ERROR_INTERFACE});
    EXPECT_EQ(thrown.Text, text);
  }
}

TEST_F(SocketCanPortTest, StartFailsWhereTheInterfaceIsGoneByThen) {
  SocketCanPort port({{"can0"}}, 1, Kernel);
  port.Connect();
  ASSERT_EQ(Send(port, 1, Commands.Configure), 0u);
  Kernel.OpenError = ENODEV;
  EXPECT_EQ(Send(port, 1, Commands.Start), unsigned{QOR_SIM_ERROR_INTERFACE});
  Kernel.OpenError = 0;
  EXPECT_EQ(Send(port, 1, Commands.Start), 0u);
}
