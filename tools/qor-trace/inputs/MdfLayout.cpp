#include "inputs/MdfLayout.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

namespace client {

namespace {

constexpr unsigned int kDeepest = 8;      // compositions in compositions
constexpr unsigned int kMostBits = 64;    // of a number
constexpr size_t kMostRecord = 1u << 20;  // bytes

/// In the order of MdfName, which the time comes first in: its channel has any name.
constexpr std::string_view kNames[] = {"",
                                       "BusChannel",
                                       "ID",
                                       "IDE",
                                       "DLC",
                                       "DataLength",
                                       "ReceivedDataByteCount",
                                       "DataBytes",
                                       "Dir",
                                       "EDL",
                                       "BRS",
                                       "ESI",
                                       "ErrorType",
                                       "ErrorFlags",
                                       "Checksum",
                                       "Baudrate",
                                       "IsExternal",
                                       "Cycle",
                                       "FlxChannel",
                                       "FlxChannelMask",
                                       "FrameFlags",
                                       "NullFrameFlag",
                                       "SyncFrameFlag",
                                       "StartUpFrameFlag",
                                       "PayloadPreambleFlag",
                                       "PayloadLength",
                                       "HeaderCRC",
                                       "ErrorData",
                                       "StateData",
                                       "Source",
                                       "Destination",
                                       "EtherType"};
static_assert(std::size(kNames) == static_cast<size_t>(MdfName::Count));

// Other names of the same.
struct OtherName {
  std::string_view Name;
  MdfName Is;
};
constexpr OtherName kOtherNames[] = {{"FDF", MdfName::Edl},
                                     {"CrcHeader", MdfName::HeaderCrc},
                                     {"StartupFrameFlag", MdfName::StartUpFrameFlag},
                                     {"PPIFlag", MdfName::PayloadPreambleFlag}};

MdfName NameOf(std::string_view field) {
  for (size_t index = 1; index < std::size(kNames); ++index)
    if (kNames[index] == field) return static_cast<MdfName>(index);
  for (const OtherName& other : kOtherNames)
    if (other.Name == field) return other.Is;
  return MdfName::Count;
}

bool IsBusEvent(std::string_view event) {
  constexpr std::string_view kBuses[] = {"CAN_", "LIN_", "FLX_", "ETH_"};
  return std::any_of(std::begin(kBuses), std::end(kBuses), [&](auto bus) { return event.starts_with(bus); });
}

enum ChannelType : unsigned char { kFixed, kVariable, kMaster, kVirtualMaster, kSync, kMaximum, kVirtual };
constexpr unsigned char kSyncTime = 1;
constexpr unsigned int kAllInvalid = 1;
constexpr unsigned int kHasInvalidBit = 2;
constexpr unsigned short kSignalGroup = 1;
constexpr unsigned short kRemoteMaster = 8;

/// Reads the channels of one group.
class ChannelReader {
 public:
  ChannelReader(MdfBlocks& file, MdfGroup& group, unsigned int dataBytes)
      : File(file), Group(group), InvalidBytesAt(dataBytes) {}

  void ReadChain(unsigned long position, const std::string& parent, unsigned int depth) {
    for (auto block = Next(position); block; block = Next(block->Link(0))) {
      const std::string name = FullName(*block, parent);
      Take(*block, name);
      if (depth < kDeepest) ReadChain(block->Link(1), name, depth + 1);
    }
  }

 private:
  std::optional<MdfBlock> Next(unsigned long position) {
    if (position == 0) return std::nullopt;
    auto block = File.Follow(position);
    return block && block->Kind == "CN" ? block : std::nullopt;
  }

  /// Names of components have their structure's in front, or not.
  std::string FullName(const MdfBlock& block, const std::string& parent) {
    std::string name = File.Text(block.Link(2));
    const bool alone = !parent.empty() && name.find('.') == std::string::npos;
    return alone ? parent + "." + name : name;
  }

