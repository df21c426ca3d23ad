#include "linux/LinuxSources.h"

#include <gtest/gtest.h>

#include "simulator/Error.h"

using qor_sim::ParseSource;

namespace {

std::string Refusal(const std::string& text) {
  try {
    const auto source = ParseSource(text);
    source.Kind == "packet" ? qor_linux::ExpandPacket(source) : qor_linux::ExpandSocketCan(source);
  } catch (const qor_sim::Error& error) {
    EXPECT_EQ(error.Code(), unsigned{QOR_SIM_ERROR_SOURCE}) << text;
    return error.what();
  }
  return "";
}

}  // namespace

TEST(LinuxSources, InterfaceNeedNotBeThereToBeNamed) {
  const std::string text = "socketcan:can77?id=100:7F0&buffer=10&socket_buffer=4096";
  EXPECT_EQ(qor_linux::ExpandSocketCan(ParseSource(text)), std::vector<std::string>{text});
}

TEST(LinuxSources, WhatIsWrongWithASourceIsSaid) {
  EXPECT_NE(Refusal("socketcan").find("needs an interface"), std::string::npos);
  EXPECT_NE(Refusal("socketcan:a-name-that-is-too-long").find("15 characters"), std::string::npos);
  EXPECT_NE(Refusal("socketcan:can0?speed=2").find("no option \"speed\""), std::string::npos);
  EXPECT_NE(Refusal("socketcan:can0?id=nonsense").find("\"nonsense\""), std::string::npos);
  EXPECT_NE(Refusal("packet:eth0?promisc=maybe").find("promisc"), std::string::npos);
  EXPECT_NE(Refusal("packet:eth0?filter=no filter").find("\"no filter\""), std::string::npos);
  EXPECT_NE(Refusal("packet:eth0?fanout=2&share=3").find("share"), std::string::npos);
  EXPECT_NE(Refusal("socketcan:can0?buffer=0").find("buffer"), std::string::npos);
}

TEST(LinuxSources, FanoutBecomesASourceForEachShare) {
  EXPECT_EQ(qor_linux::ExpandPacket(ParseSource("packet:eth0?fanout=2&promisc=off")),
            (std::vector<std::string>{"packet:eth0?fanout=2&promisc=off&share=1",
                                      "packet:eth0?fanout=2&promisc=off&share=2"}));
  EXPECT_EQ(qor_linux::ExpandPacket(ParseSource("packet:eth0")), std::vector<std::string>{"packet:eth0"});
  EXPECT_THROW(qor_linux::MakePacket(ParseSource("packet:eth0?fanout=2"), 1), qor_sim::Error);
}

TEST(LinuxSources, InterfaceThatIsNotThereCannotBeOpened) {
  try {
    qor_linux::MakeSocketCan(ParseSource("socketcan:no-such-can"), 1);
    FAIL();
  } catch (const qor_sim::Error& error) {
    EXPECT_EQ(error.Code(), unsigned{QOR_SIM_ERROR_INTERFACE});
    EXPECT_EQ(std::string(error.what()).rfind("Cannot open no-such-can: ", 0), 0u) << error.what();
  }
}

TEST(LinuxSources, NameOfNoInterfaceIsNoSource) {
  EXPECT_FALSE(qor_linux::SourceOfInterface(ParseSource("no-such-if")));
  EXPECT_FALSE(qor_linux::SourceOfInterface(ParseSource("lo:path")));
}
