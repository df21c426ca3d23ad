// The C entry points: handles, arguments, and what each status comes with.
#include "qor_api_trace.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <initializer_list>
#include <stdexcept>
#include <thread>

#include "api/ApiTest.h"

using namespace test;

namespace {

class Api : public ApiTest {};

/// Every entry point that takes a handle, with arguments that are valid otherwise.
struct EntryPoint {
  const char* Name;
  std::function<unsigned int(unsigned int handle)> Call;
};

std::vector<EntryPoint> EntryPointsWithHandle() {
  static unsigned int count = 1, size = 100;
  static unsigned char buffer[100];
  static const Qor_Trace_AddChannel_Request_t add{};
  static Qor_Trace_AddChannel_Response_t response;
  static const auto exported = ExportRequest("out.asc");
  return {
      {"Delete", Qor_Trace_Delete},
      {"AddChannel", [](unsigned int handle) { return Qor_Trace_AddChannel(handle, &add, &response); }},
      {"RemoveChannel", [](unsigned int handle) { return Qor_Trace_RemoveChannel(handle, 1); }},
      {"ClearChannelList", Qor_Trace_ClearChannelList},
      {"Start", [](unsigned int handle) { return Qor_Trace_Start(handle, 0); }},
      {"Stop", Qor_Trace_Stop},
      {"GetItems", [](unsigned int handle) { return Qor_Trace_GetItems(handle, 0, 0, &count, &size, buffer); }},
      {"GetListItems", [](unsigned int handle) { return Qor_Trace_GetListItems(handle, 0, 0, &count, &size, buffer); }},
      {"Property_GetById", [](unsigned int handle) { return Qor_Trace_Property_GetById(handle, 0, 0, &size, buffer); }},
      {"Property_SetById", [](unsigned int handle) { return Qor_Trace_Property_SetById(handle, 0, 4, 4, buffer); }},
      {"ExportToASC", [](unsigned int handle) { return Qor_Trace_ExportToASC(handle, &exported); }},
      {"ExportToPCAP", [](unsigned int handle) { return Qor_Trace_ExportToPCAP(handle, &exported); }},
  };
}

std::vector<Report> One(unsigned int level, unsigned int code, const std::string& text = "") {
  return {{level, code, text}};
}

constexpr unsigned int kInvalid = QOR_TRACE_STATUS_INVALID_ARGUMENT;
constexpr unsigned int kUnknownHandle = QOR_TRACE_STATUS_UNKNOWN_HANDLE;

}  // namespace

// ---- Handles and the pool

std::vector<unsigned int> FirstHandles() {
  const TemporaryDirectory directory;
  unsigned int first = 0, second = 0, third = 0;
  Qor_Trace_Allocate(0, &first);
  Qor_Trace_Allocate(0, &second);
  Qor_Trace_Delete(first);
  Qor_Trace_Allocate(0, &third);
  Qor_Trace_Delete(second);
  Qor_Trace_Delete(third);
  return {first, second, third};
}

TEST(Handles, CountFromOneInAFreshProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");  // begins the program anew
  EXPECT_EXIT(std::exit(FirstHandles() == std::vector<unsigned int>{1, 2, 3} ? 0 : 1), testing::ExitedWithCode(0), "");
}

TEST_F(Api, AllocatePassesOneReportToTheHandler) {
  unsigned int handle = 0;
  ASSERT_EQ(Qor_Trace_Allocate(0, &handle), 0U);
  EXPECT_EQ(TakeReports(), One(255, kUnknownHandle));
  EXPECT_EQ(Qor_Trace_Delete(handle), 0U);
  EXPECT_TRUE(TakeReports().empty());
}

TEST_F(Api, AllocateRefusesAReservedArgument) {
  unsigned int handle = 99;
  EXPECT_EQ(Qor_Trace_Allocate(1, &handle), kInvalid);
  EXPECT_EQ(TakeReports(), One(255, kInvalid));
  EXPECT_EQ(handle, 99U);
  unsigned int next = 0;
  ASSERT_EQ(Qor_Trace_Allocate(0, &next), 0U);
  EXPECT_EQ(next, Monitor + 1);  // no number was used up
  Qor_Trace_Delete(next);
}

