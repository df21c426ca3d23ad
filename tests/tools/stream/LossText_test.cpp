// Losses as lines of text, and back.
#include "stream/LossText.h"

#include <gtest/gtest.h>

namespace client {
namespace {

constexpr unsigned long kTime = 1'795'262'400'123'456'000;  // ns

TEST(LossText, IsReadBackWithEveryCause) {
  for (const LossCause cause : {LossCause::CaptureBufferFull, LossCause::OverrunMark, LossCause::MemoryLimit,
                                LossCause::DiskFull, LossCause::Reordering, LossCause::InterfaceGone}) {
    for (const auto count : {std::optional(1ul), std::optional(2ul), std::optional<unsigned long>()}) {
      const std::string text = LossText(cause, count, kTime, kTime + 1'000);
      SCOPED_TRACE(text);
      EXPECT_EQ(LossFromText(text), (Loss{1, cause, kTime, kTime + 1'999, count}));
    }
  }
}

TEST(LossText, IsASentenceForPeople) {
  EXPECT_EQ(
      LossText(LossCause::CaptureBufferFull, 311, kTime, kTime + 1'000),
      "LOST: 311 items found the capture buffer full, 2026-11-21T12:00:00.123456Z to 2026-11-21T12:00:00.123457Z");
}

TEST(LossText, OtherTextsAreNone) {
  const std::string good = LossText(LossCause::DiskFull, 3, kTime, kTime);
  for (size_t size = 0; size < good.size() - 8; ++size)
    EXPECT_EQ(LossFromText(good.substr(0, size)), std::nullopt) << size;
  for (const char* text :
       {"LOST: 3 items were dropped, 2026-11-21T12:00:00Z to 2026-11-21T12:00:00Z",
        "LOST: 99999999999999999999 items found the disk full, 2026-11-21T12:00:00Z to 2026-11-21T12:00:00Z",
        "LOST: 3 items found the disk full, 2026-11-21T12:00:01Z to 2026-11-21T12:00:00Z",
        "LOST: 3 items found the disk full 2026-11-21T12:00:01Z to 2026-11-21T12:00:00Z",
        "LOST: items found the disk full, to ", " to "})
    EXPECT_EQ(LossFromText(text), std::nullopt) << text;
}

}  // namespace
}  // namespace client
