#include "views/KeptRecord.h"

#include <algorithm>
#include <initializer_list>
#include <iterator>

#include "stream/CanDlc.h"

namespace client {

namespace {

using Field = ComparedField;

// In the order of KeptFormat.
constexpr const char* kNames[] = {"asc", "mf4", "pcapng", "log"};
static_assert(std::size(kNames) == kKeptFormatCount);

// ---- What several formats have in common ----------------------------------------------------------------------------

void Clear(ComparedRecord& record, std::initializer_list<Field> fields) {
  for (const Field field : fields) record.Clear(field);
}

void Mask(ComparedRecord& record, Field field, unsigned long bits) { record.Set(field, record[field] & bits); }

void ClearData(ComparedRecord& record) { Clear(record, {Field::Data, Field::Length, Field::Checksum}); }

/// A record that holds everything that it announces, and not more than its bus has.
bool IsWhole(const ComparedRecord& record, RecordKind kind) {
  const size_t length = record[Field::Length];
  switch (kind) {
    case RecordKind::Unknown:
      return false;
    case RecordKind::CanFrame:
      return length <= 8 && record.Data().size() == length && record[Field::Dlc] <= 15;
    case RecordKind::CanFdFrame:
      return length <= 64 && record.Data().size() == length && record[Field::Dlc] <= 15;
    case RecordKind::LinFrame:
    case RecordKind::LinChecksumError:
      return length == 0 || record[Field::Checksum] != 0;
    case RecordKind::FlexRayFrame:
    case RecordKind::EthernetFrame:
    case RecordKind::EthernetCrcError:
      return record.Data().size() == length;
    default:
      return true;
  }
}

constexpr unsigned long kFrameFlags = QOR_TRACE_CAN_EXTENDED | QOR_TRACE_CAN_FD | QOR_TRACE_CAN_BRS | QOR_TRACE_CAN_ESI;
constexpr unsigned long kFlexRayFlags =
    QOR_TRACE_FLEXRAY_NULL | QOR_TRACE_FLEXRAY_SYNC | QOR_TRACE_FLEXRAY_STARTUP | QOR_TRACE_FLEXRAY_INDICATOR;

/// A length code is only known where it is that of the bytes, or one above 8 of a classic frame with 8 bytes.
void SetUsualDlc(ComparedRecord& record, bool keepsAbove8) {
  const unsigned long length = record[Field::Length], dlc = record[Field::Dlc];
  if (record.View().Can().IsRemote()) {
    if (!keepsAbove8) record.Set(Field::Dlc, std::min(dlc, 8ul));
    return;
  }
  const bool above8 = record.View().Kind() == RecordKind::CanFrame && length == 8 && dlc > 8;
  if (!above8 || !keepsAbove8) record.Set(Field::Dlc, CanDlcOf(length));
}

/// An error frame that is its code and its direction.
void KeepErrorCode(ComparedRecord& record) {
  Clear(record, {Field::Identifier, Field::Dlc, Field::Data});
  record.Set(Field::Flags, QOR_TRACE_CAN_ERROR);
  record.Set(Field::Length, 1);
}

void SetLinKind(ComparedRecord& record, RecordKind kind) {
  record.Set(Field::Kind, static_cast<unsigned long>(BusType_Lin) << 8 | static_cast<unsigned long>(kind));
}

/// A frame without data whose checksum is 0 looks like a header that nobody answered.
void ConfuseNoResponse(ComparedRecord& record) {
  if (record[Field::Length] != 1 || record[Field::Checksum] != 1) return;
  ClearData(record);
  SetLinKind(record, RecordKind::LinNoResponse);
}

// ---- ASC ------------------------------------------------------------------------------------------------------------

unsigned long AscErrorCode(unsigned long code) {
  if (code == 1 || code == 2) return code;
  return code == 4 || code == 5 || code == 7 ? 4 : 0;
}

void KeepAscCan(ComparedRecord& record, RecordKind kind) {
  switch (kind) {
    case RecordKind::CanErrorFrame:
      KeepErrorCode(record);
      return record.Set(Field::Code, AscErrorCode(record[Field::Code]));
    case RecordKind::CanEvent:
      Clear(record, {Field::Channel, Field::Identifier, Field::Dlc, Field::Direction});
      record.Set(Field::Flags, QOR_TRACE_CAN_TRIGGER);
      if (record[Field::Code] > 1) return;
      record.Clear(Field::Data);
      return record.Set(Field::Length, 1);
    default:
      Mask(record, Field::Flags, kFrameFlags | QOR_TRACE_CAN_OVERRUN);
  }
}

/// The bit rate in whole bit/s, as it is written, and back.
unsigned long AscBitTime(unsigned long bitTime) {
  const auto nanoseconds = static_cast<unsigned int>(bitTime >> 3);
  const unsigned int rate = nanoseconds == 0 ? 0 : static_cast<unsigned int>(1 / (nanoseconds / 1e9));
  return rate > 1 ? 1'000'000'000ul / rate * 8 : 0;
}

void KeepAscLin(ComparedRecord& record, RecordKind kind) {
  record.Set(Field::BitTime, AscBitTime(record[Field::BitTime]));
  switch (kind) {
    case RecordKind::LinParityError:
    case RecordKind::LinSyncError:
      Clear(record, {Field::Identifier, Field::Direction});
      return ClearData(record);
    case RecordKind::LinWakeUp:
      record.Clear(Field::Identifier);
      return ClearData(record);
    case RecordKind::LinTransmitError:
      return ClearData(record);
    case RecordKind::LinEvent:
      record.Set(Field::Identifier, record.View().Lin().Identifier != 0 ? 1 : 0);
      Clear(record, {Field::Direction, Field::BitTime});
      return ClearData(record);
    default:
      return ConfuseNoResponse(record);
  }
}

void KeepAscFlexRay(ComparedRecord& record, RecordKind kind) {
  constexpr auto kSyntax = static_cast<unsigned long>(FlexRayItemType::SyntaxError);
  constexpr auto kContent = static_cast<unsigned long>(FlexRayItemType::ContentError);
  Mask(record, Field::Flags, kFlexRayFlags);
  if (kind == RecordKind::FlexRayNullFrame) record.Clear(Field::Data);
  if (kind == RecordKind::FlexRayState && record[Field::Code] > 7) record.Set(Field::Code, 1);
  if (kind != RecordKind::FlexRayError) return;
  record.Clear(Field::Cycle);
  if (record[Field::Code] == kContent) record.Set(Field::Code, kSyntax);
}

bool KeepAsc(ComparedRecord& record, RecordKind kind) {
  if (!IsWhole(record, kind) || kind == RecordKind::EthernetRecord) return false;
  record.Clear(Field::Reserved);
  switch (record.View().Bus()) {
    case BusType_Can:
      KeepAscCan(record, kind);
      break;
    case BusType_Lin:
      KeepAscLin(record, kind);
      break;
    case BusType_FlexRay:
      KeepAscFlexRay(record, kind);
      break;
    default:
      break;
  }
  return true;
}

// ---- MDF ------------------------------------------------------------------------------------------------------------

void KeepMdfCan(ComparedRecord& record, RecordKind kind) {
  Mask(record, Field::Flags, ~unsigned{QOR_TRACE_CAN_OVERRUN});  // there is at most one mark a second
  switch (kind) {
    case RecordKind::CanErrorFrame:
      record.Clear(Field::Dlc);
      if (record[Field::Code] > 7) record.Clear(Field::Code);
      return;
    case RecordKind::CanEvent:
      record.Clear(Field::Identifier);
      record.Set(Field::Flags, QOR_TRACE_CAN_TRIGGER);
      return record.Set(Field::Dlc, CanDlcOf(record[Field::Length]));
    default:
      return record.Set(Field::Length, record.Data().size());
  }
}

/// An own header that nobody answered is an own frame that failed.
void KeepMdfNoResponse(ComparedRecord& record) {
  if (record[Field::Direction] == 0) return;
  SetLinKind(record, RecordKind::LinTransmitError);
  record.Set(Field::Flags, QOR_TRACE_LIN_TRANSMIT_ERROR);
}

void KeepMdfLin(ComparedRecord& record, RecordKind kind) {
  Mask(record, Field::BitTime, ~7ul);                            // whole ns
  Mask(record, Field::Flags, ~unsigned{QOR_TRACE_LIN_OVERRUN});  // as for CAN
  switch (kind) {
    case RecordKind::LinFrame:
      return ConfuseNoResponse(record);
    case RecordKind::LinNoResponse:
      return KeepMdfNoResponse(record);
    case RecordKind::LinParityError:
      record.Clear(Field::Direction);
      if (record[Field::Checksum] != 0) record.Set(Field::Checksum, 1);
      return;
    case RecordKind::LinSyncError:
    case RecordKind::LinWakeUp:
      record.Clear(Field::Identifier);
      return ClearData(record);
    case RecordKind::LinEvent:
      record.Clear(Field::BitTime);
      return ClearData(record);
    case RecordKind::LinTransmitError:
      return ClearData(record);
    default:
      return;
  }
}

void KeepMdfFlexRay(ComparedRecord& record, RecordKind kind) {
  constexpr auto kNitSyntax = static_cast<unsigned long>(FlexRayItemType::NitSyntaxError);
  constexpr auto kSyntax = static_cast<unsigned long>(FlexRayItemType::SyntaxError);
  Mask(record, Field::Flags, kFlexRayFlags);
  if (kind == RecordKind::FlexRayNullFrame) record.Clear(Field::Data);
  if (kind == RecordKind::FlexRayFrame) record.DropZerosAtEnd();  // bytes that are missing come back as zeros
  if (kind == RecordKind::FlexRayState) record.Set(Field::Code, std::min(record[Field::Code], 8ul));
  if (kind == RecordKind::FlexRayError && record[Field::Code] == kNitSyntax) record.Set(Field::Code, kSyntax);
}

/// A record that lacks some of its bytes comes back as one that never had them.
bool KeepMdf(ComparedRecord& record, RecordKind kind) {
  if (kind == RecordKind::Unknown || kind == RecordKind::EthernetRecord || kind == RecordKind::FlexRayStatus)
    return false;
  record.Clear(Field::Reserved);
  switch (record.View().Bus()) {
    case BusType_Can:
      KeepMdfCan(record, kind);
      break;
    case BusType_Lin:
      KeepMdfLin(record, kind);
      break;
    case BusType_FlexRay:
      KeepMdfFlexRay(record, kind);
      break;
    default:
      record.Set(Field::Length, record.Data().size());
  }
  return true;
}

// ---- PCAPNG ---------------------------------------------------------------------------------------------------------

void KeepCanPacket(ComparedRecord& record, RecordKind kind, bool keepsAbove8) {
  record.Clear(Field::Reserved);
  if (kind == RecordKind::CanErrorFrame) {
    KeepErrorCode(record);
    if (record[Field::Code] == 0 || record[Field::Code] > 7) record.Set(Field::Code, 7);
    return;
  }
  Mask(record, Field::Flags, kFrameFlags);
  SetUsualDlc(record, keepsAbove8);
}

void KeepLinPacket(ComparedRecord& record, RecordKind kind) {
  Mask(record, Field::Flags, ~unsigned{QOR_TRACE_LIN_OVERRUN});
  record.Clear(Field::BitTime);
  if (kind != RecordKind::LinParityError) record.Clear(Field::Reserved);
  if (kind != RecordKind::LinWakeUp) return ConfuseNoResponse(record);
  record.Clear(Field::Identifier);
  ClearData(record);
}

void KeepFlexRayPacket(ComparedRecord& record, RecordKind kind) {
  Mask(record, Field::Slot, 0x7FF);
  Mask(record, Field::Cycle, 0x3F);
  Mask(record, Field::HeaderCrc, 0x7FF);
  Mask(record, Field::Flags, kFlexRayFlags);
  if (kind == RecordKind::FlexRayNullFrame) record.Clear(Field::Data);
}

/// Packets say that they were not captured whole, so records that lack some of their bytes are kept.
bool KeepPcapng(ComparedRecord& record, RecordKind kind) {
  if (kind == RecordKind::Unknown) return false;
  switch (record.View().Bus()) {
    case BusType_Can:
      if (kind == RecordKind::CanEvent) return false;
      KeepCanPacket(record, kind, true);
      return true;
    case BusType_Lin:
      if (kind == RecordKind::LinEvent) return false;
      KeepLinPacket(record, kind);
      return true;
    case BusType_FlexRay:
      if (!IsFrame(kind)) return false;
      KeepFlexRayPacket(record, kind);
      return true;
    default:
      return IsFrame(kind);
  }
}

// ---- candump text ---------------------------------------------------------------------------------------------------

bool KeepCandump(ComparedRecord& record, RecordKind kind) {
  if (record.View().Bus() != BusType_Can || kind == RecordKind::CanEvent || !IsWhole(record, kind)) return false;
  KeepCanPacket(record, kind, false);
  return true;
}

}  // namespace

const char* NameOf(KeptFormat format) { return kNames[static_cast<size_t>(format)]; }

std::optional<KeptFormat> KeptFormatNamed(std::string_view name) {
  const auto* const found = std::find(std::begin(kNames), std::end(kNames), name);
  if (found == std::end(kNames)) return std::nullopt;
  return static_cast<KeptFormat>(found - std::begin(kNames));
}

bool KeptFormats::Keep(ComparedRecord& record) const {
  constexpr bool (*kKeepers[])(ComparedRecord&, RecordKind) = {KeepAsc, KeepMdf, KeepPcapng, KeepCandump};
  static_assert(std::size(kKeepers) == kKeptFormatCount);
  const RecordKind kind = record.View().Kind();
  // What one format makes of a record may be what another can't tell from something else.
  for (size_t pass = 0; pass < Formats.count(); ++pass)
    for (size_t format = 0; format < kKeptFormatCount; ++format)
      if (Formats.test(format) && !kKeepers[format](record, kind)) return false;
  return true;
}

unsigned long KeptFormats::TimeStep() const {
  constexpr unsigned long kMicrosecond = 1000;
  return Has(KeptFormat::Asc) || Has(KeptFormat::Candump) ? kMicrosecond : 0;
}

}  // namespace client
