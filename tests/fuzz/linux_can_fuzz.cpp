// What a raw CAN socket delivers: bytes, flags and control messages of any kind. Every message becomes a sound item or is counted as
// lost, and a poll returns all of them.
#include "Input.h"
#include "linux/CanReceiver.h"
#include "linux/FakeKernel.h"
#include "qor_api.h"

namespace {

using fuzz::Input;
using fuzz::Require;
using qor_linux::Inbox;
using qor_linux::Message;

constexpr size_t kMostMessages = 500;  // which one poll holds, whatever they are

Message TakeMessage(Input& input) {
  Message message;
  message.Flags = input.OneIn(4) ? MSG_DONTROUTE : input.OneIn(8) ? MSG_TRUNC : 0;
  const size_t lengths[] = {CAN_MTU, CANFD_MTU, input.Below(CANFD_MTU + 1)};
  const test::Bytes bytes = input.TakeBytes(lengths[input.Below(3)]);
  std::copy(bytes.begin(), bytes.end(), message.Bytes.begin());
  message.Length = bytes.size();
  const test::Bytes control = input.TakeBytes(input.Below(static_cast<unsigned int>(message.Control.size()) + 1));
  std::copy(control.begin(), control.end(), message.Control.begin());
  message.ControlLength = control.size();
  return message;
}

void CheckItem(const qor_sim::CanItem& item) {
  Require(item.DataLength <= 64, "an item has at most 64 bytes");
  Require(item.Dlc <= 15, "a data length code has four bits");
  const bool extended = (item.Flags & qor_sim::kCanExtended) != 0;
  Require(((item.Identifier & qor_sim::kCanIdExtended) != 0) == extended, "the identifier is marked as the flags say");
  const unsigned int plain = item.Identifier & ~(qor_sim::kCanIdExtended | qor_sim::kCanIdFd);
  Require(plain <= (extended ? qor_sim::kCanGreatestExtendedId : qor_sim::kCanGreatestStandardId), "it is one");
  const bool fd = (item.Flags & qor_sim::kCanFd) != 0;
  Require(fd || item.DataLength <= 8, "a classic frame has at most eight bytes");
  if ((item.Flags & qor_sim::kCanError) != 0)
    Require(item.DataLength == 1 && item.Data[0] >= 1 && item.Data[0] <= 7, "an error frame has its kind");
}

size_t CheckItems(Inbox& inbox) {
  std::vector<unsigned char> bytes(65535);
  qor_sim::ResponseWriter writer(qor_sim::FindProtocol(QOR_INTERFACE_CAN)->Response, bytes);
  Require(inbox.MoveTo(writer), "every item fits into a poll");
  size_t count = 0;
  for (size_t place = 4; place < writer.Length(); ++count) {
    qor_sim::CanItem item{};
    std::memcpy(&item, bytes.data() + place, qor_sim::kCanItemHead);
    std::memcpy(item.Data, bytes.data() + place + qor_sim::kCanItemHead, std::min<size_t>(item.DataLength, 64));
    CheckItem(item);
    place += (qor_sim::kCanItemHead + item.DataLength + 3u) & ~3u;
  }
  return count;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input(data, size);
  FakeKernel kernel;
  kernel.DroppedByNow = std::nullopt;
  Inbox inbox(kMostMessages);
  qor_linux::CanReceiver receiver(kernel, {"can0"}, kernel.OpenCan({"can0"}), inbox);
  size_t sent = 0;
  for (; input.Left() > 0 && sent < kMostMessages; ++sent) kernel.Arrive(TakeMessage(input));
  while (receiver.Step(), kernel.HasArrivals()) continue;
  const size_t items = CheckItems(inbox);
  const Qor_Sim_Status_t status = inbox.Status();
  Require(status.Delivered == items && items <= sent, "what is delivered is what came");
  Require(status.Lost >= sent - items, "what is no item is counted as lost");
  return 0;
}
