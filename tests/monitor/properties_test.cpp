// The properties of a monitor.
#include <gtest/gtest.h>

#include <stdexcept>

#include "monitor/MonitorTest.h"

using namespace test;

namespace {

class Properties : public MonitorTest {
 protected:
  /// Reads a property into a buffer of this capacity. The buffer's untouched part is 0xEE.
  struct Reading {
    unsigned int Code;
    unsigned int Length;
    Bytes Value;
  };
  Reading Get(unsigned int id, unsigned int capacity, unsigned int selector = 0) {
    Reading reading{0, capacity, Bytes(capacity, kUntouched)};
    reading.Code = CodeOf([&] {
      Monitor->Property_GetById(selector, static_cast<Qor_Trace_PropertyId_t>(id), &reading.Length,
                                reading.Value.data());
    });
    return reading;
  }
  unsigned int Set(unsigned int id, const Bytes& value, unsigned int length) {
    return CodeOf([&] {
      Monitor->Property_SetById(0, static_cast<Qor_Trace_PropertyId_t>(id), length,
                                value.empty() ? nullptr : value.data());
    });
  }
};

std::vector<Report> One(unsigned int code, const std::string& text) { return {{255, code, text}}; }

constexpr unsigned int kNumbers[] = {0, 1, 4, 6, 8};
constexpr unsigned int kTexts[] = {5, 7, 9, 10, 11, 12};
constexpr unsigned int kUnknown[] = {13, 14, 31, 32, 36, 64, 255, 65535};

}  // namespace

// ---- Defaults

TEST_F(Properties, HaveTheirDefaults) {
  EXPECT_EQ(Number(*Monitor, 0), 0U);
  EXPECT_EQ(Number(*Monitor, 1), 0U);
  EXPECT_EQ(Number(*Monitor, 4), 0U);
  EXPECT_EQ(Text(*Monitor, 5), Stem() + ".asc");
  EXPECT_EQ(Number(*Monitor, 6), 524288000U);
  EXPECT_EQ(Text(*Monitor, 7), Stem() + ".mf4");
  EXPECT_EQ(Number(*Monitor, 8), 2097152U);
  for (unsigned int id = 9; id <= 12; ++id) EXPECT_EQ(Text(*Monitor, id), "");
}

// ---- Reading

TEST_F(Properties, NumberIsFourBytesLowByteFirst) {
  const auto reading = Get(6, 10);  // 524288000 = 0x1F400000
  EXPECT_EQ(reading.Length, 4U);
  EXPECT_EQ(reading.Value, (Bytes{0x00, 0x00, 0x40, 0x1F, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE}));
}

TEST_F(Properties, NumberNeedsFourBytes) {
  for (const unsigned int id : kNumbers) {
    for (unsigned int capacity = 0; capacity < 4; ++capacity) {
      SCOPED_TRACE(testing::Message() << "id " << id << " capacity " << capacity);
      const auto reading = Get(id, capacity);
      EXPECT_EQ(reading.Code, QOR_TRACE_STATUS_INVALID_VALUE);
      EXPECT_EQ(reading.Length, capacity);
      EXPECT_EQ(reading.Value, Bytes(capacity, kUntouched));
      EXPECT_EQ(TakeReports(), One(QOR_TRACE_STATUS_INVALID_VALUE, "minimum length is 4 bytes"));
    }
    EXPECT_EQ(Get(id, 4).Code, 0U);
  }
}

TEST_F(Properties, TextNeedsOneByte) {
  for (const unsigned int id : kTexts) {
    SCOPED_TRACE(id);
    EXPECT_EQ(Get(id, 0).Code, QOR_TRACE_STATUS_INVALID_VALUE);
    EXPECT_EQ(TakeReports(), One(QOR_TRACE_STATUS_INVALID_VALUE, "minimum length is 1 bytes"));
    const auto reading = Get(id, 1);
    EXPECT_EQ(reading.Code, 0U);
    EXPECT_EQ(reading.Length, 0U);
    EXPECT_EQ(reading.Value, (Bytes{0}));
  }
}

