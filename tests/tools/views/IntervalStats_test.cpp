#include "views/IntervalStats.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "tools/ClientEntries.h"
#include "views/Summary.h"

namespace client {
namespace {

constexpr unsigned long kSecond = 1'000'000'000;

Bytes CanAt(unsigned long time) { return RecordOf(test::CanItem().At(time).Id(7).Data({1, 2, 3, 4})); }

TEST(IntervalStats, EachLookSaysWhatCameSinceTheOneBefore) {
  IntervalStats stats;
  Put(stats, CanAt(kSecond));
  Put(stats, CanAt(kSecond + 5));
  Put(stats, RecordOf(test::CanItem().At(kSecond + 6).ErrorFrame(1)));
  Put(stats, RecordOf(test::LinItem().Channel(2).At(kSecond + 7).Data({1}, 2)));
  stats.Look({.Elapsed = kSecond}, {});
  const nlohmann::json first = stats.Json();
  EXPECT_EQ(first["index"], 1);
  EXPECT_EQ(first["interval_ns"], kSecond);
  EXPECT_EQ(first["from_time_ns"], kSecond);
  EXPECT_EQ(first["to_time_ns"], kSecond + 7);
  ASSERT_EQ(first["channels"].size(), 2u);
  EXPECT_EQ(first["channels"][0]["entries"], 3);
  EXPECT_EQ(first["channels"][0]["frames"], 2);
  EXPECT_EQ(first["channels"][0]["errors"], 1);
  EXPECT_EQ(first["channels"][0]["bytes"], 2 * CanAt(0).size() + RecordOf(test::CanItem().ErrorFrame(1)).size());
  EXPECT_EQ(first["channels"][1]["bus"], "LIN");
  Put(stats, CanAt(2 * kSecond));
  stats.Look({.Elapsed = 3 * kSecond}, {});
  const nlohmann::json second = stats.Json();
  EXPECT_EQ(second["index"], 2);
  EXPECT_EQ(second["interval_ns"], 2 * kSecond);
  EXPECT_EQ(second["from_time_ns"], kSecond + 7);
  EXPECT_EQ(second["channels"][0]["entries"], 1);
  EXPECT_EQ(second["channels"][1]["entries"], 0) << "a channel that was there stays in the list";
}

TEST(IntervalStats, AllLooksTogetherAreTheSummary) {
  IntervalStats stats;
  Summary summary;
  unsigned long entries = 0, frames = 0;
  long lost = 0;
  std::vector<Loss> losses;
  for (unsigned long index = 0; index < 1000; ++index) {
    const Bytes record =
        index % 7 == 0 ? RecordOf(test::CanItem().At(index * 1000000).ErrorFrame(1)) : CanAt(index * 1000000);
    Put(stats, record);
    Put(summary, record);
    if (index % 300 == 0) {
      losses.push_back({1, LossCause::CaptureBufferFull, index, index + 1, index + 3});
      losses.push_back({1, LossCause::Reordering, index, index + 1, 1});
    }
    if (index % 137 != 0 && index != 999) continue;
    stats.Look({}, losses);
    const nlohmann::json line = stats.Json();
    for (const auto& channel : line["channels"]) {
      entries += channel["entries"].get<unsigned long>();
      frames += channel["frames"].get<unsigned long>();
      lost += channel["lost"].get<long>();
    }
  }
  summary.SetLosses(losses);
  EXPECT_EQ(entries, summary.Entries());
  EXPECT_EQ(static_cast<unsigned long>(lost), summary.Lost());
  const nlohmann::json channel = summary.ChannelsJson()[0];
  EXPECT_EQ(frames, channel["received"].get<unsigned long>() + channel["transmitted"].get<unsigned long>());
}

TEST(IntervalStats, ALedgerThatKnowsLessThanBeforePutsTheSumRight) {
  IntervalStats stats;
  stats.Look({}, {{1, LossCause::CaptureBufferFull, 1, 2, 10}});
  EXPECT_EQ(stats.Json()["channels"][0]["lost"], 10);
  stats.Look({}, {{1, LossCause::CaptureBufferFull, 1, 3, std::nullopt}});
  EXPECT_EQ(stats.Json()["channels"][0]["lost"], -10);
}

TEST(IntervalStats, TheLoadIsThatOfTheIntervalsTraceTime) {
  IntervalStats stats;
  Put(stats, CanAt(0));
  stats.Look({}, {});
  EXPECT_TRUE(stats.Json()["channels"][0]["load_percent"]["bus"].is_null()) << "no time has passed";
  // Of 500 kbit/s a frame of four bytes takes some 80 to 95 bits, 2 us each.
  for (unsigned long index = 1; index <= 1000; ++index) Put(stats, CanAt(index * 1'000'000));
  stats.Look({}, {});
  const double load = stats.Json()["channels"][0]["load_percent"]["bus"];
  EXPECT_GT(load, 15);
  EXPECT_LT(load, 20);
  Put(stats, RecordOf(test::CanItem().Channel(2).At(3 * kSecond).Data({1})));
  stats.Look({}, {});
  EXPECT_EQ(stats.Json()["channels"][0]["load_percent"]["bus"], 0.0);
}

TEST(IntervalStats, TheDiskLastsAsLongAsItsRoomDoesAtTheRateSoFar) {
  IntervalStats stats;
  stats.Look({.Elapsed = kSecond, .Written = 1000, .Room = 100'000}, {});
  EXPECT_EQ(stats.Json()["written_bytes_per_s"], 1000);
  EXPECT_EQ(stats.Json()["full_in_s"], 100);
  stats.Look({.Elapsed = 2 * kSecond, .Written = 4000, .Room = 97'000}, {});
  EXPECT_EQ(stats.Json()["written_bytes_per_s"], 3000);
  EXPECT_EQ(stats.Json()["full_in_s"], 48);
  stats.Look({.Elapsed = 3 * kSecond, .Written = 6000, .Deleted = 1000, .Room = 97'000}, {});
  EXPECT_TRUE(stats.Json()["full_in_s"].is_null()) << "the series takes no more room than it has";
  stats.Look({.Elapsed = 4 * kSecond}, {});
  EXPECT_TRUE(stats.Json()["room_bytes"].is_null());
}

TEST(IntervalStats, ALineForPeopleSaysTheSame) {
  IntervalStats stats;
  for (unsigned long index = 0; index <= 1000; ++index) Put(stats, CanAt(index * 1'000'000));
  stats.Look({.Elapsed = 12 * kSecond, .Waiting = 3, .Written = 120'000, .Room = 36'000'000}, {});
  // 84 bits of 2 us each, stuff bits and the gap included.
  EXPECT_EQ(stats.Text().substr(0, 63), "0:12.0: 1001 frames, 0 errors, 0 lost, 3 waiting, CAN 1 16.8 %,");
  EXPECT_NE(stats.Text().find(", 9.7K/s written, disk full in 60 min"), std::string::npos) << stats.Text();
}

}  // namespace
}  // namespace client
