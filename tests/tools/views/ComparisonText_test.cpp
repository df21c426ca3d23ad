#include "views/ComparisonText.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>

#include "tools/views/Compared.h"

namespace client {
namespace {

Bytes Frame(unsigned long time, Bytes data) {
  return RecordOf(test::CanItem().At(time).Id(0x123).Data(std::move(data)));
}

std::unique_ptr<Comparison> SomeDifferences() {
  Recording one = Drive(4), other = Without(Drive(4), 1, 2);
  one.push_back(Frame(5 * kMs, {1, 2, 3}));
  other.push_back(Frame(5 * kMs + 300, {1, 9, 3}));
  return Compared(one, other);
}

TEST(ComparisonText, DifferencesAreTwoOrThreeLines) {
  EXPECT_EQ(DifferencesText(*SomeDifferences(), {}),
            "channel 1 (CAN): only in A: 2 entries, to entry 3 at 0.002000000 s\n"
            "  A 0.001000000 s  entry 2  Id 101  CAN  Rx  DLC 2  11 22\n"
            "channel 1 (CAN): differs in time (B +0.000000300 s), data (from byte 1: 02 03, 09 03)\n"
            "  A 0.005000000 s  entry 5  Id 123  CAN  Rx  DLC 3  01 02 03\n"
            "  B 0.005000300 s  entry 3  Id 123  CAN  Rx  DLC 3  01 09 03\n");
}

TEST(ComparisonText, SumsAreToldByChannelAndInAll) {
  EXPECT_EQ(
      ComparedText(*SomeDifferences()),
      "channel 1 (CAN): 2 equal, 2 only in A, 1 different (1 in time, 1 in data)\n"
      "times: B less A is +0.000000000 s at first, +0.000000300 s at last, from +0.000000000 s to +0.000000300 s\n"
      "different: 2 equal, 2 only in A, 1 different (1 in time, 1 in data)\n");
  EXPECT_EQ(ComparedText(*Compared(Drive(4), Drive(4))), "channel 1 (CAN): 4 equal\nequal: 4 equal\n");
  EXPECT_EQ(ComparedText(*Compared(Drive(4), Drive(4)), false), "channel 1 (CAN): 4 equal\nso far: 4 equal\n");
}

TEST(ComparisonText, FurtherDifferencesAreCounted) {
  ComparisonPlan plan;
  plan.MostShown = 0;
  EXPECT_EQ(DifferencesText(*Compared(Drive(1), {}, plan), {}), "and 1 further difference\n");
}

TEST(ComparisonText, TimesAreShownAsTheyAreAskedFor) {
  const ComparedTimes times{TimeFormat::Utc, {TimeBase{0, 1795271400000000000}, TimeBase{0, 1795271400000000000}}};
  EXPECT_NE(DifferencesText(*SomeDifferences(), times).find("  A 2026-11-21T14:30:00.001000Z  entry 2"),
            std::string::npos);
}

TEST(ComparisonText, EventsOfEveryKindHaveALine) {
  const Recording records = {RecordOf(test::LinItem().WakeUp()), RecordOf(test::FlexRayItem().Kind(4)),
                             RecordOf(test::EthernetItem().Frame(Bytes(60, 1))), Bytes(28, 1)};
  const std::string text = DifferencesText(*Compared(records, {}), {});
  for (const char* const part : {"wake-up", "state", "Source 01:01:01:01:01:01", "malformed"})
    EXPECT_NE(text.find(part), std::string::npos) << text;
}

TEST(ComparisonText, JsonHasIntegerTimes) {
  const nlohmann::json differences = DifferencesJson(*SomeDifferences());
  ASSERT_EQ(differences.size(), 2u);
  EXPECT_EQ(differences[0]["what"], "only_in_a");
  EXPECT_EQ(differences[0]["count"], 2);
  EXPECT_EQ(differences[0]["last_time_ns"], 2 * kMs);
  EXPECT_EQ(differences[0]["last_entry"], 3);
  EXPECT_TRUE(differences[0]["b"].is_null());
  EXPECT_EQ(differences[1]["what"], "different");
  EXPECT_EQ(differences[1]["fields"], nlohmann::json({"time", "data"}));
  EXPECT_EQ(differences[1]["apart_ns"], 300);
  EXPECT_EQ(differences[1]["a"]["data"], "010203");
  EXPECT_EQ(differences[1]["b"]["time_ns"], 5 * kMs + 300);
  const nlohmann::json counts = CountsJson(SomeDifferences()->All());
  EXPECT_EQ(counts.dump(), R"({"different":1,"entries_a":5,"entries_b":3,"equal":2,"fields":{"data":1,"time":1},)"
                           R"("only_in_a":2,"only_in_b":0,"reordered":0})");
}

}  // namespace
}  // namespace client
