// What the tests of the C interface share.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "qor_api_trace.h"
#include "support/ScriptedInterface.h"
#include "support/TemporaryDirectory.h"
#include "support/WaitUntil.h"

namespace test {

constexpr unsigned char kUntouched = 0xEE;

inline Qor_Trace_Export_Request_t ExportRequest(const std::string& name, unsigned int flags = 0,
                                                unsigned long startTime = 0, unsigned int extra = 0) {
  Qor_Trace_Export_Request_t request{};
  request.Flags = flags;
  std::memcpy(request.FileName, name.c_str(), name.size() + 1);
  request.MaxFileSize = startTime;
  request.Extra = extra;
  return request;
}

/// A monitor in an empty working directory. At the end nothing is left open.
class ApiTest : public testing::Test {
 protected:
  ApiTest() {
    EXPECT_EQ(Qor_Trace_Allocate(0, &Monitor), QOR_TRACE_STATUS_OK);
    TakeReports();
  }
  ~ApiTest() override {
    Qor_Trace_Delete(Monitor);
    EXPECT_EQ(Qor_Sim_OpenConnections(), 0U);
    for (const unsigned int code : Suppressed) Qor_Sim_SuppressReports(code, 0);
  }

  /// Makes the error handler return 0 for a code.
  void Suppress(unsigned int code) {
    Qor_Sim_SuppressReports(code, 1);
    Suppressed.push_back(code);
  }
  /// Adds an interface; returns its number, or 0.
  unsigned int Add(const ScriptedInterface& interface, unsigned int wanted = 0) {
    const Qor_Trace_AddChannel_Request_t request = {0, interface.Port(), wanted};
    Qor_Trace_AddChannel_Response_t response{};
    EXPECT_EQ(Qor_Trace_AddChannel(Monitor, &request, &response), QOR_TRACE_STATUS_OK);
    return response.ChannelId;
  }
  unsigned int SetNumber(Qor_Trace_PropertyId_t id, unsigned int value) {
    unsigned char bytes[4];
    std::memcpy(bytes, &value, sizeof value);
    return Qor_Trace_Property_SetById(Monitor, 0, id, sizeof bytes, bytes);
  }
  /// ~0 if the property can't be read.
  unsigned int Number(Qor_Trace_PropertyId_t id) {
    unsigned int value = 0, length = 4;
    unsigned char bytes[4];
    if (Qor_Trace_Property_GetById(Monitor, 0, id, &length, bytes) != 0) return ~0U;
    std::memcpy(&value, bytes, sizeof value);
    return value;
  }

  TemporaryDirectory Directory;
  unsigned int Monitor = 0;
  std::vector<unsigned int> Suppressed;
};

}  // namespace test