TEST_F(Properties, LongTextIsCut) {
  const auto reading = Get(5, 10);
  EXPECT_EQ(reading.Code, 0U);
  EXPECT_EQ(reading.Length, 9U);
  EXPECT_EQ(reading.Value, (Bytes{'Q', 'o', 'r', '_', 'T', 'r', 'a', 'c', 'e', 0}));
}

TEST_F(Properties, TextFillsItsBufferExactly) {
  SetText(*Monitor, 9, "abc");
  EXPECT_EQ(Get(9, 4).Length, 3U);
  EXPECT_EQ(Get(9, 4).Value, (Bytes{'a', 'b', 'c', 0}));
  EXPECT_EQ(Get(9, 5).Value, (Bytes{'a', 'b', 'c', 0, 0xEE}));
  EXPECT_EQ(Get(9, 3).Value, (Bytes{'a', 'b', 0}));
  EXPECT_EQ(Get(9, 3).Length, 2U);
}

TEST_F(Properties, CommandsCannotBeRead) {
  for (const unsigned int id : {2U, 3U}) {
    const auto reading = Get(id, 100);
    EXPECT_EQ(reading.Code, QOR_TRACE_STATUS_PROPERTY_ACCESS);
    EXPECT_EQ(reading.Value, Bytes(100, kUntouched));
    EXPECT_EQ(TakeReports(), One(QOR_TRACE_STATUS_PROPERTY_ACCESS, "this property id is write-only"));
    EXPECT_EQ(Get(id, 0).Code, QOR_TRACE_STATUS_PROPERTY_ACCESS);  // whatever the capacity
    TakeReports();
  }
}

TEST_F(Properties, UnknownOnesCannotBeReadOrWritten) {
  for (const unsigned int id : kUnknown) {
    SCOPED_TRACE(id);
    EXPECT_EQ(Get(id, 100).Code, QOR_TRACE_STATUS_UNKNOWN_PROPERTY);
    EXPECT_EQ(TakeReports(), One(QOR_TRACE_STATUS_UNKNOWN_PROPERTY, ""));
    EXPECT_EQ(Set(id, {1, 2, 3, 4, 0}, 4), QOR_TRACE_STATUS_UNKNOWN_PROPERTY);
    EXPECT_EQ(TakeReports(), One(QOR_TRACE_STATUS_UNKNOWN_PROPERTY, ""));
  }
}

TEST_F(Properties, SelectorDoesNotMatter) {
  EXPECT_EQ(Get(6, 4, 0xFFFFFFFF).Value, Get(6, 4, 0).Value);
  Monitor->Property_SetById(7, 9, 0, reinterpret_cast<const unsigned char*>("text"));
  EXPECT_EQ(Text(*Monitor, 9), "text");
}

// ---- Writing

TEST_F(Properties, NumbersAreKept) {
  for (const unsigned int id : {4U, 6U, 8U}) {
    for (const unsigned int value : {0U, 1U, 0x01020304U, 0xFFFFFFFFU}) {
      SetNumber(*Monitor, id, value);
      EXPECT_EQ(Number(*Monitor, id), value);
    }
    EXPECT_EQ(Set(id, {5, 0, 0, 0, 9, 9}, 6), 0U);  // more than four bytes: the first four count
    EXPECT_EQ(Number(*Monitor, id), 5U);
  }
}

TEST_F(Properties, NumberIsNotWrittenFromLessThanFourBytes) {
  for (const unsigned int id : {4U, 6U, 8U}) {
    const unsigned int before = Number(*Monitor, id);
    for (unsigned int length = 0; length < 4; ++length) {
      EXPECT_EQ(Set(id, Bytes(length), length), QOR_TRACE_STATUS_INVALID_VALUE);
      EXPECT_EQ(TakeReports(), One(QOR_TRACE_STATUS_INVALID_VALUE, "minimum length is 4 bytes"));
    }
    EXPECT_EQ(Number(*Monitor, id), before);
  }
}

