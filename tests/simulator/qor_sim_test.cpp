#include "Channel.h"

TEST(ScriptedPort, AnswersTheExactCommandsOfEachBusWithItsEmptyHead) {
  for (const int type : {4, 5, 9, 14}) {
    SCOPED_TRACE(type);
    const OpenedPort port("script?type=" + std::to_string(type) + "&instance=7");
    Channel channel(port.Handle);
    EXPECT_EQ(channel.Configure(), 0u) << Qor_Sim_ErrorText();
    EXPECT_EQ(channel.Start(), 0u) << Qor_Sim_ErrorText();
    EXPECT_EQ(channel.Poll(), 0u) << Qor_Sim_ErrorText();
    EXPECT_EQ(channel.Returned(), channel.Commands.EmptyResponse);
    EXPECT_EQ(channel.Stop(), 0u) << Qor_Sim_ErrorText();
  }
}
