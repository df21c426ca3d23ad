// Exhausted memory at the C interface: a status, one report, and a monitor that goes on once there is memory again.
#include <gtest/gtest.h>

#include <functional>

#include "api/ApiTest.h"
#include "support/FailingAllocator.h"

using namespace test;

namespace {

constexpr unsigned int kExhausted = QOR_TRACE_STATUS_OUT_OF_MEMORY;

class ApiMemory : public ApiTest, public testing::WithParamInterface<FailingAllocator::Duration> {
 protected:
  ApiMemory() { Add(Can, 1); }
  ~ApiMemory() override {
    Qor_Trace_ClearChannelList(Monitor);  // before its interfaces go
  }

  /// Records 20 entries; `limit` is that of the memory guard.
  void Record(unsigned int limit) {
    ASSERT_EQ(SetNumber(QOR_TRACE_PROPERTY_MAX_ENTRIES, limit), 0U);
    Items items;
    for (unsigned long i = 0; i < 20; ++i) items.push_back(Frame(static_cast<unsigned int>(i)).At(i));
    Can.NextItems(items);
    ASSERT_EQ(Qor_Trace_Start(Monitor, 0), 0U);
    ASSERT_TRUE(Can.WaitUntilDelivered());
    ASSERT_EQ(Qor_Trace_Stop(Monitor), 0U);
  }

  /// Makes a call with its first allocation failing, then its second, until it needs no more: it must finally succeed,
  /// and before that report exhausted memory, last with this text. After each call `repair` runs.
  void ExpectStatusForEveryAllocation(
      const std::function<unsigned int()>& call, const std::string& text, const std::function<void()>& repair = [] {}) {
    for (unsigned long number = 1;; ++number) {
      SCOPED_TRACE(number);
      ASSERT_LT(number, 500U);
      TakeReports();
      unsigned int status = 0;
      bool failed = false;
      {
        const FailingAllocator exhausted(FailingAllocator::ThisThread, number, GetParam());
        status = call();
        failed = exhausted.HasFailed();
      }
      const auto reports = TakeReports();
      repair();
      if (!failed) {
        EXPECT_EQ(status, 0U);
        break;
      }
      EXPECT_EQ(status, kExhausted);
      ASSERT_GE(reports.size(), 1U);
      EXPECT_EQ(reports.back().Level, 255U);
      EXPECT_EQ(reports.back().Code, kExhausted);
      EXPECT_EQ(reports.back().Text, text);
    }
    ExpectUsable();
  }
  void ExpectUsable() {
    EXPECT_NE(Number(QOR_TRACE_PROPERTY_ENTRY_COUNT), ~0U);
    EXPECT_EQ(Qor_Trace_Start(Monitor, 0), 0U);
    EXPECT_EQ(Qor_Trace_Stop(Monitor), 0U);
  }

  ScriptedInterface Can;
  ScriptedInterface Second{BusType_Lin};
};

INSTANTIATE_TEST_SUITE_P(Memory, ApiMemory, testing::Values(FailingAllocator::Once, FailingAllocator::FromThenOn),
                         [](const auto& duration) {
                           return duration.param == FailingAllocator::Once ? "FailsOnce" : "FailsFromThenOn";
                         });

}  // namespace

TEST_P(ApiMemory, Allocate) {
  unsigned int handle = 0;
  ExpectStatusForEveryAllocation([&] { return Qor_Trace_Allocate(0, &handle); }, "could not allocate trace instance");
  EXPECT_EQ(Qor_Trace_Delete(handle), 0U);
}

TEST_P(ApiMemory, AddChannel) {
  const Qor_Trace_AddChannel_Request_t request = {0, Second.Port(), 0};
  Qor_Trace_AddChannel_Response_t response;
  ExpectStatusForEveryAllocation([&] { return Qor_Trace_AddChannel(Monitor, &request, &response); },
                                 "could not allocate monitor channel",
                                 [&] {
                                   const bool added = response.ChannelId != 0;
                                   EXPECT_EQ(Qor_Sim_OpenConnections(), added ? 2U : 1U);
                                 });
  EXPECT_EQ(response.ChannelId, 2U);
}

