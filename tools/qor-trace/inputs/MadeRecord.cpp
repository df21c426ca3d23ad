#include "inputs/MadeRecord.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace client {

namespace {

constexpr size_t kFlexRayHead = offsetof(Qor_Trace_Entry_FlexRay_t, Data);
constexpr size_t kEthernetHead = offsetof(Qor_Trace_Entry_Ethernet_t, Frame);
static_assert(MadeRecord::kMostEthernet + kEthernetHead == 65535, "an item's size has 16 bits");

std::span<const unsigned char> AtMost(size_t size, std::span<const unsigned char> bytes) {
  return bytes.first(std::min(size, bytes.size()));
}

void Copy(unsigned char* to, std::span<const unsigned char> bytes) {
  if (!bytes.empty()) std::memcpy(to, bytes.data(), bytes.size());
}

}  // namespace

Qor_Trace_Entry_t& MadeRecord::Begin(const RecordHead& head, unsigned char bus, size_t payload) {
  // Never smaller than the type, so that its fields can be written by name.
  const size_t length = RecordView::kHeader + payload;
  Bytes.assign(std::max(length, sizeof(Qor_Trace_Entry_t)), 0);
  auto& record = *reinterpret_cast<Qor_Trace_Entry_t*>(Bytes.data());
  record.Length = static_cast<unsigned int>(length);
  record.ChannelId = head.Channel;
  record.Timestamp = head.Time;
  record.BusType = bus;
  return record;
}

const RecordView* MadeRecord::View() { return &Made.emplace(Bytes.data(), RecordView::LengthAt(Bytes.data())); }

const RecordView* MadeRecord::Can(const RecordHead& head, const CanParts& parts) {
  const auto data = AtMost(sizeof(Qor_Trace_Entry_Can_t::Data), parts.Data);
  auto& can = Begin(head, BusType_Can, offsetof(Qor_Trace_Entry_Can_t, Data) + data.size()).Payload.Can;
  can.ItemTimestamp = head.Time;
  can.Identifier = parts.Identifier;
  if ((parts.Flags & QOR_TRACE_CAN_EXTENDED) != 0) can.Identifier |= QOR_TRACE_CAN_ID_EXTENDED;
  if ((parts.Flags & QOR_TRACE_CAN_FD) != 0) can.Identifier |= QOR_TRACE_CAN_ID_FD;
  can.Flags = parts.Flags;
  can.Dlc = parts.Dlc;
  can.DataLength = std::max(parts.Announced, static_cast<unsigned char>(data.size()));
  Copy(can.Data, data);
  return View();
}

const RecordView* MadeRecord::Lin(const RecordHead& head, const LinParts& parts) {
  const auto data = AtMost(sizeof(Qor_Trace_Entry_Lin_t::Data), parts.Data);
  auto& lin = Begin(head, BusType_Lin, sizeof(Qor_Trace_Entry_Lin_t)).Payload.Lin;
  lin.Flags = parts.Flags;
  lin.Identifier = parts.Identifier;
  lin.BitTime = parts.BitTime;
  lin.DataLength = static_cast<unsigned char>(data.size() + (parts.Checksum ? 1 : 0));
  Copy(lin.Data, data);
  // After eight bytes of data, the checksum is in the pad byte behind them.
  if (parts.Checksum)
    *(reinterpret_cast<unsigned char*>(&lin) + offsetof(Qor_Trace_Entry_Lin_t, Data) + data.size()) = *parts.Checksum;
  return View();
}

const RecordView* MadeRecord::FlexRay(const RecordHead& head, const FlexRayParts& parts) {
  const auto data = AtMost(sizeof(Qor_Trace_Entry_FlexRay_t::Data), parts.Data);
  auto& flexray = Begin(head, BusType_FlexRay, kFlexRayHead + data.size()).Payload.FlexRay;
  flexray.ItemSize = static_cast<unsigned short>(kFlexRayHead + data.size());
  flexray.ItemType = static_cast<unsigned short>(parts.Type);
  flexray.ItemTimestamp = head.Time;
  flexray.Channel = parts.Channel;
  flexray.FrameFlags = parts.FrameFlags;
  flexray.SlotId = parts.SlotId;
  flexray.Cycle = parts.Cycle;
  flexray.PayloadLength = parts.PayloadWords;
  flexray.HeaderCrc = parts.HeaderCrc;
  Copy(flexray.Data, data);
  return View();
}

const RecordView* MadeRecord::Ethernet(const RecordHead& head, const EthernetParts& parts) {
  const auto frame = AtMost(kMostEthernet, parts.Frame);
  auto& ethernet = Begin(head, BusType_Ethernet, kEthernetHead + frame.size()).Payload.Ethernet;
  ethernet.ItemSize = static_cast<unsigned short>(kEthernetHead + frame.size());
  ethernet.ItemType = static_cast<unsigned short>(parts.Type);
  ethernet.ItemTimestamp = head.Time;
  ethernet.Flags = parts.Flags;
  ethernet.FrameLength = std::max(parts.Announced, static_cast<unsigned short>(frame.size()));
  Copy(Bytes.data() + offsetof(Qor_Trace_Entry_t, Payload) + kEthernetHead, frame);
  return View();
}

}  // namespace client
