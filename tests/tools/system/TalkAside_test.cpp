#include <gtest/gtest.h>

#include <optional>

#include "system/Terminal.h"

namespace client {
namespace {

TEST(TalkAside, KeepsWhatIsSaidAndSaysItAtItsEnd) {
  testing::internal::CaptureStderr();
  std::optional<TalkAside> aside(std::in_place);
  Say("one");
  SayError("Two failed");
  EXPECT_EQ(aside->TakeNew(), (std::vector<std::string>{"one", "qor-trace: Two failed."}));
  EXPECT_EQ(aside->TakeNew(), std::vector<std::string>());
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  testing::internal::CaptureStderr();
  aside.reset();
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "one\nqor-trace: Two failed.\n");
}

TEST(TalkAside, OfVeryManySentencesTheFirstOnesStayAndTheOthersAreCounted) {
  testing::internal::CaptureStderr();
  {
    const TalkAside aside;
    for (size_t count = 0; count < TalkAside::kMost + 5; ++count) Say("x");
  }
  std::string all;
  for (size_t count = 0; count < TalkAside::kMost; ++count) all += "x\n";
  EXPECT_EQ(testing::internal::GetCapturedStderr(), all + "and 5 more sentences\n");
}

TEST(TalkAside, OnceItHasEndedAtOnceNothingIsKept) {
  testing::internal::CaptureStderr();
  {
    const TalkAside aside;
    Say("kept");
    TalkAside::EndAtOnce();
    Say("said");
  }
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "said\nkept\n");
}

}  // namespace
}  // namespace client
