#include "recording/TraceHandles.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <utility>

#include "support/TemporaryDirectory.h"
#include "system/Failure.h"

namespace client {
namespace {

bool IsOpen(unsigned int port) {
  Qor_Sim_Status_t status{};
  return Qor_Sim_GetStatus(port, &status) == 0;
}

TEST(Port, IsOpenAsLongAsItLives) {
  std::optional<Port> port(PlanSource("can?seed=1", {}, "/"));
  const unsigned int handle = port->Handle();
  EXPECT_TRUE(IsOpen(handle));
  port.reset();
  EXPECT_FALSE(IsOpen(handle));
}

TEST(Port, MovesWithItsOwner) {
  std::optional<Port> first(PlanSource("can?seed=1", {}, "/"));
  const unsigned int handle = first->Handle();
  std::optional<Port> second(std::move(*first));
  first.reset();
  EXPECT_EQ(second->Handle(), handle);
  EXPECT_TRUE(IsOpen(handle));
  second.reset();
  EXPECT_FALSE(IsOpen(handle));
}

TEST(Port, DescribesWhatItIsAnInterfaceTo) {
  for (const auto& [source, bus] : {std::pair{"can", BusType_Can}, std::pair{"lin", BusType_Lin},
                                    std::pair{"flexray", BusType_FlexRay}, std::pair{"ethernet", BusType_Ethernet}})
    EXPECT_EQ(Port(PlanSource(source, {}, "/")).Describe().BusType, bus) << source;
}

TEST(Port, TellsTheFirstTenLinesThatCannotBeRead) {
  const test::TemporaryDirectory directory;
  std::ofstream file("x.log");
  file << "(1.0) can0 123#01\n";
  for (int line = 2; line <= 13; ++line) file << "(1.0) can0 nonsense\n";
  file.close();
  const Port port(PlanSource("candump:x.log", {"", "", "skip"}, std::filesystem::current_path()));
  const UnreadLines lines = port.Unread();
  EXPECT_EQ(lines.Count, 12u);
  ASSERT_EQ(lines.First.size(), 10u);
  for (unsigned int index = 0; index < 10; ++index) {
    EXPECT_EQ(lines.First[index].Number, index + 2);
    EXPECT_NE(lines.First[index].Reason, "");
  }
}

TEST(Port, SourceThatTheSimulatorDoesNotUnderstandIsWrongUsage) {
  try {
    const Port port(PlanSource("can?sead=1", {}, "/"));
    FAIL();
  } catch (const UsageError& error) {
    EXPECT_NE(std::string(error.what()).find("can?sead=1"), std::string::npos) << error.what();
  }
}

}  // namespace
}  // namespace client
