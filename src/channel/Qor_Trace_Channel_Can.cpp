#include "channel/Qor_Trace_Channel_Can.h"

#include <array>

#include "qor_api.h"

namespace {

constexpr unsigned int kMaxNumberOfItems = 9000000;

//  use            code  mode  request
//  configuration  0x50  1     09 instance 00 00 0F 0E 00 00 00 00 00 00
//  start          0x50  1     0C instance 00 00
//  stop           0x50  1     0D instance 00 00
//  poll           0x50  2     0F instance 00 00
constexpr unsigned int kCode = 0x50;
constexpr unsigned int kControlMode = 1;
constexpr unsigned int kPollMode = 2;
constexpr unsigned char kStart = 0x0C;
constexpr unsigned char kStop = 0x0D;
constexpr unsigned char kPoll = 0x0F;

std::array<unsigned char, 12> Configuration(unsigned char instance) {
  return {0x09, instance, 0, 0, 0x0F, 0x0E, 0, 0, 0, 0, 0, 0};
}

std::array<unsigned char, 4> Request(unsigned char subCommand, unsigned char instance) {
  return {subCommand, instance, 0, 0};
}

// Poll response: 4 bytes, then the items.
constexpr unsigned int kResponseHead = 4;
constexpr unsigned int kItemHead = 16;

// Items back to back, each beginning at a multiple of 4 after the head. An item counts if it begins inside the
// response, even if it runs past its end.
void WalkItems(const Qor_Trace_Channel::PollResponse& response, Qor_Trace_Channel::Sink& sink) {
  for (unsigned int offset = kResponseHead; offset < response.Length;) {
    const auto* item = reinterpret_cast<const Can_Param_Monitor_Buffer64_LargeItem_t*>(response.Bytes + offset);
    sink.AddListed(item->Identifier, item);
    offset += (kItemHead + item->DataLength + 3) & ~3U;
  }
}

}  // namespace

Qor_Trace_Channel_Can::Qor_Trace_Channel_Can(unsigned int userPortHandle, unsigned int channelId)
    : Qor_Trace_Channel(userPortHandle, channelId, BusType_Can) {
  MaxNumberOfItems = kMaxNumberOfItems;
  MutexLock lock(Mutex);
  SendOrThrow({kCode, kControlMode, Configuration(InstanceId)});
}

Qor_Trace_Channel_Can::~Qor_Trace_Channel_Can() {
  IgnoreErrors([this] { Qor_Trace_Channel_Can::Stop(); });
}

void Qor_Trace_Channel_Can::ReceiveThreadFunction() {
  Receive({kCode, kPollMode, Request(kPoll, InstanceId)}, WalkItems);
}

void Qor_Trace_Channel_Can::Start() { StartMonitor({kCode, kControlMode, Request(kStart, InstanceId)}); }

void Qor_Trace_Channel_Can::Stop() { StopMonitor({kCode, kControlMode, Request(kStop, InstanceId)}); }
