// What becomes part of an incident, and which incidents are one.
#include "stream/BlackBox.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tools/ClientEntries.h"

namespace client {
namespace {

Bytes EntryAt(unsigned long time, size_t size = 8) {
  return RecordOf(test::CanItem().At(time).Fd().Data(Bytes(size, 0x55)));
}

/// "1[95 96 100]" for an incident with three records; open ones have no bracket at the end.
class Written : public IncidentSink {
 public:
  void Begin(const Incident& incident) override {
    Text += (Text.empty() ? "" : " ") + std::to_string(incident.Number) + "[";
    First = true;
    Incidents.push_back(incident);
  }
  bool Take(const RecordView& record) override {
    Text += (First ? "" : " ") + std::to_string(record.Timestamp());
    First = false;
    return true;
  }
  void End(const Incident& incident) override {
    Text += "]";
    Incidents.back() = incident;
  }

  std::string Text;
  std::vector<Incident> Incidents;

 private:
  bool First = true;
};

BlackBoxPlan Plan(unsigned long time, unsigned long post) {
  BlackBoxPlan plan;
  plan.Past.Time = time;
  plan.Post = post;
  return plan;
}

void PutAll(BlackBox& box, unsigned long first, unsigned long last, unsigned long step = 1) {
  for (unsigned long time = first; time <= last; time += step) EXPECT_TRUE(Put(box, EntryAt(time)));
}

TEST(BlackBox, AnIncidentHasEachRecordFromTheRingsTimeBeforeTheTriggerToThePostTimeAfterIt) {
  Written written;
  BlackBox box(written, Plan(5, 3));
  PutAll(box, 1, 99);
  box.Fire(100, "error");
  PutAll(box, 100, 200);
  box.Finish();
  EXPECT_EQ(written.Text, "1[95 96 97 98 99 100 101 102 103]");
  const Incident& incident = written.Incidents.at(0);
  EXPECT_EQ(incident.Entries, 9u);
  EXPECT_EQ(incident.FirstTime, 95u);
  EXPECT_EQ(incident.LastTime, 103u);
  EXPECT_EQ(incident.From, 95u);
  EXPECT_EQ(incident.To, 103u);
  EXPECT_FALSE(incident.PastIsShort);
  ASSERT_EQ(incident.Triggers.size(), 1u);
  EXPECT_EQ(incident.Triggers[0].By, "error");
  EXPECT_EQ(incident.Triggers[0].Time, 100u);
  EXPECT_EQ(box.LeftOut(), 200u - 9);
}

TEST(BlackBox, ThePastIsWrittenAtOnce) {
  Written written;
  BlackBox box(written, Plan(5, 3));
  PutAll(box, 1, 99);
  EXPECT_EQ(written.Text, "");
  box.Fire(100, "x");
  EXPECT_EQ(written.Text, "1[95 96 97 98 99");
}

TEST(BlackBox, ItHappensAgainAndAgain) {
  Written written;
  BlackBox box(written, Plan(2, 1), 7);
  for (unsigned long time = 10; time <= 50; ++time) {
    if (time % 20 == 0) box.Fire(time, "x");
    PutAll(box, time, time);
  }
  box.Finish();
  EXPECT_EQ(written.Text, "7[18 19 20 21] 8[38 39 40 41]");
  EXPECT_EQ(box.LeftOut(), 41u - 8);
}

TEST(BlackBox, WhatHappensWhileAnIncidentGoesOnMakesItLonger) {
  Written written;
  BlackBox box(written, Plan(2, 3));
  PutAll(box, 1, 9);
  box.Fire(10, "a");
  PutAll(box, 10, 11);
  box.Fire(12, "b");
  PutAll(box, 12, 30);
  EXPECT_EQ(written.Text, "1[8 9 10 11 12 13 14 15]");
  EXPECT_EQ(written.Incidents.at(0).TriggerCount, 2u);
  EXPECT_EQ(written.Incidents.at(0).Triggers.at(1).By, "b");
}

TEST(BlackBox, IncidentsWhosePastAndEndOverlapAreOneWithWhatLiesBetween) {
  // The first one ends at 13, the past of the second begins at 13 or 14.
  const auto with = [](unsigned long second) {
    Written written;
    BlackBox box(written, Plan(5, 3));
    PutAll(box, 1, 9);
    box.Fire(10, "a");
    PutAll(box, 10, second - 1);
    box.Fire(second, "b");
    PutAll(box, second, 40);
    box.Finish();
    return written.Text;
  };
  EXPECT_EQ(with(18), "1[5 6 7 8 9 10 11 12 13 14 15 16 17 18 19 20 21]");
  EXPECT_EQ(with(19), "1[5 6 7 8 9 10 11 12 13] 2[14 15 16 17 18 19 20 21 22]");
}

TEST(BlackBox, AnIncidentIsClosedOnceNothingCanOverlapWithIt) {
  Written written;
  BlackBox box(written, Plan(5, 3));
  box.Fire(10, "a");
  PutAll(box, 10, 18);
  EXPECT_EQ(written.Text, "1[10 11 12 13");
  PutAll(box, 20, 20);  // with 14 dropped: an incident from now on begins at 15
  EXPECT_EQ(written.Text, "1[10 11 12 13]");
}

TEST(BlackBox, ATriggerBetweenTwoRecordsCountsFromItsOwnTime) {
  Written written;
  BlackBox box(written, Plan(10, 10));
  PutAll(box, 0, 100, 4);
  box.Fire(102, "missing");
  PutAll(box, 104, 200, 4);
  EXPECT_EQ(written.Text, "1[92 96 100 104 108 112]");
}

TEST(BlackBox, ARecordThatComesLateIsInTheIncidentOfItsTimeOnly) {
  Written written;
  BlackBox box(written, Plan(5, 3));
  for (const unsigned long time : {96ul, 90ul, 97ul}) PutAll(box, time, time);
  box.Fire(100, "x");
  for (const unsigned long time : {100ul, 94ul, 104ul, 102ul, 110ul}) PutAll(box, time, time);
  box.Finish();
  EXPECT_EQ(written.Text, "1[96 97 100 102]");
  EXPECT_EQ(box.LeftOut(), 4u);
}

TEST(BlackBox, WithoutATimeTheRingReachesAsFarBackAsItsSize) {
  BlackBoxPlan plan;
  plan.Past.Size = RingPlan::kSmallest;
  Written written;
  BlackBox box(written, plan);
  PutAll(box, 1, 60'000);
  const unsigned long left = box.LeftOut();
  EXPECT_GT(left, 0u);
  box.Fire(60'000, "x");
  const Incident& incident = written.Incidents.at(0);
  EXPECT_EQ(incident.From, 0u);
  EXPECT_FALSE(incident.PastIsShort);
  EXPECT_TRUE(written.Text.starts_with("1[" + std::to_string(left + 1) + " "));
  EXPECT_TRUE(written.Text.ends_with(" 59999 60000"));
}

TEST(BlackBox, APastThatTheSizeHasCutIsSaidToBeShort) {
  BlackBoxPlan plan = Plan(50'000, 0);
  plan.Past.Size = RingPlan::kSmallest;
  Written written;
  BlackBox box(written, plan);
  PutAll(box, 1, 60'000);
  box.Fire(60'000, "x");
  EXPECT_TRUE(written.Incidents.at(0).PastIsShort);
  PutAll(box, 200'000, 200'010);
  box.Fire(200'010, "x");
  EXPECT_FALSE(written.Incidents.at(1).PastIsShort);
}

TEST(BlackBox, ManyTriggersOfOneIncidentAreCountedAndTheFirstOnesNamed) {
  Written written;
  BlackBox box(written, Plan(5, 5));
  for (unsigned long time = 0; time < 1000; ++time) {
    box.Fire(time, "x");
    PutAll(box, time, time);
  }
  box.Finish();
  ASSERT_EQ(written.Incidents.size(), 1u);
  EXPECT_EQ(written.Incidents[0].TriggerCount, 1000u);
  EXPECT_EQ(written.Incidents[0].Triggers.size(), Incident::kMostTriggers);
  EXPECT_EQ(written.Incidents[0].Entries, 1000u);
}

TEST(BlackBox, OnASilentBusAnIncidentIsClosedByTheClock) {
  std::chrono::steady_clock::time_point now;
  BlackBoxPlan plan = Plan(5'000'000'000, 3'000'000'000);
  plan.Silent = {1.0, 0};
  Written written;
  BlackBox box(written, plan, 1, [&] { return now; });
  PutAll(box, 10, 10);
  box.Fire(10, "x");
  box.Pause();
  now += std::chrono::seconds(9);
  box.Pause();
  EXPECT_EQ(written.Text, "1[10");
  now += std::chrono::nanoseconds(1);
  box.Pause();
  EXPECT_EQ(written.Text, "1[10]");
  EXPECT_EQ(box.LeftOut(), 0u);
}

}  // namespace
}  // namespace client
