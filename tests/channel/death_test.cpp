// What ends the process: programming errors, and a receive thread without its buffer.
#include <gtest/gtest.h>

#include <cstdio>

#include "channel/ChannelTest.h"
#include "support/FailingAllocator.h"

using namespace test;

namespace {

class ChannelDeathTest : public testing::Test {
 protected:
  ChannelDeathTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

/// Lets the reports be seen by who watches the dying process.
void PrintReports() {
  Qor_Sim_SetReportCallback(
      [](void*, const Qor_Sim_Report_t* report) {
        std::fprintf(stderr, "report %x %x %s\n", report->Level, report->Code, report->Text);
      },
      nullptr);
}

/// Stops the monitor of a channel's interface by the channel's own connection.
void StopBehindItsBack(const ScriptedInterface& can) {
  Qor_Sim_Command_t configuration{};
  Qor_Sim_GetCommand(can.Port(), 0, &configuration);
  const unsigned char stop[] = {0x0D, 1, 0, 0};
  unsigned char response[1012];
  unsigned int length = sizeof response;
  Qor_CommandWithResponseEx(configuration.Handle, 0, 0x50, 1, stop, sizeof stop, response, &length);
}

/// For the dying process, which would otherwise live on and say so.
void WaitForTheEnd() {
  static_cast<void>(WaitUntil([] { return false; }));
}

}  // namespace

TEST_F(ChannelDeathTest, ReceiveThreadWithoutItsBufferReportsFirst) {
  EXPECT_DEATH(
      {
        PrintReports();
        ScriptedInterface can;
        const auto channel = NewChannel(can);
        const FailingAllocator exhausted(FailingAllocator::OtherThreads, 1, FailingAllocator::FromThenOn);
        channel->Start();
        WaitForTheEnd();
      },
      "report ff 214000c could not allocate buffer for receive thread\nterminate called");
}

TEST_F(ChannelDeathTest, DeliveringToNobodyEndsTheProcess) {
  EXPECT_DEATH(
      {
        ScriptedInterface can;
        can.NextItems({Frame(1)});
        const auto channel = NewChannel(can);
        channel->Start();
        WaitForTheEnd();
      },
      "bad_function_call");
}

TEST_F(ChannelDeathTest, StartOfAChannelWhoseThreadExistsEndsTheProcess) {
  EXPECT_DEATH(
      {
        ScriptedInterface can;
        const auto channel = NewChannel(can);
        channel->Start();
        StopBehindItsBack(can);  // so that the interface may be started again
        channel->Start();
      },
      "terminate called without an active exception");
}
