#include "outputs/RowComposer.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <limits>

#include "outputs/AscText.h"
#include "stream/KindText.h"
#include "stream/RecordFields.h"

namespace client {

namespace {

using Style = RowComposer::Style;

constexpr long kNone = -1;
constexpr size_t kFixedRoom = 4096;  // bytes; a row without data has some 900

/// A row on its way. Names are literals, so that what stands in front of a value is copied by known sizes.
class RowText {
 public:
  RowText(Style style, char* out) : Format(style), Out(out) {}

  template <size_t kSize>
  void Number(const char (&name)[kSize], long value) {
    if (!Begin(name)) return;
    if (value < 0) Out = asc::Character(Out, '-');
    Out = asc::Decimal(Out, value < 0 ? 0 - static_cast<unsigned long>(value) : static_cast<unsigned long>(value));
  }
  /// A text needs no escapes in either format: letters, digits, and signs that mean nothing there.
  template <size_t kSize>
  void Word(const char (&name)[kSize], std::string_view text) {
    if (!Begin(name)) return;
    Quote();
    Out = asc::Text(Out, text);
    Quote();
  }
  template <size_t kSize>
  void Flag(const char (&name)[kSize], bool set) {
    if (!Begin(name)) return;
    Out = set ? asc::Text(Out, "true") : asc::Text(Out, "false");
  }
  /// "x01A0": the letter keeps readers from taking the digits for a number.
  template <size_t kSize>
  void Bytes(const char (&name)[kSize], std::optional<RecordPayload> bytes) {
    if (!Begin(name)) return;
    Quote();
    if (bytes) Out = asc::Character(Out, 'x');
    if (bytes) AddHex(*bytes);
    Quote();
  }
  void Copy(std::string_view text) { Out = asc::Text(Out, text); }
  [[nodiscard]] char* End() const { return Out; }

 private:
  /// True if the value is to follow.
  template <size_t kSize>
  [[nodiscard]] bool Begin(const char (&name)[kSize]) {
    Out = asc::Character(Out, ',');
    if (Format == Style::Csv) return true;
    if (Format == Style::Ndjson) Out = asc::Character(Out, '"');
    Out = asc::Text(Out, name);
    if (Format == Style::Names) return false;
    Out = asc::Text(Out, "\":");
    return true;
  }
  void Quote() {
    if (Format == Style::Ndjson) Out = asc::Character(Out, '"');
  }
  void AddHex(RecordPayload bytes) {
    for (const unsigned char byte : bytes) {
      std::memcpy(Out, asc::kHexBytes[byte].data() + 1, 2);
      Out += 2;
    }
  }

  const Style Format;
  char* Out;
};

// ---- Values ---------------------------------------------------------------------------------------------------------

/// As a column holds it, whose type has a sign in every reader.
long Signed(unsigned long value) {
  return static_cast<long>(std::min(value, static_cast<unsigned long>(std::numeric_limits<long>::max())));
}

FieldValues ValuesOf(const RecordFields* fields, RecordField field) {
  return fields != nullptr ? fields->Read({.Field = field}) : FieldValues();
}

/// Of several values, the first one.
long NumberOf(const RecordFields* fields, RecordField field) {
  const FieldValues values = ValuesOf(fields, field);
  return values.empty() ? kNone : Signed(*values.begin());
}

bool FlagOf(const RecordFields* fields, RecordField field) { return !ValuesOf(fields, field).empty(); }

/// The word of a value that can be one thing only.
std::string_view WordOf(const RecordFields* fields, RecordField field) {
  const FieldValues values = ValuesOf(fields, field);
  if (values.empty()) return "";
  for (const FieldWord& word : Describe(field).Words)
    if (word.Value == *values.begin()) return word.Text;
  return "";
}

/// A number that is written as an address, in at most 17 characters.
class AddressText {
 public:
  static AddressText Mac(const FieldValues& values) {
    AddressText text;
    if (values.empty()) return text;
    for (int byte = 5; byte >= 0; --byte) {
      std::memcpy(text.Letters + text.Size, asc::kHexBytes[*values.begin() >> 8 * byte & 0xFF].data() + 1, 2);
      text.Size += 2;
      if (byte > 0) text.Letters[text.Size++] = ':';
    }
    return text;
  }
  static AddressText Ipv4(const FieldValues& values) {
    AddressText text;
    if (values.empty()) return text;
    char* out = text.Letters;
    for (int byte = 3; byte >= 0; --byte) {
      out = asc::Decimal(out, *values.begin() >> 8 * byte & 0xFF);
      if (byte > 0) out = asc::Character(out, '.');
    }
    text.Size = static_cast<size_t>(out - text.Letters);
    return text;
  }
  operator std::string_view() const { return {Letters, Size}; }

