// The calls of hardware/qor_api.h on simulated ports.
#include "qor_api.h"

#include <cstring>

#include "Channel.h"
#include "TextFile.h"

namespace {

constexpr unsigned int kNoHandle = 0x7FFFFFFF;

unsigned int Handler(unsigned int code) { return Qor_ErrorHandler(255, code, "%s", ""); }

}  // namespace

TEST(HardwareLibrary, NamesTypeAndInstanceOfAPort) {
  const OpenedPort script("script?type=77&instance=200");
  EXPECT_EQ(Qor_GetInterfaceType(script.Handle), 77);
  EXPECT_EQ(Qor_Monitor_InstanceId_Get(script.Handle), 200);
  const OpenedPort can("can");
  EXPECT_EQ(Qor_GetInterfaceType(can.Handle), QOR_INTERFACE_CAN);
  EXPECT_EQ(Qor_Monitor_InstanceId_Get(can.Handle), can.Handle & 0xFF);
}

TEST(HardwareLibrary, UnknownPortHasTypeAndInstanceZero) {
  EXPECT_EQ(Qor_GetInterfaceType(kNoHandle), 0);
  EXPECT_EQ(Qor_Monitor_InstanceId_Get(kNoHandle), 0);
  Qor_InterfaceInfo_t info;
  EXPECT_EQ(Qor_GetInterfaceInfo(kNoHandle, &info), unsigned{QOR_SIM_ERROR_HANDLE});
  EXPECT_EQ(Qor_CloseInterface(kNoHandle), unsigned{QOR_SIM_ERROR_HANDLE});
  EXPECT_EQ(Qor_CloseInterface(255), unsigned{QOR_SIM_ERROR_HANDLE});
}

TEST(HardwareLibrary, ConnectsOnlyInModeFiveWithADescriptionItFilled) {
  const OpenedPort port("script");
  Qor_InterfaceInfo_t info;
  ASSERT_EQ(Qor_GetInterfaceInfo(port.Handle, &info), 0u);
  unsigned int handle = 42;
  EXPECT_EQ(Qor_OpenInterface2(4, &info, &handle), unsigned{QOR_SIM_ERROR_ARGUMENT});
  for (size_t i = 0; i < sizeof info.Bytes; ++i) {
    Qor_InterfaceInfo_t changed = info;
    changed.Bytes[i] = static_cast<unsigned char>(changed.Bytes[i] ^ 0x40);
    EXPECT_NE(Qor_OpenInterface2(5, &changed, &handle), 0u) << i;
  }
  EXPECT_EQ(handle, 42u);
  ASSERT_EQ(Qor_OpenInterface2(5, &info, &handle), 0u);
  EXPECT_EQ(Qor_CloseInterface(handle), 0u);
}

TEST(HardwareLibrary, CountsOpenConnections) {
  const unsigned int before = Qor_Sim_OpenConnections();
  const OpenedPort port("script");
  {
    const Channel first(port.Handle), second(port.Handle);
    EXPECT_NE(first.Handle, second.Handle);
    EXPECT_EQ(Qor_Sim_OpenConnections(), before + 2);
  }
  EXPECT_EQ(Qor_Sim_OpenConnections(), before);
}

TEST(HardwareLibrary, ConnectionClosesOnce) {
  const OpenedPort port("script");
  Qor_InterfaceInfo_t info;
  unsigned int handle = 0;
  ASSERT_EQ(Qor_GetInterfaceInfo(port.Handle, &info), 0u);
  ASSERT_EQ(Qor_OpenInterface2(5, &info, &handle), 0u);
  EXPECT_EQ(Qor_CloseInterface(handle), 0u);
  EXPECT_EQ(Qor_CloseInterface(handle), unsigned{QOR_SIM_ERROR_HANDLE});
}

TEST(HardwareLibrary, PortHandleIsNoConnection) {
  const OpenedPort port("script");
  EXPECT_EQ(Qor_CloseInterface(port.Handle), unsigned{QOR_SIM_ERROR_HANDLE});
  const Channel channel(port.Handle);
  EXPECT_EQ(Qor_GetInterfaceType(channel.Handle), 0);
}

