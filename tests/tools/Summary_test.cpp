#include "qor-trace/Summary.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "ClientEntries.h"

namespace client {
namespace {

Summary TwoChannels() {
  Summary summary;
  summary.NameChannel(1, "can?seed=1");
  summary.NameChannel(2, "quiet.log");
  Put(summary, RecordOf(test::CanItem().Channel(1).At(2000000000).Data({1})));
  Put(summary, RecordOf(test::CanItem().Channel(1).At(1000000000).Tx()));
  Put(summary, RecordOf(test::CanItem().Channel(1).At(3000000000).ErrorFrame(2)));
  Put(summary, RecordOf(test::CanItem().Channel(1).At(3500000000).Tx().RisingEdge()));
  Put(summary, RecordOf(test::CanItem().Channel(1).At(3600000000)));
  return summary;
}

TEST(Summary, EveryEntryIsCountedAsOneKind) {
  EXPECT_EQ(TwoChannels().Text(),
            "channel 1: can?seed=1\n"
            "  2 frames received, 1 transmitted, 1 error frame, 1 event, 1.000000000 s to 3.600000000 s\n"
            "channel 2: quiet.log\n"
            "  0 frames received, 0 transmitted, 0 error frames\n");
  EXPECT_EQ(TwoChannels().Entries(), 5u);
  EXPECT_FALSE(TwoChannels().Lossy());
}

TEST(Summary, TimesSpanAllChannels) {
  Summary summary = TwoChannels();
  Put(summary, RecordOf(test::CanItem().Channel(2).At(500)));
  ASSERT_TRUE(summary.Times());
  EXPECT_EQ(summary.Times()->First, 500u);
  EXPECT_EQ(summary.Times()->Last, 3600000000u);
  EXPECT_FALSE(Summary().Times());
}

TEST(Summary, LossIsCountedAndPlacedInTime) {
  Summary summary = TwoChannels();
  summary.SetLost(2, 7, {1000000000, 2500000000});
  EXPECT_TRUE(summary.Lossy());
  EXPECT_EQ(summary.Lost(), 7u);
  EXPECT_NE(summary.Text().find("  LOST: 7 items found the capture buffer full, 1.000000000 s to 2.500000000 s\n"),
            std::string::npos);
}

TEST(Summary, OverrunMarkIsALoss) {
  Summary summary = TwoChannels();
  Put(summary, RecordOf(test::CanItem().Channel(1).At(4000000000).Overrun()));
  EXPECT_TRUE(summary.Lossy());
  EXPECT_NE(summary.Text().find("  LOST: 1 overrun mark, after which data are missing, at 4.000000000 s\n"),
            std::string::npos);
}

TEST(Summary, JsonHasTimesInNanosecondsAndNullWithoutEntries) {
  Summary summary = TwoChannels();
  summary.SetLost(1, 2, {5, 6});
  const nlohmann::json json = summary.Json();
  EXPECT_EQ(
      json.dump(),
      R"([{"channel":1,"entries":5,"error_frames":1,"events":1,"first_time_ns":1000000000,"last_time_ns":3600000000,)"
      R"("lost":{"count":2,"first_time_ns":5,"last_time_ns":6},)"
      R"("overruns":{"count":0,"first_time_ns":null,"last_time_ns":null},"received":2,"source":"can?seed=1","transmitted":1},)"
      R"({"channel":2,"entries":0,"error_frames":0,"events":0,"first_time_ns":null,"last_time_ns":null,)"
      R"("lost":{"count":0,"first_time_ns":null,"last_time_ns":null},)"
      R"("overruns":{"count":0,"first_time_ns":null,"last_time_ns":null},"received":0,"source":"quiet.log","transmitted":0}])");
}

}  // namespace
}  // namespace client