TEST_F(Api, AllocateRefusesToWriteNowhere) {
  EXPECT_EQ(Qor_Trace_Allocate(0, nullptr), kInvalid);
  EXPECT_EQ(TakeReports(), One(255, kInvalid));
}

TEST_F(Api, AllocateFailsWhenTheHandlerSuppressesItsReport) {
  Suppress(kUnknownHandle);
  unsigned int handle = 0;
  EXPECT_EQ(Qor_Trace_Allocate(0, &handle), kUnknownHandle);
  EXPECT_EQ(TakeReports(),
            (std::vector<Report>{{255, kUnknownHandle, ""},
                                 {255, kUnknownHandle, "internal error while building monitor handle"}}));
  EXPECT_EQ(handle, Monitor + 1);  // written before the pool is asked
  Qor_Sim_SuppressReports(kUnknownHandle, 0);
  EXPECT_EQ(Qor_Trace_Stop(handle), kUnknownHandle);  // and there is no such monitor
}

TEST_F(Api, EveryCallRefusesAnUnknownHandle) {
  unsigned int deleted = 0;
  ASSERT_EQ(Qor_Trace_Allocate(0, &deleted), 0U);
  ASSERT_EQ(Qor_Trace_Delete(deleted), 0U);
  TakeReports();
  for (const auto& [name, call] : EntryPointsWithHandle()) {
    for (const unsigned int handle : {0U, deleted, deleted + 1, 0xFFFFFFFFU}) {
      SCOPED_TRACE(testing::Message() << name << " with handle " << handle);
      EXPECT_EQ(call(handle), kUnknownHandle);
      EXPECT_EQ(TakeReports(), One(255, kUnknownHandle));
    }
  }
  EXPECT_TRUE(std::filesystem::is_empty("."));
}

TEST_F(Api, NothingHappensForAnUnknownHandleThatTheHandlerSuppresses) {
  Suppress(kUnknownHandle);
  for (const auto& [name, call] : EntryPointsWithHandle()) {
    SCOPED_TRACE(name);
    EXPECT_EQ(call(0), 0U);
    EXPECT_EQ(TakeReports(), One(255, kUnknownHandle));
  }
  EXPECT_TRUE(std::filesystem::is_empty("."));
}

TEST_F(Api, DeleteTakesTheHandleAwayEvenWhenItFails) {
  ScriptedInterface can;
  unsigned int handle = 0;
  ASSERT_EQ(Qor_Trace_Allocate(0, &handle), 0U);
  const Qor_Trace_AddChannel_Request_t request = {0, can.Port(), 0};
  Qor_Trace_AddChannel_Response_t response;
  ASSERT_EQ(Qor_Trace_AddChannel(handle, &request, &response), 0U);
  ASSERT_EQ(Qor_Trace_Start(handle, 0), 0U);
  can.Fail(QOR_SIM_CALL_STOP);
  TakeReports();
  EXPECT_EQ(Qor_Trace_Delete(handle), kHardwareError);
  EXPECT_EQ(TakeReports(), One(can.Port(), kHardwareError));
  EXPECT_EQ(Qor_Trace_Delete(handle), kUnknownHandle);
  EXPECT_EQ(Qor_Sim_OpenConnections(), 0U);
}

TEST_F(Api, DeleteStopsARunningMonitorAndRemovesItsFiles) {
  ScriptedInterface can;
  unsigned int handle = 0;
  ASSERT_EQ(Qor_Trace_Allocate(0, &handle), 0U);
  const Qor_Trace_AddChannel_Request_t request = {0, can.Port(), 0};
  Qor_Trace_AddChannel_Response_t response;
  ASSERT_EQ(Qor_Trace_AddChannel(handle, &request, &response), 0U);
  ASSERT_EQ(Qor_Trace_Property_SetById(handle, 0, QOR_TRACE_PROPERTY_FLUSH, 0, nullptr), 0U);
  EXPECT_FALSE(std::filesystem::is_empty("."));
  ASSERT_EQ(Qor_Trace_Start(handle, 0), 0U);
  EXPECT_EQ(Qor_Trace_Delete(handle), 0U);
  EXPECT_EQ(can.StopCommands(), 1U);
  EXPECT_TRUE(std::filesystem::is_empty("."));
}

