#include "CanFrame.h"

#include <linux/can.h>
#include <linux/can/error.h>

#include <algorithm>
#include <cstring>

namespace qor_linux {
namespace {

using qor_sim::CanItem;

void SetFlag(CanItem& item, unsigned char flag) { item.Flags = static_cast<unsigned char>(item.Flags | flag); }

void SetIdentifier(CanItem& item, canid_t id) {
  if ((id & CAN_EFF_FLAG) == 0) {
    item.Identifier = id & CAN_SFF_MASK;
    return;
  }
  item.Identifier = (id & CAN_EFF_MASK) | qor_sim::kCanIdExtended;
  SetFlag(item, qor_sim::kCanExtended);
}

CanNews NewsOf(canid_t errorClass) {
  if ((errorClass & CAN_ERR_RESTARTED) != 0) return CanNews::Restarted;
  return (errorClass & CAN_ERR_BUSOFF) != 0 ? CanNews::BusOff : CanNews::None;
}

DecodedCan ErrorFrame(CanItem item, canid_t id, const unsigned char* data) {
  const canid_t errorClass = id & CAN_ERR_MASK;
  qor_sim::SetCanError(item, errorClass, data);
  const bool lostOne = (errorClass & CAN_ERR_CRTL) != 0 && (data[1] & CAN_ERR_CRTL_RX_OVERFLOW) != 0;
  if (lostOne) SetFlag(item, qor_sim::kCanOverrun);
  return {item, NewsOf(errorClass)};
}

std::optional<DecodedCan> Classic(CanItem item, std::span<const unsigned char> bytes) {
  can_frame frame;
  std::memcpy(&frame, bytes.data(), sizeof frame);
  if (frame.len > CAN_MAX_DLEN) return std::nullopt;
  if ((frame.can_id & CAN_ERR_FLAG) != 0) return ErrorFrame(item, frame.can_id, frame.data);
  SetIdentifier(item, frame.can_id);
  const bool rawLength =
      frame.len == CAN_MAX_DLEN && frame.len8_dlc > CAN_MAX_DLEN && frame.len8_dlc <= CAN_MAX_RAW_DLC;
  item.Dlc = rawLength ? frame.len8_dlc : frame.len;
  if ((frame.can_id & CAN_RTR_FLAG) != 0) return DecodedCan{item};
  item.DataLength = frame.len;
  std::copy_n(frame.data, frame.len, item.Data);
  return DecodedCan{item};
}

unsigned char DlcThatHolds(size_t length) {
  while (!qor_sim::CanFdDlc(length)) ++length;
  return *qor_sim::CanFdDlc(length);
}

std::optional<DecodedCan> Fd(CanItem item, std::span<const unsigned char> bytes) {
  canfd_frame frame;
  std::memcpy(&frame, bytes.data(), sizeof frame);
  if (frame.len > CANFD_MAX_DLEN) return std::nullopt;
  if ((frame.can_id & CAN_ERR_FLAG) != 0) return ErrorFrame(item, frame.can_id, frame.data);
  SetIdentifier(item, frame.can_id);
  item.Identifier |= qor_sim::kCanIdFd;
  SetFlag(item, qor_sim::kCanFd);
  if ((frame.flags & CANFD_BRS) != 0) SetFlag(item, qor_sim::kCanBrs);
  if ((frame.flags & CANFD_ESI) != 0) SetFlag(item, qor_sim::kCanEsi);
  item.Dlc = DlcThatHolds(frame.len);
  item.DataLength = frame.len;
  std::copy_n(frame.data, frame.len, item.Data);
  return DecodedCan{item};
}

}  // namespace

std::optional<DecodedCan> DecodeCanFrame(std::span<const unsigned char> frame, uint64_t time, bool transmitted) {
  CanItem item{};
  item.Timestamp = time;
  if (transmitted) SetFlag(item, qor_sim::kCanTransmitted);
  if (frame.size() == CAN_MTU) return Classic(item, frame);
  if (frame.size() == CANFD_MTU) return Fd(item, frame);
  return std::nullopt;
}

}  // namespace qor_linux
