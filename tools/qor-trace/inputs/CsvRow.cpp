#include "inputs/CsvRow.h"

#include <algorithm>
#include <array>
#include <iterator>

#include "inputs/TextScan.h"
#include "stream/LinChecksum.h"

namespace client {

namespace {

enum Column : size_t { kTime, kChannel, kKind, kFlags, kId, kCycle, kCrc, kData, kColumns };

std::string_view Trim(std::string_view text) {
  const size_t first = text.find_first_not_of(" \t");
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(" \t") + 1 - first);
}

/// Takes the text up to and including the separator; without one, all of it.
std::string_view TakeField(std::string_view& text, char separator) {
  const size_t end = std::min(text.find(separator), text.size());
  const std::string_view field = text.substr(0, end);
  text.remove_prefix(std::min(end + 1, text.size()));
  return Trim(field);
}

/// Decimal, or hexadecimal after 0x.
std::optional<unsigned long> ValueOf(std::string_view text) {
  if (text.starts_with("0x")) return NumberOf<unsigned long>(text.substr(2), 16);
  return NumberOf<unsigned long>(text, 10);
}

/// The columns of a row. What is wrong with one is asked at the end: until then, a bad number is 0.
class Row {
 public:
  explicit Row(std::string_view text) {
    Good = std::count(text.begin(), text.end(), ',') + 1 == kColumns;
    for (std::string_view& column : Columns) column = TakeField(text, ',');
    for (std::string_view rest = Columns[kFlags]; !rest.empty();) AddFlag(TakeField(rest, '|'));
    Taken[kChannel] = Taken[kKind] = Taken[kFlags] = true;
  }

  [[nodiscard]] std::string_view Text(Column column) const { return Columns[column]; }
  [[nodiscard]] bool Has(Column column) const { return !Columns[column].empty(); }

  bool TakeFlag(std::string_view name) {
    const auto end = Flags.begin() + static_cast<std::ptrdiff_t>(FlagCount);
    const auto kept = std::remove(Flags.begin(), end, name);
    const bool found = kept != end;
    FlagCount = static_cast<size_t>(kept - Flags.begin());
    return found;
  }
  /// The place of the one name that is a flag.
  template <size_t kSize>
  size_t TakeOneFlag(const std::string_view (&names)[kSize]) {
    for (size_t place = 0; place < kSize; ++place)
      if (TakeFlag(names[place])) return place;
    Good = false;
    return 0;
  }
  /// Lines that don't say are received ones.
  bool TakeIsSent() {
    const bool sent = TakeFlag("tx");
    if (!sent) TakeFlag("rx");
    return sent;
  }
  unsigned long TakeNumber(Column column, unsigned long least, unsigned long greatest) {
    Taken[column] = true;
    const auto number = ValueOf(Columns[column]);
    if (!number || *number < least || *number > greatest) Good = false;
    return Good ? *number : 0;
  }
  std::span<const unsigned char> TakeData(std::span<unsigned char> room) {
    Taken[kData] = true;
    const size_t size = Columns[kData].size() / 2;
    if (size > room.size() || !DecodeHex(Columns[kData], room.first(std::min(size, room.size())))) Good = false;
    return Good ? room.first(size) : std::span<const unsigned char>();
  }
  void Refuse() { Good = false; }

  /// Everything was as it must be, and nothing is left over.
  [[nodiscard]] bool IsSound() const {
    bool allTaken = FlagCount == 0;
    for (size_t column = 0; column < kColumns; ++column)
      allTaken = allTaken && (Taken[column] || Columns[column].empty());
    return Good && allTaken;
  }

 private:
  void AddFlag(std::string_view flag) {
    if (FlagCount == Flags.size())
      Good = false;
    else
      Flags[FlagCount++] = flag;
  }

