#include "FakeHardware.h"

#include <time.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstring>

#include "qor_api.h"

namespace {

constexpr unsigned int kMostPorts = 8;
constexpr size_t kItemSize = 24;  // 16 + 8 data bytes
constexpr size_t kHead = 4;
constexpr unsigned char kPoll = 0x0F;
constexpr unsigned int kPollInterval = 10000;  // µs

struct Port {
  std::atomic<size_t> Left = 0;
  std::atomic<bool> Drained = true;
  unsigned long Next = 0;  // µs
};

std::array<Port, kMostPorts + 1> AllPorts;
unsigned int PortCount = 0;
unsigned int Identifiers = 1;

unsigned int Poll(unsigned int handle, unsigned char* response, unsigned int* length) {
  auto& port = AllPorts[handle];
  const size_t left = port.Left;
  const size_t count = std::min(left, bench::ItemsPerPoll());
  if (count == 0) port.Drained = true;
  for (size_t i = 0; i < count; ++i) {
    Can_Param_Monitor_Buffer64_LargeItem_t item{};
    item.Timestamp = port.Next * 1000;
    item.Identifier = static_cast<unsigned int>(port.Next / PortCount % Identifiers);
    item.Dlc = 8;
    item.DataLength = 8;
    std::memcpy(item.Data, &item.Timestamp, 8);
    std::memcpy(response + kHead + i * kItemSize, &item, kItemSize);
    port.Next += PortCount;
  }
  port.Left = left - count;
  *length = static_cast<unsigned int>(kHead + count * kItemSize);
  return 0;
}

}  // namespace

namespace bench {

void LoadPorts(unsigned int ports, size_t itemsPerPort, unsigned int identifiers) {
  PortCount = ports;
  Identifiers = identifiers;
  for (unsigned int p = 1; p <= ports; ++p) {
    AllPorts[p].Next = p;
    AllPorts[p].Left = itemsPerPort;
    AllPorts[p].Drained = false;
  }
}

bool PortsDrained() {
  for (const auto& port : AllPorts) {
    if (!port.Drained) return false;
  }
  return true;
}

size_t ItemsPerPoll() { return (65535 - kHead) / kItemSize; }

}  // namespace bench

// The hardware library's calls. A port's connection has the port's number.
unsigned int Qor_ErrorHandler(unsigned int, unsigned int code, const char*, ...) { return code; }
unsigned char Qor_GetInterfaceType(unsigned int) { return QOR_INTERFACE_CAN; }
unsigned int Qor_GetInterfaceInfo(unsigned int port, Qor_InterfaceInfo_t* info) {
  std::memcpy(info->Bytes, &port, sizeof port);
  return 0;
}
unsigned int Qor_OpenInterface2(unsigned int, Qor_InterfaceInfo_t* info, unsigned int* handle) {
  std::memcpy(handle, info->Bytes, sizeof *handle);
  return 0;
}
unsigned char Qor_Monitor_InstanceId_Get(unsigned int) { return 1; }
unsigned int Qor_CloseInterface(unsigned int) { return 0; }
unsigned int Qor_GetLastErrorByPortHandle(unsigned int, unsigned int*, unsigned int*, char*) { return 1; }
unsigned int Qor_CommandWithResponseEx(unsigned int handle, unsigned int, unsigned int, unsigned int,
                                       const unsigned char* request, unsigned int, unsigned char* response,
                                       unsigned int* length) {
  if (request[0] == kPoll) return Poll(handle, response, length);
  *length = 0;
  return 0;
}

// The wait between two polls is no work: while a port still has items, it is left out. The sort thread's interval stays.
int usleep(useconds_t microseconds) {
  if (microseconds == kPollInterval && !bench::PortsDrained()) return 0;
  const timespec wait{0, static_cast<long>(microseconds) * 1000};
  return nanosleep(&wait, nullptr);
}
