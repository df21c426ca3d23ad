#include "record/RecordFileReader.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <random>

#include "support/MonitorItems.h"
#include "support/TemporaryDirectory.h"

using namespace test;

namespace {

/// A record of `length` bytes, at least 4, filled with a number.
Bytes RecordOfLength(size_t length, unsigned int number) {
  Bytes record(length, static_cast<unsigned char>(number));
  PutAt(record, 0, static_cast<unsigned int>(length));
  return record;
}

class Reading : public testing::Test {
 protected:
  void Have(const Items& records) {
    Bytes bytes;
    for (const Bytes& record : records) Append(bytes, record);
    WriteFile("records.bin", bytes);
  }
  RecordFileReader Reader() { return RecordFileReader("records.bin", Memory); }
  /// All records that a reader returns.
  static Items All(RecordFileReader reader) {
    Items records;
    while (const unsigned int length = reader.NextLength()) {
      Bytes record(length);
      if (!reader.Read(record.data(), length)) break;
      records.push_back(record);
    }
    return records;
  }

  TemporaryDirectory Directory;
  RecordFileReader::Memory Memory;
};

}  // namespace

TEST_F(Reading, OfAMissingFileGivesNothing) {
  auto reader = Reader();
  EXPECT_FALSE(reader.IsOpen());
  EXPECT_EQ(reader.Status().st_size, 0);
  EXPECT_EQ(reader.NextLength(), 0U);
  reader.Skip(5);
  EXPECT_EQ(reader.NextLength(), 0U);
}

TEST_F(Reading, OfAnEmptyFileGivesNothing) {
  Have({});
  EXPECT_TRUE(Reader().IsOpen());
  EXPECT_EQ(Reader().NextLength(), 0U);
}

TEST_F(Reading, OfADirectoryGivesNothing) {
  std::filesystem::create_directory("records.bin");
  EXPECT_EQ(Reader().NextLength(), 0U);
}

TEST_F(Reading, GivesEveryRecord) {
  const Items records = {RecordOfLength(28, 1), RecordOfLength(29, 2), RecordOfLength(65563, 3), RecordOfLength(44, 4)};
  Have(records);
  EXPECT_EQ(All(Reader()), records);
  EXPECT_EQ(Reader().Status().st_size, 28 + 29 + 65563 + 44);
}

TEST_F(Reading, TakesAnOpenFileOverOrLeavesItTheCallers) {
  const Items records = {RecordOfLength(28, 1), RecordOfLength(29, 2)};
  Have(records);
  FileDescriptor file("records.bin", O_RDONLY);
  std::filesystem::remove("records.bin");
  for (int round = 0; round < 2; ++round) EXPECT_EQ(All(RecordFileReader(file.Get(), Memory)), records);
  const int number = file.Get();
  EXPECT_EQ(All(RecordFileReader(std::move(file), Memory)), records);
  EXPECT_EQ(fcntl(number, F_GETFD), -1);  // closed
}

TEST_F(Reading, GivesRecordsOverTheBoundsOfItsBlocks) {
  // 3 MB in records of uneven lengths: every kind of cut at the end of a block comes up.
  Items records;
  for (unsigned int i = 0; i < 30000; ++i) records.push_back(RecordOfLength(29 + i * 7 % 143, i));
  Have(records);
  EXPECT_EQ(All(Reader()), records);
}

TEST_F(Reading, GivesRecordsLargerThanItsBlocks) {
  const Items records = {RecordOfLength(40, 1), RecordOfLength(3'000'000, 2), RecordOfLength(40, 3)};
  Have(records);
  EXPECT_EQ(All(Reader()), records);
}

