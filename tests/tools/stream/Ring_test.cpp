// What a ring of records keeps.
#include "stream/Ring.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "support/TemporaryDirectory.h"
#include "system/Failure.h"
#include "tools/ClientEntries.h"

namespace client {
namespace {

constexpr size_t kMiB = 1ul << 20;

Bytes EntryAt(unsigned long time, size_t size = 8) {
  return RecordOf(test::CanItem().At(time).Fd().Data(Bytes(size, static_cast<unsigned char>(time))));
}

size_t Keep(Ring& ring, const Bytes& record) { return ring.Keep(ViewOf(record)); }

std::vector<Bytes> Kept(const Ring& ring) {
  std::vector<Bytes> records;
  ring.ForEach([&](const RecordView& record) { records.emplace_back(record.Bytes().begin(), record.Bytes().end()); });
  return records;
}

std::vector<unsigned long> TimesIn(const Ring& ring) {
  std::vector<unsigned long> times;
  ring.ForEach([&](const RecordView& record) { times.push_back(record.Timestamp()); });
  return times;
}

TEST(Ring, KeepsRecordsThatAreNoOlderThanTheTimeBeforeTheNewest) {
  Ring ring({.Time = 10});
  EXPECT_TRUE(ring.Empty());
  for (const unsigned long time : {100ul, 105ul, 110ul}) EXPECT_EQ(Keep(ring, EntryAt(time)), 0u);
  EXPECT_EQ(Keep(ring, EntryAt(111)), 1u);
  EXPECT_EQ(TimesIn(ring), (std::vector<unsigned long>{105, 110, 111}));
  EXPECT_EQ(Keep(ring, EntryAt(200)), 3u);
  EXPECT_EQ(TimesIn(ring), (std::vector<unsigned long>{200}));
  EXPECT_EQ(ring.DroppedForSize(), std::nullopt);
}

TEST(Ring, KeepsTheBytesOfRecordsOfAnySize) {
  Ring ring({.Size = kMiB});
  const std::vector<Bytes> records = OddRecords();
  for (const Bytes& record : records) EXPECT_EQ(Keep(ring, record), 0u);
  EXPECT_EQ(Kept(ring), records);
}

TEST(Ring, DropsTheOldestWhenItsSizeIsFullAndHasNearlyAllOfItAllTheTime) {
  Ring ring({.Size = kMiB});
  size_t kept = 0, dropped = 0;
  const size_t each = EntryAt(0).size();
  for (unsigned long time = 1; time <= 100'000; ++time) {
    const size_t now = Keep(ring, EntryAt(time));
    dropped += now;
    kept = time - dropped;
    ASSERT_LE(kept * each, kMiB);
    ASSERT_TRUE(dropped == 0 || kept * each >= kMiB / 16 * 15 - 16 * each) << kept;
  }
  const std::vector<unsigned long> times = TimesIn(ring);
  ASSERT_EQ(times.size(), kept);
  for (size_t index = 0; index < kept; ++index) ASSERT_EQ(times[index], dropped + index + 1);
  EXPECT_EQ(ring.DroppedForSize(), dropped);
}

TEST(Ring, DropsWhatIsAskedForAndGoesOn) {
  Ring ring({.Size = kMiB});
  for (unsigned long time = 0; time < 10; ++time) EXPECT_EQ(Keep(ring, EntryAt(time)), 0u);
  EXPECT_EQ(ring.DropBefore(4), 4u);
  EXPECT_EQ(ring.DropBefore(4), 0u);
  EXPECT_EQ(TimesIn(ring).front(), 4u);
  EXPECT_EQ(ring.Clear(), 6u);
  EXPECT_TRUE(ring.Empty());
  for (unsigned long time = 0; time < 50'000; ++time) (void)Keep(ring, EntryAt(time));
  EXPECT_EQ(TimesIn(ring).back(), 49'999u);
  (void)ring.Clear();
  EXPECT_EQ(ring.DroppedForSize(), std::nullopt);
}

TEST(Ring, ALateRecordDropsNothingNewer) {
  Ring ring({.Time = 10});
  for (const unsigned long time : {100ul, 101ul, 50ul, 102ul}) EXPECT_EQ(Keep(ring, EntryAt(time)), 0u);
  EXPECT_EQ(TimesIn(ring), (std::vector<unsigned long>{100, 101, 50, 102}));
}

/// A raw record of any length.
Bytes LargeRecord(unsigned long time, size_t length) {
  Bytes record = EntryAt(time);
  record.resize(length);
  const auto size = static_cast<unsigned int>(length);
  std::memcpy(record.data(), &size, sizeof size);
  return record;
}

TEST(Ring, ARecordLargerThanAnyOfABusIsKeptWithinTheSize) {
  Ring ring({.Size = kMiB});
  size_t dropped = 0;
  for (unsigned long time = 1; time <= 20; ++time) {
    dropped += Keep(ring, EntryAt(10 * time));
    dropped += Keep(ring, LargeRecord(10 * time + 1, 300'000));
  }
  const std::vector<Bytes> kept = Kept(ring);
  EXPECT_EQ(kept.size() + dropped, 40u);
  EXPECT_EQ(kept.back(), LargeRecord(201, 300'000));
  size_t large = 0;
  for (const Bytes& record : kept) large += record.size() > 1000 ? record.size() : 0;
  EXPECT_LE(large, kMiB);
  EXPECT_GE(large, 900'000u);
}

TEST(Ring, OnDiskLeavesNothingInItsFolder) {
  const test::TemporaryDirectory directory;
  const std::string folder = std::filesystem::current_path().string();
  Ring ring({.Size = kMiB, .Folder = folder});
  for (unsigned long time = 0; time < 50'000; ++time) (void)Keep(ring, EntryAt(time));
  EXPECT_EQ(TimesIn(ring).back(), 49'999u);
  EXPECT_TRUE(std::filesystem::is_empty(folder));
}

TEST(Ring, OneThatDoesNotFitIsRefusedAtOnce) {
  try {
    const Ring ring({.Size = size_t{1} << 46});
    FAIL() << "64 TiB of memory";
  } catch (const Failure& failure) {
    EXPECT_TRUE(std::string(failure.what()).starts_with("There is no room for a ring of 64T in memory: "))
        << failure.what();
  }
  const test::TemporaryDirectory directory;
  const std::string folder = std::filesystem::current_path().string();
  EXPECT_THROW(Ring({.Size = size_t{1} << 46, .Folder = folder}), Failure);
  EXPECT_THROW(Ring({.Size = kMiB, .Folder = "/nowhere"}), Failure);
}

}  // namespace
}  // namespace client
