// The trace against a model of it: plain vectors, and the interface's rules written down once more.
#include <gtest/gtest.h>

#include <random>

#include "monitor/MonitorTest.h"

using namespace test;

namespace {

constexpr unsigned int kTooSmall = 0x0214000A;

/// What a monitor with one channel holds, and what it answers.
class Model {
 public:
  unsigned int Limit = 0;
  bool DiscardOldest = false;

  void Deliver(const Items& items) {
    for (const Bytes& record : RecordsOf(1, items)) Memory.push_back(record);
    Guard();
  }
  void Flush() { File.clear(), Memory.clear(); }
  [[nodiscard]] unsigned int Total() const { return static_cast<unsigned int>(File.size() + Memory.size()); }

  /// The answer to a retrieval, byte for byte.
  [[nodiscard]] Answer Get(unsigned int start, unsigned int wanted, unsigned int capacity) const {
    Answer answer{0, 0, 0, Bytes(capacity, kUntouched)};
    if (start > Total()) return answer;
    for (const Bytes& record : Chosen(start, wanted)) {
      const size_t end = (answer.Size + record.size() + 7) / 8 * 8;
      if (end > capacity) {
        answer.Code = kTooSmall;
        return answer;
      }
      std::copy(record.begin(), record.end(), answer.Buffer.begin() + answer.Size);
      answer.Size = static_cast<unsigned int>(end);
      ++answer.Count;
    }
    return answer;
  }

 private:
  void Guard() {
    if (Memory.size() < Limit) return;
    if (DiscardOldest) {
      Memory.erase(Memory.begin(), Memory.begin() + static_cast<std::ptrdiff_t>(Memory.size() / 2));
    } else {
      File.insert(File.end(), Memory.begin(), Memory.end());
      Memory.clear();
    }
  }
  /// The records that a retrieval is about. A start behind the swapped entries counts from the first one in memory.
  [[nodiscard]] Items Chosen(unsigned int start, unsigned int wanted) const {
    Items chosen;
    if (start <= File.size()) {
      chosen.assign(File.begin() + start, File.end());
      chosen.insert(chosen.end(), Memory.begin(), Memory.end());
    } else if (start < Memory.size()) {
      chosen.assign(Memory.begin() + start, Memory.end());
    }
    if (wanted != 0 && chosen.size() > wanted) chosen.resize(wanted);
    return chosen;
  }

  Items File, Memory;
};

class TraceModel : public OneChannelTest, public testing::WithParamInterface<unsigned int> {
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
    const Answer shouldBe = Expected.Get(start, count, capacity);
    ASSERT_EQ(is.Code, shouldBe.Code);
    ASSERT_EQ(is.Count, shouldBe.Count);
    ASSERT_EQ(is.Size, shouldBe.Size);
    ASSERT_EQ(is.Buffer, shouldBe.Buffer);
  }

  std::mt19937 Generator{GetParam()};
  unsigned long Time = 0;
  Model Expected;
};

INSTANTIATE_TEST_SUITE_P(Seed, TraceModel, testing::Range(1U, 9U));

}  // namespace

TEST_P(TraceModel, AnswersEveryRetrieval) {
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