  void Take(const MdfBlock& block, const std::string& name) {
    const MdfFields fields = File.Fields(block);
    const auto type = fields.At<unsigned char>(0);
    if (type == kMaster || type == kVirtualMaster) {
      if (fields.At<unsigned char>(1) == kSyncTime) Put(MdfName::Time, block, fields);
      return;
    }
    const size_t dot = name.find('.');
    const std::string event = name.substr(0, dot);
    if (!IsBusEvent(event) || (!Group.Event.empty() && Group.Event != event)) return;
    Group.Event = event;
    if (dot == std::string::npos) return;
    const MdfName known = NameOf(std::string_view(name).substr(name.rfind('.') + 1));
    if (known != MdfName::Count && !Group.Field(known).IsThere()) Put(known, block, fields);
  }

  void Put(MdfName name, const MdfBlock& block, const MdfFields& fields) {
    MdfField field{.Place = PlaceOf(fields.At<unsigned char>(0)),
                   .Byte = fields.At<unsigned int>(4),
                   .Bit = fields.At<unsigned char>(3),
                   .Bits = fields.At<unsigned int>(8)};
    const bool isData = SetType(field, fields.At<unsigned char>(2));
    SetConversion(field, block.Link(4));
    if (field.Place == MdfPlace::InSignal) SetLink(field, block.Link(5));
    const auto flags = fields.At<unsigned int>(12);
    if ((flags & kHasInvalidBit) != 0) field.InvalidBit = 8 * InvalidBytesAt + fields.At<unsigned int>(16);
    const bool use = isData && (flags & kAllInvalid) == 0 && Fits(field);
    if (use) Group.Fields[static_cast<size_t>(name)] = field;
  }

  static MdfPlace PlaceOf(unsigned char type) {
    switch (type) {
      case kFixed:
      case kMaster:
      case kSync:
      case kMaximum:
        return MdfPlace::InRecord;
      case kVariable:
        return MdfPlace::InSignal;
      case kVirtual:
      case kVirtualMaster:
        return MdfPlace::Constant;
      default:
        return MdfPlace::Missing;
    }
  }

  /// False for a type that no field has.
  static bool SetType(MdfField& field, unsigned char type) {
    using Type = MdfField::Type;
    if (field.Place == MdfPlace::InSignal) return true;  // in the record stands an offset
    constexpr unsigned char kByteArray = 10;
    if (type == kByteArray) {
      field.Kind = Type::Bytes;
      return true;
    }
    if (type > 5) return false;
    field.Kind = type < 2 ? Type::Unsigned : type < 4 ? Type::Signed : Type::Float;
    field.BigEndian = type % 2 != 0;
    return true;
  }

  void SetConversion(MdfField& field, unsigned long position) {
    constexpr unsigned char kLinear = 1;
    const auto block = position == 0 ? std::nullopt : File.Find(position);
    if (!block || block->Kind != "CC") return;
    const MdfFields fields = File.Fields(*block);
    if (fields.At<unsigned char>(0) != kLinear || fields.At<unsigned short>(6) < 2) return;
    field.IsLinear = true;
    field.Offset = fields.At<double>(24);
    field.Factor = fields.At<double>(32);
  }

  /// Values of variable length lie in blocks of their own, or among the records.
  void SetLink(MdfField& field, unsigned long position) {
    field.Link = position;
    const auto block = position == 0 ? std::nullopt : File.Find(position);
    if (block && block->Kind == "CG") field.Place = MdfPlace::InGroup;
  }

  [[nodiscard]] bool Fits(const MdfField& field) const {
    if (field.Place == MdfPlace::Missing || field.Place == MdfPlace::Constant) return true;
    const bool isNumber = field.Kind != MdfField::Type::Bytes;
    if (field.Bit > 7 || (isNumber && (field.Bits == 0 || field.Bit + field.Bits > kMostBits))) return false;
    if (field.Kind == MdfField::Type::Float && field.Bits != 32 && field.Bits != 64) return false;
    if (field.InvalidBit && *field.InvalidBit / 8 >= Group.DataBytes) return false;
    const unsigned long end = field.Byte + (0ul + field.Bit + field.Bits + 7) / 8;
    return end <= Group.DataBytes;
  }

