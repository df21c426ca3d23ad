// Records as readers make them, as bytes.
#pragma once

#include <deque>
#include <span>
#include <utility>
#include <vector>

#include "inputs/MadeRecord.h"
#include "tools/ClientEntries.h"

namespace client {

/// Makes records one after the other, and keeps the data that they are made of.
class Made {
 public:
  std::span<const unsigned char> Data(Bytes bytes) { return Kept.emplace_back(std::move(bytes)); }

  Bytes Can(unsigned int channel, unsigned long time, const CanParts& parts) {
    return BytesOf(Record.Can({channel, time}, parts));
  }
  Bytes Lin(unsigned int channel, unsigned long time, const LinParts& parts) {
    return BytesOf(Record.Lin({channel, time}, parts));
  }
  Bytes FlexRay(unsigned int channel, unsigned long time, const FlexRayParts& parts) {
    return BytesOf(Record.FlexRay({channel, time}, parts));
  }
  Bytes Ethernet(unsigned int channel, unsigned long time, const EthernetParts& parts) {
    return BytesOf(Record.Ethernet({channel, time}, parts));
  }

 private:
  static Bytes BytesOf(const RecordView* record) { return {record->Bytes().begin(), record->Bytes().end()}; }

  MadeRecord Record;
  std::deque<Bytes> Kept;
};

/// A record of every kind that a measurement file holds, in the order of their times; nothing in them that it can't hold.
inline std::vector<Bytes> EveryKind() {
  Made made;
  std::vector<Bytes> all;
  unsigned long time = 0;
  const auto next = [&] { return time += 1234567; };
  const auto can = [&](const CanParts& parts) { all.push_back(made.Can(1, next(), parts)); };
  const auto lin = [&](const LinParts& parts) { all.push_back(made.Lin(2, next(), parts)); };
  const auto flexRay = [&](const FlexRayParts& parts) { all.push_back(made.FlexRay(3, next(), parts)); };
  const auto ethernet = [&](const EthernetParts& parts) { all.push_back(made.Ethernet(4, next(), parts)); };

  can({.Identifier = 0x7FF, .Dlc = 8, .Data = made.Data({1, 2, 3, 4, 5, 6, 7, 8})});
  can({.Identifier = 0x123, .Flags = QOR_TRACE_CAN_TRANSMITTED});
  can({.Identifier = 0x1FFFFFFF, .Flags = QOR_TRACE_CAN_EXTENDED, .Dlc = 1, .Data = made.Data({9})});
  for (const unsigned int flags : {0u, QOR_TRACE_CAN_BRS, QOR_TRACE_CAN_ESI}) {
    const auto fd = static_cast<unsigned char>(QOR_TRACE_CAN_FD | flags);
    can({.Identifier = 0x50, .Flags = fd, .Dlc = 15, .Data = made.Data(Bytes(64, 0xAB))});
  }
  can({.Identifier = 0x321, .Dlc = 5});  // remote
  for (unsigned char code = 1; code <= 7; ++code) {
    const unsigned int sent = code % 2 == 0 ? QOR_TRACE_CAN_TRANSMITTED : 0;
    can({.Identifier = code,
         .Flags = static_cast<unsigned char>(QOR_TRACE_CAN_ERROR | sent),
         .Data = made.Data({code})});
  }
  can({.Flags = QOR_TRACE_CAN_TRIGGER, .Dlc = 1, .Data = made.Data({0})});
  can({.Flags = QOR_TRACE_CAN_TRIGGER, .Dlc = 1, .Data = made.Data({1})});
  can({.Flags = QOR_TRACE_CAN_TRIGGER, .Dlc = 3, .Data = made.Data({2, 0xAB, 0})});

  constexpr unsigned int kBitTime = 52083 * 8;  // eighths of a ns
  lin({.Identifier = 0x3F, .Data = made.Data({1, 2, 3, 4, 5, 6, 7, 8}), .Checksum = 0xDA, .BitTime = kBitTime});
  lin({.Identifier = 1,
       .Flags = QOR_TRACE_LIN_TRANSMITTED,
       .Data = made.Data({1}),
       .Checksum = 0,
       .BitTime = kBitTime});
  lin({.Identifier = 2,
       .Flags = QOR_TRACE_LIN_CHECKSUM_ERROR,
       .Data = made.Data({1, 2}),
       .Checksum = 7,
       .BitTime = kBitTime});
  lin({.Identifier = 3, .Flags = QOR_TRACE_LIN_PARITY_ERROR, .BitTime = kBitTime});
  lin({.Flags = QOR_TRACE_LIN_SYNC_ERROR, .BitTime = kBitTime});
  lin({.Identifier = 4, .Flags = QOR_TRACE_LIN_TRANSMIT_ERROR | QOR_TRACE_LIN_TRANSMITTED, .BitTime = kBitTime});
  lin({.Identifier = 5, .BitTime = kBitTime});  // without a response
  lin({.Flags = QOR_TRACE_LIN_WAKEUP, .BitTime = kBitTime});
  lin({.Flags = QOR_TRACE_LIN_WAKEUP | QOR_TRACE_LIN_TRANSMITTED});
  lin({.Identifier = 0, .Flags = QOR_TRACE_LIN_EVENT});
  lin({.Identifier = 1, .Flags = QOR_TRACE_LIN_EVENT});

  for (unsigned char channel = 0; channel < 3; ++channel) {
    flexRay({.Channel = channel,
             .SlotId = 2047,
             .Cycle = 63,
             .PayloadWords = 3,
             .HeaderCrc = 0x7FF,
             .Data = made.Data({1, 2, 3, 4, 5, 6})});
    flexRay({.Type = FlexRayItemType::TransmittedFrame,
             .Channel = channel,
             .FrameFlags = QOR_TRACE_FLEXRAY_NULL,
             .SlotId = 1,
             .PayloadWords = 8});
  }
  for (const unsigned int flag : {QOR_TRACE_FLEXRAY_SYNC, QOR_TRACE_FLEXRAY_STARTUP, QOR_TRACE_FLEXRAY_INDICATOR})
    flexRay(
        {.FrameFlags = static_cast<unsigned char>(flag), .SlotId = 5, .PayloadWords = 1, .Data = made.Data({1, 2})});
  flexRay({.Type = FlexRayItemType::CycleStart, .Channel = 33});
  for (unsigned char code = 0; code < 9; ++code) flexRay({.Type = FlexRayItemType::State, .Channel = code});
  for (unsigned char channel = 0; channel < 4; ++channel)
    flexRay({.Type = FlexRayItemType::Symbol, .Channel = channel});
  for (const auto type :
       {FlexRayItemType::SyntaxError, FlexRayItemType::NitBoundaryViolation, FlexRayItemType::ContentError})
    for (unsigned int channel = 0; channel < 3; ++channel)
      flexRay({.Type = type, .SlotId = static_cast<unsigned short>(channel << 8 | 17)});
  flexRay({.Type = FlexRayItemType::Overrun});

  ethernet({.Frame = made.Data(test::Counting(60))});
  ethernet({.Flags = QOR_TRACE_ETHERNET_TRANSMITTED, .Frame = made.Data(test::Counting(1514))});
  ethernet({.Flags = QOR_TRACE_ETHERNET_CRC_ERROR, .Frame = made.Data(test::Counting(14))});
  ethernet({.Type = EthernetItemType::Overrun});
  return all;
}

/// Those of them that the library's own convention holds as well.
inline std::vector<Bytes> EveryKindOfTheExport() {
  std::vector<Bytes> kept;
  for (const Bytes& record : EveryKind()) {
    const RecordView view = ViewOf(record);
    const RecordKind kind = view.Kind();
    const bool isRemote = kind == RecordKind::CanFrame && view.Can().IsRemote();
    const bool isLost = isRemote || kind == RecordKind::CanEvent || kind == RecordKind::LinEvent ||
                        kind == RecordKind::FlexRayNullFrame || kind == RecordKind::LinChecksumError;
    if (!isLost && view.Bus() != BusType_Ethernet) kept.push_back(record);
  }
  return kept;
}

}  // namespace client
