#include "channel/Qor_Trace_Channel_Ethernet.h"

#include <array>
#include <string>

#include "qor_api.h"

namespace {

constexpr unsigned int kMaxNumberOfItems = 500000;

//  use            code  mode  request
//  configuration  0x50  1     00 instance 00 00 07 00 00 00
//  start          0x50  1     01 instance 00 00
//  stop           0x50  1     02 instance 00 00
//  poll           0x50  2     03 instance 00 00
constexpr unsigned int kCode = 0x50;
constexpr unsigned int kControlMode = 1;
constexpr unsigned int kPollMode = 2;
constexpr unsigned char kStart = 0x01;
constexpr unsigned char kStop = 0x02;
constexpr unsigned char kPoll = 0x03;

std::array<unsigned char, 8> Configuration(unsigned char instance) { return {0x00, instance, 0, 0, 0x07, 0, 0, 0}; }

std::array<unsigned char, 4> Request(unsigned char subCommand, unsigned char instance) {
  return {subCommand, instance, 0, 0};
}

// Items back to back, without alignment; none has a place in the list. Only the item count and the buffer bound the
// walk: it ends early where an item has no size or would begin past what a poll can return.
void WalkItems(const Qor_Trace_Channel::PollResponse& response, Qor_Trace_Channel::Sink& sink) {
  unsigned int offset = response.FirstCountedItem;
  for (unsigned int left = response.ItemCount(); left > 0 && offset < response.End; --left) {
    const auto* item = reinterpret_cast<const Ethernet_Param_Monitor_Item_t*>(response.Bytes + offset);
    if (item->ItemSize == 0) return;
    sink.Add(item);
    offset += item->ItemSize;
  }
}

/// The hardware library's text for a failed command of a connection, if its last error is this one.
std::string ErrorText(unsigned int interfaceHandle, unsigned int code) {
  std::array<char, 512> text{};
  auto length = static_cast<unsigned int>(text.size());
  unsigned int lastCode = 0;
  if (Qor_GetLastErrorByPortHandle(interfaceHandle, &lastCode, &length, text.data()) != 0 || lastCode != code)
    return "";
  text.back() = 0;
  return text.data();
}

}  // namespace

Qor_Trace_Channel_Ethernet::Qor_Trace_Channel_Ethernet(unsigned int userPortHandle, unsigned int channelId)
    : Qor_Trace_Channel(userPortHandle, channelId, BusType_Ethernet) {
  MaxNumberOfItems = kMaxNumberOfItems;
  MutexLock lock(Mutex);
  if (const auto code = Send({kCode, kControlMode, Configuration(InstanceId)})) {
    throw Qor_Trace_Exception(UserPortHandle, code, ErrorText(InterfaceHandle, code));
  }
}

Qor_Trace_Channel_Ethernet::~Qor_Trace_Channel_Ethernet() {
  IgnoreErrors([this] { Qor_Trace_Channel_Ethernet::Stop(); });
}

void Qor_Trace_Channel_Ethernet::ReceiveThreadFunction() {
  Receive({kCode, kPollMode, Request(kPoll, InstanceId)}, WalkItems);
}

void Qor_Trace_Channel_Ethernet::Start() { StartMonitor({kCode, kControlMode, Request(kStart, InstanceId)}); }

void Qor_Trace_Channel_Ethernet::Stop() { StopMonitor({kCode, kControlMode, Request(kStop, InstanceId)}); }