  MdfBlocks& File;
  MdfGroup& Group;
  const unsigned int InvalidBytesAt;
};

void ReadSource(MdfBlocks& file, MdfGroup& group, unsigned long position) {
  const auto block = position == 0 ? std::nullopt : file.Find(position);
  if (!block || block->Kind != "SI") return;
  group.SourceName = file.Text(block->Link(0));
  group.SourcePath = file.Text(block->Link(1));
  group.SourceBus = file.Fields(*block).At<unsigned char>(1);
}

void Judge(MdfGroup& group, unsigned short flags) {
  if (group.IsSignalGroup || group.Event.empty()) return;
  if ((flags & kRemoteMaster) != 0) {
    group.Refusal = "the times of its records lie in another group";
  } else if (!group.Field(MdfName::Time).IsThere()) {
    group.Refusal = "its records have no time";
  } else if (group.DataBytes == 0 || group.DataBytes > kMostRecord) {
    group.Refusal = "its records have a length that can't be true";
  }
}

MdfGroup ReadGroup(MdfBlocks& file, const MdfBlock& block) {
  const MdfFields fields = file.Fields(block);
  const auto flags = fields.At<unsigned short>(16);
  const auto dataBytes = fields.At<unsigned int>(24);
  const auto invalidBytes = fields.At<unsigned int>(28);
  MdfGroup group{.Position = block.Position,
                 .BusName = file.Text(block.Link(2)),
                 .RecordId = fields.At<unsigned long>(0),
                 .Cycles = fields.At<unsigned long>(8),
                 .IsSignalGroup = (flags & kSignalGroup) != 0};
  // Of values of variable length the two are the halves of a length that isn't needed.
  if (group.IsSignalGroup) return group;
  group.DataBytes = static_cast<unsigned int>(std::min<unsigned long>(0ul + dataBytes + invalidBytes, kMostRecord + 1));
  ReadSource(file, group, block.Link(3));
  ChannelReader(file, group, dataBytes).ReadChain(block.Link(1), "", 0);
  Judge(group, flags);
  return group;
}

/// At most 8 bytes as a number, the least significant one first or last.
unsigned long RawOf(const MdfField& field, std::span<const unsigned char> record) {
  const size_t size = (field.Bit + field.Bits + 7) / 8;
  unsigned char bytes[8] = {};
  std::memcpy(bytes, record.data() + field.Byte, std::min<size_t>(size, sizeof bytes));
  if (field.BigEndian) std::reverse(bytes, bytes + size);
  unsigned long value = 0;
  std::memcpy(&value, bytes, sizeof value);
  value >>= field.Bit;
  return field.Bits >= kMostBits ? value : value & ((1ul << field.Bits) - 1);
}

long SignedOf(const MdfField& field, unsigned long raw) {
  const unsigned int unused = kMostBits - field.Bits;
  return static_cast<long>(raw << unused) >> unused;
}

double FloatOf(const MdfField& field, unsigned long raw) {
  if (field.Bits == 64) {
    double value = 0;
    std::memcpy(&value, &raw, sizeof value);
    return value;
  }
  float value = 0;
  std::memcpy(&value, &raw, sizeof value);
  return static_cast<double>(value);
}

/// Rounded, with what is out of range, or no number, at the nearest end.
long Rounded(long double value) {
  constexpr auto kMost = static_cast<long double>(std::numeric_limits<long>::max());
  if (!(value > -kMost)) return -std::numeric_limits<long>::max();
  return value >= kMost ? std::numeric_limits<long>::max() : std::llround(value);
}

/// The number in the record; of a constant, which counts records, that of the record.
long double NumberIn(const MdfField& field, std::span<const unsigned char> record, unsigned long index) {
  if (field.Place == MdfPlace::Constant) return static_cast<long double>(index);
  const unsigned long raw = RawOf(field, record);
  switch (field.Kind) {
    case MdfField::Type::Signed:
      return static_cast<long double>(SignedOf(field, raw));
    case MdfField::Type::Float:
      return static_cast<long double>(FloatOf(field, raw));
    default:
      return static_cast<long double>(raw);
  }
}

bool CountsNanoseconds(const MdfField& field) {
  constexpr double kNanosecond = 1e-9;
  return field.Kind == MdfField::Type::Unsigned && field.IsLinear && field.Offset == 0 && field.Factor == kNanosecond;
}

}  // namespace

std::vector<MdfDataGroup> ReadMdfGroups(MdfBlocks& file, unsigned long firstGroup, Findings& found) {
  std::vector<MdfDataGroup> all;
  for (unsigned long position = firstGroup; position != 0;) {
    const auto block = file.Follow(position);
    if (!block || block->Kind != "DG") {
      found.AtByte(position >= file.Size() ? FindingKind::CutOff : FindingKind::Unread,
                   "a link to a data group that isn't there", position);
      break;
    }
    MdfDataGroup data{.IdSize = file.Fields(*block).At<unsigned char>(0), .Data = block->Link(2)};
    unsigned long next = block->Link(1);
    for (auto group = next == 0 ? std::nullopt : file.Follow(next); group && group->Kind == "CG";
         group = next == 0 ? std::nullopt : file.Follow(next)) {
      data.Groups.push_back(ReadGroup(file, *group));
      data.Groups.back().DataGroup = position;
      next = group->Link(0);
    }
    all.push_back(std::move(data));
    position = block->Link(0);
  }
  return all;
}

unsigned long MdfNumber(const MdfField& field, std::span<const unsigned char> record) {
  if (field.Place != MdfPlace::InRecord && field.Place != MdfPlace::Constant) return 0;
  if (field.Kind == MdfField::Type::Bytes) return 0;
  if (field.Place == MdfPlace::InRecord && !field.IsLinear && field.Kind != MdfField::Type::Float)
    return RawOf(field, record);
  const long double number = NumberIn(field, record, 0);
  const long double value =
      field.IsLinear ? static_cast<long double>(field.Offset) + static_cast<long double>(field.Factor) * number
                     : number;
  return static_cast<unsigned long>(std::max(0l, Rounded(value)));
}

long MdfNanoseconds(const MdfField& field, std::span<const unsigned char> record, unsigned long index) {
  constexpr long double kSecond = 1e9L;
  if (field.Place == MdfPlace::InRecord && CountsNanoseconds(field)) {
    const unsigned long raw = RawOf(field, record);
    return static_cast<long>(raw);
  }
  const long double number = NumberIn(field, record, index);
  if (!field.IsLinear) return Rounded(number * kSecond);
  // A factor such as 1e-6 has no exact double, but a number of ns has: times stay whole that way.
  long double perCount = static_cast<long double>(field.Factor) * kSecond;
  const long double whole = std::round(perCount);
  if (whole >= 1 && std::abs(perCount - whole) < whole * 1e-12L) perCount = whole;
  return Rounded(static_cast<long double>(field.Offset) * kSecond + perCount * number);
}

std::span<const unsigned char> MdfBytes(const MdfField& field, std::span<const unsigned char> record) {
  if (field.Place != MdfPlace::InRecord || field.Kind != MdfField::Type::Bytes) return {};
  return record.subspan(field.Byte, field.Bits / 8);
}

bool IsInvalidated(const MdfGroup& group, std::span<const unsigned char> record) {
  return std::any_of(group.Fields.begin(), group.Fields.end(), [&](const MdfField& field) {
    return field.InvalidBit && ((record[*field.InvalidBit / 8] >> *field.InvalidBit % 8) & 1) != 0;
  });
}

}  // namespace client
