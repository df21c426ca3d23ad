#include "record/Qor_Trace_EntryStore.h"

#include <gtest/gtest.h>

#include <thread>

#include "support/EntryBuilder.h"

using namespace test;

namespace {

// Ethernet records of 1044 bytes are padded to 1048: with 4 bytes for each one's offset, 1993 of them fill a segment.
constexpr size_t kFrame = 1000;
constexpr size_t kSegment = 1993;

/// A record whose time is its number.
EntryPtr Numbered(unsigned long number) { return EthernetItem().At(number).Frame(Bytes(kFrame)).Entry(); }

Qor_Trace_EntryStore StoreOf(size_t count) {
  Qor_Trace_EntryStore store;
  for (size_t i = 0; i < count; ++i) store.push_back(Numbered(i));
  return store;
}

/// Expects the numbers first, first + 1, ... in a store, by index and in a walk.
void ExpectNumbers(const Qor_Trace_EntryStore& store, size_t first, size_t count) {
  ASSERT_EQ(store.size(), count);
  EXPECT_EQ(store.empty(), count == 0);
  for (size_t i = 0; i < count; ++i) ASSERT_EQ(store[i].Timestamp, first + i) << "at " << i;
  size_t next = first;
  for (const Qor_Trace_Entry_t& record : store) ASSERT_EQ(record.Timestamp, next++);
  EXPECT_EQ(next, first + count);
}

/// Records as a batch holds them: back to back, each at a multiple of 8.
struct Block {
  explicit Block(const std::vector<EntryPtr>& entries) {
    for (const auto& entry : entries) {
      Offsets.push_back(static_cast<unsigned int>(Memory.size()));
      Memory.resize(Memory.size() + Qor_Trace_EntryStore::Padded(entry->GetLength()));
      entry->CopyTo(Memory.data() + Offsets.back(), 0);
    }
  }
  Bytes Memory;
  std::vector<unsigned int> Offsets;
};

}  // namespace

TEST(EntryStore, IsEmptyAtFirst) { ExpectNumbers(Qor_Trace_EntryStore(), 0, 0); }

TEST(EntryStore, KeepsTheOrderOverTheBoundsOfItsSegments) {
  for (const size_t count : {size_t{1}, kSegment - 1, kSegment, kSegment + 1, 3 * kSegment + 5}) {
    SCOPED_TRACE(count);
    ExpectNumbers(StoreOf(count), 0, count);
  }
}

TEST(EntryStore, DropsItsOldestEntries) {
  for (const size_t drop : {size_t{0}, size_t{1}, kSegment - 1, kSegment, kSegment + 1, 2 * kSegment + 7}) {
    SCOPED_TRACE(drop);
    auto store = StoreOf(2 * kSegment + 7);
    const auto dropped = store.DropOldest(drop);
    ExpectNumbers(store, drop, 2 * kSegment + 7 - drop);
  }
}

TEST(EntryStore, TakesNewEntriesAfterADrop) {
  auto store = StoreOf(kSegment + 10);
  static_cast<void>(store.DropOldest(kSegment + 3));
  for (size_t i = kSegment + 10; i < 3 * kSegment; ++i) store.push_back(Numbered(i));
  ExpectNumbers(store, kSegment + 3, 3 * kSegment - kSegment - 3);
}

TEST(EntryStore, CanBeDroppedEmptyAgainAndAgain) {
  Qor_Trace_EntryStore store;
  for (size_t round = 0; round < 10; ++round) {
    for (size_t i = 0; i < 1000; ++i) store.push_back(Numbered(round * 1000 + i));
    ExpectNumbers(store, round * 1000, 1000);
    static_cast<void>(store.DropOldest(1000));
    ExpectNumbers(store, 0, 0);
  }
}

TEST(EntryStore, KeepsWhatItHasDroppedUntilTheCallerFreesIt) {
  auto store = StoreOf(kSegment + 1);
  const Qor_Trace_Entry_t& oldest = store[0];
  const auto dropped = store.DropOldest(kSegment);
  EXPECT_EQ(oldest.Timestamp, 0U);  // AddressSanitizer knows
  EXPECT_EQ(oldest.Length, 1044U);
}

TEST(EntryStore, RecordsDoNotMoveWhenItGrows) {
  auto store = StoreOf(1);
  const Qor_Trace_Entry_t* const first = &store[0];
  for (size_t i = 1; i < 5 * kSegment; ++i) store.push_back(Numbered(i));
  EXPECT_EQ(&store[0], first);
}