TEST(HardwareLibrary, ConnectionsOfAClosedPortFailAndCanBeClosed) {
  unsigned int port = 0;
  ASSERT_EQ(Qor_Sim_OpenPort("script", &port), 0u);
  Channel channel(port);
  ASSERT_EQ(channel.Configure(), 0u);
  ASSERT_EQ(Qor_Sim_ClosePort(port), 0u);
  EXPECT_EQ(channel.Start(), unsigned{QOR_SIM_ERROR_HANDLE});
  EXPECT_EQ(Qor_Sim_ClosePort(port), unsigned{QOR_SIM_ERROR_HANDLE});
}

TEST(HardwareLibrary, CommandsOnNoConnectionAreRefused) {
  const Bytes request(4, 0);
  Bytes response(16, 0);
  unsigned int length = 16;
  EXPECT_EQ(Qor_CommandWithResponseEx(kNoHandle, 0, 0x50, 1, request.data(), 4, response.data(), &length),
            unsigned{QOR_SIM_ERROR_HANDLE});
  EXPECT_EQ(length, 16u);
}

TEST(HardwareLibrary, NullPointersAreRefused) {
  constexpr unsigned int kArgument = QOR_SIM_ERROR_ARGUMENT;
  const OpenedPort port("script");
  const Channel channel(port.Handle);
  Qor_InterfaceInfo_t info;
  unsigned char byte = 0;
  char text = 0;
  unsigned int number = 1;
  EXPECT_EQ(Qor_GetInterfaceInfo(port.Handle, nullptr), kArgument);
  EXPECT_EQ(Qor_OpenInterface2(5, nullptr, &number), kArgument);
  EXPECT_EQ(Qor_OpenInterface2(5, &info, nullptr), kArgument);
  EXPECT_EQ(Qor_CommandWithResponseEx(channel.Handle, 0, 0x50, 1, nullptr, 4, &byte, &number), kArgument);
  EXPECT_EQ(Qor_CommandWithResponseEx(channel.Handle, 0, 0x50, 1, &byte, 1, nullptr, &number), kArgument);
  EXPECT_EQ(Qor_CommandWithResponseEx(channel.Handle, 0, 0x50, 1, &byte, 1, &byte, nullptr), kArgument);
  EXPECT_STREQ(Qor_Sim_ErrorText(), "The argument responseLength is null.");
  EXPECT_EQ(Qor_GetLastErrorByPortHandle(channel.Handle, nullptr, &number, &text), kArgument);
  EXPECT_EQ(Qor_GetLastErrorByPortHandle(channel.Handle, &number, nullptr, &text), kArgument);
  EXPECT_EQ(Qor_GetLastErrorByPortHandle(channel.Handle, &number, &number, nullptr), kArgument);
}

TEST(HardwareLibrary, RefusedCommandLeavesTheResponseLength) {
  const OpenedPort port("script");
  Channel channel(port.Handle);
  EXPECT_EQ(channel.Send(1, {1, 2, 3, 4}), unsigned{QOR_SIM_ERROR_COMMAND});
  EXPECT_EQ(channel.ReportedLength, 1012u);
}

TEST(HardwareLibrary, OtherInterfaceTypesRefuseEveryCommand) {
  const OpenedPort port("script?type=6");
  Channel channel(port.Handle);
  EXPECT_EQ(channel.Configure(), unsigned{QOR_SIM_ERROR_COMMAND});
  EXPECT_STREQ(Qor_Sim_ErrorText(), "No trace channel knows interface type 6.");
}

TEST(HardwareLibrary, FlexRayMonitorMayBeStoppedWithoutAStart) {
  const OpenedPort port("script?type=9");
  Channel channel(port.Handle);
  EXPECT_EQ(channel.Stop(), unsigned{QOR_SIM_ERROR_STATE});
  EXPECT_EQ(channel.Configure(), 0u);
  EXPECT_EQ(channel.Stop(), 0u);
  EXPECT_EQ(channel.Start(), 0u);
  EXPECT_EQ(channel.Stop(), 0u);
  EXPECT_EQ(channel.Stop(), 0u);
}

