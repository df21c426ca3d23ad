#include "commands/ExtcapText.h"

#include <gtest/gtest.h>

#include "qor_api_trace.h"

namespace client {
namespace {

const ExtcapInterface kPort = {"qor-can0", "CAN interface can0", ExtcapOrigin::Port, "can0", {BusType_Can}};
const ExtcapInterface kVehicle = {"qor-vehicle",
                                  "Simulated vehicle",
                                  ExtcapOrigin::Simulated,
                                  "vehicle",
                                  {BusType_Can, BusType_Lin, BusType_FlexRay, BusType_Ethernet}};
const ExtcapInterface kReplay = {"qor-replay", "Replay", ExtcapOrigin::Replay, "", {}};
const ExtcapInterface kSeveral = {"qor-sources", "Several", ExtcapOrigin::Several, "", {}};

TEST(ExtcapText, InterfacesFollowWhatAnswers) {
  EXPECT_EQ(InterfacesText({kPort, kVehicle}, "2.0.0"),
            "extcap {version=2.0.0}{display=qor-trace}\n"
            "interface {value=qor-can0}{display=CAN interface can0}\n"
            "interface {value=qor-vehicle}{display=Simulated vehicle}\n");
}

TEST(ExtcapText, ValuesEndNeitherTheirBracesNorTheLine) {
  const ExtcapInterface odd = {"qor-a{b}", "one\ntwo\x1b", ExtcapOrigin::Port, "", {}};
  EXPECT_EQ(InterfacesText({odd}, "1"),
            "extcap {version=1}{display=qor-trace}\n"
            "interface {value=qor-a(b)}{display=one two }\n");
}

TEST(ExtcapText, EachBusHasItsLinkType) {
  EXPECT_EQ(LinkTypesText(kPort), "dlt {number=227}{name=CAN_SOCKETCAN}{display=CAN and CAN FD}\n");
  EXPECT_EQ(LinkTypesText(kVehicle),
            "dlt {number=227}{name=CAN_SOCKETCAN}{display=CAN and CAN FD}\n"
            "dlt {number=212}{name=LIN}{display=LIN}\n"
            "dlt {number=210}{name=FLEXRAY}{display=FlexRay}\n"
            "dlt {number=1}{name=EN10MB}{display=Ethernet}\n");
}

const std::string kSourceHelpText =
    "{tooltip=As for qor-trace record, options included, such as can0?id=100:7F0 or vehicle?seed=7; several are "
    "separated by blanks}";
const std::string kSpeed =
    "arg {number=1}{call=--speed}{display=Speed}{type=selector}{tooltip=Of what is simulated or replayed}{default=1}\n"
    "value {arg=1}{value=0.1}{display=0.1}{default=false}\n"
    "value {arg=1}{value=0.5}{display=0.5}{default=false}\n"
    "value {arg=1}{value=1}{display=1, as it was}{default=true}\n"
    "value {arg=1}{value=2}{display=2}{default=false}\n"
    "value {arg=1}{value=10}{display=10}{default=false}\n"
    "value {arg=1}{value=max}{display=as fast as it goes}{default=false}\n";

std::string Rest(const std::string& filter, const std::string& duration) {
  return "arg {number=" + filter +
         "}{call=--filter}{display=Filter}{type=string}{tooltip=Only what this expression matches, such as bus == can "
         "and id in 0x100..0x1FF; beside the capture filter, which takes the same}\n"
         "arg {number=" +
         duration +
         "}{call=--duration}{display=Duration}{type=string}{tooltip=End after this much time of the trace, such as "
         "90s}\n";
}

TEST(ExtcapText, OfASimulatedBusSourceSpeedFilterAndDurationCanBeSet) {
  EXPECT_EQ(ConfigText(kVehicle), "arg {number=0}{call=--source}{display=Source}{type=string}" + kSourceHelpText +
                                      "{default=vehicle}\n" + kSpeed + Rest("2", "3"));
}

TEST(ExtcapText, AnInterfaceOfThisMachineHasNoSpeed) {
  EXPECT_EQ(ConfigText(kPort), "arg {number=0}{call=--source}{display=Source}{type=string}" + kSourceHelpText +
                                   "{default=can0}\n" + Rest("1", "2"));
}

TEST(ExtcapText, SeveralSourcesHaveToBeNamed) {
  EXPECT_EQ(ConfigText(kSeveral), "arg {number=0}{call=--source}{display=Source}{type=string}" + kSourceHelpText +
                                      "{required=true}{placeholder=can0 can1 lin?seed=7}\n" + kSpeed + Rest("2", "3"));
}

TEST(ExtcapText, ReplayAsksForAFile) {
  EXPECT_EQ(
      ConfigText(kReplay),
      "arg {number=0}{call=--file}{display=Recording}{type=fileselect}{tooltip=In any format that qor-trace convert "
      "reads}{required=true}{mustexist=true}{fileext=Recordings (*.asc *.bin *.mf4 *.log *.csv *.pcap *.pcapng "
      "*.gz *.zst)}\n" +
          kSpeed + Rest("2", "3"));
}

}  // namespace
}  // namespace client
