#include "record/Qor_Trace_EntryStore.h"

#include <gtest/gtest.h>

#include <thread>

#include "support/EntryBuilder.h"

using namespace test;

namespace {

constexpr size_t kSegment = 4096;  // entries that lie together

/// An entry whose time is its number.
EntryPtr Numbered(unsigned long number) { return CanItem().At(number).Entry(); }

Qor_Trace_EntryStore StoreOf(size_t count) {
  Qor_Trace_EntryStore store;
  for (size_t i = 0; i < count; ++i) store.push_back(Numbered(i));
  return store;
}

/// Expects the numbers first, first + 1, ... in a store.
void ExpectNumbers(const Qor_Trace_EntryStore& store, size_t first, size_t count) {
  ASSERT_EQ(store.size(), count);
  EXPECT_EQ(store.empty(), count == 0);
  for (size_t i = 0; i < count; ++i) ASSERT_EQ(store[i]->GetTimestamp(), first + i) << "at " << i;
}

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

TEST(EntryStore, LetsDroppedSegmentsGoWithWhatItReturns) {
  auto store = StoreOf(kSegment + 1);
  const std::weak_ptr<Qor_Trace_Entry> oldest = store[0];
  {
    const auto dropped = store.DropOldest(kSegment);
    EXPECT_FALSE(oldest.expired());
  }
  EXPECT_TRUE(oldest.expired());
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