TEST_F(Reading, PeeksAtWhatItReads) {
  // Those of 3 MB fit into no block, those of 30 KB only into some.
  Items records;
  for (unsigned int i = 0; i < 30000; ++i) records.push_back(RecordOfLength(29 + i * 7 % 143, i));
  records.insert(records.begin() + 50, RecordOfLength(3'000'000, 1));
  for (const int place : {0, 7, 999, 20'000}) records.insert(records.begin() + place, RecordOfLength(30'000, 2));
  Have(records);
  for (const unsigned long expected : {0UL, 5000UL, 100'000UL, ~0UL}) {
    SCOPED_TRACE(expected);
    auto reader = Reader();
    reader.Expect(expected);
    size_t peeked = 0;
    for (const Bytes& record : records) {
      if (const Qor_Trace_Entry_t* const whole = reader.Peek()) {
        ASSERT_EQ(BytesOf(*whole), record);
        reader.Pass(*whole);
        ++peeked;
      } else {
        Bytes read(reader.NextLength());
        ASSERT_TRUE(reader.Read(read.data(), static_cast<unsigned int>(read.size())));
        ASSERT_EQ(read, record);
      }
    }
    EXPECT_EQ(reader.Peek(), nullptr);
    EXPECT_EQ(reader.NextLength(), 0U);
    EXPECT_GT(peeked, records.size() - 6);
  }
}

TEST_F(Reading, PeeksAtNothingThatTheFileDoesNotHoldWhole) {
  const Bytes record = RecordOfLength(60, 1);
  for (size_t size = 0; size < 60; ++size) {
    WriteFile("records.bin", Bytes(record.begin(), record.begin() + static_cast<std::ptrdiff_t>(size)));
    EXPECT_EQ(Reader().Peek(), nullptr);
  }
}

TEST_F(Reading, SkipsRecords) {
  Items records;
  for (unsigned int i = 0; i < 5000; ++i) records.push_back(RecordOfLength(28 + i % 50, i));
  Have(records);
  for (const unsigned int count : {0U, 1U, 2U, 1999U, 4999U}) {
    auto reader = Reader();
    reader.Skip(count);
    ASSERT_EQ(reader.NextLength(), records[count].size());
    Bytes record(records[count].size());
    ASSERT_TRUE(reader.Read(record.data(), static_cast<unsigned int>(record.size())));
    EXPECT_EQ(record, records[count]);
  }
  auto reader = Reader();
  reader.Skip(5000);
  EXPECT_EQ(reader.NextLength(), 0U);
  reader.Skip(0xFFFFFFFFFFFFFFFF);
  EXPECT_EQ(reader.NextLength(), 0U);
}

TEST_F(Reading, SeeksForwardsAndBack) {
  Items records;
  for (unsigned int i = 0; i < 10000; ++i) records.push_back(RecordOfLength(50, i));
  Have(records);
  auto reader = Reader();
  Bytes record(50);
  for (const unsigned long index : {9999UL, 0UL, 5000UL, 4999UL, 5001UL}) {
    reader.Seek(index * 50);
    ASSERT_EQ(reader.NextLength(), 50U);
    ASSERT_TRUE(reader.Read(record.data(), 50));
    EXPECT_EQ(record, records[index]);
  }
  for (const unsigned long offset : {500'000UL, 500'001UL, 0x7FFFFFFFFFFFFFFFUL}) {
    reader.Seek(offset);
    EXPECT_EQ(reader.NextLength(), 0U);
  }
}

TEST_F(Reading, EndsBeforeARecordThatTheFileDoesNotHoldWhole) {
  const Items records = {RecordOfLength(30, 1), RecordOfLength(31, 2), RecordOfLength(32, 3)};
  Bytes whole;
  for (const Bytes& record : records) Append(whole, record);
  const size_t ends[] = {30, 61, 93};
  for (size_t size = 0; size <= whole.size(); ++size) {
    SCOPED_TRACE(size);
    WriteFile("records.bin", Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)));
    size_t held = 0;
    for (const size_t end : ends) held += end <= size ? 1 : 0;
    EXPECT_EQ(All(Reader()), Items(records.begin(), records.begin() + static_cast<std::ptrdiff_t>(held)));
  }
}

TEST_F(Reading, EndsAtALengthThatIsNone) {
  for (const unsigned int length : {0U, 1U, 3U, 4U, 27U, 61U, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
    SCOPED_TRACE(length);
    Bytes odd(60);
    PutAt(odd, 0, length);
    Have({RecordOfLength(28, 1), odd});
    EXPECT_EQ(All(Reader()).size(), 1U);
    auto reader = Reader();
    reader.Skip(3);
    EXPECT_EQ(reader.NextLength(), 0U);
  }
}

TEST_F(Reading, NoticesThatTheFileBecameShorter) {
  Have({RecordOfLength(200'000, 1), RecordOfLength(200'000, 2)});
  auto reader = Reader();
  ASSERT_EQ(reader.NextLength(), 200'000U);
  std::filesystem::resize_file("records.bin", 100'000);
  Bytes record(200'000);
  EXPECT_FALSE(reader.Read(record.data(), 200'000));
  EXPECT_EQ(reader.NextLength(), 0U);
}

TEST_F(Reading, OfRandomBytesEnds) {
  std::mt19937 random(7);
  for (int round = 0; round < 200; ++round) {
    Bytes bytes(random() % 3000);
    for (auto& byte : bytes) byte = static_cast<unsigned char>(random() % 4 == 0 ? random() : 0);
    WriteFile("records.bin", bytes);
    size_t sum = 0;
    for (const Bytes& record : All(Reader())) {
      ASSERT_GE(record.size(), 28U);
      sum += record.size();
    }
    ASSERT_LE(sum, bytes.size());
  }
}

TEST_F(Reading, MemoryServesOneReaderAfterTheOther) {
  const Items large = {RecordOfLength(1'000'000, 1)};
  const Items small = {RecordOfLength(30, 2)};
  Have(large);
  EXPECT_EQ(All(Reader()), large);
  Have(small);
  EXPECT_EQ(All(Reader()), small);
}
