// The fields of records by name, as expressions ask for them: what each one can be, and its values in a record.
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "record/RecordView.h"

namespace client {

/// docs/filter.md says what each one is, and which records have it.
enum class RecordField : unsigned char {
  // Of any bus.
  Bus,
  Channel,
  Kind,
  Direction,
  Length,
  Data,
  // CAN and LIN.
  Identifier,
  Dlc,
  // FlexRay.
  Slot,
  Cycle,
  Side,
  // Ethernet.
  Source,
  Destination,
  Vlan,
  EtherType,
  Protocol,
  Ip,
  SourceIp,
  DestinationIp,
  Port,
  SourcePort,
  DestinationPort,
  // Flags: of any bus, CAN, LIN, FlexRay, Ethernet.
  Frame,
  Error,
  Event,
  Overrun,
  Extended,
  Fd,
  Brs,
  Esi,
  Remote,
  ParityError,
  ChecksumError,
  SyncError,
  TransmitError,
  WakeUp,
  Null,
  Sync,
  Startup,
  Preamble,
  CrcError,
};
inline constexpr size_t kRecordFieldCount = static_cast<size_t>(RecordField::CrcError) + 1;

/// How a field's values are written in an expression.
enum class FieldType : unsigned char {
  Flag,    // the field by itself: a record has it or not
  Word,    // one of its words; values are sets of bits, one bit for each thing that a record can be
  Number,  // in any base; also one of its words, if it has some
  Bytes,   // a number, of the bytes that are named in brackets
  Mac,     // 02:00:00:00:00:01, as a number of 48 bits
  Ipv4,    // 10.0.0.1, as a number of 32 bits
};

struct FieldWord {
  const char* Text;
  unsigned long Value;
};

struct FieldDescription {
  const char* Name;
  FieldType Type;
  unsigned long Greatest = 1;             // value; of Bytes: that of one byte
  std::span<const FieldWord> Words = {};  // that stand for values
  const char* Example = "";               // of a value
};
[[nodiscard]] const FieldDescription& Describe(RecordField field);

/// Letters of either case.
[[nodiscard]] std::optional<RecordField> FieldNamed(std::string_view name);
[[nodiscard]] std::vector<std::string> FieldNames();

/// The word of `kind` that says most of it: "classic" rather than "frame".
[[nodiscard]] std::string_view WordOf(RecordKind kind);

/// A field, and of Bytes which of them.
struct FieldPlace {
  static constexpr size_t kMostBytes = 8;  // that make one number

  RecordField Field = RecordField::Frame;
  unsigned short First = 0;  // most significant byte of the number
  unsigned short Last = 0;   // least significant one: before First for a little-endian number

  [[nodiscard]] size_t ByteCount() const {
    return static_cast<size_t>(First <= Last ? Last - First : First - Last) + 1;
  }
  /// The greatest value of the field.
  [[nodiscard]] unsigned long Greatest() const;
};

/// The values of a field in one record. Most fields have one, or none where the record has no such field; a few have
/// several, such as the tags of a frame in nested VLANs.
class FieldValues {
 public:
  static constexpr size_t kMost = 4;

  FieldValues() = default;
  FieldValues(unsigned long value) { Add(value); }
  /// None for nothing.
  template <class Value>
  FieldValues(std::optional<Value> value) {
    if (value) Add(*value);
  }

  /// At most kMost.
  void Add(unsigned long value) { Values[Count++] = value; }

  [[nodiscard]] const unsigned long* begin() const { return Values; }
  [[nodiscard]] const unsigned long* end() const { return Values + Count; }
  [[nodiscard]] bool empty() const { return Count == 0; }

 private:
  unsigned long Values[kMost];  // not initialised beyond Count
  size_t Count = 0;
};

/// A record whose fields are read. Nothing is allocated, and nothing is read that isn't asked for.
class RecordFields {
 public:
  /// @param record  outlives this
  explicit RecordFields(const RecordView& record) : Record(record), Kind(record.Kind()) {}

  [[nodiscard]] FieldValues Read(const FieldPlace& place) const;
  /// All bytes of `data`, as far as they are present; nothing for a record without the field.
  [[nodiscard]] std::optional<RecordPayload> Data() const;

 private:
  [[nodiscard]] FieldValues ReadOfBus(const FieldPlace& place) const;
  [[nodiscard]] FieldValues ReadCan(const FieldPlace& place) const;
  [[nodiscard]] FieldValues ReadCanFrame(const CanView& can, RecordField field) const;
  [[nodiscard]] FieldValues ReadLin(const FieldPlace& place) const;
  [[nodiscard]] FieldValues ReadFlexRay(const FieldPlace& place) const;
  [[nodiscard]] FieldValues ReadFlexRayFrame(const FlexRayView& frame, const FieldPlace& place) const;
  [[nodiscard]] FieldValues ReadEthernet(const FieldPlace& place) const;

  const RecordView& Record;
  const RecordKind Kind;
};

}  // namespace client
