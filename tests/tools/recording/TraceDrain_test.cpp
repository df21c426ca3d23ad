// The recipe of TraceDrain.h against a trace that retrieves, swaps and addresses as a monitor does.
#include "recording/TraceDrain.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <tuple>

#include "tools/FakeTrace.h"

namespace {

constexpr unsigned int Monitor = 1;

/// Checks each entry as it comes: the index that stands in it, its length and its bytes.
class Reader {
 public:
  bool operator()(const RecordView& record) {
    const auto bytes = record.Bytes();
    const std::vector<unsigned char> expected = FakeTrace::Entry(Read, record.Length());
    if (!std::equal(bytes.begin(), bytes.end(), expected.begin(), expected.end())) ++Wrong;
    if (reinterpret_cast<unsigned long>(bytes.data()) % 8 != 0) ++Unaligned;
    ++Read;
    return true;
  }
  unsigned int Read = 0;
  unsigned int Wrong = 0;
  unsigned int Unaligned = 0;
};

class DrainTest : public testing::Test {
 protected:
  void SetUp() override { FakeTrace::The().Reset(1); }
  void TearDown() override { FakeTrace::The().Reset(1); }

  FakeTrace& Trace = FakeTrace::The();
};

std::vector<unsigned int> Canlike(unsigned int count) { return std::vector<unsigned int>(count, 52); }

TEST_F(DrainTest, EmptyTraceGivesNothing) {
  Reader reader;
  TraceDrain drain(Monitor);
  EXPECT_EQ(drain.Pull(std::ref(reader)), QOR_TRACE_STATUS_OK);
  EXPECT_EQ(reader.Read, 0u);
}

TEST_F(DrainTest, FakeAddressesTheStoreByTheStartItselfBehindSwappedEntries) {
  // The trap that the recipe is for: five entries swapped, three in memory, and entry 6 can't be had at 6.
  Trace.Reset(5);
  Trace.AddBatch(Canlike(5));
  Trace.AddBatch(Canlike(3));
  std::vector<unsigned char> buffer(1000);
  unsigned int count = 1, size = 1000;
  EXPECT_EQ(Qor_Trace_GetItems(Monitor, 0, 6, &count, &size, buffer.data()), QOR_TRACE_STATUS_OK);
  EXPECT_EQ(count, 0u);
  count = 1, size = 1000;
  EXPECT_EQ(Qor_Trace_GetItems(Monitor, 0, 5, &count, &size, buffer.data()), QOR_TRACE_STATUS_OK);
  EXPECT_EQ(count, 1u);
}

TEST_F(DrainTest, EntriesBehindSwappedOnesAreFound) {
  Trace.Reset(5);
  Reader reader;
  TraceDrain drain(Monitor);
  for (const unsigned int batch : {3u, 1u, 1u, 2u, 1u, 1u, 4u, 3u}) {
    Trace.AddBatch(Canlike(batch));
    EXPECT_EQ(drain.Pull(std::ref(reader)), QOR_TRACE_STATUS_OK);
    EXPECT_EQ(reader.Read, Trace.EntryCount());
  }
  EXPECT_EQ(reader.Wrong, 0u);
}

TEST_F(DrainTest, DeclinedEntryComesAgain) {
  Trace.Reset(3);
  Trace.AddBatch(Canlike(3));
  Trace.AddBatch(Canlike(2));
  TraceDrain drain(Monitor);
  Reader reader;
  unsigned int offers = 0;
  const auto everyOther = [&](const RecordView& record) { return ++offers % 2 == 0 && reader(record); };
  for (int pull = 0; pull < 20; ++pull) EXPECT_EQ(drain.PullAll(everyOther), QOR_TRACE_STATUS_OK);
  EXPECT_EQ(reader.Read, 5u);
  EXPECT_EQ(reader.Wrong, 0u);
}

TEST_F(DrainTest, UnknownMonitorGivesItsStatus) {
  TraceDrain drain(7);
  Reader reader;
  EXPECT_EQ(drain.Pull(std::ref(reader)), QOR_TRACE_STATUS_UNKNOWN_HANDLE);
  EXPECT_EQ(reader.Read, 0u);
}

TEST_F(DrainTest, RecordThatContradictsItselfEndsInAFileError) {
  Trace.Reset(1000);
  Trace.AddBatch(Canlike(3));
  for (const unsigned int length : {0u, 27u, 500u, 0xFFFFFFFFu}) {
    SCOPED_TRACE(length);
    Trace.Store[2] = FakeTrace::Entry(2, 52);
    std::memcpy(Trace.Store[2].data(), &length, 4);
    Reader reader;
    TraceDrain drain(Monitor);
    EXPECT_EQ(drain.Pull(std::ref(reader)), QOR_TRACE_STATUS_FILE_ERROR);
    EXPECT_EQ(reader.Read, 2u);
  }
}

TEST_F(DrainTest, IdlePullCopiesNothing) {
  Trace.Reset(1000);
  for (int batch = 0; batch < 70; ++batch) Trace.AddBatch(Canlike(50));
  Reader reader;
  TraceDrain drain(Monitor);
  EXPECT_EQ(drain.PullAll(std::ref(reader)), QOR_TRACE_STATUS_OK);
  EXPECT_EQ(reader.Read, 3500u);
  const unsigned long calls = Trace.Calls, copied = Trace.Copied;
  for (int pull = 0; pull < 10; ++pull) EXPECT_EQ(drain.Pull(std::ref(reader)), QOR_TRACE_STATUS_OK);
  EXPECT_EQ(Trace.Calls - calls, 10u) << "the entry count says that nothing is new";
  EXPECT_EQ(Trace.Copied, copied);
}

TEST_F(DrainTest, NoCallOfOrdinaryEntriesIsTooSmallForItsBuffer) {
  Trace.Reset(100);
  Reader reader;
  TraceDrain drain(Monitor);
  for (int batch = 0; batch < 500; ++batch) {
    Trace.AddBatch(std::vector<unsigned int>(7, 1568));
    EXPECT_EQ(drain.PullAll(std::ref(reader)), QOR_TRACE_STATUS_OK);
  }
  EXPECT_EQ(reader.Read, 3500u);
  EXPECT_EQ(reader.Wrong, 0u);
  EXPECT_EQ(Trace.TooSmall, 0u);
}

TEST_F(DrainTest, LongTraceIsCopiedOnlyAFewTimes) {
  // What is in memory is copied again for each pull past the swapped entries; what is swapped is not.
  Trace.Reset(1000);
  Reader reader;
  TraceDrain drain(Monitor);
  for (int batch = 0; batch < 2000; ++batch) {
    Trace.AddBatch(Canlike(100));
    EXPECT_EQ(drain.PullAll(std::ref(reader)), QOR_TRACE_STATUS_OK);
  }
  EXPECT_EQ(reader.Read, 200000u);
  EXPECT_EQ(reader.Wrong, 0u);
  EXPECT_LT(Trace.Copied, 10 * 200000u);
  EXPECT_LT(Trace.Calls, 10 * 2000u);
}

/// Batches and pulls in any order, with batches also between the calls of one pull.
class DrainUnderInterleavings : public DrainTest,
                                public testing::WithParamInterface<std::tuple<unsigned int, unsigned int>> {
 protected:
  unsigned int Random(unsigned int low, unsigned int high) {
    return std::uniform_int_distribution<unsigned int>(low, high)(Generator);
  }

  /// Mostly CAN and CAN FD entries, now and then one that no well-behaved interface delivers.
  std::vector<unsigned int> Batch(unsigned int longest) {
    std::vector<unsigned int> lengths(Random(0, longest));
    for (unsigned int& length : lengths) length = Random(0, 99) == 0 ? Random(1569, 9000) : Random(44, 108);
    return lengths;
  }

  std::mt19937 Generator;
};

TEST_P(DrainUnderInterleavings, EveryEntryComesOnceAndInOrder) {
  const auto [limit, capacity] = GetParam();
  for (unsigned int seed = 1; seed <= 60; ++seed) {
    SCOPED_TRACE(seed);
    Generator.seed(seed);
    Trace.Reset(limit);
    const unsigned int longestBatch = Random(1, 2 * std::min(limit, 100u) + 2);
    const unsigned int oneIn = Random(1, 6);
    unsigned int left = Random(50, 400);
    const auto add = [&] {
      if (left == 0) return;
      Trace.AddBatch(Batch(longestBatch));
      --left;
    };
    Trace.Between = [&] {
      if (Random(0, oneIn) == 0) add();
    };
    Reader reader;
    TraceDrain drain(Monitor, capacity);
    while (left > 0) {
      for (unsigned int batches = Random(0, 3); batches > 0; --batches) add();
      ASSERT_EQ(drain.Pull(std::ref(reader)), QOR_TRACE_STATUS_OK);
    }
    Trace.Between = nullptr;
    ASSERT_EQ(drain.PullAll(std::ref(reader)), QOR_TRACE_STATUS_OK);
    EXPECT_EQ(reader.Read, Trace.EntryCount());
    EXPECT_EQ(reader.Wrong, 0u);
    EXPECT_EQ(reader.Unaligned, 0u);
    EXPECT_EQ(drain.Delivered(), reader.Read);
    if (HasFailure()) break;
  }
}

INSTANTIATE_TEST_SUITE_P(LimitsAndBuffers, DrainUnderInterleavings,
                         testing::Combine(testing::Values(0u, 1u, 2u, 3u, 10u, 100u, 1000u, 1000000u),
                                          testing::Values(64u, 112u, 1568u, 5000u, 65536u, 4u << 20)));

}  // namespace
