// When conditions happen: with a record, between two, and with none at all.
#include "stream/StreamCondition.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "stream/FilterError.h"
#include "tools/ClientEntries.h"

namespace client {
namespace {

constexpr unsigned long kMs = 1'000'000;
constexpr unsigned long kStart = 500'000 * kMs;

struct Frame {
  unsigned long Ms;
  unsigned int Id;
};

/// "12" for what happens with the record at 12 ms, "(12)" for what happens then without one.
std::string Happenings(StreamCondition& condition, const std::vector<Frame>& frames) {
  std::string text;
  const auto add = [&](const std::string& word) { text += (text.empty() ? "" : " ") + word; };
  for (const Frame& frame : frames) {
    const unsigned long time = kStart + frame.Ms * kMs;
    while (const auto moment = condition.NextMoment(time)) add("(" + std::to_string((*moment - kStart) / kMs) + ")");
    const Bytes record = frame.Id == 0 ? RecordOf(test::CanItem().At(time).ErrorFrame(3))
                                       : RecordOf(test::CanItem().At(time).Id(frame.Id));
    if (condition.Take(ViewOf(record))) add(std::to_string(frame.Ms));
  }
  return text;
}

std::string Happenings(const std::string& expression, const std::vector<Frame>& frames) {
  StreamCondition condition(expression);
  return Happenings(condition, frames);
}

TEST(StreamCondition, AFilterHappensWithEachRecordThatItMatches) {
  EXPECT_EQ(Happenings("id == 1", {{0, 1}, {1, 2}, {2, 1}, {3, 1}}), "0 2 3");
  EXPECT_EQ(Happenings("not id == 1", {{0, 1}, {1, 2}, {2, 0}}), "1 2");
  EXPECT_EQ(Happenings("error or id == 2", {{0, 1}, {1, 2}, {2, 0}}), "1 2");
}

TEST(StreamCondition, WhatIsMissingHappensOnceItsTimeIsOverAndAgainOnlyAfterItCame) {
  EXPECT_EQ(Happenings("missing(id == 1) for 10ms", {{0, 1}, {5, 2}, {10, 2}, {11, 2}, {30, 2}, {40, 1}, {51, 2}}),
            "(10) (50)");
}

TEST(StreamCondition, WhatComesAtTheVeryEndOfItsTimeIsNotMissing) {
  EXPECT_EQ(Happenings("missing(id == 1) for 10ms", {{0, 1}, {10, 1}, {20, 1}, {31, 1}}), "(30)");
}

TEST(StreamCondition, WhatNeverCameIsMissingFromTheFirstRecordOn) {
  EXPECT_EQ(Happenings("missing(id == 1) for 10ms", {{100, 2}, {109, 2}, {111, 2}}), "(110)");
}

TEST(StreamCondition, AnAbsenceHoldsTogetherWithTheFieldsOfRecordsThatComeMeanwhile) {
  const std::string expression = "missing(id == 1) for 10ms and id == 2";
  EXPECT_EQ(Happenings(expression, {{0, 1}, {5, 2}, {11, 3}, {12, 2}, {13, 2}, {14, 1}, {15, 2}}), "12 13");
}

TEST(StreamCondition, TwoAbsencesHoldTogetherFromTheLaterOneOn) {
  const std::string expression = "missing(id == 1) for 10ms and missing(id == 2) for 20ms";
  EXPECT_EQ(Happenings(expression, {{0, 1}, {1, 2}, {15, 3}, {22, 3}, {30, 3}}), "(21)");
  EXPECT_EQ(Happenings(expression, {{0, 1}, {1, 2}, {15, 2}, {30, 1}, {36, 3}, {41, 3}}), "(40)");
}

TEST(StreamCondition, EitherSideOfAnOutermostOrHappensByItself) {
  const std::string expression = "missing(id == 1) for 10ms or error or missing(id == 2) for 12ms";
  EXPECT_EQ(Happenings(expression, {{0, 1}, {5, 0}, {11, 3}, {11, 0}, {20, 0}}), "5 (10) 11 (12) 20");
}

TEST(StreamCondition, WhatIsMissingNoMoreHappensWithTheRecordThatEndsIt) {
  EXPECT_EQ(Happenings("not missing(id == 1) for 10ms", {{0, 2}, {20, 2}, {21, 1}, {22, 1}}), "21");
}

TEST(StreamCondition, AnAbsenceDependsOnNoRecordThatComesLaterThanItsTime) {
  EXPECT_EQ(Happenings("missing(id == 1) for 10ms", {{0, 1}, {30, 2}, {12, 1}, {31, 2}, {32, 1}, {50, 2}}),
            "(10) (42)");
}

TEST(StreamCondition, TimeThatPassesWithoutAnyRecordIsEnough) {
  StreamCondition condition("missing(id == 1) for 10ms");
  EXPECT_EQ(Happenings(condition, {{0, 1}}), "");
  EXPECT_EQ(condition.NextMoment(kStart + 10 * kMs), std::nullopt);
  EXPECT_EQ(condition.NextMoment(kStart + 10 * kMs + 1), kStart + 10 * kMs);
  EXPECT_EQ(condition.NextMoment(kStart + 10 * kMs + 1), std::nullopt);
  EXPECT_EQ(condition.NextMoment(kStart + 1000 * kMs), std::nullopt);
  EXPECT_EQ(Happenings(condition, {{1001, 1}, {1012, 2}}), "(1011)");
}

TEST(StreamCondition, TheLongestTimeIsNeverOver) {
  EXPECT_EQ(Happenings("missing(id == 1) for 5124095h", {{0, 1}, {1'000'000'000, 2}}), "");
}

Loss LossAt(unsigned long ms, unsigned long lastMs, LossCause cause = LossCause::CaptureBufferFull) {
  return {1, cause, kStart + ms * kMs, kStart + lastMs * kMs, 1};
}

TEST(StreamCondition, ALossHappensOnceWhenTheStreamHasReachedItsBegin) {
  StreamCondition condition("loss");
  condition.NoteLosses({LossAt(5, 7), LossAt(20, 20), LossAt(40, 41)});
  EXPECT_EQ(Happenings(condition, {{0, 1}, {4, 1}, {5, 1}, {6, 1}, {20, 1}, {21, 1}}), "(5) (20)");
  condition.NoteLosses({LossAt(5, 7), LossAt(20, 30), LossAt(40, 45)});
  EXPECT_EQ(Happenings(condition, {{50, 1}}), "(40)");
}

TEST(StreamCondition, ALossThatIsFoundLaterHappensThen) {
  StreamCondition condition("loss");
  EXPECT_EQ(Happenings(condition, {{0, 1}, {10, 1}}), "");
  condition.NoteLosses({LossAt(5, 7)});
  EXPECT_EQ(Happenings(condition, {{11, 1}}), "(10)");
}

TEST(StreamCondition, WhatWasLostBeforeTheBeginningAndWhatIsOnlyOutOfOrderIsNoLoss) {
  StreamCondition condition("loss");
  condition.NoteLosses({LossAt(5, 15), LossAt(12, 12, LossCause::Reordering)});
  EXPECT_EQ(Happenings(condition, {{10, 1}, {20, 1}}), "");
  condition.NoteLosses({LossAt(5, 15), LossAt(8, 9)});
  EXPECT_EQ(Happenings(condition, {{30, 1}}), "");
}

TEST(StreamCondition, AnOverrunMarkIsALossInFrontOfTheNextRecordOfAnyChannel) {
  StreamCondition condition("loss");
  std::string text;
  unsigned long time = kStart;
  for (const bool marked : {false, true, true, false, false, true, false}) {
    test::CanItem item = test::CanItem().At(time);
    const Bytes record = RecordOf(marked ? item.Overrun() : item);
    text += condition.NextMoment(time) ? "loss " : "";
    EXPECT_FALSE(condition.Take(ViewOf(record)));
    text += marked ? "mark " : "plain ";
    time += kMs;
  }
  EXPECT_EQ(text, "plain mark loss mark plain plain mark loss plain ");
  condition.NoteLosses({{1, LossCause::OverrunMark, kStart + kMs, kStart + 3 * kMs, std::nullopt},
                        {1, LossCause::OverrunMark, kStart + 5 * kMs, kStart + 6 * kMs, std::nullopt}});
  EXPECT_EQ(condition.NextMoment(time), std::nullopt);
}

TEST(StreamCondition, ALossIsAMomentAndAnAbsenceLasts) {
  StreamCondition condition("loss and missing(id == 1) for 10ms");
  condition.NoteLosses({LossAt(5, 5), LossAt(15, 15), LossAt(17, 17)});
  EXPECT_EQ(Happenings(condition, {{0, 1}, {12, 2}, {20, 2}}), "(15) (17)");
}

struct Case {
  const char* Expression;
  const char* Sentence;
  const char* Marks;  // below the expression
};

constexpr Case kMistakes[] = {
    {"missing", "missing needs an expression in parentheses and a time, as in missing(id == 0x123) for 200ms",
     "^^^^^^^"},
    {"missing id == 1 for 2s",
     "missing needs an expression in parentheses and a time, as in missing(id == 0x123) for 200ms", "^^^^^^^"},
    {"missing(id == 1)", "\"for\" and a time are expected here, as in missing(id == 0x123) for 200ms",
     "                ^"},
    {"missing(id == 1, 200ms)", "The time comes after the parenthesis, as in missing(id == 0x123) for 200ms",
     "               ^"},
    {"missing(id == 1) for", "A time is expected here, such as 200ms, 5s or 1m30s", "                    ^"},
    {"missing(id == 1) for 200", "A time is expected here, such as 200ms, 5s or 1m30s", "                     ^^^"},
    {"missing(id == 1) for 5 parsecs", "A time is expected here, such as 200ms, 5s or 1m30s",
     "                     ^^^^^^^^^"},
    {"missing(id == 1) for ever", "A time is expected here, such as 200ms, 5s or 1m30s", "                     ^^^^"},
    {"missing(id == 1) for 0ms", "Nothing is missing for a time of 0; write one such as 200ms",
     "                     ^^^"},
    {"missing(id == 1) for 1s 2", "\"and\", \"or\" or the end is expected here", "                        ^"},
    {"missing(idd == 1) for 1s", "There is no field \"idd\"; did you mean id?", "        ^^^"},
    {"missing(id == 1 for 1s", "\"and\", \"or\" or the end is expected here", "                ^^^"},
    {"missing(missing(fd) for 1s) for 2s",
     "What is missing is described by fields alone, as in missing(id == 0x123) for 200ms", "        ^^^^^^^"},
    {"missing(loss) for 2s", "What is missing is described by fields alone, as in missing(id == 0x123) for 200ms",
     "        ^^^^"},
    {"mising(fd) for 1s", "There is no field \"mising\"; did you mean missing?", "^^^^^^"},
    {"error or los", "There is no field \"los\"; did you mean loss?", "         ^^^"},
    {"id == 1 and loss", "A loss lies between two entries, so it never holds together with fields of one; overrun does",
     "            ^^^^"},
    {"", "The expression is empty; write one such as bus == can and id == 0x123", "^"},
};

TEST(StreamCondition, MistakesAreMarkedWhereTheyAre) {
  for (const Case& row : kMistakes) {
    try {
      const StreamCondition condition(row.Expression);
      ADD_FAILURE() << row.Expression << " was understood";
    } catch (const FilterError& error) {
      EXPECT_STREQ(error.what(), row.Sentence);
      EXPECT_EQ(error.Lines(100), "  " + std::string(row.Expression) + "\n  " + row.Marks) << row.Expression;
    }
  }
}

TEST(StreamCondition, TimesAreWrittenAsEverywhere) {
  for (const char* time : {"10ms", "10 ms", "0.01s", "9ms1000us"})
    EXPECT_EQ(Happenings("Missing(id == 1) FOR " + std::string(time) + " or error", {{0, 1}, {11, 2}}), "(10)") << time;
}

TEST(StreamCondition, AFilterIsToldWhatIsForConditionsOnly) {
  for (const std::string expression : {"missing(fd) for 1s", "loss"}) {
    try {
      const Filter filter(expression);
      ADD_FAILURE() << expression;
    } catch (const FilterError& error) {
      const std::string word = expression.substr(0, expression.find('('));
      EXPECT_EQ(error.what(),
                word + " is for --start-on, --stop-on and --trigger; a filter looks at one entry by itself");
    }
  }
}

}  // namespace
}  // namespace client
