#include "stream/RecordFields.h"

#include <algorithm>
#include <array>
#include <bit>
#include <initializer_list>
#include <iterator>

#include "stream/EthernetFront.h"
#include "stream/KindText.h"

namespace client {

namespace {

constexpr unsigned long Bit(size_t number) { return 1ul << number; }

// ---- Words ----------------------------------------------------------------------------------------------------------

constexpr size_t kUnknownBus = 31;  // bit of all buses without a name

constexpr FieldWord kBuses[] = {{"can", Bit(BusType_Can)},
                                {"lin", Bit(BusType_Lin)},
                                {"flexray", Bit(BusType_FlexRay)},
                                {"ethernet", Bit(BusType_Ethernet)}};

constexpr unsigned long kReceived = Bit(0), kTransmitted = Bit(1);
constexpr FieldWord kDirections[] = {{"rx", kReceived}, {"tx", kTransmitted}};

constexpr FieldWord kSides[] = {{"a", Bit(0)}, {"b", Bit(1)}, {"ab", Bit(2)}};  // by the record's code

constexpr unsigned long Kinds(std::initializer_list<RecordKind> kinds) {
  unsigned long bits = 0;
  for (const RecordKind kind : kinds) bits |= Bit(static_cast<size_t>(kind));
  return bits;
}

constexpr unsigned long KindsThat(bool (*are)(RecordKind)) {
  unsigned long bits = 0;
  for (size_t kind = 0; kind < kRecordKindCount; ++kind) {
    if (are(static_cast<RecordKind>(kind))) bits |= Bit(kind);
  }
  return bits;
}

using enum RecordKind;

constexpr unsigned long kFrameKinds = KindsThat(IsFrame);
constexpr unsigned long kErrorKinds = KindsThat(IsError);
constexpr unsigned long kEventKinds = Kinds({CanEvent, LinEvent});

constexpr FieldWord kKinds[] = {
    {"frame", kFrameKinds},
    {"error", kErrorKinds},
    {"event", kEventKinds},
    {"classic", Kinds({CanFrame})},
    {"fd", Kinds({CanFdFrame})},
    {"no_response", Kinds({LinNoResponse})},
    {"wakeup", Kinds({LinWakeUp})},
    {"checksum_error", Kinds({LinChecksumError})},
    {"parity_error", Kinds({LinParityError})},
    {"sync_error", Kinds({LinSyncError})},
    {"transmit_error", Kinds({LinTransmitError})},
    {"null", Kinds({FlexRayNullFrame})},
    {"cycle", Kinds({FlexRayCycleStart})},
    {"state", Kinds({FlexRayState})},
    {"symbol", Kinds({FlexRaySymbol})},
    {"status", Kinds({FlexRayStatus})},
    {"crc_error", Kinds({EthernetCrcError})},
    {"record", Kinds({EthernetRecord})},
    {"overrun", Kinds({OverrunMark})},
    {"malformed", Kinds({Unknown})},
};

constexpr FieldWord kEtherTypes[] = {
    {"ipv4", 0x0800}, {"arp", 0x0806}, {"avtp", 0x22F0}, {"ipv6", 0x86DD}, {"ptp", 0x88F7}};
constexpr FieldWord kProtocols[] = {{"icmp", 1}, {"tcp", 6}, {"udp", 17}};
constexpr FieldWord kAddresses[] = {{"broadcast", 0xFFFFFFFFFFFF}};

// ---- Descriptions ---------------------------------------------------------------------------------------------------

constexpr unsigned long kGreatestMac = 0xFFFFFFFFFFFF;

constexpr FieldDescription Words(const char* name, std::span<const FieldWord> words) {
  return {name, FieldType::Word, Bit(32) - 1, words};
}
constexpr FieldDescription Number(const char* name, unsigned long greatest, const char* example,
                                  std::span<const FieldWord> words = {}) {
  return {name, FieldType::Number, greatest, words, example};
}
constexpr FieldDescription Mac(const char* name) {
  return {name, FieldType::Mac, kGreatestMac, kAddresses, "02:00:00:00:00:01"};
}
constexpr FieldDescription Ipv4(const char* name) { return {name, FieldType::Ipv4, 0xFFFFFFFF, {}, "10.0.0.1"}; }
constexpr FieldDescription Flag(const char* name) { return {name, FieldType::Flag}; }

// In the order of RecordField.
constexpr FieldDescription kDescriptions[] = {
    Words("bus", kBuses),
    Number("channel", 0xFFFFFFFF, "1"),
    Words("kind", kKinds),
    Words("dir", kDirections),
    Number("len", 0xFFFF, "8"),
    {"data", FieldType::Bytes, 0xFF, {}, "0x5A"},
    Number("id", 0x1FFFFFFF, "0x123"),
    Number("dlc", 15, "8"),
    Number("slot", 2047, "17"),
    Number("cycle", 63, "4"),
    Words("side", kSides),
    Mac("src"),
    Mac("dst"),
    Number("vlan", 4095, "5"),
    Number("ethertype", 0xFFFF, "0x88f7", kEtherTypes),
    Number("protocol", 0xFF, "17", kProtocols),
    Ipv4("ip"),
    Ipv4("src_ip"),
    Ipv4("dst_ip"),
    Number("port", 0xFFFF, "30490"),
    Number("src_port", 0xFFFF, "30490"),
    Number("dst_port", 0xFFFF, "30490"),
    Flag("frame"),
    Flag("error"),
    Flag("event"),
    Flag("overrun"),
    Flag("extended"),
    Flag("fd"),
    Flag("brs"),
    Flag("esi"),
    Flag("remote"),
    Flag("parity_error"),
    Flag("checksum_error"),
    Flag("sync_error"),
    Flag("transmit_error"),
    Flag("wakeup"),
    Flag("null"),
    Flag("sync"),
    Flag("startup"),
    Flag("preamble"),
    Flag("crc_error"),
};
static_assert(std::size(kDescriptions) == kRecordFieldCount);

char Lower(char letter) { return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter; }

// ---- Values ---------------------------------------------------------------------------------------------------------

/// A flag that isn't set is one that the record doesn't have.
FieldValues FlagValue(bool set) { return set ? FieldValues(1ul) : FieldValues(); }

/// The named bytes as a number; none where the data end before one of them.
FieldValues BytesAt(RecordPayload data, const FieldPlace& place) {
  if (std::max(place.First, place.Last) >= data.size()) return {};
  unsigned long value = data[place.First];
  for (size_t at = place.First; at != place.Last;) {
    at = place.First < place.Last ? at + 1 : at - 1;
    value = value << 8 | data[at];
  }
  return value;
}

/// Big-endian, as an address is written; none for none.
FieldValues MacValue(RecordPayload address) {
  if (address.empty()) return {};
  unsigned long value = 0;
  for (const unsigned char byte : address) value = value << 8 | byte;
  return value;
}

FieldValues EndsValue(const std::optional<IpFront::Ends>& ends, RecordField field, RecordField source,
                      RecordField destination) {
  if (!ends) return {};
  if (field == source) return static_cast<unsigned long>(ends->Source);
  if (field == destination) return static_cast<unsigned long>(ends->Destination);
  FieldValues both(static_cast<unsigned long>(ends->Source));
  both.Add(ends->Destination);
  return both;
}

FieldValues IpValue(const EthernetFront& front, RecordPayload frame, RecordField field) {
  if (!front.Type()) return {};
  const IpFront ip = IpFront::Of(*front.Type(), record_view::From(frame, front.Size));
  switch (field) {
    case RecordField::Protocol:
      return ip.Protocol;
    case RecordField::Ip:
    case RecordField::SourceIp:
    case RecordField::DestinationIp:
      return EndsValue(ip.Addresses, field, RecordField::SourceIp, RecordField::DestinationIp);
    default:
      return EndsValue(ip.Ports, field, RecordField::SourcePort, RecordField::DestinationPort);
  }
}

FieldValues VlanValues(const EthernetFront& front) {
  static_assert(EthernetFront::kMostVlans <= FieldValues::kMost);
  FieldValues values;
  for (const unsigned short vlan : front.VlanIds()) values.Add(vlan);
  return values;
}

}  // namespace

const FieldDescription& Describe(RecordField field) { return kDescriptions[static_cast<size_t>(field)]; }

std::optional<RecordField> FieldNamed(std::string_view name) {
  const auto same = [](char typed, char letter) { return Lower(typed) == letter; };
  for (size_t field = 0; field < kRecordFieldCount; ++field) {
    const std::string_view known = kDescriptions[field].Name;
    if (std::equal(name.begin(), name.end(), known.begin(), known.end(), same)) return static_cast<RecordField>(field);
  }
  return std::nullopt;
}

std::vector<std::string> FieldNames() {
  std::vector<std::string> names;
  names.reserve(kRecordFieldCount);
  for (const FieldDescription& description : kDescriptions) names.emplace_back(description.Name);
  return names;
}

std::string_view WordOf(RecordKind kind) {
  static constexpr auto kNarrowest = [] {
    std::array<const FieldWord*, kRecordKindCount> words{};
    for (size_t place = 0; place < kRecordKindCount; ++place) {
      for (const FieldWord& word : kKinds) {
        const bool narrower = words[place] == nullptr || std::popcount(word.Value) < std::popcount(words[place]->Value);
        if ((word.Value & Bit(place)) != 0 && narrower) words[place] = &word;
      }
    }
    return words;
  }();
  return kNarrowest[static_cast<size_t>(kind)]->Text;
}

unsigned long FieldPlace::Greatest() const {
  const FieldDescription& description = Describe(Field);
  if (description.Type != FieldType::Bytes) return description.Greatest;
  return ~0ul >> (8 * (kMostBytes - ByteCount()));
}

FieldValues RecordFields::Read(const FieldPlace& place) const {
  switch (place.Field) {
    case RecordField::Bus:
      return Bit(std::min<size_t>(Record.Bus(), kUnknownBus));
    case RecordField::Channel:
      return static_cast<unsigned long>(Record.ChannelId());
    case RecordField::Kind:
      return Bit(static_cast<size_t>(Kind));
    case RecordField::Frame:
      return FlagValue((Bit(static_cast<size_t>(Kind)) & kFrameKinds) != 0);
    case RecordField::Error:
      return FlagValue((Bit(static_cast<size_t>(Kind)) & kErrorKinds) != 0);
    case RecordField::Event:
      return FlagValue((Bit(static_cast<size_t>(Kind)) & kEventKinds) != 0);
    case RecordField::Overrun:
      return FlagValue(Record.HasOverrunMark());
    case RecordField::Data: {
      const auto data = Data();
      return data ? BytesAt(*data, place) : FieldValues();
    }
    default:
      return ReadOfBus(place);
  }
}

std::optional<RecordPayload> RecordFields::Data() const {
  if (Kind == Unknown || Kind == OverrunMark) return std::nullopt;
  switch (Record.Bus()) {
    case BusType_Can:
      return Record.Can().Data();
    case BusType_Lin:
      return Kind == LinEvent || Kind == LinWakeUp ? std::nullopt : std::optional(Record.Lin().Data());
    case BusType_FlexRay:  // the payload of a null frame means nothing
      return Kind == FlexRayFrame ? std::optional(Record.FlexRay().Data()) : std::nullopt;
    default:
      return Kind == EthernetRecord ? std::nullopt : std::optional(Record.Ethernet().Frame());
  }
}

FieldValues RecordFields::ReadOfBus(const FieldPlace& place) const {
  if (Kind == Unknown || Kind == OverrunMark) return {};
  if (place.Field == RecordField::Direction) return Record.IsTransmitted() ? kTransmitted : kReceived;
  switch (Record.Bus()) {
    case BusType_Can:
      return ReadCan(place);
    case BusType_Lin:
      return ReadLin(place);
    case BusType_FlexRay:
      return ReadFlexRay(place);
    default:
      return ReadEthernet(place);
  }
}

FieldValues RecordFields::ReadCan(const FieldPlace& place) const {
  const CanView can = Record.Can();
  switch (place.Field) {
    case RecordField::Length:
      return static_cast<unsigned long>(can.DataLength);
    default:
      return Kind == CanEvent ? FieldValues() : ReadCanFrame(can, place.Field);
  }
}

FieldValues RecordFields::ReadCanFrame(const CanView& can, RecordField field) const {
  switch (field) {
    case RecordField::Identifier:
      return static_cast<unsigned long>(can.PlainIdentifier());
    case RecordField::Dlc:
      return static_cast<unsigned long>(can.Dlc);
    case RecordField::Extended:
      return FlagValue(can.Has(QOR_TRACE_CAN_EXTENDED));
    case RecordField::Fd:
      return FlagValue(can.Has(QOR_TRACE_CAN_FD));
    case RecordField::Brs:
      return FlagValue(can.Has(QOR_TRACE_CAN_BRS));
    case RecordField::Esi:
      return FlagValue(can.Has(QOR_TRACE_CAN_ESI));
    case RecordField::Remote:  // no record has a mark for it: a classic frame with a length on the bus, but no data
      return FlagValue(Kind == CanFrame && can.DataLength == 0 && can.Dlc != 0);
    default:
      return {};
  }
}

FieldValues RecordFields::ReadLin(const FieldPlace& place) const {
  const LinView lin = Record.Lin();
  const bool hasHeader = Kind != LinEvent && Kind != LinWakeUp;
  switch (place.Field) {
    case RecordField::Identifier:
      return hasHeader ? FieldValues(static_cast<unsigned long>(lin.PlainIdentifier())) : FieldValues();
    case RecordField::Length:
      return hasHeader ? FieldValues(static_cast<unsigned long>(lin.DataCount())) : FieldValues();
    case RecordField::ParityError:
      return FlagValue(lin.Has(QOR_TRACE_LIN_PARITY_ERROR));
    case RecordField::ChecksumError:
      return FlagValue(lin.Has(QOR_TRACE_LIN_CHECKSUM_ERROR));
    case RecordField::SyncError:
      return FlagValue(lin.Has(QOR_TRACE_LIN_SYNC_ERROR));
    case RecordField::TransmitError:
      return FlagValue(lin.HasTransmitError());
    case RecordField::WakeUp:
      return FlagValue(lin.Has(QOR_TRACE_LIN_WAKEUP));
    default:
      return {};
  }
}

FieldValues RecordFields::ReadFlexRay(const FieldPlace& place) const {
  const FlexRayView flexRay = Record.FlexRay();
  switch (place.Field) {
    case RecordField::Cycle:
      if (flexRay.IsFrame()) return static_cast<unsigned long>(flexRay.Cycle);
      if (flexRay.IsError()) return static_cast<unsigned long>(flexRay.ErrorCycle());
      return Kind == FlexRayCycleStart ? FieldValues(static_cast<unsigned long>(flexRay.Channel)) : FieldValues();
    case RecordField::Side: {
      const auto code = flexRay.ChannelCode();
      return code && *code < std::size(kSides) ? FieldValues(kSides[*code].Value) : FieldValues();
    }
    default:
      return flexRay.IsFrame() ? ReadFlexRayFrame(flexRay, place) : FieldValues();
  }
}

FieldValues RecordFields::ReadFlexRayFrame(const FlexRayView& frame, const FieldPlace& place) const {
  switch (place.Field) {
    case RecordField::Slot:
      return static_cast<unsigned long>(frame.SlotId);
    case RecordField::Length:
      return static_cast<unsigned long>(frame.PayloadBytes());
    case RecordField::Null:
      return FlagValue(Kind == FlexRayNullFrame);
    case RecordField::Sync:
      return FlagValue(frame.Has(QOR_TRACE_FLEXRAY_SYNC));
    case RecordField::Startup:
      return FlagValue(frame.Has(QOR_TRACE_FLEXRAY_STARTUP));
    case RecordField::Preamble:
      return FlagValue(frame.Has(QOR_TRACE_FLEXRAY_INDICATOR));
    default:
      return {};
  }
}

FieldValues RecordFields::ReadEthernet(const FieldPlace& place) const {
  if (Kind == EthernetRecord) return {};
  const EthernetView ethernet = Record.Ethernet();
  switch (place.Field) {
    case RecordField::Length:
      return static_cast<unsigned long>(ethernet.FrameLength);
    case RecordField::CrcError:
      return FlagValue(Kind == EthernetCrcError);
    default:
      break;
  }
  const EthernetFront front = EthernetFront::Of(ethernet.Frame());
  switch (place.Field) {
    case RecordField::Source:
      return MacValue(front.Source);
    case RecordField::Destination:
      return MacValue(front.Destination);
    case RecordField::Vlan:
      return VlanValues(front);
    case RecordField::EtherType:
      return front.Type();
    case RecordField::Protocol:
    case RecordField::Ip:
    case RecordField::SourceIp:
    case RecordField::DestinationIp:
    case RecordField::Port:
    case RecordField::SourcePort:
    case RecordField::DestinationPort:
      return IpValue(front, ethernet.Frame(), place.Field);
    default:
      return {};
  }
}

}  // namespace client
