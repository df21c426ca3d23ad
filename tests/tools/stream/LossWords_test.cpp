// The words of losses, there and back.
#include "stream/LossWords.h"

#include <gtest/gtest.h>

namespace client {
namespace {

constexpr LossCause kAll[] = {LossCause::CaptureBufferFull, LossCause::OverrunMark, LossCause::MemoryLimit,
                              LossCause::DiskFull,          LossCause::Reordering,  LossCause::InterfaceGone};

TEST(LossWords, NumbersAreCountedOrUnknown) {
  EXPECT_EQ(ItemsText(0), "0 items");
  EXPECT_EQ(ItemsText(1), "1 item");
  EXPECT_EQ(ItemsText(std::nullopt), "an unknown number of items");
}

TEST(LossWords, NumbersAreTakenFromTheFront) {
  for (const std::optional<unsigned long> count : {std::optional(0ul), std::optional(1ul), std::optional(~0ul), {}}) {
    const std::string text = ItemsText(count) + " rest";
    std::string_view line = text;
    std::optional<unsigned long> taken = 77;
    EXPECT_TRUE(TakeItems(line, taken)) << text;
    EXPECT_EQ(taken, count);
    EXPECT_EQ(line, "rest");
  }
  for (std::string_view line : {"", "items", "3 things ", "-3 items ", "99999999999999999999 items "}) {
    std::optional<unsigned long> taken;
    EXPECT_FALSE(TakeItems(line, taken)) << line;
  }
}

TEST(LossWords, CausesComeBackFromTheirWords) {
  EXPECT_EQ(CauseText(LossCause::CaptureBufferFull), "capture buffer full");
  for (const LossCause cause : kAll) {
    EXPECT_EQ(CauseFromText(CauseText(cause)), cause);
    EXPECT_EQ(CauseFromText(Word(cause)), cause);
    std::string_view line = Fate(cause);
    LossCause taken{};
    EXPECT_TRUE(TakeFate(line, taken));
    EXPECT_EQ(taken, cause);
    EXPECT_EQ(line, "");
  }
  EXPECT_EQ(CauseFromText("capture buffer"), std::nullopt);
}

}  // namespace
}  // namespace client
