#include "linux/InterfaceList.h"

#include <gtest/gtest.h>
#include <net/if.h>
#include <net/if_arp.h>

#include "FakeKernel.h"
#include "linux/PacketDoor.h"
#include "qor_api.h"

using qor_linux::CanState;
using qor_linux::Link;
using qor_linux::Listed;
using qor_linux::StateOf;

namespace {

Link CanLink() {
  Link link;
  link.Name = "can0";
  link.Type = ARPHRD_CAN;
  link.Flags = IFF_UP | IFF_RUNNING;
  link.BitRate = 500'000;
  link.DataBitRate = 2'000'000;
  return link;
}

}  // namespace

TEST(InterfaceList, CanInterfaceCanBeRecorded) {
  FakeKernel kernel;
  const auto listed = Listed(CanLink(), kernel);
  EXPECT_STREQ(listed.Name, "can0");
  EXPECT_EQ(listed.Type, unsigned{QOR_INTERFACE_CAN});
  EXPECT_STREQ(listed.State, "up");
  EXPECT_EQ(listed.BitRate, 500'000u);
  EXPECT_EQ(listed.DataBitRate, 2'000'000u);
  EXPECT_EQ(listed.Obstacle, unsigned{QOR_SIM_OBSTACLE_NONE});
  EXPECT_STREQ(listed.Why, "");
}

TEST(InterfaceList, ObstacleIsNamed) {
  FakeKernel kernel;
  kernel.CanError = EAFNOSUPPORT;
  EXPECT_EQ(Listed(CanLink(), kernel).Obstacle, unsigned{QOR_SIM_OBSTACLE_KERNEL});
  EXPECT_STREQ(Listed(CanLink(), kernel).Why, "the kernel has no raw CAN sockets (sudo modprobe can_raw)");
  kernel.CanError = EPERM;
  EXPECT_EQ(Listed(CanLink(), kernel).Obstacle, unsigned{QOR_SIM_OBSTACLE_RIGHTS});
  Link tunnel = CanLink();
  tunnel.Type = ARPHRD_NONE;
  EXPECT_EQ(Listed(tunnel, kernel).Obstacle, unsigned{QOR_SIM_OBSTACLE_KIND});
  EXPECT_EQ(Listed(tunnel, kernel).Type, 0u);
}

TEST(InterfaceList, EthernetNeedsTheRightToCapture) {
  FakeKernel kernel;
  Link link = CanLink();
  for (const unsigned short type :
       {static_cast<unsigned short>(ARPHRD_ETHER), static_cast<unsigned short>(ARPHRD_LOOPBACK)}) {
    link.Type = type;
    EXPECT_EQ(Listed(link, kernel).Type, unsigned{QOR_INTERFACE_ETHERNET});
    EXPECT_EQ(Listed(link, kernel).Obstacle, unsigned{QOR_SIM_OBSTACLE_NONE});
  }
  kernel.CaptureError = EPERM;
  EXPECT_EQ(Listed(link, kernel).Obstacle, unsigned{QOR_SIM_OBSTACLE_RIGHTS});
  EXPECT_EQ(Listed(link, kernel).Why, qor_linux::PacketRightsAdvice());
}

TEST(InterfaceList, StateOfTheControllerIsTold) {
  Link link = CanLink();
  const std::pair<CanState, const char*> states[] = {{CanState::ErrorActive, "up"},
                                                     {CanState::ErrorPassive, "error-passive"},
                                                     {CanState::BusOff, "bus-off"},
                                                     {CanState::Unknown, "up"}};
  for (const auto& [state, text] : states) {
    link.State = state;
    EXPECT_EQ(StateOf(link), text);
  }
  link.Flags = IFF_UP;
  EXPECT_EQ(StateOf(link), "no carrier");
  link.Flags = 0;
  link.State = CanState::BusOff;
  EXPECT_EQ(StateOf(link), "down");
}

TEST(InterfaceList, NumberOfInterfacesIsToldBeforeTheyAreCopied) {
  unsigned int count = 0;
  const unsigned int result = Qor_Sim_ListInterfaces(nullptr, &count);
  if (count == 0) GTEST_SKIP() << "there is no network interface";
  EXPECT_EQ(result, unsigned{QOR_SIM_ERROR_CAPACITY});
  std::vector<Qor_Sim_HostInterface_t> list(count + 10);
  count += 10;
  EXPECT_EQ(Qor_Sim_ListInterfaces(list.data(), &count), 0u);
  EXPECT_STRNE(list[0].Name, "");
  EXPECT_EQ(Qor_Sim_ListInterfaces(list.data(), nullptr), unsigned{QOR_SIM_ERROR_ARGUMENT});
}