TEST_F(Api, HandlesGivenToManyThreadsAreAllDifferent) {
  constexpr unsigned int kThreads = 4, kEach = 50;
  std::vector<unsigned int> handles(kThreads * kEach);
  std::vector<std::thread> threads;
  for (unsigned int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&handles, t] {
      for (unsigned int i = 0; i < kEach; ++i) {
        unsigned int& handle = handles[t * kEach + i];
        EXPECT_EQ(Qor_Trace_Allocate(0, &handle), 0U);
        if (i % 2 == 0) {
          EXPECT_EQ(Qor_Trace_Delete(handle), 0U);
        }
      }
    });
  }
  for (auto& thread : threads) thread.join();
  std::sort(handles.begin(), handles.end());
  for (unsigned int i = 0; i < handles.size(); ++i) EXPECT_EQ(handles[i], Monitor + 1 + i);
  TakeReports();
  for (const unsigned int handle : handles) {
    if (Qor_Trace_Stop(handle) == 0) {
      EXPECT_EQ(Qor_Trace_Delete(handle), 0U);
    }
  }
}

// ---- Adding channels

TEST_F(Api, AddChannelAnswersWithTheNumber) {
  ScriptedInterface can;
  const Qor_Trace_AddChannel_Request_t request = {0, can.Port(), 7};
  unsigned char response[12];
  std::memset(response, kUntouched, sizeof response);
  EXPECT_EQ(Qor_Trace_AddChannel(Monitor, &request, reinterpret_cast<Qor_Trace_AddChannel_Response_t*>(response)), 0U);
  EXPECT_EQ(Bytes(response, response + 12), (Bytes{0, 0, 0, 0, 7, 0, 0, 0, 0, 0, 0, 0}));
}

TEST_F(Api, AddChannelAnswersWithZerosWhateverGoesWrong) {
  ScriptedInterface used, can, odd("script?type=2"), broken;
  Add(used, 5);
  broken.Fail(QOR_SIM_CALL_OPEN);
  TakeReports();
  struct {
    unsigned int Handle;
    Qor_Trace_AddChannel_Request_t Request;
    unsigned int Status;
    Report Reported;
  } const kCases[] = {
      {0, {0, can.Port(), 0}, kUnknownHandle, {255, kUnknownHandle, ""}},
      {Monitor, {1, can.Port(), 0}, kInvalid, {can.Port(), kInvalid, ""}},
      {Monitor,
       {0, can.Port(), 5},
       QOR_TRACE_STATUS_INVALID_VALUE,
       {can.Port(), QOR_TRACE_STATUS_INVALID_VALUE, "channel id 5 already used"}},
      {Monitor,
       {0, odd.Port(), 0},
       QOR_TRACE_STATUS_UNSUPPORTED_INTERFACE,
       {odd.Port(), QOR_TRACE_STATUS_UNSUPPORTED_INTERFACE, ""}},
      {Monitor, {0, broken.Port(), 0}, kHardwareError, {broken.Port(), kHardwareError, ""}},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(testing::Message() << std::hex << c.Status);
    unsigned char response[12];
    std::memset(response, kUntouched, sizeof response);
    EXPECT_EQ(Qor_Trace_AddChannel(c.Handle, &c.Request, reinterpret_cast<Qor_Trace_AddChannel_Response_t*>(response)),
              c.Status);
    EXPECT_EQ(Bytes(response, response + 12), Bytes(12));
    EXPECT_EQ(TakeReports(), (std::vector<Report>{c.Reported}));
  }
}

