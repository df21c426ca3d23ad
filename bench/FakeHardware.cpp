#include "FakeHardware.h"

#include <fcntl.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdio>
#include <cstring>
#include <utility>

#include "internal/SystemCalls.h"
#include "qor_api.h"

namespace {

constexpr unsigned int kMostPorts = 16;
constexpr size_t kMostResponse = 65535;
constexpr long kPollInterval = 10'000'000;  // ns

/// How a bus's poll responses look.
struct BusLayout {
  unsigned char InterfaceType;
  unsigned char PollSubCommand;
  size_t Head;   // bytes before the first item
  bool Counted;  // the head carries the number of items
  size_t Item;   // bytes from item to item
};

constexpr size_t kCanData = 8;
constexpr size_t kLinData = 9;  // checksum included
constexpr size_t kFlexRayHead = 20;
constexpr size_t kFlexRayData = 16;
constexpr size_t kEthernetHead = 16;
constexpr size_t kEthernetData = 100;

constexpr std::array<BusLayout, 4> kLayouts = {{
    {QOR_INTERFACE_CAN, 0x0F, 4, false, 16 + kCanData},
    {QOR_INTERFACE_LIN, 0x0E, 8, true, 12 + 8 + kLinData},
    {QOR_INTERFACE_FLEXRAY, 0x03, 8, false, kFlexRayHead + kFlexRayData},
    {QOR_INTERFACE_ETHERNET, 0x03, 8, true, kEthernetHead + kEthernetData},
}};

struct Port {
  Qor_Trace_BusType Bus = BusType_Can;
  std::atomic<size_t> Left = 0;
  std::atomic<bool> Drained = true;
  unsigned long Next = 0;           // number of the next item among those of all ports
  unsigned int Identifier = 0;      // of the next CAN frame
  double PollEnd = 0;               // s; 0 before the first poll
  double WaitedAtPollEnd = 0;       // s
  std::atomic<double> Longest = 0;  // s; from the end of a poll to the next one
};

std::array<Port, kMostPorts + 1> AllPorts;
unsigned long PortCount = 1;
bench::Traffic Load;

double Now() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

thread_local Port* Polled = nullptr;  // by this thread, last
thread_local bool HasMore = false;    // the port has answered with items

/// Notes how long the items of the poll before have taken.
void EndDelivery(Port& port) {
  if (port.PollEnd == 0) return;
  double taken = Now() - std::exchange(port.PollEnd, 0);
  if (taken <= port.Longest) return;
  taken -= bench::WaitedForProcessor() - port.WaitedAtPollEnd;
  if (taken > port.Longest) port.Longest = taken;
}
void BeginDelivery(Port& port) {
  port.WaitedAtPollEnd = bench::WaitedForProcessor();
  port.PollEnd = Now();
}

/// Stored field by field: this is measured along with the library.
void PutCan(Port& port, unsigned char* out, unsigned long time, unsigned long number) {
  constexpr unsigned int kDlcAndLength = kCanData << 16 | kCanData << 24;
  std::memcpy(out, &time, sizeof time);
  std::memcpy(out + 8, &port.Identifier, sizeof port.Identifier);
  std::memcpy(out + 12, &kDlcAndLength, sizeof kDlcAndLength);
  std::memcpy(out + 16, &number, sizeof number);
  if (++port.Identifier == Load.Identifiers) port.Identifier = 0;
}

void PutLin(Port& /*port*/, unsigned char* out, unsigned long time, unsigned long number) {
  Lin_Param_Monitor_Buffer64_ItemHeader_t header{};
  header.ItemSize = static_cast<unsigned short>(kLayouts[BusType_Lin].Item);
  header.TimestampLow = static_cast<unsigned int>(time);
  header.TimestampHigh = static_cast<unsigned int>(time >> 32);
  Lin_Param_Monitor_Buffer64_Item_Small_t item{};
  item.DataLength = kLinData;
  item.Identifier = static_cast<unsigned char>(number % 60);
  item.BitTime = 416664;  // 19200 bit/s
  std::memcpy(item.Data, &number, sizeof number);
  std::memcpy(out, &header, sizeof header);
  std::memcpy(out + sizeof header, &item, sizeof item);
}

void PutFlexRay(Port& /*port*/, unsigned char* out, unsigned long time, unsigned long number) {
  Qor_Trace_Entry_FlexRay_t item{};
  item.ItemSize = static_cast<unsigned short>(kLayouts[BusType_FlexRay].Item);
  item.ItemType = QOR_TRACE_FLEXRAY_RECEIVED;
  item.ItemTimestamp = time;
  item.SlotId = static_cast<unsigned short>(number % 100 + 1);
  item.PayloadLength = kFlexRayData / 2;
  std::memcpy(item.Data, &number, sizeof number);
  std::memcpy(out, &item, kFlexRayHead + kFlexRayData);
}

void PutEthernet(Port& /*port*/, unsigned char* out, unsigned long time, unsigned long number) {
  Qor_Trace_Entry_Ethernet_t item{};
  item.ItemSize = static_cast<unsigned short>(kLayouts[BusType_Ethernet].Item);
  item.ItemType = QOR_TRACE_ETHERNET_FRAME;
  item.ItemTimestamp = time;
  item.FrameLength = kEthernetData;
  std::memcpy(item.Frame, &number, sizeof number);
  std::memcpy(out, &item, kEthernetHead + kEthernetData);
}

constexpr std::array<void (*)(Port&, unsigned char*, unsigned long, unsigned long), 4> kPut = {PutCan, PutLin,
                                                                                               PutFlexRay, PutEthernet};

unsigned int Poll(Port& port, unsigned char* response, unsigned int* length) {
  const auto& layout = kLayouts[port.Bus];
  EndDelivery(port);
  const size_t left = port.Left;
  const size_t count = std::min(left, (kMostResponse - layout.Head) / layout.Item);
  Polled = &port;
  HasMore = count != 0;
  if (count == 0) port.Drained = true;
  for (size_t i = 0; i < count; ++i) {
    kPut[port.Bus](port, response + layout.Head + i * layout.Item, port.Next * Load.Spacing, port.Next / PortCount);
    port.Next += PortCount;
  }
  if (layout.Counted) {
    response[4] = static_cast<unsigned char>(count);
    response[5] = static_cast<unsigned char>(count >> 8);
  }
  port.Left = left - count;
  *length = static_cast<unsigned int>(layout.Head + count * layout.Item);
  if (count != 0) BeginDelivery(port);
  return 0;
}

}  // namespace