TEST(HardwareLibrary, LastErrorIsThatOfTheConnectionsLastFailedCommand) {
  const OpenedPort port("script");
  Channel channel(port.Handle), other(port.Handle);
  unsigned int code = 77, length = 200;
  char text[200];
  ASSERT_EQ(Qor_GetLastErrorByPortHandle(channel.Handle, &code, &length, text), 0u);
  EXPECT_EQ(code, 0u);
  EXPECT_EQ(length, 0u);
  EXPECT_STREQ(text, "");
  ASSERT_NE(channel.Start(), 0u);
  length = 200;
  ASSERT_EQ(Qor_GetLastErrorByPortHandle(channel.Handle, &code, &length, text), 0u);
  EXPECT_EQ(code, unsigned{QOR_SIM_ERROR_STATE});
  EXPECT_STREQ(text, "A start needs a configured monitor.");
  EXPECT_EQ(length, std::strlen(text));
  length = 200;
  ASSERT_EQ(Qor_GetLastErrorByPortHandle(other.Handle, &code, &length, text), 0u);
  EXPECT_EQ(code, 0u);
}

TEST(HardwareLibrary, LastErrorTextIsCutToTheBuffer) {
  const OpenedPort port("script");
  Channel channel(port.Handle);
  ASSERT_NE(channel.Start(), 0u);
  unsigned int code = 0, length = 8;
  char text[9] = "xxxxxxxx";
  ASSERT_EQ(Qor_GetLastErrorByPortHandle(channel.Handle, &code, &length, text), 0u);
  EXPECT_STREQ(text, "A start");
  EXPECT_EQ(length, 7u);
  EXPECT_EQ(text[8], '\0');
  length = 0;
  EXPECT_EQ(Qor_GetLastErrorByPortHandle(channel.Handle, &code, &length, text), unsigned{QOR_SIM_ERROR_CAPACITY});
  EXPECT_EQ(Qor_GetLastErrorByPortHandle(kNoHandle, &code, &length, text), unsigned{QOR_SIM_ERROR_HANDLE});
}

// ---- Qor_ErrorHandler ------------------------------------------------------------------------------------------------

TEST(ErrorHandler, FormatsKeepsAndReturnsTheCode) {
  Qor_Sim_ClearReports();
  EXPECT_EQ(Qor_ErrorHandler(3, 0x02140003, "used by 0x%x (%s)", 0xABCu, "me"), 0x02140003u);
  ASSERT_EQ(Qor_Sim_ReportCount(), 1u);
  Qor_Sim_Report_t report;
  ASSERT_EQ(Qor_Sim_GetReport(0, &report), 0u);
  EXPECT_EQ(report.Level, 3u);
  EXPECT_EQ(report.Code, 0x02140003u);
  EXPECT_STREQ(report.Text, "used by 0xabc (me)");
}

TEST(ErrorHandler, CutsLongTextsAndTakesANullFormat) {
  Qor_Sim_ClearReports();
  const std::string text(1000, 'x');
  Qor_ErrorHandler(255, 1, "%s", text.c_str());
  const char* none = nullptr;
  Qor_ErrorHandler(255, 2, none, 0);
  Qor_Sim_Report_t report;
  ASSERT_EQ(Qor_Sim_GetReport(0, &report), 0u);
  EXPECT_EQ(report.Text, std::string(499, 'x'));
  ASSERT_EQ(Qor_Sim_GetReport(1, &report), 0u);
  EXPECT_STREQ(report.Text, "");
}

TEST(ErrorHandler, ReturnsZeroForASuppressedCode) {
  Qor_Sim_SuppressReports(5, 1);
  EXPECT_EQ(Handler(5), 0u);
  EXPECT_EQ(Handler(6), 6u);
  Qor_Sim_SuppressReports(5, 0);
  EXPECT_EQ(Handler(5), 5u);
}

TEST(ErrorHandler, CallsTheCallbackUntilItIsTakenAway) {
  Bytes seen;
  Qor_Sim_SetReportCallback(
      [](void* context, const Qor_Sim_Report_t* report) {
        static_cast<Bytes*>(context)->push_back(static_cast<unsigned char>(report->Code));
      },
      &seen);
  Handler(1);
  Handler(2);
  Qor_Sim_SetReportCallback(nullptr, nullptr);
  Handler(3);
  EXPECT_EQ(seen, (Bytes{1, 2}));
}