TEST(EntryStore, RecordsLieAtMultiplesOfEight) {
  Qor_Trace_EntryStore store;
  for (size_t length = 0; length <= 64; ++length) store.push_back(CanItem().At(length).Data(Bytes(length)).Entry());
  for (size_t i = 0; i < store.size(); ++i) {
    EXPECT_EQ(reinterpret_cast<uintptr_t>(&store[i]) % 8, 0U);
    EXPECT_EQ(store[i].Length, 44 + i);
  }
}

TEST(EntryStore, TakesBlocksOfRecordsWhereverItsSegmentsEnd) {
  std::vector<EntryPtr> entries;
  for (size_t i = 0; i < 700; ++i) entries.push_back(Numbered(i));
  const Block block(entries);
  for (const size_t before : {size_t{0}, kSegment - 701, kSegment - 700, kSegment - 1, kSegment}) {
    SCOPED_TRACE(before);
    Qor_Trace_EntryStore store;
    for (size_t i = 0; i < before; ++i) store.push_back(Numbered(i));
    for (int round = 0; round < 3; ++round) store.Append(block.Memory, block.Offsets);
    ASSERT_EQ(store.size(), before + 2100);
    for (size_t i = 0; i < 2100; ++i) ASSERT_EQ(store[before + i].Timestamp, i % 700) << i;
  }
}

TEST(EntryStore, TakesBlocksLargerThanASegment) {
  std::vector<EntryPtr> entries;
  for (size_t i = 0; i < 3 * kSegment + 10; ++i) entries.push_back(Numbered(i));
  const Block block(entries);
  Qor_Trace_EntryStore store;
  store.Append(block.Memory, block.Offsets);
  ExpectNumbers(store, 0, 3 * kSegment + 10);
}

TEST(EntryStore, HoldsTheLongestRecords) {
  Qor_Trace_EntryStore store;
  for (unsigned long i = 0; i < 100; ++i) store.push_back(EthernetItem().At(i).Frame(Bytes(65'000)).Entry());
  ExpectNumbers(store, 0, 100);
}

TEST(EntryStore, GivesAwayAllItHolds) {
  auto store = StoreOf(kSegment + 1);
  static_cast<void>(store.DropOldest(2));
  const auto taken = store.TakeAll();
  ExpectNumbers(store, 0, 0);
  ExpectNumbers(taken, 2, kSegment - 1);
  store.push_back(Numbered(5));
  ExpectNumbers(store, 5, 1);
}

TEST(EntryStore, TakesAnotherInFront) {
  for (const size_t front : {size_t{0}, size_t{1}, kSegment, 2 * kSegment + 7}) {
    for (const size_t drop : {size_t{0}, size_t{1}, kSegment + 3}) {
      SCOPED_TRACE(testing::Message() << front << " in front of all but " << drop);
      Qor_Trace_EntryStore other;
      for (size_t i = 0; i < front; ++i) other.push_back(Numbered(drop + i));
      Qor_Trace_EntryStore store;
      for (size_t i = 0; i < 2 * kSegment; ++i) store.push_back(Numbered(front + i));
      static_cast<void>(store.DropOldest(drop));
      store.Prepend(other);
      for (size_t i = 0; i < 2 * kSegment; ++i) store.push_back(Numbered(front + 2 * kSegment + i));
      ExpectNumbers(store, drop, front + 4 * kSegment - drop);
      static_cast<void>(store.DropOldest(front + 5));
      ExpectNumbers(store, drop + front + 5, 4 * kSegment - drop - 5);
    }
  }
}

TEST(EntryStore, SnapshotDoesNotSeeWhatComesLater) {
  auto store = StoreOf(kSegment - 1);
  const auto snapshot = store;
  for (size_t i = kSegment - 1; i < kSegment + 5; ++i) store.push_back(Numbered(i));
  ExpectNumbers(snapshot, 0, kSegment - 1);
  ExpectNumbers(store, 0, kSegment + 5);
}

TEST(EntryStore, SnapshotKeepsWhatTheOriginalDrops) {
  auto store = StoreOf(2 * kSegment);
  const auto snapshot = store;
  static_cast<void>(store.DropOldest(kSegment + 1));
  static_cast<void>(store.TakeAll());
  ExpectNumbers(snapshot, 0, 2 * kSegment);
}

TEST(EntryStore, SnapshotMayBeReadWhileTheOriginalGrows) {
  auto store = StoreOf(kSegment / 2);
  const auto snapshot = store;
  std::thread writer([&] {
    for (size_t i = kSegment / 2; i < 2 * kSegment; ++i) store.push_back(Numbered(i));
  });
  ExpectNumbers(snapshot, 0, kSegment / 2);
  writer.join();
  ExpectNumbers(store, 0, 2 * kSegment);
}
