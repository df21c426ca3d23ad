// Every entry point at once, on several threads, while four buses deliver; and monitors that share a swap file.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <ctime>
#include <filesystem>
#include <functional>
#include <set>
#include <thread>

#include "api/ApiTest.h"

using namespace test;

namespace {

constexpr unsigned int kBuses = 4;
constexpr unsigned int kItemsPerPoll = 100;
constexpr unsigned int kPolls = 40;
constexpr unsigned int kEntries = kBuses * kItemsPerPoll * kPolls;

class ApiRaces : public ApiTest {
 protected:
  ApiRaces() {
    for (ScriptedInterface& bus : Buses) Add(bus);
    SetNumber(QOR_TRACE_PROPERTY_MAX_ENTRIES, 1000);
    SetLiveName("live.asc");
  }
  ~ApiRaces() override { Qor_Trace_ClearChannelList(Monitor); }

  void SetLiveName(const char* name) const {
    Qor_Trace_Property_SetById(Monitor, 0, QOR_TRACE_PROPERTY_ASC_FILE_NAME, 0,
                               reinterpret_cast<const unsigned char*>(name));
  }
  /// Monitors made from now on have file names of their own: deleting one of the same second would take our swap file away.
  static void LetTheSecondPass() {
    const std::time_t now = std::time(nullptr);
    ASSERT_TRUE(WaitUntil([now] { return std::time(nullptr) != now; }));
  }
  /// Queues polls of many items for all buses, 1 ms of bus time each.
  void QueuePolls() {
    for (unsigned long poll = 0; poll < kPolls; ++poll) {
      for (ScriptedInterface& bus : Buses) {
        Items items;
        for (unsigned long i = 0; i < kItemsPerPoll; ++i)
          items.push_back(Item(bus.Bus(), poll * 1'000'000 + i * 10'000));
        bus.NextItems(items);
      }
    }
  }
  static Bytes Item(Qor_Trace_BusType bus, unsigned long time) {
    const auto key = static_cast<unsigned int>(time / 10'000 % 50);
    switch (bus) {
      case BusType_Can:
        return Frame(key).At(time).Data(Counting(8));
      case BusType_Lin:
        return LinFrame(key).At(time).Data(Counting(8));
      case BusType_FlexRay:
        return FlexRayFrame(key).At(time).Data(Counting(32));
      default:
        return EthernetFrame(Counting(64)).At(time);
    }
  }

  /// Runs calls, each again and again on a thread of its own, until all polls have been taken. Their statuses must be among
  /// those allowed.
  void RunUntilDelivered(const std::vector<std::function<unsigned int()>>& calls,
                         const std::set<unsigned int>& allowed) {
    std::atomic<bool> done = false;
    std::vector<std::thread> threads;
    for (const auto& call : calls) {
      threads.emplace_back([&] {
        while (!done) {
          const unsigned int status = call();
          EXPECT_TRUE(allowed.count(status) != 0) << std::hex << status;
          std::this_thread::yield();
        }
      });
    }
    const bool delivered = WaitUntil([this] {
      return std::all_of(Buses.begin(), Buses.end(), [](const ScriptedInterface& bus) { return bus.Pending() == 0; });
    });
    done = true;
    for (auto& thread : threads) thread.join();
    EXPECT_TRUE(delivered);
  }

  // ---- What the threads do

  template <class Function>
  unsigned int Read(Function function) const {
    Bytes buffer(100'000);
    unsigned int count = 100, size = static_cast<unsigned int>(buffer.size());
    const unsigned int status = function(Monitor, 0, 0, &count, &size, buffer.data());
    size_t place = 0;
    for (unsigned int i = 0; i < count; ++i) place = (place + ReadAt<unsigned int>(buffer, place) + 7) / 8 * 8;
    EXPECT_EQ(place, size);
    return status;
  }
  unsigned int WriteProperties() {
    SetLiveName("another-live-file-with-a-long-name.asc");
    SetNumber(QOR_TRACE_PROPERTY_ASC_MAX_FILE_SIZE, 100'000);
    SetNumber(QOR_TRACE_PROPERTY_MAX_ENTRIES, 500);
    Number(QOR_TRACE_PROPERTY_ENTRY_COUNT);
    SetNumber(QOR_TRACE_PROPERTY_MAX_ENTRIES, 1000);
    return Number(QOR_TRACE_PROPERTY_LIST_COUNT) == ~0U ? 1 : 0;
  }
  unsigned int ExportAsc() const {
    const auto request = ExportRequest("out.asc");
    return Qor_Trace_ExportToASC(Monitor, &request);
  }
  unsigned int ExportPcap() const {
    const auto request = ExportRequest("out.pcapng");
    return Qor_Trace_ExportToPCAP(Monitor, &request);
  }
  unsigned int AddAndRemove() const {
    const Qor_Trace_AddChannel_Request_t request = {0, Spare.Port(), 77};
    Qor_Trace_AddChannel_Response_t response;
    const unsigned int status = Qor_Trace_AddChannel(Monitor, &request, &response);
    return status != 0 ? status : Qor_Trace_RemoveChannel(Monitor, 77);
  }
  /// A monitor's whole life, beside the one that records.
  unsigned int Another() {
    unsigned int handle = 0;
    const unsigned int status = Qor_Trace_Allocate(0, &handle);
    if (status != 0) return status;
    const Qor_Trace_AddChannel_Request_t request = {0, Own.Port(), 0};
    Qor_Trace_AddChannel_Response_t response;
    EXPECT_EQ(Qor_Trace_AddChannel(handle, &request, &response), 0U);
    EXPECT_EQ(Qor_Trace_Start(handle, 0), 0U);
    return Qor_Trace_Delete(handle);
  }
  unsigned int Flush(Qor_Trace_PropertyId_t what) const {
    return Qor_Trace_Property_SetById(Monitor, 0, what, 0, nullptr);
  }
  unsigned int Restart() const {
    const unsigned int status = Qor_Trace_Stop(Monitor);
    return status != 0 ? status : Qor_Trace_Start(Monitor, QOR_TRACE_START_ASC_RECORDING);
  }

  std::array<ScriptedInterface, kBuses> Buses{ScriptedInterface(BusType_Can), ScriptedInterface(BusType_Lin),
                                              ScriptedInterface(BusType_FlexRay), ScriptedInterface(BusType_Ethernet)};
  ScriptedInterface Spare, Own;
};

constexpr unsigned int kOk = 0;

}  // namespace

TEST_F(ApiRaces, NothingIsLostWhileEverythingElseGoesOn) {
  LetTheSecondPass();
  QueuePolls();
  ASSERT_EQ(Qor_Trace_Start(Monitor, QOR_TRACE_START_ASC_RECORDING), 0U);
  RunUntilDelivered({[&] { return Read(Qor_Trace_GetItems); }, [&] { return Read(Qor_Trace_GetListItems); },
                     [&] { return WriteProperties(); }, [&] { return ExportAsc(); }, [&] { return ExportPcap(); },
                     [&] { return AddAndRemove(); }, [&] { return Another(); }},
                    {kOk});
  EXPECT_EQ(Qor_Trace_Stop(Monitor), 0U);
  EXPECT_EQ(Number(QOR_TRACE_PROPERTY_ENTRY_COUNT), kEntries);
  EXPECT_EQ(ExportAsc(), 0U);
}

TEST_F(ApiRaces, NothingIsLostByStopsAndStarts) {
  LetTheSecondPass();
  QueuePolls();
  ASSERT_EQ(Qor_Trace_Start(Monitor, 0), 0U);
  RunUntilDelivered({[&] { return Restart(); }, [&] { return Read(Qor_Trace_GetItems); },
                     [&] { return AddAndRemove(); }, [&] { return Another(); }},
                    {kOk});
  EXPECT_EQ(Qor_Trace_Stop(Monitor), 0U);
  EXPECT_EQ(Number(QOR_TRACE_PROPERTY_ENTRY_COUNT), kEntries);
}

TEST_F(ApiRaces, FlushesMeetEverythingElse) {
  LetTheSecondPass();
  QueuePolls();
  ASSERT_EQ(Qor_Trace_Start(Monitor, QOR_TRACE_START_DISCARD_OLDEST), 0U);
  RunUntilDelivered(
      {[&] { return Flush(QOR_TRACE_PROPERTY_FLUSH); }, [&] { return Flush(QOR_TRACE_PROPERTY_FLUSH_LIST); },
       [&] { return Restart(); }, [&] { return Read(Qor_Trace_GetItems); },
       [&] { return Read(Qor_Trace_GetListItems); }, [&] { return WriteProperties(); }, [&] { return ExportPcap(); },
       [&] { return AddAndRemove(); }, [&] { return Another(); }},
      {kOk});
  EXPECT_EQ(Qor_Trace_Stop(Monitor), 0U);
  EXPECT_EQ(Flush(QOR_TRACE_PROPERTY_FLUSH), 0U);
  EXPECT_EQ(Number(QOR_TRACE_PROPERTY_ENTRY_COUNT), 0U);
}

namespace {

/// Two monitors with the same file names: they were made in the same second.
class Twins : public ApiTest {
 protected:
  Twins() {
    do {
      Qor_Trace_Delete(Monitor);
      Qor_Trace_Delete(Other);
      Qor_Trace_Allocate(0, &Monitor);
      Qor_Trace_Allocate(0, &Other);
    } while (LiveName(Monitor) != LiveName(Other));
    AddTo(Monitor, First);
    AddTo(Other, Second);
  }
  ~Twins() override {
    Qor_Trace_Delete(Other);
    Qor_Trace_ClearChannelList(Monitor);
  }

  static std::string LiveName(unsigned int monitor) {
    unsigned char name[100];
    unsigned int length = sizeof name;
    EXPECT_EQ(Qor_Trace_Property_GetById(monitor, 0, QOR_TRACE_PROPERTY_ASC_FILE_NAME, &length, name), 0U);
    return {name, name + length};
  }
  static void AddTo(unsigned int monitor, const ScriptedInterface& interface) {
    const Qor_Trace_AddChannel_Request_t request = {0, interface.Port(), 0};
    Qor_Trace_AddChannel_Response_t response;
    EXPECT_EQ(Qor_Trace_AddChannel(monitor, &request, &response), 0U);
  }
  /// Records frames, all of which are swapped, with the times first, first + 1, ...
  static void Swap(unsigned int monitor, ScriptedInterface& interface, unsigned long first, unsigned long count) {
    const unsigned int limit = 1;
    ASSERT_EQ(Qor_Trace_Property_SetById(monitor, 0, QOR_TRACE_PROPERTY_MAX_ENTRIES, 4,
                                         reinterpret_cast<const unsigned char*>(&limit)),
              0U);
    Items items;
    for (unsigned long time = first; time < first + count; ++time) items.push_back(Frame(1).At(time));
    interface.NextItems(items);
    ASSERT_EQ(Qor_Trace_Start(monitor, 0), 0U);
    ASSERT_TRUE(interface.WaitUntilDelivered());
    ASSERT_EQ(Qor_Trace_Stop(monitor), 0U);
  }
  /// The times of the records that a retrieval of everything returns.
  static std::vector<unsigned long> Times(unsigned int monitor) {
    Bytes buffer(100'000);
    unsigned int count = 0, size = static_cast<unsigned int>(buffer.size());
    EXPECT_EQ(Qor_Trace_GetItems(monitor, 0, 0, &count, &size, buffer.data()), 0U);
    std::vector<unsigned long> times;
    for (size_t place = 0; times.size() < count; place = (place + ReadAt<unsigned int>(buffer, place) + 7) / 8 * 8) {
      times.push_back(ReadAt<unsigned long>(buffer, place + 8));
    }
    return times;
  }

  unsigned int Other = 0;
  ScriptedInterface First, Second;
};

using Stamps = std::vector<unsigned long>;

}  // namespace

TEST_F(Twins, ReadTheFrontOfTheSwapFileThatTheyShare) {
  Swap(Monitor, First, 1, 2);
  Swap(Other, Second, 101, 3);
  EXPECT_EQ(Times(Monitor), (Stamps{1, 2}));
  EXPECT_EQ(Times(Other), (Stamps{1, 2, 101}));  // three records, as many as were its own
}

TEST_F(Twins, LoseTheirSwappedEntriesWhenOneIsFlushedOrDeleted) {
  Swap(Monitor, First, 1, 2);
  Swap(Other, Second, 101, 3);
  ASSERT_EQ(Qor_Trace_Property_SetById(Other, 0, QOR_TRACE_PROPERTY_FLUSH, 0, nullptr), 0U);
  EXPECT_TRUE(Times(Monitor).empty());
  const auto request = ExportRequest("out.asc");
  EXPECT_EQ(Qor_Trace_ExportToASC(Monitor, &request), QOR_TRACE_STATUS_FILE_ERROR);  // not in silence
  Swap(Monitor, First, 11, 2);
  EXPECT_EQ(Qor_Trace_Delete(Other), 0U);
  EXPECT_TRUE(Times(Monitor).empty());
  Swap(Monitor, First, 21, 2);
  EXPECT_EQ(Times(Monitor), (Stamps{21, 22}));
}

TEST_F(Twins, SwapAtTheSameTimeWithoutHarm) {
  std::thread other([&] {
    for (unsigned long round = 0; round < 20; ++round) Swap(Other, Second, 1000 + 10 * round, 10);
  });
  for (unsigned long round = 0; round < 20; ++round) {
    Swap(Monitor, First, 10 * round, 10);
    EXPECT_LE(Times(Monitor).size(), 10 * (round + 1));
  }
  other.join();
  EXPECT_EQ(Number(QOR_TRACE_PROPERTY_ENTRY_COUNT), 200U);
  EXPECT_EQ(Times(Monitor).size(), 200U);
}