TEST_F(Properties, TextsAreKeptApart) {
  for (const unsigned int id : kTexts) SetText(*Monitor, id, "text " + std::to_string(id));
  for (const unsigned int id : kTexts) EXPECT_EQ(Text(*Monitor, id), "text " + std::to_string(id));
}

TEST_F(Properties, TextEndsAtItsZeroWhateverTheLength) {
  const Bytes value = {'a', 'b', 0, 'c', 0};
  for (const unsigned int length : {0U, 1U, 5U, 0xFFFFFFFFU}) {
    EXPECT_EQ(Set(9, value, length), 0U);
    EXPECT_EQ(Text(*Monitor, 9), "ab");
  }
  EXPECT_EQ(Set(9, {0}, 0), 0U);
  EXPECT_EQ(Text(*Monitor, 9), "");
}

TEST_F(Properties, CountsCannotBeWritten) {
  for (const unsigned int id : {0U, 1U}) {
    EXPECT_EQ(Set(id, {1, 2, 3, 4}, 4), QOR_TRACE_STATUS_PROPERTY_ACCESS);
    EXPECT_EQ(TakeReports(), One(QOR_TRACE_STATUS_PROPERTY_ACCESS, "this property id is read-only"));
    EXPECT_EQ(Set(id, {}, 0), QOR_TRACE_STATUS_PROPERTY_ACCESS);
    TakeReports();
  }
}

TEST_F(Properties, TextFromNowhereIsAProgrammingError) {
  for (const unsigned int id : kTexts) {
    const std::string before = Text(*Monitor, id);
    EXPECT_THROW(Set(id, {}, 0), std::logic_error);
    EXPECT_EQ(Text(*Monitor, id), before);
  }
  EXPECT_TRUE(TakeReports().empty());
}

// ---- Counts and commands

class PropertiesOfATrace : public OneChannelTest {};

TEST_F(PropertiesOfATrace, CountEntriesAndRows) {
  SetNumber(*Monitor, QOR_TRACE_PROPERTY_MAX_ENTRIES, 4);
  Monitor->Start(0);
  Deliver(FramesFrom(1, 3));
  EXPECT_EQ(EntryCount(*Monitor), 3U);
  Deliver(FramesFrom(1, 3));  // all go to the swap file
  EXPECT_EQ(EntryCount(*Monitor), 6U);
  Deliver(FramesFrom(1, 1));
  EXPECT_EQ(EntryCount(*Monitor), 7U);
  EXPECT_EQ(ListCount(*Monitor), 3U);
}

TEST_F(PropertiesOfATrace, CommandsNeedNoValue) {
  Record(FramesFrom(1, 3));
  Monitor->Property_SetById(0, QOR_TRACE_PROPERTY_FLUSH, 0, nullptr);
  EXPECT_EQ(EntryCount(*Monitor), 0U);
  EXPECT_EQ(ListCount(*Monitor), 3U);
  Monitor->Property_SetById(0, QOR_TRACE_PROPERTY_FLUSH_LIST, 0, nullptr);
  EXPECT_EQ(ListCount(*Monitor), 0U);
}

TEST_F(PropertiesOfATrace, NewMemoryLimitCountsFromTheNextBatchOn) {
  Monitor->Start(0);
  Deliver(FramesFrom(1, 10));
  SetNumber(*Monitor, QOR_TRACE_PROPERTY_MAX_ENTRIES, 5);
  EXPECT_FALSE(std::filesystem::exists(SwapName()));
  Deliver(FramesFrom(11, 1));
  EXPECT_EQ(FileBytes(SwapName()).size(), 11 * 45U);
}
