#include "channel/Qor_Trace_Channel_Lin.h"

#include <array>

#include "qor_api.h"

namespace {

constexpr unsigned int kMaxNumberOfItems = 9000000;

// No LIN request carries the instance.
//
//  use            code  mode  request
//  configuration  0x50  1     09 00 00 00 07 06 00 00 00 00 00 00 01 00 00 00
//  start          0x50  1     0C 00 00 00
//  stop           0x50  1     0D 00 00 00
//  poll           0x50  0     0E 00 00 00
constexpr unsigned int kCode = 0x50;
constexpr unsigned int kControlMode = 1;
constexpr unsigned int kPollMode = 0;
constexpr unsigned char kStart = 0x0C;
constexpr unsigned char kStop = 0x0D;
constexpr unsigned char kPoll = 0x0E;

constexpr std::array<unsigned char, 16> kConfiguration = {0x09, 0, 0, 0, 0x07, 0x06, 0, 0, 0, 0, 0, 0, 0x01, 0, 0, 0};

std::array<unsigned char, 4> Request(unsigned char subCommand) { return {subCommand, 0, 0, 0}; }

// Items back to back, without alignment. Only the item count and the buffer bound the walk: it ends early where an
// item has no size or would begin past what a poll can return.
void WalkItems(const Qor_Trace_Channel::PollResponse& response, Qor_Trace_Channel::Sink& sink) {
  unsigned int offset = response.FirstCountedItem;
  for (unsigned int left = response.ItemCount(); left > 0 && offset < response.End; --left) {
    const auto* header = reinterpret_cast<const Lin_Param_Monitor_Buffer64_ItemHeader_t*>(response.Bytes + offset);
    if (header->ItemSize == 0) return;
    const auto* item = reinterpret_cast<const Lin_Param_Monitor_Buffer64_Item_Small_t*>(header + 1);
    sink.AddListed(item->Identifier, header, item);
    offset += header->ItemSize;
  }
}

}  // namespace

Qor_Trace_Channel_Lin::Qor_Trace_Channel_Lin(unsigned int userPortHandle, unsigned int channelId)
    : Qor_Trace_Channel(userPortHandle, channelId, BusType_Lin) {
  MaxNumberOfItems = kMaxNumberOfItems;
  MutexLock lock(Mutex);
  SendOrThrow({kCode, kControlMode, kConfiguration});
}

Qor_Trace_Channel_Lin::~Qor_Trace_Channel_Lin() {
  IgnoreErrors([this] { Qor_Trace_Channel_Lin::Stop(); });
}

void Qor_Trace_Channel_Lin::ReceiveThreadFunction() { Receive({kCode, kPollMode, Request(kPoll)}, WalkItems); }

void Qor_Trace_Channel_Lin::Start() { StartMonitor({kCode, kControlMode, Request(kStart)}); }

void Qor_Trace_Channel_Lin::Stop() { StopMonitor({kCode, kControlMode, Request(kStop)}); }