 private:
  char Letters[17 + asc::kSlack];
  size_t Size = 0;
};

std::string_view CanErrorWord(unsigned char code) {
  constexpr std::string_view kWords[] = {"other", "stuff", "form", "ack", "bit1", "bit0", "crc"};
  return kWords[code < std::size(kWords) ? code : 0];
}

std::string_view FlexRayErrorWord(FlexRayItemType type) {
  switch (type) {
    case FlexRayItemType::NitSyntaxError:
      return "nit_syntax";
    case FlexRayItemType::SyntaxError:
      return "syntax";
    case FlexRayItemType::NitBoundaryViolation:
      return "nit_boundary";
    case FlexRayItemType::ContentError:
      return "content";
    default:
      return "";
  }
}

std::string_view ErrorWord(const RecordView& record, RecordKind kind) {
  switch (kind) {
    case RecordKind::CanErrorFrame:
      return CanErrorWord(record.Can().Code());
    case RecordKind::LinChecksumError:
      return "checksum";
    case RecordKind::LinParityError:
      return "parity";
    case RecordKind::LinSyncError:
      return "sync";
    case RecordKind::LinTransmitError:
      return "transmit";
    case RecordKind::FlexRayError:
      return FlexRayErrorWord(record.FlexRay().Type);
    case RecordKind::EthernetCrcError:
      return "crc";
    default:
      return "";
  }
}

std::string_view BusWord(unsigned char busType) {
  const auto words = Describe(RecordField::Bus).Words;
  return busType < words.size() ? words[busType].Text : std::string_view();
}

// ---- Columns --------------------------------------------------------------------------------------------------------
//
// In the order in which they stand. Without a record, a group of columns is written as records of other buses have it.

struct RowHead {
  unsigned long Time = 0;  // ns, clock of the entries
  unsigned int Channel = 0;
  std::string_view Bus = {};
  std::string_view Kind = {};
};

void HeadColumns(RowText& row, Style style, const RowHead& head, const RowOrigin& origin) {
  if (style == Style::Ndjson) row.Copy("{\"schema\":1");
  if (style == Style::Csv) row.Copy("1");
  if (style == Style::Names) row.Copy("schema");
  static_assert(kRowVersion == 1);
  row.Number("utc_ns", origin.Times.IsKnown() ? Signed(origin.Times.UtcOf(head.Time)) : 0);
  row.Number("time_ns", Signed(head.Time));
  row.Word("recording", origin.Recording);
  row.Number("channel", head.Channel);
  row.Word("bus", head.Bus);
  row.Word("kind", head.Kind);
}

void CommonColumns(RowText& row, const RecordFields* fields, std::string_view error) {
  row.Word("dir", WordOf(fields, RecordField::Direction));
  row.Number("id", NumberOf(fields, RecordField::Identifier));
  row.Number("len", NumberOf(fields, RecordField::Length));
  row.Bytes("data", fields != nullptr ? fields->Data() : std::nullopt);
  row.Flag("frame", FlagOf(fields, RecordField::Frame));
  row.Flag("error", FlagOf(fields, RecordField::Error));
  row.Flag("event", FlagOf(fields, RecordField::Event));
  row.Flag("overrun", FlagOf(fields, RecordField::Overrun));
  row.Word("error_kind", error);
}

void CanColumns(RowText& row, const RecordFields* fields) {
  row.Number("dlc", NumberOf(fields, RecordField::Dlc));
  row.Flag("extended", FlagOf(fields, RecordField::Extended));
  row.Flag("fd", FlagOf(fields, RecordField::Fd));
  row.Flag("brs", FlagOf(fields, RecordField::Brs));
  row.Flag("esi", FlagOf(fields, RecordField::Esi));
  row.Flag("remote", FlagOf(fields, RecordField::Remote));
}

void LinColumns(RowText& row, const RecordFields* fields, const RecordView* record) {
  const auto checksum = record != nullptr ? record->Lin().Checksum() : std::nullopt;
  row.Number("checksum", checksum ? *checksum : kNone);
  row.Flag("parity_error", FlagOf(fields, RecordField::ParityError));
  row.Flag("checksum_error", FlagOf(fields, RecordField::ChecksumError));
  row.Flag("sync_error", FlagOf(fields, RecordField::SyncError));
  row.Flag("transmit_error", FlagOf(fields, RecordField::TransmitError));
  row.Flag("wakeup", FlagOf(fields, RecordField::WakeUp));
}

void FlexRayColumns(RowText& row, const RecordFields* fields, const RecordView* record) {
  row.Number("slot", NumberOf(fields, RecordField::Slot));
  row.Number("cycle", NumberOf(fields, RecordField::Cycle));
  row.Word("side", WordOf(fields, RecordField::Side));
  const bool isState = record != nullptr && record->Kind() == RecordKind::FlexRayState;
  row.Number("state", isState ? record->FlexRay().Channel : kNone);
  row.Flag("null_frame", FlagOf(fields, RecordField::Null));
  row.Flag("sync", FlagOf(fields, RecordField::Sync));
  row.Flag("startup", FlagOf(fields, RecordField::Startup));
  row.Flag("preamble", FlagOf(fields, RecordField::Preamble));
}

void EthernetColumns(RowText& row, const RecordFields* fields) {
  row.Word("src", AddressText::Mac(ValuesOf(fields, RecordField::Source)));
  row.Word("dst", AddressText::Mac(ValuesOf(fields, RecordField::Destination)));
  row.Number("vlan", NumberOf(fields, RecordField::Vlan));
  row.Number("ethertype", NumberOf(fields, RecordField::EtherType));
  row.Number("protocol", NumberOf(fields, RecordField::Protocol));
  row.Word("src_ip", AddressText::Ipv4(ValuesOf(fields, RecordField::SourceIp)));
  row.Word("dst_ip", AddressText::Ipv4(ValuesOf(fields, RecordField::DestinationIp)));
  row.Number("src_port", NumberOf(fields, RecordField::SourcePort));
  row.Number("dst_port", NumberOf(fields, RecordField::DestinationPort));
  row.Flag("crc_error", FlagOf(fields, RecordField::CrcError));
}

void BusColumns(RowText& row, size_t bus, const RecordFields* fields, const RecordView* record) {
  switch (bus) {
    case BusType_Can:
      return CanColumns(row, fields);
    case BusType_Lin:
      return LinColumns(row, fields, record);
    case BusType_FlexRay:
      return FlexRayColumns(row, fields, record);
    default:
      return EthernetColumns(row, fields);
  }
}

char* TailColumns(RowText& row, Style style, std::string_view cause, unsigned long lastTime, unsigned long lost) {
  row.Word("cause", cause);
  row.Number("last_time_ns", Signed(lastTime));
  row.Number("lost", Signed(lost));
  row.Copy(style == Style::Ndjson ? "}\n" : "\n");
  return row.End();
}

/// 32 digits in groups of 8, 4, 4, 4 and 12.
bool IsId(const std::string& text) {
  if (text.size() != 36) return false;
  for (size_t place = 0; place < text.size(); ++place) {
    const bool dash = place == 8 || place == 13 || place == 18 || place == 23;
    const auto letter = static_cast<unsigned char>(text[place]);
    if (dash ? letter != '-' : std::isxdigit(letter) == 0) return false;
  }
  return true;
}

}  // namespace

RowComposer::RowComposer(RowFormat format) : Format(format == RowFormat::Csv ? Style::Csv : Style::Ndjson) {
  for (size_t bus = 0; bus < Empty.size(); ++bus) {
    char text[kFixedRoom];
    RowText row(Format, text);
    BusColumns(row, bus, nullptr, nullptr);
    Empty[bus].assign(text, row.End());
  }
}

std::string RowComposer::Header() const {
  if (Format != Style::Csv) return "";
  char text[kFixedRoom];
  RowText row(Style::Names, text);
  HeadColumns(row, Style::Names, {}, {});
  CommonColumns(row, nullptr, "");
  for (size_t bus = 0; bus < Empty.size(); ++bus) BusColumns(row, bus, nullptr, nullptr);
  return {text, TailColumns(row, Style::Names, "", 0, 0)};
}

size_t RowComposer::Room(const RecordView& record) { return kFixedRoom + 2 * record.Payload().size(); }

char* RowComposer::Compose(char* out, const RecordView& record, const RowOrigin& origin) const {
  const RecordFields fields(record);
  const RecordKind kind = record.Kind();
  RowText row(Format, out);
  HeadColumns(row, Format, {record.Timestamp(), record.ChannelId(), BusWord(record.Bus()), WordOf(kind)}, origin);
  CommonColumns(row, &fields, ErrorWord(record, kind));
  const bool isSound = record.IsWellFormed();
  for (size_t bus = 0; bus < Empty.size(); ++bus) {
    if (isSound && bus == record.Bus())
      BusColumns(row, bus, &fields, &record);
    else
      row.Copy(Empty[bus]);
  }
  return TailColumns(row, Format, "", record.Timestamp(), 0);
}

char* RowComposer::ComposeLoss(char* out, const Loss& loss, unsigned char busType, const RowOrigin& origin) const {
  RowText row(Format, out);
  HeadColumns(row, Format, {loss.First, loss.Channel, BusWord(busType), "loss"}, origin);
  CommonColumns(row, nullptr, "");
  for (const std::string& empty : Empty) row.Copy(empty);
  const unsigned long missing = IsMissing(loss.Cause) ? loss.Count.value_or(1) : 0;  // at least
  return TailColumns(row, Format, Word(loss.Cause), loss.Last, missing);
}

std::string RowId(const std::string& id, const RecordView& first) {
  std::string text = id;
  if (!IsId(text)) {
    const auto bytes = first.Bytes();
    const unsigned long digest = id.empty() ? DigestOf(bytes.data(), bytes.size())
                                            : DigestOf(reinterpret_cast<const unsigned char*>(id.data()), id.size());
    text = fmt::format("00000000-0000-0000-{:04x}-{:012x}", digest >> 48, digest & 0xFFFFFFFFFFFF);
  }
  std::transform(text.begin(), text.end(), text.begin(), [](unsigned char letter) { return std::tolower(letter); });
  return text;
}

}  // namespace client
