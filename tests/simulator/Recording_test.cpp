#include "Recording.h"

#include <gtest/gtest.h>

#include <sstream>

#include "Thrown.h"

using namespace qor_sim;

namespace {

using Data = std::vector<unsigned char>;

struct Played {
  uint64_t Due, Timestamp;
  Data Bytes;
  bool operator==(const Played&) const = default;
};

std::vector<Played> Drain(ItemSource& source) {
  std::vector<Played> items;
  for (const Item* item = source.Peek(); item != nullptr; item = source.Peek()) {
    items.push_back({item->Due, item->Timestamp, item->Bytes});
    source.Advance();
  }
  return items;
}

/// Parts a and b, b with the earliest item; the last byte numbers the items.
Recording TwoParts(std::optional<std::string> wanted = {}) {
  Recording recording(1, std::move(wanted));
  recording.Add("a", 300, Data{9, 0, 0, 0, 0, 0, 0, 0, 0, 1});
  recording.Add("b", 100, Data{9, 0, 0, 0, 0, 0, 0, 0, 0, 2});
  recording.Add("a", 256, Data{9, 0, 0, 0, 0, 0, 0, 0, 0, 3});
  recording.Add("a", 300, Data{9, 0, 0, 0, 0, 0, 0, 0, 0});
  return recording;
}

std::vector<std::string> LinesOf(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  ReadLines(stream, "some.file", [&](std::string_view line) { lines.emplace_back(line); });
  return lines;
}

}  // namespace

TEST(Recording, ItemsOfAPartAreSortedByTimeAndKeepTheirOrderWhenEqual) {
  EXPECT_EQ(Drain(*TwoParts().Replay("a", TimeOrigin::File)),
            (std::vector<Played>{{156, 156, {9, 156, 0, 0, 0, 0, 0, 0, 0, 3}},
                                 {200, 200, {9, 200, 0, 0, 0, 0, 0, 0, 0, 1}},
                                 {200, 200, {9, 200, 0, 0, 0, 0, 0, 0, 0}}}));
}

TEST(Recording, AbsoluteTimesAreTheFilesAndDueFromItsEarliest) {
  const auto items = Drain(*TwoParts("a").Replay("a", TimeOrigin::Absolute));
  ASSERT_EQ(items.size(), 3u);
  EXPECT_EQ(items[0], (Played{156, 256, {9, 0, 1, 0, 0, 0, 0, 0, 0, 3}}));
}

TEST(Recording, PartsAreKnownAlsoWhenTheirItemsAreNotKept) {
  EXPECT_EQ(TwoParts("a").Parts(), (std::vector<std::string>{"a", "b"}));
  EXPECT_TRUE(Drain(*TwoParts("a").Replay("b", TimeOrigin::File)).empty());
  EXPECT_TRUE(Recording(0).Parts().empty());
}

TEST(Recording, LongestItemComesBackWhole) {
  Recording recording(0);
  Data longest(65535);
  for (size_t i = 8; i < longest.size(); ++i) longest[i] = static_cast<unsigned char>(i % 251);
  recording.Add("", 0, longest);
  EXPECT_EQ(Drain(*std::move(recording).Replay("", TimeOrigin::File)), (std::vector<Played>{{0, 0, longest}}));
}

TEST(ReadLines, BlankLinesAndLineEndsAreLeftOut) {
  EXPECT_EQ(LinesOf("\r\none\r\n\n \t\ntwo \n three"), (std::vector<std::string>{"one", "two ", " three"}));
  EXPECT_TRUE(LinesOf("").empty());
}

TEST(ReadLines, FailedVisitIsNamedWithFileAndLine) {
  std::istringstream text("a\n\nb\n");
  const Thrown thrown = ThrownBy([&] {
    ReadLines(text, "some.file", [](std::string_view line) {
      if (line == "b") throw SourceError("it is a b");
    });
  });
  EXPECT_EQ(thrown.Code, unsigned{QOR_SIM_ERROR_FILE});
  EXPECT_EQ(thrown.Text, "Cannot read some.file, line 3: it is a b.");
}

TEST(ReadLines, FailedVisitIsNotedAndTheNextLineVisitedWhereLinesMayBeSkipped) {
  std::istringstream text("a\n\nb\nc\n");
  std::vector<std::string> good;
  SkippedLines skipped;
  const auto visit = [&](std::string_view line) {
    if (line == "b") throw SourceError("it is a b");
    good.emplace_back(line);
  };
  ReadLines(text, "some.file", visit, &skipped);
  EXPECT_EQ(good, (std::vector<std::string>{"a", "c"}));
  ASSERT_EQ(skipped.Count(), 1u);
  EXPECT_EQ(skipped.Kept()[0].Number, 3u);
  EXPECT_EQ(skipped.Kept()[0].Reason, "it is a b");
}

TEST(SkippedLines, AllAreCountedAndTheFirstOnesKept) {
  SkippedLines skipped;
  for (uint64_t number = 1; number <= SkippedLines::kKept + 5; ++number) skipped.Add(number, "odd");
  EXPECT_EQ(skipped.Count(), SkippedLines::kKept + 5);
  EXPECT_EQ(skipped.Kept().size(), SkippedLines::kKept);
  EXPECT_EQ(skipped.Kept().back().Number, SkippedLines::kKept);
}