TEST_F(Api, PortIsTracedOnce) {
  ScriptedInterface can;
  Add(can);
  unsigned int other = 0;
  ASSERT_EQ(Qor_Trace_Allocate(0, &other), 0U);
  TakeReports();
  for (const unsigned int handle : {Monitor, other}) {
    // The reserved word is looked at only after the port.
    const Qor_Trace_AddChannel_Request_t request = {1, can.Port(), 0};
    Qor_Trace_AddChannel_Response_t response = {1, 2, 3};
    EXPECT_EQ(Qor_Trace_AddChannel(handle, &request, &response), QOR_TRACE_STATUS_PORT_IN_USE);
    EXPECT_EQ(response.ChannelId, 0U);
    const auto reports = TakeReports();
    ASSERT_EQ(reports.size(), 1U);
    EXPECT_EQ(reports[0].Level, can.Port());
    EXPECT_EQ(reports[0].Code, QOR_TRACE_STATUS_PORT_IN_USE);
  }
  ASSERT_EQ(Qor_Trace_RemoveChannel(Monitor, 1), 0U);
  const Qor_Trace_AddChannel_Request_t request = {0, can.Port(), 0};
  Qor_Trace_AddChannel_Response_t response;
  EXPECT_EQ(Qor_Trace_AddChannel(other, &request, &response), 0U);
  EXPECT_EQ(Qor_Trace_Delete(other), 0U);
}

TEST_F(Api, PortInUseIsReportedWithANumberOfItsMonitorThatIsNotTheHandle) {
  // The low 32 bits of the monitor's address: the same for one monitor, another for another one.
  ScriptedInterface first, second, third;
  Add(first);
  Add(second);
  unsigned int other = 0;
  ASSERT_EQ(Qor_Trace_Allocate(0, &other), 0U);
  const Qor_Trace_AddChannel_Request_t request = {0, third.Port(), 0};
  Qor_Trace_AddChannel_Response_t response;
  ASSERT_EQ(Qor_Trace_AddChannel(other, &request, &response), 0U);
  const auto textFor = [&](const ScriptedInterface& port) {
    TakeReports();
    const Qor_Trace_AddChannel_Request_t again = {0, port.Port(), 0};
    Qor_Trace_AddChannel(Monitor, &again, &response);
    const auto reports = TakeReports();
    return reports.size() == 1 ? reports[0].Text : std::string("not one report");
  };
  const std::string prefix = "interface already used for monitor trace with handle 0x";
  const std::string text = textFor(first);
  ASSERT_EQ(text.substr(0, prefix.size()), prefix);
  const std::string digits = text.substr(prefix.size());
  EXPECT_EQ(digits.find_first_not_of("0123456789abcdef"), std::string::npos) << digits;
  EXPECT_GE(digits.size(), 1U);
  EXPECT_LE(digits.size(), 8U);
  EXPECT_EQ(std::stoul(digits, nullptr, 16) % 8, 0U);  // an object's address, not a small handle
  EXPECT_NE(std::stoul(digits, nullptr, 16), Monitor);
  EXPECT_EQ(textFor(second), text);
  EXPECT_NE(textFor(third), text);
  EXPECT_EQ(Qor_Trace_Delete(other), 0U);
}

TEST_F(Api, PortInUseMayBeSuppressed) {
  ScriptedInterface can;
  Add(can);
  Suppress(QOR_TRACE_STATUS_PORT_IN_USE);
  const Qor_Trace_AddChannel_Request_t request = {0, can.Port(), 0};
  Qor_Trace_AddChannel_Response_t response = {1, 2, 3};
  EXPECT_EQ(Qor_Trace_AddChannel(Monitor, &request, &response), 0U);  // but nothing was added
  EXPECT_EQ(response.ChannelId, 0U);
  EXPECT_EQ(Qor_Sim_OpenConnections(), 1U);
}

TEST_F(Api, RemovedAndClearedChannelsAreGone) {
  ScriptedInterface first, second;
  Add(first);
  Add(second);
  EXPECT_EQ(Qor_Trace_RemoveChannel(Monitor, 99), 0U);
  EXPECT_EQ(Qor_Trace_RemoveChannel(Monitor, 1), 0U);
  EXPECT_EQ(Qor_Sim_OpenConnections(), 1U);
  EXPECT_EQ(Qor_Trace_ClearChannelList(Monitor), 0U);
  EXPECT_EQ(Qor_Sim_OpenConnections(), 0U);
  EXPECT_TRUE(TakeReports().empty());
}

// ---- Plain arguments

