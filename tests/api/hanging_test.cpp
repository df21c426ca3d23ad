// A monitor that hangs in the hardware library, or has much to free, holds no other monitor up.
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <functional>
#include <thread>

#include "api/ApiTest.h"
#include "support/HangingCalls.h"
#include "support/Sleeps.h"

using namespace test;

namespace {

constexpr unsigned int kPortInUse = QOR_TRACE_STATUS_PORT_IN_USE;

/// A call on a thread of its own.
class Aside {
 public:
  explicit Aside(const std::function<unsigned int()>& call)
      : Thread([this, call] {
          Id = gettid();
          Status = call();
          Ended = true;
        }) {}
  ~Aside() {
    if (!Ended) HangingCall::Release();
    Thread.join();
  }

  [[nodiscard]] bool HasEnded() const { return Ended; }
  /// Waits until the thread sleeps.
  [[nodiscard]] bool WaitUntilItWaits() const {
    return WaitUntil([this] {
      return Id != 0 &&
             FileText("/proc/self/task/" + std::to_string(Id) + "/status").find("State:\tS") != std::string::npos;
    });
  }
  /// Waits for the end of the call. Returns its status.
  [[nodiscard]] unsigned int Result() const {
    EXPECT_TRUE(WaitUntil([this] { return HasEnded(); })) << "the call waits";
    return Status;
  }

 private:
  std::atomic<pid_t> Id = 0;
  std::atomic<unsigned int> Status = ~0U;
  std::atomic<bool> Ended = false;
  std::thread Thread;
};

class Hanging : public ApiTest {
 protected:
  Hanging() { EXPECT_EQ(Qor_Trace_Allocate(0, &Handle), 0U); }
  ~Hanging() override { Qor_Trace_Delete(Handle); }

  static unsigned int AddTo(unsigned int monitor, const ScriptedInterface& interface) {
    const Qor_Trace_AddChannel_Request_t request = {0, interface.Port(), 0};
    Qor_Trace_AddChannel_Response_t response;
    return Qor_Trace_AddChannel(monitor, &request, &response);
  }
  /// The life of another monitor, from its allocation to its end. Returns the first status that isn't 0.
  unsigned int LiveAnotherLife() {
    unsigned int other = 0;
    unsigned int status = Qor_Trace_Allocate(0, &other);
    if (status == 0) status = AddTo(other, Spare);
    if (status == 0) status = Qor_Trace_Start(other, 0);
    const unsigned int deleted = Qor_Trace_Delete(other);
    return status != 0 ? status : deleted;
  }
  /// What a call returns while the monitor hangs. Fails the test if it waits for that.
  static unsigned int ResultOf(const std::function<unsigned int()>& call) { return Aside(call).Result(); }
  void StartRecording() {
    ASSERT_EQ(AddTo(Handle, Hung), 0U);
    ASSERT_EQ(Qor_Trace_Start(Handle, 0), 0U);
    const unsigned int polls = Hung.PollCount();
    ASSERT_TRUE(WaitUntil([&] { return Hung.PollCount() > polls; }));
  }

  ScriptedInterface Hung, Spare{BusType_Can, 2};
  unsigned int Handle = 0;  // of the monitor that hangs
};

}  // namespace

TEST_F(Hanging, PollThatAStopWaitsForLeavesOtherMonitorsAlone) {
  StartRecording();
  const HangingCall hanging(HangingCall::Poll);
  ASSERT_TRUE(HangingCall::WaitUntilItHangs());
  const Aside stop([this] { return Qor_Trace_Stop(Handle); });
  EXPECT_TRUE(stop.WaitUntilItWaits());
  EXPECT_EQ(ResultOf([this] { return LiveAnotherLife(); }), 0U);
  EXPECT_FALSE(stop.HasEnded());
  HangingCall::Release();
  EXPECT_EQ(stop.Result(), 0U);
}