TEST_P(ApiMemory, AddChannelWithATakenNumber) {
  const Qor_Trace_AddChannel_Request_t request = {0, Second.Port(), 1};
  Qor_Trace_AddChannel_Response_t response;
  for (unsigned long number = 1; number < 10; ++number) {
    unsigned int status = 0;
    {
      const FailingAllocator exhausted(FailingAllocator::ThisThread, number, GetParam());
      status = Qor_Trace_AddChannel(Monitor, &request, &response);
    }
    EXPECT_TRUE(status == kExhausted || status == QOR_TRACE_STATUS_INVALID_VALUE) << std::hex << status;
    EXPECT_EQ(TakeReports().size(), 1U);
  }
}

TEST_P(ApiMemory, Start) {
  Qor_Trace_AddChannel_Response_t response;
  const Qor_Trace_AddChannel_Request_t request = {0, Second.Port(), 0};
  ASSERT_EQ(Qor_Trace_AddChannel(Monitor, &request, &response), 0U);
  ExpectStatusForEveryAllocation([&] { return Qor_Trace_Start(Monitor, QOR_TRACE_START_ASC_RECORDING); },
                                 "out of memory", [&] { EXPECT_EQ(Qor_Trace_Stop(Monitor), 0U); });
}

TEST_P(ApiMemory, Stop) {
  ExpectStatusForEveryAllocation([&] { return Qor_Trace_Stop(Monitor); }, "out of memory",
                                 [&] { EXPECT_EQ(Qor_Trace_Start(Monitor, 0), 0U); });
  EXPECT_EQ(Qor_Trace_Stop(Monitor), 0U);
}

TEST_P(ApiMemory, GetItemsOfTheSwapFile) {
  Record(1);
  Bytes buffer(20 * 48);
  unsigned int count = 0, size = 0;
  ExpectStatusForEveryAllocation(
      [&] {
        count = 0;
        size = static_cast<unsigned int>(buffer.size());
        return Qor_Trace_GetItems(Monitor, 0, 0, &count, &size, buffer.data());
      },
      "out of memory");
  EXPECT_EQ(count, 20U);
}

TEST_P(ApiMemory, GetItemsBeyondTheBuffer) {
  Record(1000);
  Bytes buffer(60);
  for (unsigned long number = 1; number < 10; ++number) {
    unsigned int count = 0, size = 60, status = 0;
    {
      const FailingAllocator exhausted(FailingAllocator::ThisThread, number, GetParam());
      status = Qor_Trace_GetItems(Monitor, 0, 0, &count, &size, buffer.data());
    }
    EXPECT_EQ(status, QOR_TRACE_STATUS_BUFFER_TOO_SMALL);  // its report needs no memory
    EXPECT_EQ(count, 1U);
    EXPECT_EQ(size, 48U);
  }
}

TEST_P(ApiMemory, GetListItems) {
  Record(1000);
  Bytes buffer(20 * 48);
  unsigned int count = 0, size = 0;
  ExpectStatusForEveryAllocation(
      [&] {
        count = 0;
        size = static_cast<unsigned int>(buffer.size());
        return Qor_Trace_GetListItems(Monitor, 0, 0, &count, &size, buffer.data());
      },
      "out of memory");
  EXPECT_EQ(count, 20U);
}

TEST_P(ApiMemory, Properties) {
  unsigned char value[100];
  unsigned int length = 0;
  for (const unsigned short id : std::initializer_list<unsigned short>{0, 1, 4, 5, 6, 7, 8, 9}) {
    SCOPED_TRACE(id);
    ExpectStatusForEveryAllocation(
        [&] { return Qor_Trace_Property_GetById(Monitor, 0, id, &(length = sizeof value), value); }, "out of memory");
  }
  const std::string text(200, 'x');
  const auto* bytes = reinterpret_cast<const unsigned char*>(text.c_str());
  for (const unsigned short id : std::initializer_list<unsigned short>{2, 3, 4, 6, 7, 8, 9, 12}) {
    SCOPED_TRACE(id);
    ExpectStatusForEveryAllocation([&] { return Qor_Trace_Property_SetById(Monitor, 0, id, 4, bytes); },
                                   "out of memory");
  }
}

TEST_P(ApiMemory, ExportToAsc) {
  Record(1);
  Record(1000);
  const auto request = ExportRequest("out.asc");
  ExpectStatusForEveryAllocation([&] { return Qor_Trace_ExportToASC(Monitor, &request); }, "out of memory");
  EXPECT_EQ(Number(QOR_TRACE_PROPERTY_ENTRY_COUNT), 40U);
}