TEST_F(Api, StartKnowsThreeModeBits) {
  ScriptedInterface can;
  Add(can);
  for (const unsigned int mode : {8U, 9U, 0x80000000U, 0xFFFFFFFFU}) {
    EXPECT_EQ(Qor_Trace_Start(Monitor, mode), kInvalid);
    EXPECT_EQ(TakeReports(), One(255, kInvalid));
  }
  EXPECT_EQ(can.Commands().size(), 1U);
  EXPECT_EQ(Qor_Trace_Start(Monitor, 7), 0U);
  EXPECT_EQ(can.Commands().size(), 2U);
  EXPECT_EQ(Qor_Trace_Stop(Monitor), 0U);
}

TEST_F(Api, StartWithoutChannelsIsReported) {
  EXPECT_EQ(Qor_Trace_Start(Monitor, 0), QOR_TRACE_STATUS_NO_CHANNEL);
  EXPECT_EQ(TakeReports(), One(255, QOR_TRACE_STATUS_NO_CHANNEL, "no bus interfaces selected"));
}

TEST_F(Api, SuppressedArgumentErrorsDoNothingAndReturnZero) {
  ScriptedInterface can;
  Add(can);
  Suppress(kInvalid);
  EXPECT_EQ(Qor_Trace_Start(Monitor, 8), 0U);
  EXPECT_EQ(can.Commands().size(), 1U);
  unsigned int count = 5, size = 6;
  unsigned char buffer[8];
  EXPECT_EQ(Qor_Trace_GetItems(Monitor, 1, 0, &count, &size, buffer), 0U);
  EXPECT_EQ(count, 5U);
  EXPECT_EQ(size, 6U);
}

TEST_F(Api, ErrorsInsideAMonitorAreNotSuppressed) {
  Suppress(QOR_TRACE_STATUS_NO_CHANNEL);
  EXPECT_EQ(Qor_Trace_Start(Monitor, 0), QOR_TRACE_STATUS_NO_CHANNEL);
}

TEST_F(Api, RetrievalRefusesAReservedArgument) {
  unsigned int count = 5, size = 8;
  unsigned char buffer[8];
  for (const unsigned int reserved : {1U, 0x80000000U}) {
    EXPECT_EQ(Qor_Trace_GetItems(Monitor, reserved, 0, &count, &size, buffer), kInvalid);
    EXPECT_EQ(TakeReports(), One(255, kInvalid));
    EXPECT_EQ(Qor_Trace_GetListItems(Monitor, reserved, 0, &count, &size, buffer), kInvalid);
    EXPECT_EQ(TakeReports(), One(255, kInvalid));
  }
  EXPECT_EQ(count, 5U);
  EXPECT_EQ(size, 8U);
}

TEST_F(Api, NullPointersAreRefusedAndNothingElseHappens) {
  unsigned int count = 5, size = 8;
  unsigned char buffer[8];
  Qor_Trace_AddChannel_Response_t response;
  const Qor_Trace_AddChannel_Request_t request{};
  const struct {
    const char* Name;
    std::function<unsigned int()> Call;
  } kCalls[] = {
      {"AddChannel request", [&] { return Qor_Trace_AddChannel(Monitor, nullptr, &response); }},
      {"AddChannel response", [&] { return Qor_Trace_AddChannel(Monitor, &request, nullptr); }},
      {"GetItems count", [&] { return Qor_Trace_GetItems(Monitor, 0, 0, nullptr, &size, buffer); }},
      {"GetItems size", [&] { return Qor_Trace_GetItems(Monitor, 0, 0, &count, nullptr, buffer); }},
      {"GetItems buffer", [&] { return Qor_Trace_GetItems(Monitor, 0, 0, &count, &size, nullptr); }},
      {"GetListItems count", [&] { return Qor_Trace_GetListItems(Monitor, 0, 0, nullptr, &size, buffer); }},
      {"GetListItems size", [&] { return Qor_Trace_GetListItems(Monitor, 0, 0, &count, nullptr, buffer); }},
      {"GetListItems buffer", [&] { return Qor_Trace_GetListItems(Monitor, 0, 0, &count, &size, nullptr); }},
      {"GetById length", [&] { return Qor_Trace_Property_GetById(Monitor, 0, 0, nullptr, buffer); }},
      {"GetById value", [&] { return Qor_Trace_Property_GetById(Monitor, 0, 0, &size, nullptr); }},
      {"SetById 4", [&] { return Qor_Trace_Property_SetById(Monitor, 0, 4, 4, nullptr); }},
      {"SetById 6", [&] { return Qor_Trace_Property_SetById(Monitor, 0, 6, 4, nullptr); }},
      {"SetById 8", [&] { return Qor_Trace_Property_SetById(Monitor, 0, 8, 4, nullptr); }},
      {"ExportToASC", [&] { return Qor_Trace_ExportToASC(Monitor, nullptr); }},
      {"ExportToPCAP", [&] { return Qor_Trace_ExportToPCAP(Monitor, nullptr); }},
  };
  for (const auto& [name, call] : kCalls) {
    SCOPED_TRACE(name);
    EXPECT_EQ(call(), kInvalid);
    EXPECT_EQ(TakeReports(), One(255, kInvalid));
  }
  EXPECT_EQ(count, 5U);
  EXPECT_EQ(size, 8U);
  EXPECT_TRUE(std::filesystem::is_empty("."));
}

