// What triggers, and when that is told.
#include "stream/TriggerSink.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tools/ClientEntries.h"

namespace client {
namespace {

Bytes EntryAt(unsigned long time, unsigned int id) { return RecordOf(test::CanItem().At(time).Id(id)); }

/// What is handed on and fired, in order: "5 (error at 6) 6".
class Story : public RecordSink {
 public:
  bool Take(const RecordView& record) override {
    Add(std::to_string(record.Timestamp()));
    return true;
  }
  void Add(const std::string& word) { Text += (Text.empty() ? "" : " ") + word; }
  [[nodiscard]] TriggerSink::Call Fired() {
    return [this](unsigned long time, const std::string& by) { Add("(" + by + " at " + std::to_string(time) + ")"); };
  }
  std::string Text;
};

TEST(TriggerSink, EachTriggerIsToldInFrontOfTheRecordWithWhichItHappens) {
  Story story;
  TriggerSink sink(story, {Trigger("id == 1"), Trigger("id in 1, 2")}, {});
  sink.CallAt(story.Fired());
  for (unsigned int id = 0; id < 4; ++id) EXPECT_TRUE(Put(sink, EntryAt(id, id)));
  EXPECT_EQ(story.Text, "0 (id == 1 at 1) (id in 1, 2 at 1) 1 (id in 1, 2 at 2) 2 3");
}

TEST(TriggerSink, WhatHappensBetweenTwoRecordsIsToldBetweenThem) {
  Story story;
  TriggerSink sink(story, {Trigger("missing(id == 1) for 5ns or loss")}, {});
  sink.CallAt(story.Fired());
  EXPECT_TRUE(Put(sink, EntryAt(0, 1)));
  sink.NoteLosses({{1, LossCause::CaptureBufferFull, 7, 8, 1}});
  EXPECT_TRUE(Put(sink, EntryAt(10, 2)));
  EXPECT_EQ(story.Text, "0 (missing(id == 1) for 5ns or loss at 5) (missing(id == 1) for 5ns or loss at 7) 10");
}

TEST(TriggerSink, AButtonIsHeededWithTheNextRecordOrInAPause) {
  Story story;
  ManualTrigger button;
  TriggerSink sink(story, {}, {}, &button);
  sink.CallAt(story.Fired());
  EXPECT_TRUE(Put(sink, EntryAt(5, 1)));
  button.Fire("key");
  EXPECT_TRUE(Put(sink, EntryAt(6, 1)));
  EXPECT_TRUE(Put(sink, EntryAt(7, 1)));
  button.Fire("signal");
  button.Fire("signal");
  sink.Pause();
  sink.Pause();
  EXPECT_EQ(story.Text, "5 (key at 6) 6 7 (signal at 7)");
}

TEST(TriggerSink, AButtonThatIsPressedBeforeThereIsARecordWaitsForIt) {
  Story story;
  ManualTrigger button;
  TriggerSink sink(story, {}, {}, &button);
  sink.CallAt(story.Fired());
  button.Fire("key");
  sink.Pause();
  EXPECT_EQ(story.Text, "");
  EXPECT_TRUE(Put(sink, EntryAt(5, 1)));
  EXPECT_EQ(story.Text, "(key at 5) 5");
}

TEST(TriggerSink, OnASilentBusTheClockTells) {
  std::chrono::steady_clock::time_point now;
  Story story;
  TriggerSink sink(story, {Trigger("missing(id == 1) for 5s")}, {1.0, 0}, nullptr, [&] { return now; });
  sink.CallAt(story.Fired());
  EXPECT_TRUE(Put(sink, EntryAt(0, 1)));
  sink.Pause();
  now += std::chrono::seconds(6);
  sink.Pause();
  EXPECT_EQ(story.Text, "0 (missing(id == 1) for 5s at 5000000000)");
}

}  // namespace
}  // namespace client
