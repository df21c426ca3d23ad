// A trace channel's side of a simulated port, for tests: the exact commands of each bus.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "qor_api.h"
#include "qor_sim.h"

using Bytes = std::vector<unsigned char>;

/// What the trace channel of one bus sends; `instance` goes where the bus sends it.
struct BusCommands {
  unsigned char Type;
  unsigned int Command;
  unsigned int PollMode;
  Bytes Configure, Start, Stop, Poll;
  Bytes EmptyResponse;
};

inline BusCommands CommandsOf(unsigned char type, unsigned char instance) {
  const unsigned char i = instance;
  switch (type) {
    case QOR_INTERFACE_CAN:
      return {type,
              0x50,
              2,
              {0x09, i, 0, 0, 0x0F, 0x0E, 0, 0, 0, 0, 0, 0},
              {0x0C, i, 0, 0},
              {0x0D, i, 0, 0},
              {0x0F, i, 0, 0},
              Bytes(4, 0)};
    case QOR_INTERFACE_LIN:
      return {type,
              0x50,
              0,
              {0x09, 0, 0, 0, 0x07, 0x06, 0, 0, 0, 0, 0, 0, 0x01, 0, 0, 0},
              {0x0C, 0, 0, 0},
              {0x0D, 0, 0, 0},
              {0x0E, 0, 0, 0},
              Bytes(8, 0)};
    case QOR_INTERFACE_FLEXRAY:
      return {type,       0x21, 2, {0x00, i, 0, 0, 0x3E, 0x1F, 0, 0}, {0x01, i, 0, 0}, {0x02, i, 0, 0}, {0x03, i, 0, 0},
              Bytes(8, 0)};
    default:
      return {QOR_INTERFACE_ETHERNET, 0x50,       2, {0x00, i, 0, 0, 0x07, 0, 0, 0}, {0x01, i, 0, 0}, {0x02, i, 0, 0},
              {0x03, i, 0, 0},        Bytes(8, 0)};
  }
}

/// A port for the length of a scope.
class OpenedPort {
 public:
  explicit OpenedPort(const std::string& source) {
    EXPECT_EQ(Qor_Sim_OpenPort(source.c_str(), &Handle), 0u) << Qor_Sim_ErrorText();
  }
  ~OpenedPort() {
    if (Handle == 0) return;
    EXPECT_EQ(Qor_Sim_ClosePort(Handle), 0u);
  }
  OpenedPort(const OpenedPort&) = delete;
  OpenedPort& operator=(const OpenedPort&) = delete;

  unsigned int Handle = 0;
};

/// A connection for the length of a scope, and the commands of the port's bus on it.
class Channel {
 public:
  explicit Channel(unsigned int portHandle)
      : Commands(CommandsOf(Qor_GetInterfaceType(portHandle), Qor_Monitor_InstanceId_Get(portHandle))) {
    Qor_InterfaceInfo_t info;
    EXPECT_EQ(Qor_GetInterfaceInfo(portHandle, &info), 0u) << Qor_Sim_ErrorText();
    EXPECT_EQ(Qor_OpenInterface2(5, &info, &Handle), 0u) << Qor_Sim_ErrorText();
  }
  ~Channel() { EXPECT_EQ(Qor_CloseInterface(Handle), 0u); }
  Channel(const Channel&) = delete;
  Channel& operator=(const Channel&) = delete;

  unsigned int Send(unsigned int mode, const Bytes& request, unsigned int capacity = 1012) {
    Response.assign(capacity, 0xEE);
    unsigned int length = capacity;
    const unsigned int result =
        Qor_CommandWithResponseEx(Handle, 0, Commands.Command, mode, request.data(),
                                  static_cast<unsigned int>(request.size()), Response.data(), &length);
    ReportedLength = length;
    return result;
  }
  unsigned int Configure() { return Send(1, Commands.Configure); }
  unsigned int Start() { return Send(1, Commands.Start); }
  unsigned int Stop() { return Send(1, Commands.Stop); }
  unsigned int Poll(unsigned int capacity = 65535) { return Send(Commands.PollMode, Commands.Poll, capacity); }

  /// The bytes that the last command says it returned.
  Bytes Returned() const { return Bytes(Response.begin(), Response.begin() + ReportedLength); }

  const BusCommands Commands;
  unsigned int Handle = 0;
  Bytes Response;
  unsigned int ReportedLength = 0;
};
