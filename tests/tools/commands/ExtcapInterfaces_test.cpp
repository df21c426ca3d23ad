#include "commands/ExtcapInterfaces.h"

#include <gtest/gtest.h>

#include "qor_api_trace.h"
#include "system/Failure.h"

namespace client {
namespace {

constexpr unsigned int kCan = 4, kEthernet = 14, kOther = 0;  // ListedPort::Type

ExtcapInterface Offered(const ListedPort& port) { return ExtcapInterfaces({port}, true).front(); }

std::vector<std::string> NamesOf(const std::vector<ExtcapInterface>& interfaces) {
  std::vector<std::string> names;
  for (const ExtcapInterface& one : interfaces) names.push_back(one.Name);
  return names;
}

TEST(ExtcapInterfaces, EveryPortIsOfferedAndThenWhatNeedsNone) {
  EXPECT_EQ(NamesOf(ExtcapInterfaces({{"can0", kCan}, {"eth0", kEthernet}, {"wg0", kOther}}, true)),
            (std::vector<std::string>{"qor-can0", "qor-eth0", "qor-wg0", "qor-sources", "qor-replay", "qor-vehicle",
                                      "qor-can", "qor-lin", "qor-flexray", "qor-ethernet"}));
}

TEST(ExtcapInterfaces, AHardwareLibraryWithoutSimulationHasNoSimulatedBuses) {
  const auto interfaces = ExtcapInterfaces({{"can", kCan}}, false);
  EXPECT_EQ(NamesOf(interfaces), (std::vector<std::string>{"qor-can", "qor-sources", "qor-replay"}));
  EXPECT_EQ(interfaces.front().Source, "can");
}

TEST(ExtcapInterfaces, PortIsTheSourceOfItsName) {
  const ExtcapInterface can = Offered({"can0", kCan});
  EXPECT_EQ(can.Source, "can0");
  EXPECT_EQ(can.Shown, "CAN interface can0");
  EXPECT_EQ(can.Origin, ExtcapOrigin::Port);
  EXPECT_EQ(can.Buses, std::vector<unsigned char>{BusType_Can});
  const ExtcapInterface ethernet = Offered({"eth0", kEthernet});
  EXPECT_EQ(ethernet.Shown, "Ethernet interface eth0");
  EXPECT_EQ(ethernet.Buses, std::vector<unsigned char>{BusType_Ethernet});
}

TEST(ExtcapInterfaces, PortThatIsCalledLikeASimulatedBusGetsALongName) {
  EXPECT_EQ(Offered({"can", kCan}).Name, "qor-port-can");
  EXPECT_EQ(Offered({"can", kCan}).Source, "socketcan:can");
  EXPECT_EQ(Offered({"replay", kEthernet}).Name, "qor-port-replay");
  EXPECT_EQ(Offered({"ethernet", kEthernet}).Source, "packet:ethernet");
}

TEST(ExtcapInterfaces, WhatCannotBeRecordedIsOfferedAndSaysWhyInAFewWords) {
  EXPECT_EQ(Offered({.Name = "eth0", .Type = kEthernet, .WhyNot = "a long story", .LacksRights = true}).Shown,
            "Ethernet interface eth0 (no rights to capture)");
  EXPECT_EQ(Offered({.Name = "wg0", .Type = kOther, .WhyNot = "a long story"}).Shown, "Interface wg0 (not recordable)");
}

// Wireshark makes names of files and settings of both.
TEST(ExtcapInterfaces, PortOfAnyNameIsOfferedUnderAPlainOne) {
  const ExtcapInterface odd = Offered({"Box 1/CAN{2}", kCan});
  EXPECT_EQ(odd.Name, "qor-Box_1_CAN_2_");
  EXPECT_EQ(odd.Shown, "CAN interface Box 1-CAN{2}");
  EXPECT_EQ(odd.Source, "\"Box 1/CAN{2}\"");
  for (const auto& one : ExtcapInterfaces({}, true)) {
    EXPECT_EQ(one.Name.find('/'), std::string::npos) << one.Name;
    EXPECT_EQ(one.Shown.find('/'), std::string::npos) << one.Shown;
  }
}

TEST(ExtcapInterfaces, InterfaceIsFoundByItsName) {
  const auto interfaces = ExtcapInterfaces({{"can0", kCan}}, true);
  EXPECT_EQ(FindInterface(interfaces, "qor-vehicle").Source, "vehicle");
  EXPECT_EQ(FindInterface(interfaces, "qor-can0").Source, "can0");
  EXPECT_THROW((void)FindInterface(interfaces, "can0"), UsageError);
}

}  // namespace
}  // namespace client
