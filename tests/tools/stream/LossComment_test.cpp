// Losses as lines of text, and back.
#include "stream/LossComment.h"

#include <gtest/gtest.h>

namespace client {
namespace {

TEST(LossComment, SaysWhatIsMissingAndWhere) {
  EXPECT_EQ(LossComment("CAN", {1, LossCause::CaptureBufferFull, 1500000000, 1612000000, 311}),
            "LOST on CAN 1: 311 items found the capture buffer full, 1.500000000 s to 1.612000000 s");
  EXPECT_EQ(LossComment("LIN", {12, LossCause::InterfaceGone, 7, 7, std::nullopt}),
            "LOST on LIN 12: an unknown number of items are missing as the interface was gone, 0.000000007 s to "
            "0.000000007 s");
}

TEST(LossComment, EveryLossComesBack) {
  for (const LossCause cause : {LossCause::CaptureBufferFull, LossCause::OverrunMark, LossCause::MemoryLimit,
                                LossCause::DiskFull, LossCause::Reordering, LossCause::InterfaceGone}) {
    for (const std::optional<unsigned long> count : {std::optional(0ul), std::optional(1ul), std::optional(~0ul), {}}) {
      const Loss loss{3, cause, 1, 1795262400123456789, count};
      EXPECT_EQ(LossFromComment(LossComment("FlexRay", loss)), loss);
    }
  }
}

TEST(LossComment, OtherTextsAreNone) {
  const std::string sound = LossComment("CAN", {1, LossCause::CaptureBufferFull, 1, 2, 3});
  ASSERT_TRUE(LossFromComment(sound));
  for (size_t length = 0; length < sound.size(); ++length) EXPECT_FALSE(LossFromComment(sound.substr(0, length)));
  for (const char* text : {
           "LOST on CAN 0: 3 items found the capture buffer full, 0.000000001 s to 0.000000002 s",
           "LOST on CAN 1: 3 items found the capture buffer full, 0.000000002 s to 0.000000001 s",
           "LOST on CAN 1: 3 items found the capture buffer full, 0.00000001 s to 0.000000002 s",
           "LOST on CAN 1: 3 items found the capture buffer full, 18446744073.709551616 s to 18446744073.709551616 s",
           "LOST on CAN 1: 99999999999999999999 items found the capture buffer full, 0.000000001 s to 0.000000002 s",
           "LOST on CAN 1: 3 items found it full, 0.000000001 s to 0.000000002 s",
           "LOST on CAN 1: 3 items found the capture buffer full, 0.000000001 s to 0.000000002 s.",
       })
    EXPECT_FALSE(LossFromComment(text)) << text;
}

}  // namespace
}  // namespace client