TEST_F(Hanging, CommandInAStopLeavesOtherMonitorsAlone) {
  StartRecording();
  const HangingCall hanging(HangingCall::Command);
  const Aside stop([this] { return Qor_Trace_Stop(Handle); });
  ASSERT_TRUE(HangingCall::WaitUntilItHangs());
  EXPECT_EQ(ResultOf([this] { return LiveAnotherLife(); }), 0U);
  EXPECT_FALSE(stop.HasEnded());
  HangingCall::Release();
  EXPECT_EQ(stop.Result(), 0U);
}

TEST_F(Hanging, PortOfAHangingMonitorIsStillInUse) {
  StartRecording();
  const HangingCall hanging(HangingCall::Command);
  const Aside stop([this] { return Qor_Trace_Stop(Handle); });
  ASSERT_TRUE(HangingCall::WaitUntilItHangs());
  TakeReports();
  EXPECT_EQ(ResultOf([this] { return AddTo(Monitor, Hung); }), kPortInUse);
  const auto reports = TakeReports();
  ASSERT_EQ(reports.size(), 1U);
  EXPECT_EQ(reports[0].Text.rfind("interface already used for monitor trace with handle 0x", 0), 0U);
}

TEST_F(Hanging, PortIsInUseFromBeforeItIsConfiguredUntilItIsClosed) {
  {
    const HangingCall hanging(HangingCall::Command);
    const Aside add([this] { return AddTo(Handle, Hung); });
    ASSERT_TRUE(HangingCall::WaitUntilItHangs());
    EXPECT_EQ(ResultOf([this] { return AddTo(Monitor, Hung); }), kPortInUse);
  }
  {
    const HangingCall hanging(HangingCall::Close);
    const Aside remove([this] { return Qor_Trace_RemoveChannel(Handle, 1); });
    ASSERT_TRUE(HangingCall::WaitUntilItHangs());
    EXPECT_EQ(ResultOf([this] { return AddTo(Monitor, Hung); }), kPortInUse);
  }
  EXPECT_EQ(AddTo(Monitor, Hung), 0U);
  Qor_Trace_ClearChannelList(Monitor);
}

TEST_F(Hanging, CloseInADeleteLeavesOtherMonitorsAlone) {
  StartRecording();
  const HangingCall hanging(HangingCall::Close);
  const Aside deletion([this] { return Qor_Trace_Delete(Handle); });
  ASSERT_TRUE(HangingCall::WaitUntilItHangs());
  EXPECT_EQ(ResultOf([this] { return LiveAnotherLife(); }), 0U);
  EXPECT_EQ(ResultOf([this] { return AddTo(Monitor, Hung); }), kPortInUse);
  EXPECT_FALSE(deletion.HasEnded());
  HangingCall::Release();
  EXPECT_EQ(deletion.Result(), 0U);
}

TEST_F(Hanging, FreeingOfTheStoreLeavesOtherMonitorsAlone) {
  constexpr unsigned int kEntries = 2000;
  StartRecording();
  Items items;
  for (unsigned long i = 0; i < kEntries / 2; ++i) items.push_back(Frame(1).At(i));
  Hung.NextItems(items).NextItems(items);
  ASSERT_TRUE(Hung.WaitUntilDelivered());
  const HangingCall hanging(HangingCall::Unmap);
  const Aside deletion([this] {
    HangingCall::CountUnmaps(1);  // the only segment of the store
    return Qor_Trace_Delete(Handle);
  });
  ASSERT_TRUE(HangingCall::WaitUntilItHangs());
  EXPECT_EQ(ResultOf([this] { return LiveAnotherLife(); }), 0U);
  EXPECT_EQ(ResultOf([this] { return AddTo(Monitor, Hung); }), 0U);  // its interface was closed before
  EXPECT_FALSE(deletion.HasEnded());
  HangingCall::Release();
  EXPECT_EQ(deletion.Result(), 0U);
  Qor_Trace_ClearChannelList(Monitor);
}
