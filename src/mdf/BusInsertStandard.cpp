// Which entry becomes which record in the standard convention, and the records that only it has.
#include <algorithm>

#include "mdf/Bus.h"
#include "mdf/BusRecord.h"
#include "mdf/BusTables.h"
#include "mdf/GroupInsert.h"
#include "record/RecordView.h"

using MDF::InsertWithData;
using MDF::Record;
using MDF::StoreHeld;

// Of the entries that get no record here, a trigger event is marked by an event of the file: see MdfFile.

bool Bus::InsertStandard(Payload payload, unsigned long& timestamp) {
  switch (BusType) {
    case Info::Can:
      return InsertStandardCan(payload, timestamp);
    case Info::Lin:
      return InsertStandardLin(payload, timestamp);
    case Info::FlexRay:
      return InsertStandardFlexRay(payload, timestamp);
    default:
      return InsertStandardEthernet(payload, timestamp);
  }
}

bool Bus::InsertStandardCan(Payload payload, unsigned long& timestamp) {
  const CanView can = CanView::Of(payload);
  switch (can.Kind()) {
    case RecordKind::CanEvent:
      return true;
    case RecordKind::CanErrorFrame:
      return Data_Insert_CAN_ErrorFrame(Groups.at(MDF::tables::kCanErrorFrame), payload, timestamp);
    default:
      return can.IsRemote() ? InsertCanRemoteFrame(Groups.at(MDF::tables::kCanRemoteFrame), can, timestamp)
                            : Data_Insert_CAN_DataFrame(Groups.at(MDF::tables::kCanDataFrame), payload, timestamp);
  }
}

bool Bus::InsertStandardLin(Payload payload, unsigned long& timestamp) {
  const LinView lin = LinView::Of(payload);
  if (lin.Reserved != 0) return false;
  const auto insert = [&](MDF::LinKind kind) { return Data_Insert_LIN(Groups.at(kind), kind, payload, timestamp); };
  switch (lin.Kind()) {
    case RecordKind::LinEvent:
      return true;
    case RecordKind::LinTransmitError:
    case RecordKind::LinNoResponse:  // as a frame it would have values, all of them zero
      return insert(MDF::kLinTransmissionError);
    case RecordKind::LinParityError:
      return insert(MDF::kLinReceiveError);
    case RecordKind::LinSyncError:
      return insert(MDF::kLinSyncError);
    case RecordKind::LinChecksumError:
      return insert(MDF::kLinChecksumError);
    case RecordKind::LinWakeUp:
      return insert(MDF::kLinWakeup);
    default:
      return insert(MDF::kLinFrame);
  }
}

bool Bus::InsertStandardFlexRay(Payload payload, unsigned long& timestamp) {
  const FlexRayView flexRay = FlexRayView::Of(payload);
  if (flexRay.Kind() != RecordKind::FlexRayNullFrame) return DispatchFlexRay(payload, timestamp);
  return InsertFlxNullFrame(Groups.at(MDF::tables::kFlxNullFrame), flexRay, timestamp);
}

bool Bus::InsertStandardEthernet(Payload payload, unsigned long& timestamp) {
  const EthernetView ethernet = EthernetView::Of(payload);
  switch (ethernet.Kind()) {
    case RecordKind::EthernetFrame:
      return InsertEthernetFrame(Groups.at(MDF::tables::kEthFrame), ethernet, timestamp);
    case RecordKind::EthernetCrcError:
      return InsertEthernetFrame(Groups.at(MDF::tables::kEthChecksumError), ethernet, timestamp);
    case RecordKind::OverrunMark:
      return true;
    default:
      return false;
  }
}

bool Bus::InsertEthernetFrame(ChannelGroup& group, const EthernetView& ethernet, unsigned long timestamp) {
  constexpr size_t kAddress = 6;
  constexpr size_t kHead = 2 * kAddress + sizeof(unsigned short);
  constexpr size_t kMostBytes = 0xFFFF - kHead;
  const RecordPayload frame = ethernet.Frame();
  const RecordPayload data = record_view::From(frame, kHead);
  unsigned char head[kHead];
  StoreHeld(frame, head, kHead);  // a frame that ends in its head has zeros there
  const size_t announced = std::max<size_t>(ethernet.FrameLength, kHead) - kHead;
  Record record(*group.Records);
  record.Put(timestamp);
  std::copy_n(head + kAddress, kAddress, record.Next(kAddress));      // source
  std::copy_n(head, kAddress, record.Next(kAddress));                 // destination
  record.Put(static_cast<unsigned short>(head[12] << 8 | head[13]));  // on the bus the high byte comes first
  record.Put(static_cast<unsigned short>(announced));
  record.Put(static_cast<unsigned short>(data.size()));
  record.Put(0U);  // CRC: an entry doesn't have it
  record.Put(static_cast<unsigned char>(ethernet.Has(QOR_TRACE_ETHERNET_TRANSMITTED) ? 1 : 0));
  record.Put(static_cast<unsigned char>(0));  // PadByteCount: padding isn't told from data
  record.Put(group.DataBytes);
  return InsertWithData<kMostBytes>(group, record, data, static_cast<unsigned int>(data.size()), Stream);
}
