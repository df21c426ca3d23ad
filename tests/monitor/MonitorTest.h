// What the tests of the monitor share: a monitor in a directory of its own, fed by scripted interfaces.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "monitor/Qor_Trace.h"
#include "support/ScriptedInterface.h"
#include "support/TemporaryDirectory.h"
#include "support/TraceModel.h"
#include "support/WaitUntil.h"

namespace test {

/// What a retrieval returned, for tests that look into it.
struct Answer : Reply {
  /// The records, found by their lengths as a client does. Fails the test when count, size and lengths don't agree.
  [[nodiscard]] Items Records() const {
    Items records;
    size_t offset = 0;
    for (unsigned int i = 0; i < Count; ++i) {
      const auto length = ReadAt<unsigned int>(Buffer, offset);
      if (offset + length > Size) {
        ADD_FAILURE() << "record " << i << " reaches beyond the size " << Size;
        return records;
      }
      records.emplace_back(Buffer.begin() + static_cast<std::ptrdiff_t>(offset),
                           Buffer.begin() + static_cast<std::ptrdiff_t>(offset + length));
      offset = (offset + length + 7) / 8 * 8;
    }
    EXPECT_EQ(offset, Size);
    return records;
  }
};

/// Runs a call that may throw, and returns its code.
template <class Call>
unsigned int CodeOf(Call call) {
  try {
    call();
    return 0;
  } catch (const Qor_Trace_Exception& error) {
    return error.GetErrorCode();
  }
}

constexpr unsigned int kLargeCapacity = 1 << 20;

inline Answer GetItems(Qor_Trace_Monitor& monitor, unsigned int start = 0, unsigned int count = 0,
                       unsigned int capacity = kLargeCapacity) {
  Answer answer{{0, count, capacity, Bytes(capacity, kUntouched)}};
  answer.Code = CodeOf([&] { monitor.GetItems(start, &answer.Count, &answer.Size, answer.Buffer.data()); });
  return answer;
}

inline Answer GetListItems(Qor_Trace_Monitor& monitor, unsigned int start = 0, unsigned int count = 0,
                           unsigned int capacity = kLargeCapacity) {
  Answer answer{{0, count, capacity, Bytes(capacity, kUntouched)}};
  answer.Code = CodeOf([&] { monitor.GetListItems(start, &answer.Count, &answer.Size, answer.Buffer.data()); });
  return answer;
}

inline unsigned int Number(Qor_Trace_Monitor& monitor, unsigned int id) {
  unsigned char value[4];
  unsigned int length = sizeof value;
  monitor.Property_GetById(0, static_cast<Qor_Trace_PropertyId_t>(id), &length, value);
  EXPECT_EQ(length, 4U);
  return value[0] | static_cast<unsigned int>(value[1]) << 8 | static_cast<unsigned int>(value[2]) << 16 |
         static_cast<unsigned int>(value[3]) << 24;
}

inline void SetNumber(Qor_Trace_Monitor& monitor, unsigned int id, unsigned int value) {
  unsigned char bytes[4];
  std::memcpy(bytes, &value, sizeof value);
  monitor.Property_SetById(0, static_cast<Qor_Trace_PropertyId_t>(id), sizeof bytes, bytes);
}

inline std::string Text(Qor_Trace_Monitor& monitor, unsigned int id) {
  unsigned char value[1000];
  unsigned int length = sizeof value;
  monitor.Property_GetById(0, static_cast<Qor_Trace_PropertyId_t>(id), &length, value);
  EXPECT_EQ(value[length], 0);
  return {value, value + length};
}

inline void SetText(Qor_Trace_Monitor& monitor, unsigned int id, const std::string& text) {
  monitor.Property_SetById(0, static_cast<Qor_Trace_PropertyId_t>(id), 0,
                           reinterpret_cast<const unsigned char*>(text.c_str()));
}

inline unsigned int EntryCount(Qor_Trace_Monitor& monitor) { return Number(monitor, QOR_TRACE_PROPERTY_ENTRY_COUNT); }
inline unsigned int ListCount(Qor_Trace_Monitor& monitor) { return Number(monitor, QOR_TRACE_PROPERTY_LIST_COUNT); }

inline unsigned int Add(Qor_Trace_Monitor& monitor, const ScriptedInterface& interface, unsigned int wanted = 0) {
  unsigned int number = 0;
  monitor.AddChannel(interface.Port(), wanted, &number);
  return number;
}

/// `count` CAN frames, 1 ns apart, the first at `first`, each with its time as identifier and as first data byte.
inline Items FramesFrom(unsigned long first, size_t count) {
  Items items;
  for (size_t i = 0; i < count; ++i) {
    const unsigned long time = first + i;
    items.push_back(
        Frame(static_cast<unsigned int>(time & 0x1FFFFFFF)).At(time).Data({static_cast<unsigned char>(time)}));
  }
  return items;
}

/// A monitor in an empty working directory. At the end everything that it opened is closed.
class MonitorTest : public testing::Test {
 protected:
  MonitorTest() { TakeReports(); }
  ~MonitorTest() override {
    Monitor.reset();
    EXPECT_EQ(Qor_Sim_OpenConnections(), 0U);
  }

  [[nodiscard]] std::string SwapName() { return Stem() + ".bin"; }
  /// The common stem of the monitor's files.
  [[nodiscard]] std::string Stem() {
    const std::string name = Text(*Monitor, QOR_TRACE_PROPERTY_ASC_FILE_NAME);
    return name.substr(0, name.size() - 4);
  }

  TemporaryDirectory Directory;
  std::unique_ptr<Qor_Trace_Monitor> Monitor = std::make_unique<Qor_Trace_Monitor>();
};

/// A monitor with one CAN interface, whose batches it stores as they come.
class OneChannelTest : public MonitorTest {
 protected:
  OneChannelTest() { Add(*Monitor, Can); }
  ~OneChannelTest() override { Monitor.reset(); }  // before its interface goes

  /// Delivers items by one poll and waits until the monitor has them.
  void Deliver(const Items& items) {
    Can.NextItems(items);
    ASSERT_TRUE(Can.WaitUntilDelivered());
  }
  /// Starts, delivers items by one poll, and stops.
  void Record(const Items& items, unsigned int mode = 0) {
    Monitor->Start(mode);
    Deliver(items);
    Monitor->Stop();
  }

  ScriptedInterface Can;
};

}  // namespace test
