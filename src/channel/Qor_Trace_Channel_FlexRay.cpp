#include "channel/Qor_Trace_Channel_FlexRay.h"

#include <array>

#include "internal/Threads.h"
#include "qor_api.h"
#include "record/RecordKind.h"

namespace {

constexpr unsigned int kMaxNumberOfItems = 3000000;

//  use            code  mode  request
//  configuration  0x21  1     00 instance 00 00 3E 1F 00 00
//  start          0x21  1     01 instance 00 00
//  stop           0x21  1     02 instance 00 00
//  poll           0x21  2     03 instance 00 00
constexpr unsigned int kCode = 0x21;
constexpr unsigned int kControlMode = 1;
constexpr unsigned int kPollMode = 2;
constexpr unsigned char kStart = 0x01;
constexpr unsigned char kStop = 0x02;
constexpr unsigned char kPoll = 0x03;

std::array<unsigned char, 8> Configuration(unsigned char instance) { return {0x00, instance, 0, 0, 0x3E, 0x1F, 0, 0}; }

std::array<unsigned char, 4> Request(unsigned char subCommand, unsigned char instance) {
  return {subCommand, instance, 0, 0};
}

// Poll response: 8 bytes, then the items.
constexpr unsigned int kResponseHead = 8;

/// The list key of an item: frames by slot, errors by their own key, everything else under 0.
unsigned int ListKey(const FlexRay_Param_Monitor_Entry_t& item) {
  switch (static_cast<FlexRayItemType>(item.ItemType)) {
    case FlexRayItemType::ReceivedFrame:
    case FlexRayItemType::TransmittedFrame:
      return item.SlotId;
    case FlexRayItemType::NitSyntaxError:
    case FlexRayItemType::SyntaxError:
    case FlexRayItemType::NitBoundaryViolation:
    case FlexRayItemType::ContentError:
      return item.EventKey;
    default:
      return 0;
  }
}

// Items back to back, each beginning at a multiple of 4 after the head. An item counts if it begins inside the
// response, even if it runs past its end; one without a size ends the walk.
void WalkItems(const Qor_Trace_Channel::PollResponse& response, Qor_Trace_Channel::Sink& sink) {
  for (unsigned int offset = kResponseHead; offset < response.Length;) {
    const auto* item = reinterpret_cast<const FlexRay_Param_Monitor_Entry_t*>(response.Bytes + offset);
    if (item->ItemSize == 0) return;
    sink.AddListed(ListKey(*item), item);
    offset += (item->ItemSize + 3U) & ~3U;
  }
}

}  // namespace

Qor_Trace_Channel_FlexRay::Qor_Trace_Channel_FlexRay(unsigned int userPortHandle, unsigned int channelId)
    : Qor_Trace_Channel(userPortHandle, channelId, BusType_FlexRay) {
  MaxNumberOfItems = kMaxNumberOfItems;
  MutexLock lock(Mutex);
  SendOrThrow({kCode, kControlMode, Configuration(InstanceId)});
}

Qor_Trace_Channel_FlexRay::~Qor_Trace_Channel_FlexRay() {
  IgnoreErrors([this] { Qor_Trace_Channel_FlexRay::Stop(); });
}

void Qor_Trace_Channel_FlexRay::ReceiveThreadFunction() {
  Receive({kCode, kPollMode, Request(kPoll, InstanceId)}, WalkItems);
}

// Unlike on the other buses the channel counts as running only once its thread exists.
void Qor_Trace_Channel_FlexRay::Start() {
  MutexLock lock(Mutex);
  SendOrThrow({kCode, kControlMode, Request(kStart, InstanceId)});
  StopRequested = false;
  ReceiveThread = StartThread([this] { ReceiveThreadFunction(); });
  Running = true;
}

// Unlike on the other buses the stop command goes out on every call, also for a channel that doesn't run.
void Qor_Trace_Channel_FlexRay::Stop() {
  MutexLock lock(Mutex);
  EndReceiveThread();
  SendOrThrow({kCode, kControlMode, Request(kStop, InstanceId)});
  Running = false;
}