TEST_F(Api, TextFromNowherePassesThroughAsALogicError) {
  for (const Qor_Trace_PropertyId_t id : std::initializer_list<Qor_Trace_PropertyId_t>{5, 7, 9, 10, 11, 12}) {
    EXPECT_THROW(Qor_Trace_Property_SetById(Monitor, 0, id, 0, nullptr), std::logic_error);
  }
  EXPECT_TRUE(TakeReports().empty());
}

// ---- What comes from the monitor

TEST_F(Api, RecordsReadsAndCounts) {
  ScriptedInterface can;
  ASSERT_EQ(Add(can), 1U);
  const Bytes item = Frame(0x123).At(7).Data({1, 2, 3});
  can.NextItems({item, item});
  ASSERT_EQ(Qor_Trace_Start(Monitor, 0), 0U);
  ASSERT_TRUE(can.WaitUntilDelivered());
  ASSERT_EQ(Qor_Trace_Stop(Monitor), 0U);
  EXPECT_EQ(Number(QOR_TRACE_PROPERTY_ENTRY_COUNT), 2U);
  EXPECT_EQ(Number(QOR_TRACE_PROPERTY_LIST_COUNT), 1U);

  unsigned int count = 1, size = 48;
  Bytes buffer(48, kUntouched);
  EXPECT_EQ(Qor_Trace_GetItems(Monitor, 0, 1, &count, &size, buffer.data()), 0U);
  EXPECT_EQ(count, 1U);
  EXPECT_EQ(size, 48U);
  buffer.resize(47);
  EXPECT_EQ(buffer, RecordOf(BusType_Can, 1, item));

  Bytes row(48, kUntouched);
  EXPECT_EQ(Qor_Trace_GetListItems(Monitor, 0, 0, &count, &size, row.data()), 0U);
  row.resize(47);
  EXPECT_EQ(row, RecordOf(BusType_Can, 1, item));

  EXPECT_EQ(Qor_Trace_Property_SetById(Monitor, 0, QOR_TRACE_PROPERTY_FLUSH, 0, nullptr), 0U);
  EXPECT_EQ(Qor_Trace_Property_SetById(Monitor, 0, QOR_TRACE_PROPERTY_FLUSH_LIST, 0, nullptr), 0U);
  EXPECT_EQ(Number(QOR_TRACE_PROPERTY_ENTRY_COUNT), 0U);
  EXPECT_EQ(Number(QOR_TRACE_PROPERTY_LIST_COUNT), 0U);
}

TEST_F(Api, BufferTooSmallLeavesAUsableResult) {
  ScriptedInterface can;
  Add(can);
  can.NextItems({Frame(1).At(1), Frame(2).At(2)});
  ASSERT_EQ(Qor_Trace_Start(Monitor, 0), 0U);
  ASSERT_TRUE(can.WaitUntilDelivered());
  const std::string text = "the response buffer is too small for all available monitor entries";
  for (const auto& call : {Qor_Trace_GetItems, Qor_Trace_GetListItems}) {
    unsigned int count = 0, size = 95;
    Bytes buffer(95);
    EXPECT_EQ(call(Monitor, 0, 0, &count, &size, buffer.data()), QOR_TRACE_STATUS_BUFFER_TOO_SMALL);
    EXPECT_EQ(TakeReports(), One(255, QOR_TRACE_STATUS_BUFFER_TOO_SMALL, text));
    EXPECT_EQ(count, 1U);
    EXPECT_EQ(size, 48U);
  }
}

