#include "recording/Sources.h"

#include <gtest/gtest.h>

#include "system/Failure.h"

namespace client {
namespace {

Source Planned(const std::string& typed, const SourceDefaults& defaults = {}) {
  return PlanSource(typed, defaults, "/where");
}

TEST(Sources, LogFileIsACandumpReplay) {
  EXPECT_EQ(Planned("x.log").Text, "candump:/where/x.log");
  EXPECT_EQ(Planned("sub/x.log?speed=max").Text, "candump:/where/sub/x.log?speed=max");
  EXPECT_EQ(Planned("/elsewhere/x.log").Text, "candump:/elsewhere/x.log");
  EXPECT_EQ(Planned("./a:b.log").Text, "candump:/where/a:b.log");
}

TEST(Sources, CapturesAndTablesAreReplaysToo) {
  EXPECT_EQ(Planned("x.pcap").Text, "pcap:/where/x.pcap");
  EXPECT_EQ(Planned("x.pcapng?direction=tx").Text, "pcap:/where/x.pcapng?direction=tx");
  EXPECT_EQ(Planned("sub/x.csv?bus=lin").Text, "csv:/where/sub/x.csv?bus=lin");
  EXPECT_EQ(Planned("csv:x.csv").Text, "csv:/where/x.csv");
  EXPECT_EQ(Planned("pcap:x.log").Text, "pcap:/where/x.log");
}

TEST(Sources, OtherSourcesStayAsTheyAreButForTheirPath) {
  EXPECT_EQ(Planned("can").Text, "can");
  EXPECT_EQ(Planned("can?seed=4&load=2").Text, "can?seed=4&load=2");
  EXPECT_EQ(Planned("candump:../x.txt?interface=can0").Text, "candump:/x.txt?interface=can0");
  EXPECT_EQ(Planned("new-kind:x").Text, "new-kind:/where/x");
  EXPECT_EQ(Planned("can?seed=4").Shown, "can?seed=4");
}

TEST(Sources, DefaultsGoWhereTheSourceSaysNothing) {
  EXPECT_EQ(Planned("x.log", {"max", "5s"}).Text, "candump:/where/x.log?speed=max");
  EXPECT_EQ(Planned("can?seed=2", {"3", "5s"}).Text, "can?seed=2&speed=3&duration=5s");
  EXPECT_EQ(Planned("can?speed=2&duration=1s", {"3", "5s"}).Text, "can?speed=2&duration=1s");
  for (const std::string kind : {"lin", "flexray", "ethernet", "vehicle"})
    EXPECT_EQ(Planned(kind, {"max", "5s"}).Text, kind + "?speed=max&duration=5s");
}

TEST(Sources, LargeLettersInAnExtensionMeanTheSame) {
  EXPECT_EQ(Planned("X.LOG").Text, "candump:/where/X.LOG");
  EXPECT_EQ(Planned("X.Csv").Text, "csv:/where/X.Csv");
}

TEST(Sources, WhatBecomesOfBadLinesIsAskedOfTextRecordingsOnly) {
  const SourceDefaults skip{"", "", "skip"};
  EXPECT_EQ(Planned("x.log", skip).Text, "candump:/where/x.log?bad_lines=skip");
  EXPECT_EQ(Planned("x.csv?bad_lines=refuse", skip).Text, "csv:/where/x.csv?bad_lines=refuse");
  EXPECT_EQ(Planned("x.pcap", skip).Text, "pcap:/where/x.pcap");
  EXPECT_EQ(Planned("can", skip).Text, "can");
  EXPECT_EQ(Planned("sub/x.log?speed=max").File, "sub/x.log");
}

TEST(Sources, InterfacesOfThisMachineStayAsTheyAre) {
  const SourceDefaults defaults{"1", "5s", "skip", "utc"};
  for (const std::string text : {"can0", "eth0?promisc=off", "socketcan:can0", "socketcan:can0?id=100:7F0"}) {
    EXPECT_EQ(Planned(text, defaults).Text, text);
    EXPECT_EQ(Planned(text, defaults).Speed, 1);
    EXPECT_EQ(Planned(text, defaults).File, "");
    EXPECT_FALSE(FileOf(text)) << text;
  }
}

TEST(Sources, WhatIsSimulatedBesideThemIsInUtc) {
  const SourceDefaults utc{"", "", "", "utc"};
  EXPECT_EQ(Planned("can?seed=2", utc).Text, "can?seed=2&clock=utc");
  EXPECT_EQ(Planned("x.pcap", utc).Text, "pcap:/where/x.pcap?clock=utc");
  EXPECT_EQ(Planned("lin?clock=own", utc).Text, "lin?clock=own");
  EXPECT_EQ(Planned("script", utc).Text, "script");
}

TEST(Sources, WhatOnlyTheStandInHasIsKnownByItsKind) {
  for (const char* typed : {"can", "vehicle?seed=1", "x.log", "pcap:x", "socketcan:can0", "packet:eth0", "script"})
    EXPECT_TRUE(NeedsStandIn(typed)) << typed;
  for (const char* typed : {"can0", "CAN 1", "usb:1", "eth0?promisc=off", ""})
    EXPECT_FALSE(NeedsStandIn(typed)) << typed;
}

TEST(Sources, SpeedIsAFactorAndMaxIsNone) {
  EXPECT_EQ(Planned("can").Speed, 1);
  EXPECT_EQ(Planned("can?seed=1&speed=2.5").Speed, 2.5);
  EXPECT_EQ(Planned("can?speed=max").Speed, 0);
  EXPECT_EQ(Planned("can", {"10", ""}).Speed, 10);
}

TEST(Sources, SeveralOnesWithoutAnEndAreRefusedAtSpeedMax) {
  const auto planned = [](const std::vector<std::string>& typed, const SourceDefaults& defaults = {}) {
    return PlanSources(typed, defaults, "/where").size();
  };
  EXPECT_THROW((void)planned({"vehicle?speed=max"}), UsageError);
  EXPECT_THROW((void)planned({"can", "lin"}, {"max"}), UsageError);
  EXPECT_THROW((void)planned({"can?duration=1s&speed=max", "lin?speed=max"}), UsageError);
  EXPECT_EQ(planned({"can?speed=max"}), 1U);  // not merged with any
  EXPECT_EQ(planned({"vehicle"}, {"max", "1s"}), 4U);
  EXPECT_EQ(planned({"vehicle?speed=1000"}), 4U);
  EXPECT_EQ(planned({"can", "lin?gone=1s"}, {}), 2U);
}

}  // namespace
}  // namespace client
