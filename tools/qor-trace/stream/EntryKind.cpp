#include "stream/EntryKind.h"

#include <iterator>

namespace client {

namespace {

constexpr KindText Texts[] = {
    {"CAN", "classic frame", "classic frames", "classic_frames"},
    {"FD", "FD frame", "FD frames", "fd_frames"},
    {"error", "error frame", "error frames", "error_frames"},
    {"event", "event", "events", "events"},
    {"frame", "frame", "frames", "frames"},
    {"no response", "header without response", "headers without response", "no_responses"},
    {"wake-up", "wake-up", "wake-ups", "wake_ups"},
    {"checksum error", "checksum error", "checksum errors", "checksum_errors"},
    {"parity error", "parity error", "parity errors", "parity_errors"},
    {"sync error", "sync error", "sync errors", "sync_errors"},
    {"transmit error", "transmit error", "transmit errors", "transmit_errors"},
    {"event", "event", "events", "events"},
    {"frame", "frame with data", "frames with data", "data_frames"},
    {"null", "null frame", "null frames", "null_frames"},
    {"cycle", "start of cycle", "starts of cycles", "cycle_starts"},
    {"state", "state", "states", "states"},
    {"symbol", "symbol", "symbols", "symbols"},
    {"error", "error", "errors", "errors"},
    {"status", "status", "statuses", "statuses"},
    {"frame", "good frame", "good frames", "good_frames"},
    {"CRC error", "frame with a CRC error", "frames with CRC errors", "crc_errors"},
    {"record", "other record", "other records", "other_records"},
    {"overrun", "entry without a kind", "entries without a kind", "overrun_entries"},
    {"malformed", "malformed entry", "malformed entries", "malformed"},
};
static_assert(std::size(Texts) == KindCount);

Kind KindOfCan(const CanEntry& can) {
  if (can.Has(QOR_TRACE_CAN_TRIGGER)) return Kind::CanEvent;
  if (can.Has(QOR_TRACE_CAN_ERROR)) return Kind::CanError;
  return can.Has(QOR_TRACE_CAN_FD) ? Kind::CanFdFrame : Kind::CanFrame;
}

Kind KindOfLin(const LinEntry& lin) {
  constexpr unsigned int transmitError = QOR_TRACE_LIN_TRANSMIT_ERROR | QOR_TRACE_LIN_TRANSMITTED;
  if ((lin.Flags & transmitError) == transmitError) return Kind::LinTransmitError;
  if (lin.Has(QOR_TRACE_LIN_PARITY_ERROR)) return Kind::LinParityError;
  if (lin.Has(QOR_TRACE_LIN_SYNC_ERROR)) return Kind::LinSyncError;
  if (lin.Has(QOR_TRACE_LIN_CHECKSUM_ERROR)) return Kind::LinChecksumError;
  if (lin.Has(QOR_TRACE_LIN_EVENT)) return Kind::LinEvent;
  if (lin.Has(QOR_TRACE_LIN_WAKEUP)) return Kind::LinWakeUp;
  return lin.Announced == 0 ? Kind::LinNoResponse : Kind::LinFrame;
}

Kind KindOfFlexRay(const FlexRayEntry& flexRay) {
  switch (flexRay.Kind) {
    case QOR_TRACE_FLEXRAY_OVERRUN:
      return Kind::OverrunMark;
    case QOR_TRACE_FLEXRAY_RECEIVED:
    case QOR_TRACE_FLEXRAY_TRANSMITTED:
      return flexRay.Has(QOR_TRACE_FLEXRAY_NULL) ? Kind::FlexRayNull : Kind::FlexRayFrame;
    case 3:
      return Kind::FlexRayCycle;
    case 4:
      return Kind::FlexRayState;
    case 5:
      return Kind::FlexRayStatus;
    case 6:
      return Kind::FlexRaySymbol;
    case 7:
    case 8:
    case 9:
    case 10:
      return Kind::FlexRayError;
    default:
      return Kind::Malformed;
  }
}

Kind KindOfEthernet(const EthernetEntry& ethernet) {
  if (ethernet.Kind == QOR_TRACE_ETHERNET_OVERRUN) return Kind::OverrunMark;
  if (ethernet.Kind != QOR_TRACE_ETHERNET_FRAME) return Kind::EthernetRecord;
  return ethernet.Has(QOR_TRACE_ETHERNET_CRC_ERROR) ? Kind::EthernetCrcError : Kind::EthernetFrame;
}

}  // namespace

Kind KindOf(const unsigned char* record, unsigned int length) {
  if (const auto can = ReadCan(record, length)) return KindOfCan(*can);
  if (const auto lin = ReadLin(record, length)) return KindOfLin(*lin);
  if (const auto flexRay = ReadFlexRay(record, length)) return KindOfFlexRay(*flexRay);
  if (const auto ethernet = ReadEthernet(record, length)) return KindOfEthernet(*ethernet);
  return Kind::Malformed;
}

const KindText& TextOf(Kind kind) { return Texts[static_cast<std::size_t>(kind)]; }

bool IsFrame(Kind kind) {
  switch (kind) {
    case Kind::CanFrame:
    case Kind::CanFdFrame:
    case Kind::LinFrame:
    case Kind::FlexRayFrame:
    case Kind::FlexRayNull:
    case Kind::EthernetFrame:
    case Kind::EthernetCrcError:
      return true;
    default:
      return false;
  }
}

bool IsTransmitted(const unsigned char* record, unsigned int length) {
  if (const auto can = ReadCan(record, length)) return can->Has(QOR_TRACE_CAN_TRANSMITTED);
  if (const auto lin = ReadLin(record, length)) return lin->Has(QOR_TRACE_LIN_TRANSMITTED);
  if (const auto flexRay = ReadFlexRay(record, length)) return flexRay->Kind == QOR_TRACE_FLEXRAY_TRANSMITTED;
  if (const auto ethernet = ReadEthernet(record, length)) return ethernet->Has(QOR_TRACE_ETHERNET_TRANSMITTED);
  return false;
}

bool HasOverrunMark(const unsigned char* record, unsigned int length) {
  if (const auto can = ReadCan(record, length)) return can->Has(QOR_TRACE_CAN_OVERRUN);
  if (const auto lin = ReadLin(record, length)) return lin->Has(QOR_TRACE_LIN_OVERRUN);
  return KindOf(record, length) == Kind::OverrunMark;
}

const char* BusName(unsigned char busType) {
  switch (busType) {
    case BusType_Can:
      return "CAN";
    case BusType_Lin:
      return "LIN";
    case BusType_FlexRay:
      return "FlexRay";
    case BusType_Ethernet:
      return "Ethernet";
    default:
      return "?";
  }
}

}  // namespace client