  std::array<std::string_view, kColumns> Columns;
  std::array<bool, kColumns> Taken{};
  std::array<std::string_view, 8> Flags;  // those that nobody took yet; no kind has so many
  size_t FlagCount = 0;
  bool Good = false;
};

// ---- LIN -----------------------------------------------------------------------------------------------------------------

constexpr size_t kMostLinBytes = 8;

/// Over the data alone for diagnosis, over the protected identifier as well for all others.
unsigned char LinChecksumOf(unsigned char identifier, std::span<const unsigned char> data) {
  constexpr unsigned char kFirstOfDiagnosis = 60;
  unsigned int sum = identifier < kFirstOfDiagnosis ? LinProtectedIdentifier(identifier) : 0;
  for (const unsigned char byte : data) {
    sum += byte;
    if (sum > 0xFF) sum -= 0xFF;
  }
  return static_cast<unsigned char>(~sum);
}

void SetFlag(LinParts& parts, unsigned int flag) { parts.Flags = static_cast<unsigned short>(parts.Flags | flag); }

void TakeIdentifier(Row& row, LinParts& parts) {
  constexpr unsigned int kGreatest = 63;
  parts.Identifier = static_cast<unsigned char>(row.TakeNumber(kId, 0, kGreatest));
}

void TakeDirection(Row& row, LinParts& parts) {
  if (row.TakeIsSent()) SetFlag(parts, QOR_TRACE_LIN_TRANSMITTED);
}

/// Data and checksum; without one in the row, the right one, or where that isn't what was seen its complement.
void TakeResponse(Row& row, CsvBytes room, LinParts& parts) {
  parts.Data = row.TakeData(room.first(kMostLinBytes));
  const unsigned char right = LinChecksumOf(parts.Identifier, parts.Data);
  const bool wrong = (parts.Flags & QOR_TRACE_LIN_CHECKSUM_ERROR) != 0;
  parts.Checksum = static_cast<unsigned char>(wrong ? ~right : right);
  if (row.Has(kCrc)) parts.Checksum = static_cast<unsigned char>(row.TakeNumber(kCrc, 0, 0xFF));
}

void TakeResponseIfAny(Row& row, CsvBytes room, LinParts& parts) {
  if (row.Has(kData) || row.Has(kCrc)) TakeResponse(row, room, parts);
}

/// False for an unknown kind.
bool TakeLinKind(Row& row, CsvBytes room, LinParts& parts) {
  const std::string_view kind = row.Text(kKind);
  if (kind == "frame" || kind == "checksum_error") {
    if (kind != "frame") SetFlag(parts, QOR_TRACE_LIN_CHECKSUM_ERROR);
    TakeDirection(row, parts);
    TakeIdentifier(row, parts);
    TakeResponse(row, room, parts);
  } else if (kind == "parity_error") {
    SetFlag(parts, QOR_TRACE_LIN_PARITY_ERROR);
    TakeDirection(row, parts);
    TakeIdentifier(row, parts);
    TakeResponseIfAny(row, room, parts);
  } else if (kind == "sync_error" || kind == "wakeup") {
    SetFlag(parts, kind == "wakeup" ? QOR_TRACE_LIN_WAKEUP : QOR_TRACE_LIN_SYNC_ERROR);
    TakeDirection(row, parts);
  } else if (kind == "no_response" || kind == "transmit_error") {
    SetFlag(parts, QOR_TRACE_LIN_TRANSMIT_ERROR | QOR_TRACE_LIN_TRANSMITTED);
    row.TakeFlag("tx");
    TakeIdentifier(row, parts);
    if (kind == "transmit_error") TakeResponseIfAny(row, room, parts);
  } else if (kind == "trigger") {
    constexpr std::string_view kEdges[] = {"rising", "falling"};
    SetFlag(parts, QOR_TRACE_LIN_EVENT);
    parts.Identifier = static_cast<unsigned char>(row.TakeOneFlag(kEdges));
  } else {
    return false;
  }
  return true;
}

// ---- FlexRay -------------------------------------------------------------------------------------------------------------

constexpr unsigned int kGreatestSlot = 2047;
constexpr unsigned int kGreatestCycle = 63;

/// Of the bits of a header that it protects: sync, startup, slot (11), length in words (7).
unsigned short FlexRayHeaderCrc(const FlexRayParts& parts) {
  constexpr unsigned int kPolynomial = 0x385, kStart = 0x1A, kHighest = 0x400;
  constexpr int kBits = 20;
  unsigned int header = static_cast<unsigned int>(parts.SlotId) << 7 | parts.PayloadWords;
  if ((parts.FrameFlags & QOR_TRACE_FLEXRAY_SYNC) != 0) header |= 1u << 19;
  if ((parts.FrameFlags & QOR_TRACE_FLEXRAY_STARTUP) != 0) header |= 1u << 18;
  unsigned int crc = kStart;
  for (int bit = kBits - 1; bit >= 0; --bit) {
    const bool carry = ((crc & kHighest) != 0) != ((header >> bit & 1) != 0);
    crc = crc << 1 & 0x7FF;
    if (carry) crc ^= kPolynomial;
  }
  return static_cast<unsigned short>(crc);
}

unsigned char CodeOf(std::string_view channel) {
  if (channel == "AB") return 2;
  return channel == "A" ? 0 : 1;
}

void TakeFrameFlags(Row& row, FlexRayParts& parts) {
  constexpr struct {
    std::string_view Name;
    unsigned int Flag;
  } kNames[] = {{"ppi", QOR_TRACE_FLEXRAY_INDICATOR},
                {"null", QOR_TRACE_FLEXRAY_NULL},
                {"sync", QOR_TRACE_FLEXRAY_SYNC},
                {"startup", QOR_TRACE_FLEXRAY_STARTUP}};
  for (const auto& one : kNames)
    if (row.TakeFlag(one.Name)) parts.FrameFlags = static_cast<unsigned char>(parts.FrameFlags | one.Flag);
}

void TakeFrame(Row& row, CsvBytes room, FlexRayParts& parts) {
  parts.Type = row.TakeIsSent() ? FlexRayItemType::TransmittedFrame : FlexRayItemType::ReceivedFrame;
  parts.Channel = CodeOf(row.Text(kChannel));
  TakeFrameFlags(row, parts);
  parts.SlotId = static_cast<unsigned short>(row.TakeNumber(kId, 1, kGreatestSlot));
  parts.Cycle = static_cast<unsigned char>(row.TakeNumber(kCycle, 0, kGreatestCycle));
  parts.Data = row.TakeData(room);
  if (parts.Data.size() % 2 != 0) row.Refuse();
  parts.PayloadWords = static_cast<unsigned char>(parts.Data.size() / 2);
  parts.HeaderCrc =
      row.Has(kCrc) ? static_cast<unsigned short>(row.TakeNumber(kCrc, 0, 0x7FF)) : FlexRayHeaderCrc(parts);
}

/// Errors keep their slot where frames have channel and flags, their cycle and channel where frames have the slot.
void TakeError(Row& row, FlexRayParts& parts) {
  const auto slot = row.Has(kId) ? static_cast<unsigned int>(row.TakeNumber(kId, 0, kGreatestSlot)) : 0;
  const auto cycle = static_cast<unsigned int>(row.TakeNumber(kCycle, 0, kGreatestCycle));
  parts.Channel = static_cast<unsigned char>(slot & 0xFF);
  parts.FrameFlags = static_cast<unsigned char>(slot >> 8);
  parts.SlotId = static_cast<unsigned short>(cycle | static_cast<unsigned int>(CodeOf(row.Text(kChannel))) << 8);
}

std::optional<FlexRayItemType> TypeOf(std::string_view kind) {
  constexpr struct {
    std::string_view Name;
    FlexRayItemType Type;
  } kNames[] = {{"overrun", FlexRayItemType::Overrun},
                {"frame", FlexRayItemType::ReceivedFrame},
                {"start_of_cycle", FlexRayItemType::CycleStart},
                {"state", FlexRayItemType::State},
                {"status", FlexRayItemType::Status},
                {"symbol", FlexRayItemType::Symbol},
                {"nit_syntax_error", FlexRayItemType::NitSyntaxError},
                {"syntax_error", FlexRayItemType::SyntaxError},
                {"nit_boundary_violation", FlexRayItemType::NitBoundaryViolation},
                {"content_error", FlexRayItemType::ContentError}};
  const auto* const found =
      std::find_if(std::begin(kNames), std::end(kNames), [&](const auto& one) { return one.Name == kind; });
  return found == std::end(kNames) ? std::nullopt : std::optional(found->Type);
}

/// False for an unknown kind.
bool TakeFlexRayKind(Row& row, CsvBytes room, FlexRayParts& parts) {
  constexpr std::string_view kStates[] = {"config",         "default_config", "halt",    "normal_active",
                                          "normal_passive", "ready",          "startup", "wakeup"};
  const auto type = TypeOf(row.Text(kKind));
  if (!type) return false;
  parts.Type = *type;
  switch (*type) {
    case FlexRayItemType::ReceivedFrame:
      TakeFrame(row, room, parts);
      break;
    case FlexRayItemType::CycleStart:
      parts.Channel = static_cast<unsigned char>(row.TakeNumber(kCycle, 0, kGreatestCycle));
      break;
    case FlexRayItemType::State:
      parts.Channel = static_cast<unsigned char>(row.TakeOneFlag(kStates));
      break;
    case FlexRayItemType::Symbol:
      parts.Channel = CodeOf(row.Text(kChannel));
      break;
    case FlexRayItemType::Overrun:
    case FlexRayItemType::Status:
      break;
    default:
      TakeError(row, parts);
      break;
  }
  return true;
}

}  // namespace

