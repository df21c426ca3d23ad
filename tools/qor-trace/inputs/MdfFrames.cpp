#include "inputs/MdfFrames.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <iterator>
#include <limits>

#include "stream/CanDlc.h"
#include "stream/LinChecksum.h"

namespace client {

namespace {

using Name = MdfName;
using Span = std::span<const unsigned char>;

struct EventName {
  std::string_view Text;
  MdfEvent Event;
};
constexpr EventName kEvents[] = {{"CAN_DataFrame", MdfEvent::CanData},
                                 {"CAN_RemoteFrame", MdfEvent::CanRemote},
                                 {"CAN_ErrorFrame", MdfEvent::CanError},
                                 {"LIN_Frame", MdfEvent::LinFrame},
                                 {"LIN_ChecksumError", MdfEvent::LinChecksumError},
                                 {"LIN_ReceiveError", MdfEvent::LinReceiveError},
                                 {"LIN_ReceptionError", MdfEvent::LinReceiveError},
                                 {"LIN_SyncError", MdfEvent::LinSyncError},
                                 {"LIN_TransmissionError", MdfEvent::LinTransmissionError},
                                 {"LIN_WakeUp", MdfEvent::LinWakeUp},
                                 {"LIN_Wakeup", MdfEvent::LinWakeUp},
                                 {"FLX_Frame", MdfEvent::FlexRayFrame},
                                 {"FLX_NullFrame", MdfEvent::FlexRayNullFrame},
                                 {"FLX_Error", MdfEvent::FlexRayError},
                                 {"FLX_StartCycle", MdfEvent::FlexRayStartCycle},
                                 {"FLX_State", MdfEvent::FlexRayState},
                                 {"FLX_Symbol", MdfEvent::FlexRaySymbol},
                                 {"ETH_Frame", MdfEvent::Ethernet},
                                 {"ETH_ChecksumError", MdfEvent::EthernetChecksumError}};

bool Has(const MdfRecord& from, Name name) { return from.Group->Field(name).IsThere(); }

unsigned long Number(const MdfRecord& from, Name name) { return MdfNumber(from.Group->Field(name), from.Bytes); }

template <class Value>
Value Small(const MdfRecord& from, Name name) {
  return static_cast<Value>(std::min<unsigned long>(Number(from, name), std::numeric_limits<Value>::max()));
}

bool IsSet(const MdfRecord& from, Name name) { return Number(from, name) != 0; }

Span Bytes(const MdfRecord& from, Name name) { return MdfBytes(from.Group->Field(name), from.Bytes); }

/// The bytes that a frame holds, without those that only fill a field of fixed length.
Span Data(const MdfRecord& from) {
  const MdfField& field = from.Group->Field(Name::DataBytes);
  const Span all = field.Place == MdfPlace::InRecord ? MdfBytes(field, from.Bytes) : from.Signal;
  if (!Has(from, Name::DataLength)) return all;
  return all.first(std::min<unsigned long>(all.size(), Number(from, Name::DataLength)));
}

// --- CAN ---

constexpr unsigned int kExtendedBit = 0x80000000;
constexpr unsigned int kIdentifierBits = 0x1FFFFFFF;

unsigned char CanFlags(const MdfRecord& from) {
  const unsigned long id = Number(from, Name::Id);
  const bool extended = Has(from, Name::Ide) ? IsSet(from, Name::Ide) : (id & kExtendedBit) != 0;
  unsigned int flags = 0;
  if (extended) flags |= QOR_TRACE_CAN_EXTENDED;
  if (IsSet(from, Name::Dir)) flags |= QOR_TRACE_CAN_TRANSMITTED;
  if (IsSet(from, Name::Edl)) flags |= QOR_TRACE_CAN_FD;
  if (IsSet(from, Name::Brs)) flags |= QOR_TRACE_CAN_BRS;
  if (IsSet(from, Name::Esi)) flags |= QOR_TRACE_CAN_ESI;
  return static_cast<unsigned char>(flags);
}

unsigned int CanIdentifier(const MdfRecord& from) {
  return static_cast<unsigned int>(Number(from, Name::Id)) & kIdentifierBits;
}

struct ErrorCode {
  unsigned char Code = 0;
  bool Overrun = false;
};

/// What the library has put into ErrorFlags, whose bit 5 says which way the frame went; nothing for other contents.
std::optional<ErrorCode> LibrarysErrorCode(Span flags) {
  constexpr unsigned char kFront[] = {0x05, 0, 0, 0};
  constexpr unsigned char kCodes[][3] = {{0xC1, 0xC1, 0x00}, {0x81, 0x81, 0x00}, {0x41, 0x41, 0x00},
                                         {0xC1, 0xC1, 0x01}, {0x0D, 0x0D, 0x00}, {0x09, 0x09, 0x00},
                                         {0x10, 0x11, 0x01}, {0x01, 0x01, 0x00}, {0x00, 0x02, 0x02}};
  constexpr unsigned int kReceived = 0x20;
  if (flags.size() != 7 || !std::equal(std::begin(kFront), std::end(kFront), flags.begin())) return std::nullopt;
  const unsigned char found[] = {static_cast<unsigned char>(flags[4] & ~kReceived),
                                 static_cast<unsigned char>(flags[5] & ~kReceived), flags[6]};
  for (size_t code = 0; code < std::size(kCodes); ++code) {
    if (!std::equal(std::begin(found), std::end(found), std::begin(kCodes[code]))) continue;
    constexpr size_t kOverrun = 8;
    return code == kOverrun ? ErrorCode{0, true} : ErrorCode{static_cast<unsigned char>(code), false};
  }
  return std::nullopt;
}

/// The bytes of a field, whether it calls them bytes or a number.
std::array<unsigned char, 8> NumberBytes(const MdfRecord& from, Name name) {
  std::array<unsigned char, 8> bytes{};
  const unsigned long number = Number(from, name);
  std::memcpy(bytes.data(), &number, sizeof number);
  return bytes;
}

ErrorCode CanErrorOf(const MdfRecord& from) {
  const MdfField& field = from.Group->Field(Name::ErrorFlags);
  if (field.IsThere() && field.Bits == 56) {
    const auto bytes = NumberBytes(from, Name::ErrorFlags);
    const auto known = LibrarysErrorCode(std::span(bytes).first(7));
    if (known) return *known;
  }
  // By ErrorType: other, bit, form, stuff, CRC, acknowledgement.
  constexpr unsigned char kCodes[] = {7, 4, 2, 1, 6, 3};
  const unsigned long type = Number(from, Name::ErrorType);
  return {type < std::size(kCodes) ? kCodes[type] : kCodes[0], false};
}

// --- LIN ---

/// Of a bus in the library's own convention, where every source is one of CAN.
bool IsExportedLin(const MdfRecord& from) {
  constexpr unsigned int kCan = 2;
  return from.Group->SourceBus == kCan;
}

/// Eighths of a nanosecond; 0 where it isn't known.
unsigned int BitTimeOf(const MdfRecord& from) {
  const MdfField& field = from.Group->Field(Name::Baudrate);
  if (field.Place != MdfPlace::InRecord) return 0;
  double rate = static_cast<double>(Number(from, Name::Baudrate));
  if (field.Kind == MdfField::Type::Float && field.Bits == 64 && !field.IsLinear && !field.BigEndian && field.Bit == 0)
    std::memcpy(&rate, from.Bytes.data() + field.Byte, sizeof rate);
  if (!(rate > 0) || std::isinf(rate)) return 0;
  const double eighths = std::round(8e9 / rate);
  return eighths <= static_cast<double>(std::numeric_limits<unsigned int>::max()) ? static_cast<unsigned int>(eighths)
                                                                                  : 0;
}

/// Of a file that doesn't say: the enhanced one, which is usual.
unsigned char EnhancedChecksum(unsigned char identifier, Span data) {
  unsigned int sum = LinProtectedIdentifier(identifier);
  for (const unsigned char byte : data) {
    sum += byte;
    if (sum > 0xFF) sum -= 0xFF;
  }
  return static_cast<unsigned char>(~sum);
}

unsigned short LinFlags(MdfEvent event, const MdfRecord& from) {
  const unsigned int direction = IsSet(from, Name::Dir) ? QOR_TRACE_LIN_TRANSMITTED : 0;
  switch (event) {
    case MdfEvent::LinChecksumError:
      return static_cast<unsigned short>(QOR_TRACE_LIN_CHECKSUM_ERROR | direction);
    case MdfEvent::LinReceiveError:
      return QOR_TRACE_LIN_PARITY_ERROR;
    case MdfEvent::LinSyncError:
      return QOR_TRACE_LIN_SYNC_ERROR;
    case MdfEvent::LinTransmissionError:
      // The library's own groups have own frames that failed, those of others headers that nobody has answered.
      if (direction == 0 && !IsExportedLin(from)) return 0;
      return QOR_TRACE_LIN_TRANSMIT_ERROR | QOR_TRACE_LIN_TRANSMITTED;
    case MdfEvent::LinWakeUp: {
      const bool sent = Has(from, Name::IsExternal) ? !IsSet(from, Name::IsExternal) : direction != 0;
      return static_cast<unsigned short>(QOR_TRACE_LIN_WAKEUP | (sent ? QOR_TRACE_LIN_TRANSMITTED : 0));
    }
    default:
      return static_cast<unsigned short>(direction);
  }
}

bool HasLinData(MdfEvent event) {
  return event == MdfEvent::LinFrame || event == MdfEvent::LinChecksumError || event == MdfEvent::LinReceiveError;
}

Span LinData(const MdfRecord& from) {
  const Span data = Data(from);
  const Span most = data.first(std::min<size_t>(data.size(), LinView::kMostDataBytes));
  if (!Has(from, Name::ReceivedDataByteCount)) return most;
  return most.first(std::min<unsigned long>(most.size(), Number(from, Name::ReceivedDataByteCount)));
}

// --- FlexRay ---

constexpr unsigned long kBothChannels = 0x0080'0000;  // of FrameFlags
constexpr unsigned char kBoth = 2;

unsigned char FlexRayFlags(const MdfRecord& from, bool null) {
  unsigned int flags = null || IsSet(from, Name::NullFrameFlag) ? QOR_TRACE_FLEXRAY_NULL : 0;
  if (IsSet(from, Name::SyncFrameFlag)) flags |= QOR_TRACE_FLEXRAY_SYNC;
  if (IsSet(from, Name::StartUpFrameFlag)) flags |= QOR_TRACE_FLEXRAY_STARTUP;
  if (IsSet(from, Name::PayloadPreambleFlag)) flags |= QOR_TRACE_FLEXRAY_INDICATOR;
  return static_cast<unsigned char>(flags);
}

/// By what the library has written for channel A or else B; two kinds of syntax errors look the same.
std::optional<FlexRayItemType> LibrarysErrorType(Span data) {
  enum : unsigned char { kError = 5, kOverrun = 6 };
  if (data.size() < 8) return std::nullopt;
  if (data[0] == kOverrun) return FlexRayItemType::Overrun;
  if (data[0] != kError) return std::nullopt;
  switch (std::max(data[6], data[7])) {
    case 1:
      return FlexRayItemType::SyntaxError;
    case 2:
      return FlexRayItemType::ContentError;
    case 4:
      return FlexRayItemType::NitBoundaryViolation;
    default:
      return std::nullopt;
  }
}

/// The code of a state by the two numbers that the library has written for it.
std::optional<unsigned char> LibrarysState(Span data) {
  constexpr unsigned char kStates[][2] = {{2, 0x0F}, {2, 0},    {2, 4},    {1, 2},   {1, 3},
                                          {2, 1},    {2, 0x20}, {2, 0x13}, {0, 0x0F}};
  if (data.size() < 12) return std::nullopt;
  for (size_t code = 0; code < std::size(kStates); ++code)
    if (data[4] == kStates[code][0] && data[8] == kStates[code][1]) return static_cast<unsigned char>(code);
  return std::nullopt;
}

unsigned char SymbolChannel(const MdfRecord& from) {
  constexpr unsigned char kChannels[] = {3, 0, 1, kBoth};  // none, A, B, both
  return kChannels[Number(from, Name::FlxChannelMask) & 3];
}

// --- Ethernet ---

constexpr size_t kAddress = 6;

/// An address in the order of the bus, whether the file calls it bytes or a number.
std::array<unsigned char, kAddress> Address(const MdfRecord& from, Name name) {
  std::array<unsigned char, kAddress> address{};
  const Span bytes = Bytes(from, name);
  if (!bytes.empty()) {
    std::copy_n(bytes.begin(), std::min(bytes.size(), kAddress), address.begin());
    return address;
  }
  const auto number = NumberBytes(from, name);
  std::reverse_copy(number.begin(), number.begin() + kAddress, address.begin());
  return address;
}

unsigned short EtherType(const MdfRecord& from) {
  const Span bytes = Bytes(from, Name::EtherType);
  if (bytes.size() >= 2) return static_cast<unsigned short>(bytes[0] << 8 | bytes[1]);
  return Small<unsigned short>(from, Name::EtherType);
}

}  // namespace

std::optional<MdfEvent> MdfEventOf(std::string_view name) {
  for (const EventName& known : kEvents)
    if (known.Text == name) return known.Event;
  return std::nullopt;
}

unsigned char BusOf(MdfEvent event) {
  if (event <= MdfEvent::CanError) return BusType_Can;
  if (event <= MdfEvent::LinWakeUp) return BusType_Lin;
  return event <= MdfEvent::FlexRaySymbol ? BusType_FlexRay : BusType_Ethernet;
}

bool IsOfBothChannels(const MdfRecord& frame) { return (Number(frame, Name::FrameFlags) & kBothChannels) != 0; }

bool AreHalves(const MdfRecord& first, const MdfRecord& second) {
  if (first.Group != second.Group || !IsOfBothChannels(first) || !IsOfBothChannels(second)) return false;
  if (Number(first, Name::FlxChannel) != 0 || Number(second, Name::FlxChannel) != 1) return false;
  constexpr Name kSame[] = {Name::Id, Name::Cycle, Name::Dir, Name::HeaderCrc, Name::PayloadLength, Name::FrameFlags};
  const bool same = std::all_of(std::begin(kSame), std::end(kSame),
                                [&](Name name) { return Number(first, name) == Number(second, name); });
  const MdfField& time = first.Group->Field(Name::Time);
  return same && std::ranges::equal(first.Signal, second.Signal) &&
         MdfNanoseconds(time, first.Bytes, first.Index) == MdfNanoseconds(time, second.Bytes, second.Index);
}

const RecordView* MdfFrames::Make(MdfEvent event, const MdfRecord& from, const RecordHead& head, MdfTraits traits) {
  switch (event) {
    case MdfEvent::CanData:
    case MdfEvent::CanRemote:
      return MakeCan(from, head, event == MdfEvent::CanRemote, traits.LastBeforeLoss);
    case MdfEvent::CanError:
      return MakeCanError(from, head, traits.LastBeforeLoss);
    case MdfEvent::FlexRayFrame:
    case MdfEvent::FlexRayNullFrame:
      return MakeFlexRayFrame(from, head, event == MdfEvent::FlexRayNullFrame, traits.OnBothChannels);
    case MdfEvent::Ethernet:
    case MdfEvent::EthernetChecksumError:
      return MakeEthernet(from, head, event == MdfEvent::EthernetChecksumError);
    default:
      return BusOf(event) == BusType_Lin ? MakeLin(event, from, head, traits.LastBeforeLoss)
                                         : MakeFlexRayEvent(event, from, head);
  }
}

const RecordView* MdfFrames::MakeCan(const MdfRecord& from, const RecordHead& head, bool remote, bool lost) {
  const Span data = remote ? Span() : Data(from);
  const auto length = remote ? Number(from, Name::DataLength) : data.size();
  const auto dlc = Has(from, Name::Dlc) ? Small<unsigned char>(from, Name::Dlc) : CanDlcOf(length);
  const unsigned int flags = CanFlags(from) | (lost ? QOR_TRACE_CAN_OVERRUN : 0);
  return Made.Can(head, {.Identifier = CanIdentifier(from),
                         .Flags = static_cast<unsigned char>(flags),
                         .Dlc = std::min<unsigned char>(dlc, 15),
                         .Data = data});
}

const RecordView* MdfFrames::MakeCanError(const MdfRecord& from, const RecordHead& head, bool lost) {
  const ErrorCode error = CanErrorOf(from);
  const unsigned char code[] = {error.Code};
  unsigned int flags = CanFlags(from) | QOR_TRACE_CAN_ERROR;
  if (error.Overrun || lost) flags |= QOR_TRACE_CAN_OVERRUN;
  return Made.Can(head, {.Identifier = CanIdentifier(from), .Flags = static_cast<unsigned char>(flags), .Data = code});
}

const RecordView* MdfFrames::MakeLin(MdfEvent event, const MdfRecord& from, const RecordHead& head, bool lost) {
  LinParts parts{.Identifier = static_cast<unsigned char>(Number(from, Name::Id) & 0x3F),
                 .Flags = LinFlags(event, from),
                 .BitTime = BitTimeOf(from)};
  if (lost) parts.Flags |= QOR_TRACE_LIN_OVERRUN;
  if (HasLinData(event)) parts.Data = LinData(from);
  const auto checksum = Small<unsigned char>(from, Name::Checksum);
  if (!parts.Data.empty()) {
    const bool told = Has(from, Name::Checksum) || event != MdfEvent::LinFrame;
    parts.Checksum = told ? checksum : EnhancedChecksum(parts.Identifier, parts.Data);
  } else if (HasLinData(event) && checksum != 0) {
    parts.Checksum = checksum;  // else it was a header without a response
  }
  return Made.Lin(head, parts);
}

const RecordView* MdfFrames::MakeFlexRayFrame(const MdfRecord& from, const RecordHead& head, bool null, bool both) {
  const Span data = null ? Span() : Data(from);
  const auto words = Has(from, Name::PayloadLength) ? Number(from, Name::PayloadLength) : (data.size() + 1) / 2;
  return Made.FlexRay(
      head, {.Type = IsSet(from, Name::Dir) ? FlexRayItemType::TransmittedFrame : FlexRayItemType::ReceivedFrame,
             .Channel = both ? kBoth : static_cast<unsigned char>(IsSet(from, Name::FlxChannel) ? 1 : 0),
             .FrameFlags = FlexRayFlags(from, null),
             .SlotId = Small<unsigned short>(from, Name::Id),
             .Cycle = Small<unsigned char>(from, Name::Cycle),
             .PayloadWords = static_cast<unsigned char>(std::min<unsigned long>(words, 255)),
             .HeaderCrc = Small<unsigned short>(from, Name::HeaderCrc),
             .Data = data});
}

const RecordView* MdfFrames::MakeFlexRayEvent(MdfEvent event, const MdfRecord& from, const RecordHead& head) {
  const auto cycle = Small<unsigned char>(from, Name::Cycle);
  switch (event) {
    case MdfEvent::FlexRayStartCycle:
      return Made.FlexRay(head, {.Type = FlexRayItemType::CycleStart, .Channel = cycle});
    case MdfEvent::FlexRaySymbol:
      return Made.FlexRay(head, {.Type = FlexRayItemType::Symbol, .Channel = SymbolChannel(from)});
    case MdfEvent::FlexRayState: {
      const auto state = LibrarysState(Bytes(from, Name::StateData));
      return state ? Made.FlexRay(head, {.Type = FlexRayItemType::State, .Channel = *state}) : nullptr;
    }
    default: {
      const auto type = LibrarysErrorType(Bytes(from, Name::ErrorData));
      const unsigned long channel = Number(from, Name::FlxChannelMask);
      const auto slot = static_cast<unsigned short>(channel << 8 | cycle);
      return type ? Made.FlexRay(head, {.Type = *type, .SlotId = slot}) : nullptr;
    }
  }
}

const RecordView* MdfFrames::MakeEthernet(const MdfRecord& from, const RecordHead& head, bool wrong) {
  const auto destination = Address(from, Name::Destination);
  const auto source = Address(from, Name::Source);
  const unsigned short type = EtherType(from);
  const Span data = Data(from);
  Frame.assign(destination.begin(), destination.end());
  Frame.insert(Frame.end(), source.begin(), source.end());
  Frame.push_back(static_cast<unsigned char>(type >> 8));
  Frame.push_back(static_cast<unsigned char>(type));
  Frame.insert(Frame.end(), data.begin(), data.end());
  unsigned int flags = wrong ? QOR_TRACE_ETHERNET_CRC_ERROR : 0;
  if (IsSet(from, Name::Dir)) flags |= QOR_TRACE_ETHERNET_TRANSMITTED;
  return Made.Ethernet(head, {.Flags = static_cast<unsigned char>(flags), .Frame = Frame});
}

}  // namespace client
