// The trace against the model of it, under random calls.
#include <gtest/gtest.h>

#include <random>

#include "monitor/MonitorTest.h"

using namespace test;

namespace {

class TraceAndModel : public OneChannelTest, public testing::WithParamInterface<unsigned int> {
 protected:
  unsigned int Random(unsigned int most) { return std::uniform_int_distribution<unsigned int>(0, most)(Generator); }

  Items RandomBatch() {
    Items items;
    for (unsigned int count = Random(20); count > 0; --count) {
      items.push_back(Frame(Random(9)).At(Time += Random(1000)).Data(Counting(Random(64), Random(255))));
    }
    return items;
  }
  void StartAnew() {
    Monitor->Stop();
    Expected.DiscardOldest = Random(1) == 1;
    Monitor->Start(Expected.DiscardOldest ? QOR_TRACE_START_DISCARD_OLDEST : 0);
  }
  void NewLimit() {
    Expected.Limit = Random(60);
    SetNumber(*Monitor, QOR_TRACE_PROPERTY_MAX_ENTRIES, Expected.Limit);
  }
  void DeliverABatch() {
    const Items items = RandomBatch();
    Deliver(items);
    if (!items.empty()) Expected.Deliver(items);  // an empty poll doesn't reach the monitor
  }
  void Flush() {
    Monitor->FlushMonitorBuffer();
    Expected.Flush();
  }
  void CompareARetrieval() {
    const unsigned int start = Random(Expected.Total() + 3);
    const unsigned int count = Random(3) == 0 ? 0 : Random(70);
    const unsigned int capacity = Random(1) == 0 ? 20000 : Random(3000);
    SCOPED_TRACE(testing::Message() << "start " << start << " count " << count << " capacity " << capacity);
    const Answer is = GetItems(*Monitor, start, count, capacity);
    const Reply shouldBe = Expected.Get(start, count, capacity);
    ASSERT_EQ(is.Code, shouldBe.Code);
    ASSERT_EQ(is.Count, shouldBe.Count);
    ASSERT_EQ(is.Size, shouldBe.Size);
    ASSERT_EQ(is.Buffer, shouldBe.Buffer);
  }

  std::mt19937 Generator{GetParam()};
  unsigned long Time = 0;
  TraceModel Expected;
};

INSTANTIATE_TEST_SUITE_P(Seed, TraceAndModel, testing::Range(1U, 9U));

}  // namespace

TEST_P(TraceAndModel, AnswersEveryRetrieval) {
  NewLimit();
  StartAnew();
  for (int step = 0; step < 40; ++step) {
    SCOPED_TRACE(testing::Message() << "seed " << GetParam() << " step " << step);
    if (Random(9) == 0) StartAnew();
    if (Random(4) == 0) NewLimit();
    if (Random(19) == 0) Flush();
    DeliverABatch();
    ASSERT_EQ(EntryCount(*Monitor), Expected.Total());
    for (int i = 0; i < 30; ++i) ASSERT_NO_FATAL_FAILURE(CompareARetrieval());
  }
}
