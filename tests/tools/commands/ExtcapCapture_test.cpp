#include "commands/ExtcapCapture.h"

#include <gtest/gtest.h>

namespace client {
namespace {

using Words = std::vector<std::string>;

TEST(ExtcapCapture, SourcesAreSeparatedByBlanks) {
  EXPECT_EQ(SourcesIn("can0"), Words{"can0"});
  EXPECT_EQ(SourcesIn("  can0\tcan1  lin?seed=7 "), (Words{"can0", "can1", "lin?seed=7"}));
  EXPECT_EQ(SourcesIn(""), Words{});
  EXPECT_EQ(SourcesIn("  "), Words{});
}

TEST(ExtcapCapture, QuotesKeepBlanks) {
  EXPECT_EQ(SourcesIn(R"("/my files/x.log" can0)"), (Words{"/my files/x.log", "can0"}));
  EXPECT_EQ(SourcesIn(R"(candump:"/my files/x"?speed=2 can0)"), (Words{"candump:/my files/x?speed=2", "can0"}));
  EXPECT_EQ(SourcesIn(R"("/my files/x.log)"), Words{"/my files/x.log"});
}

}  // namespace
}  // namespace client