TEST_P(ApiMemory, ExportToASeriesOfAscFiles) {
  Record(1);
  Record(1000);
  const auto request = ExportRequest("out.asc", QOR_TRACE_ASC_SPLIT, 0, 600);
  ExpectStatusForEveryAllocation([&] { return Qor_Trace_ExportToASC(Monitor, &request); }, "out of memory");
  EXPECT_TRUE(std::filesystem::exists("out_2.asc"));
}

TEST_P(ApiMemory, RemovingChannelsNeedsNone) {
  const Qor_Trace_AddChannel_Request_t request = {0, Second.Port(), 0};
  Qor_Trace_AddChannel_Response_t response;
  ASSERT_EQ(Qor_Trace_AddChannel(Monitor, &request, &response), 0U);
  ASSERT_EQ(Qor_Trace_Start(Monitor, 0), 0U);
  {
    const FailingAllocator exhausted(FailingAllocator::ThisThread, 1, GetParam());
    EXPECT_EQ(Qor_Trace_RemoveChannel(Monitor, response.ChannelId), 0U);
    EXPECT_EQ(Qor_Trace_ClearChannelList(Monitor), 0U);
    EXPECT_FALSE(exhausted.HasFailed());
  }
  EXPECT_EQ(Qor_Sim_OpenConnections(), 0U);
}

TEST_P(ApiMemory, ExportToPcap) {
  Record(1);
  Record(1000);
  const auto request = ExportRequest("out.pcapng");
  ExpectStatusForEveryAllocation([&] { return Qor_Trace_ExportToPCAP(Monitor, &request); }, "out of memory");
}

TEST_P(ApiMemory, DeleteAlwaysGetsRidOfTheHandle) {
  for (unsigned long number = 1; number < 20; ++number) {
    SCOPED_TRACE(number);
    unsigned int handle = 0;
    ASSERT_EQ(Qor_Trace_Allocate(0, &handle), 0U);
    const Qor_Trace_AddChannel_Request_t request = {0, Second.Port(), 0};
    Qor_Trace_AddChannel_Response_t response;
    ASSERT_EQ(Qor_Trace_AddChannel(handle, &request, &response), 0U);
    ASSERT_EQ(Qor_Trace_Start(handle, QOR_TRACE_START_ASC_RECORDING), 0U);
    {
      const FailingAllocator exhausted(FailingAllocator::ThisThread, number, GetParam());
      EXPECT_EQ(Qor_Trace_Delete(handle), 0U);  // it needs no memory to end what runs
    }
    EXPECT_EQ(Qor_Trace_Delete(handle), QOR_TRACE_STATUS_UNKNOWN_HANDLE);
    EXPECT_EQ(Qor_Sim_OpenConnections(), 1U);
  }
}

TEST_P(ApiMemory, FailingDeleteGetsRidOfTheHandleToo) {
  // The hardware refuses to stop, and the swap file can't be emptied: both errors have to be reported.
  for (unsigned long number = 1; number < 20; ++number) {
    SCOPED_TRACE(number);
    unsigned int handle = 0, length = 100;
    ASSERT_EQ(Qor_Trace_Allocate(0, &handle), 0U);
    char name[100];
    ASSERT_EQ(Qor_Trace_Property_GetById(handle, 0, QOR_TRACE_PROPERTY_ASC_FILE_NAME, &length,
                                         reinterpret_cast<unsigned char*>(name)),
              0U);
    std::string swap = name;
    swap.replace(swap.size() - 4, 4, ".bin");
    std::filesystem::create_directory(swap);
    const Qor_Trace_AddChannel_Request_t request = {0, Second.Port(), 0};
    Qor_Trace_AddChannel_Response_t response;
    ASSERT_EQ(Qor_Trace_AddChannel(handle, &request, &response), 0U);
    ASSERT_EQ(Qor_Trace_Start(handle, 0), 0U);
    Second.Fail(QOR_SIM_CALL_STOP, kHardwareError, 2);
    {
      const FailingAllocator exhausted(FailingAllocator::ThisThread, number, GetParam());
      EXPECT_EQ(Qor_Trace_Delete(handle), kHardwareError);
    }
    EXPECT_EQ(Qor_Trace_Delete(handle), QOR_TRACE_STATUS_UNKNOWN_HANDLE);
    std::filesystem::remove_all(swap);
    Second.Fail(QOR_SIM_CALL_STOP, 1, 0);
  }
}