namespace bench {

void LoadPorts(const std::vector<Qor_Trace_BusType>& buses, size_t itemsPerPort, const Traffic& traffic) {
  PortCount = buses.size();
  Load = traffic;
  for (Port& port : AllPorts) port.Longest = 0;
  for (size_t i = 0; i < buses.size(); ++i) {
    auto& port = AllPorts[i + 1];
    port.Bus = buses[i];
    port.Next = i + 1;
    port.Identifier = 0;
    port.PollEnd = 0;
    port.Left = itemsPerPort;
    port.Drained = false;
  }
}

double LongestDelivery() {
  double longest = 0;
  for (const Port& port : AllPorts) longest = std::max(longest, port.Longest.load());
  return longest;
}

double WaitedForProcessor() {
  thread_local const int file = open("/proc/thread-self/schedstat", O_RDONLY | O_CLOEXEC);
  std::array<char, 100> text{};
  unsigned long nanoseconds = 0;
  if (pread(file, text.data(), text.size() - 1, 0) > 0) std::sscanf(text.data(), "%*u %lu", &nanoseconds);
  return static_cast<double>(nanoseconds) * 1e-9;
}

bool PortsDrained() {
  return std::all_of(AllPorts.begin(), AllPorts.end(), [](const Port& port) { return port.Drained.load(); });
}

size_t RecordLength(Qor_Trace_BusType bus) {
  const size_t item = kLayouts[bus].Item;
  return bus == BusType_Lin ? 48 : 28 + item;
}

}  // namespace bench

// The hardware library's calls. A port's connection has the port's number.
unsigned int Qor_ErrorHandler(unsigned int, unsigned int code, const char*, ...) { return code; }
unsigned char Qor_GetInterfaceType(unsigned int port) { return kLayouts[AllPorts[port].Bus].InterfaceType; }
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
  auto& port = AllPorts[handle];
  const bool poll = *length == kMostResponse && request[0] == kLayouts[port.Bus].PollSubCommand;
  if (poll) return Poll(port, response, length);
  *length = 0;
  return 0;
}

namespace {

// The library sleeps until a point in time that it computes from its last look at the clock; the difference is the length
// of the sleep.
thread_local timespec Started{};

int TellTime(clockid_t clock, timespec* now) {
  const int result = clock_gettime(clock, now);
  Started = *now;
  return result;
}

// The wait between two polls is not work: it is skipped while the port still has items. The sort thread's interval stays.
int Sleep(clockid_t clock, int flags, const timespec* end, timespec* rest) {
  const long time = (end->tv_sec - Started.tv_sec) * 1'000'000'000 + end->tv_nsec - Started.tv_nsec;
  if (time == kPollInterval && HasMore) {
    if (Load.Paced) {
      EndDelivery(*Polled);  // the sleep isn't part of it
      usleep(1000);
    }
    return 0;
  }
  return clock_nanosleep(clock, flags, end, rest);
}

[[maybe_unused]] const bool kTakenOver = (System.ClockGetTime = TellTime, System.ClockSleep = Sleep, true);

}  // namespace
