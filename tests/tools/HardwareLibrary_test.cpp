#include "HardwareLibrary.h"

#include <gtest/gtest.h>

namespace client {
namespace {

TEST(NamedHardware, IsWhatFollowsTheOptionInFrontOfTheCommand) {
  const struct {
    std::vector<std::string> Arguments;
    std::string Named;
  } cases[] = {
      {{}, ""},
      {{"record", "can"}, ""},
      {{"--hardware", "x.so", "--adapter", "y.so", "ports"}, "x.so"},
      {{"--hardware=x.so", "ports"}, "x.so"},
      {{"--adapter", "y.so", "--hardware", "x.so", "ports"}, "x.so"},
      {{"--adapter", "--hardware", "ports"}, ""},
      {{"--adapter=y.so", "--hardware", "x.so", "ports"}, "x.so"},
      {{"--hardware"}, ""},
      {{"record", "--hardware", "x.so"}, ""},
      {{"record", "can", "--title", "--hardware=x.so"}, ""},
      {{"--version", "--hardware", "x.so", "list"}, "x.so"},
      {{"--version", "--hardware", "x.so"}, ""},
      {{"--hardware", "x.so", "convert", "a.bin", "-o", "b.asc"}, ""},
      {{"--hardware", "x.so", "help", "record"}, ""},
  };
  for (const auto& c : cases) EXPECT_EQ(NamedHardware(c.Arguments), c.Named) << ::testing::PrintToString(c.Arguments);
}

}  // namespace
}  // namespace client
