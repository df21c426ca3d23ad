#include "stream/Findings.h"

#include <gtest/gtest.h>

#include <numeric>
#include <string>

namespace client {
namespace {

TEST(Findings, OfOneKindAndWordsAreCountedAtTheFirstPlace) {
  Findings found;
  found.AtLine(FindingKind::Unread, "a line that can't be read", 3);
  found.AtByte(FindingKind::LeftOut, "a line that can't be read", 99);
  found.AtLine(FindingKind::Unread, "a line that can't be read", 7);
  ASSERT_EQ(found.All().size(), 2u);
  EXPECT_EQ(found.All()[0].Count, 2u);
  EXPECT_EQ(found.All()[0].Where, "line 3");
  EXPECT_EQ(found.All()[1].Where, "byte 99");
}

TEST(Findings, ThatLoseSomethingAreTheUnreadAndTheCutOff) {
  for (const auto& [kind, lossy] : {std::pair{FindingKind::LeftOut, false},
                                    {FindingKind::Odd, false},
                                    {FindingKind::Unread, true},
                                    {FindingKind::CutOff, true}}) {
    Findings found;
    EXPECT_FALSE(found.Lossy());
    found.AtByte(kind, "x", 0);
    EXPECT_EQ(found.Lossy(), lossy) << Word(kind);
  }
}

TEST(Findings, OfEndlessVarietyTakeBoundedMemoryAndAreAllCounted) {
  Findings found;
  for (unsigned long place = 0; place < 10'000; ++place)
    found.AtByte(place % 2 == 0 ? FindingKind::Odd : FindingKind::Unread, std::to_string(place), place);
  EXPECT_EQ(found.All().size(), Findings::kMost);
  const auto count = [](unsigned long sum, const Finding& finding) { return sum + finding.Count; };
  EXPECT_EQ(std::accumulate(found.All().begin(), found.All().end(), 0ul, count), 10'000u);
}

TEST(Findings, OfTwoInputsAreAddedUp) {
  Findings one, other;
  one.AtByte(FindingKind::Odd, "x", 1);
  other.AtByte(FindingKind::Odd, "x", 2);
  other.AtByte(FindingKind::Odd, "y", 3);
  one.Append(other);
  ASSERT_EQ(one.All().size(), 2u);
  EXPECT_EQ(one.All()[0].Count, 2u);
}

}  // namespace
}  // namespace client