TEST_F(Api, PropertyErrorsAreReported) {
  unsigned char value[8] = {};
  struct {
    bool Set;
    Qor_Trace_PropertyId_t Id;
    unsigned int Length, Status;
    const char* Text;
  } const kCases[] = {
      {false, 13, 8, QOR_TRACE_STATUS_UNKNOWN_PROPERTY, ""},
      {true, 13, 8, QOR_TRACE_STATUS_UNKNOWN_PROPERTY, ""},
      {false, 2, 8, QOR_TRACE_STATUS_PROPERTY_ACCESS, "this property id is write-only"},
      {false, 3, 8, QOR_TRACE_STATUS_PROPERTY_ACCESS, "this property id is write-only"},
      {true, 0, 8, QOR_TRACE_STATUS_PROPERTY_ACCESS, "this property id is read-only"},
      {true, 1, 8, QOR_TRACE_STATUS_PROPERTY_ACCESS, "this property id is read-only"},
      {false, 0, 3, QOR_TRACE_STATUS_INVALID_VALUE, "minimum length is 4 bytes"},
      {false, 5, 0, QOR_TRACE_STATUS_INVALID_VALUE, "minimum length is 1 bytes"},
      {true, 4, 3, QOR_TRACE_STATUS_INVALID_VALUE, "minimum length is 4 bytes"},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(testing::Message() << (c.Set ? "set " : "get ") << c.Id);
    unsigned int length = c.Length;
    EXPECT_EQ(c.Set ? Qor_Trace_Property_SetById(Monitor, 0, c.Id, length, value)
                    : Qor_Trace_Property_GetById(Monitor, 0, c.Id, &length, value),
              c.Status);
    EXPECT_EQ(TakeReports(), One(255, c.Status, c.Text));
  }
}

TEST_F(Api, PropertyIdHas16Bits) {
  unsigned int length = 4;
  unsigned char value[4];
  // As a C client that passes a larger number gets it.
  EXPECT_EQ(Qor_Trace_Property_GetById(Monitor, 0, static_cast<Qor_Trace_PropertyId_t>(0x10006), &length, value), 0U);
  EXPECT_EQ(Bytes(value, value + 4), (Bytes{0x00, 0x00, 0x40, 0x1F}));
}

TEST_F(Api, FlushErrorIsReported) {
  unsigned int length = 100;
  char name[100];
  ASSERT_EQ(Qor_Trace_Property_GetById(Monitor, 0, QOR_TRACE_PROPERTY_ASC_FILE_NAME, &length,
                                       reinterpret_cast<unsigned char*>(name)),
            0U);
  std::string swap = name;
  swap.replace(swap.size() - 4, 4, ".bin");
  std::filesystem::create_directory(swap);
  EXPECT_EQ(Qor_Trace_Property_SetById(Monitor, 0, QOR_TRACE_PROPERTY_FLUSH, 0, nullptr), QOR_TRACE_STATUS_FILE_ERROR);
  const auto reports = TakeReports();
  ASSERT_EQ(reports.size(), 1U);
  EXPECT_EQ(reports[0].Level, 255U);
  EXPECT_EQ(reports[0].Code, QOR_TRACE_STATUS_FILE_ERROR);
}

TEST_F(Api, StopTellsTheHardwaresCode) {
  ScriptedInterface can;
  Add(can);
  ASSERT_EQ(Qor_Trace_Start(Monitor, 0), 0U);
  can.Fail(QOR_SIM_CALL_STOP);
  EXPECT_EQ(Qor_Trace_Stop(Monitor), kHardwareError);
  EXPECT_EQ(TakeReports(), One(can.Port(), kHardwareError));
  EXPECT_EQ(Qor_Trace_Stop(Monitor), 0U);
}
