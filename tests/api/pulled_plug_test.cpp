// An interface that is pulled while four buses are recorded.
#include <gtest/gtest.h>

#include "api/ApiTest.h"
#include "recording/TraceDrain.h"

using namespace test;

namespace {

constexpr unsigned int kForEver = 1'000'000;
constexpr unsigned int kFrames = 40;  // of each bus

class PulledPlug : public ApiTest {
 protected:
  PulledPlug() {
    for (ScriptedInterface* bus : {&Pulled, &Second, &Third, &Fourth}) Add(*bus);
  }
  ~PulledPlug() override { Qor_Trace_ClearChannelList(Monitor); }

  /// From now on the interface answers nothing.
  void Pull() {
    for (unsigned int call = QOR_SIM_CALL_INTERFACE_INFO; call <= QOR_SIM_CALL_POLL; ++call) {
      Pulled.Fail(call, kHardwareError, kForEver);
    }
  }
  void Deliver(ScriptedInterface& bus, unsigned long firstTime) {
    for (unsigned long i = 0; i < kFrames; ++i) bus.NextItems({Frame(0x100).At(firstTime + i).Data(Counting(8))});
    ASSERT_TRUE(bus.WaitUntilDelivered());
  }
  /// How many entries of a channel are in the trace.
  [[nodiscard]] unsigned long Entries(unsigned int channel) const {
    unsigned long found = 0;
    TraceDrain drain(Monitor);
    const unsigned int status = drain.PullAll([&](const RecordView& record) {
      if (record.ChannelId() == channel) ++found;
      return true;
    });
    EXPECT_EQ(status, QOR_TRACE_STATUS_OK);
    return found;
  }

  ScriptedInterface Pulled, Second{BusType_Can, 2}, Third{BusType_Can, 3}, Fourth{BusType_Can, 4};
};

}  // namespace

TEST_F(PulledPlug, TheOthersGoOnAndNothingRecordedIsLost) {
  ASSERT_EQ(Qor_Trace_Start(Monitor, QOR_TRACE_START_ASC_RECORDING), QOR_TRACE_STATUS_OK);
  for (ScriptedInterface* bus : {&Pulled, &Second, &Third, &Fourth}) Deliver(*bus, 1000);
  Pull();
  ASSERT_TRUE(WaitUntil([&] { return Pulled.LastPollFailed(); }));
  EXPECT_TRUE(TakeReports().empty()) << "nobody is told until the stop";
  for (ScriptedInterface* bus : {&Second, &Third, &Fourth}) Deliver(*bus, 2000);
  EXPECT_EQ(Qor_Trace_Stop(Monitor), kHardwareError) << "the interface can't be told to stop";
  EXPECT_EQ(Entries(1), kFrames);
  for (unsigned int channel = 2; channel <= 4; ++channel) EXPECT_EQ(Entries(channel), 2 * kFrames);
}

TEST_F(PulledPlug, TheRestRecordsOnWithoutIt) {
  ASSERT_EQ(Qor_Trace_Start(Monitor, 0), QOR_TRACE_STATUS_OK);
  Pull();
  ASSERT_TRUE(WaitUntil([&] { return Pulled.LastPollFailed(); }));
  EXPECT_EQ(Qor_Trace_Stop(Monitor), kHardwareError);
  EXPECT_NE(Qor_Trace_Start(Monitor, 0), QOR_TRACE_STATUS_OK) << "it must be removed first";
  Qor_Trace_Stop(Monitor);
  EXPECT_EQ(Qor_Trace_RemoveChannel(Monitor, 1), QOR_TRACE_STATUS_OK);
  ASSERT_EQ(Qor_Trace_Start(Monitor, 0), QOR_TRACE_STATUS_OK);
  for (ScriptedInterface* bus : {&Second, &Third, &Fourth}) Deliver(*bus, 3000);
  EXPECT_EQ(Qor_Trace_Stop(Monitor), QOR_TRACE_STATUS_OK);
  EXPECT_EQ(Entries(1), 0U);
  for (unsigned int channel = 2; channel <= 4; ++channel) EXPECT_EQ(Entries(channel), kFrames);
}