std::optional<LineFault> ReadCsvRow(std::string_view text, CsvBytes room, CsvEntry& entry) {
  constexpr unsigned int kGreatestChannel = 0xFFFF;
  constexpr LineFault kKindFault{FindingKind::Unread, "a row of an unknown kind"};
  Row row(text);
  entry.Time = row.TakeNumber(kTime, 0, ~0ul);
  const std::string_view channel = row.Text(kChannel);
  if (channel == "A" || channel == "B" || channel == "AB") {
    FlexRayParts parts;
    if (!TakeFlexRayKind(row, room, parts)) return kKindFault;
    entry.Parts = parts;
  } else {
    entry.LinChannel = NumberOf<unsigned int>(channel, 10);
    if (!entry.LinChannel || *entry.LinChannel > kGreatestChannel)
      return LineFault{FindingKind::Unread, "a row whose channel is neither one of LIN nor one of FlexRay"};
    LinParts parts;
    if (!TakeLinKind(row, room, parts)) return kKindFault;
    if (row.TakeFlag("overrun")) SetFlag(parts, QOR_TRACE_LIN_OVERRUN);
    entry.Parts = parts;
  }
  if (row.IsSound()) return std::nullopt;
  return LineFault{FindingKind::Unread, "a row with a column or a flag that doesn't fit"};
}

}  // namespace client
