// A record on the table of a comparison: its fields one by one, so that two can be held against each other.
#pragma once

#include <array>
#include <bitset>
#include <cstddef>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "record/RecordView.h"

namespace client {

/// The two recordings.
enum class Side : unsigned char { A, B };
[[nodiscard]] constexpr Side Other(Side side) { return side == Side::A ? Side::B : Side::A; }

/// What two records may differ in. docs/compare.md says what each one is.
enum class ComparedField : unsigned char {
  Time,
  Channel,
  Kind,
  Direction,
  Identifier,
  Slot,
  Cycle,
  FlexRaySide,
  Code,
  Flags,
  Dlc,
  Length,
  Data,
  Checksum,
  HeaderCrc,
  BitTime,
  Reserved,
};
inline constexpr size_t kComparedFieldCount = static_cast<size_t>(ComparedField::Reserved) + 1;

/// As a person types it: "time", "dir", ...
[[nodiscard]] const char* NameOf(ComparedField field);
[[nodiscard]] std::optional<ComparedField> ComparedFieldNamed(std::string_view name);

class ComparedFields : public std::bitset<kComparedFieldCount> {
 public:
  [[nodiscard]] bool Has(ComparedField field) const { return test(static_cast<size_t>(field)); }
  void Add(ComparedField field) { set(static_cast<size_t>(field)); }
};

/// A copy of a record, with its fields. A field that it doesn't have is 0, one that it has may be so as well. Whoever compares
/// may set fields to 0 (Clear) that aren't to count.
class ComparedRecord {
 public:
  /// @param time   ns, on the clock that both recordings share
  /// @param entry  its number in its recording, from 1
  ComparedRecord(const RecordView& record, unsigned long time, unsigned long entry);

  [[nodiscard]] RecordView View() const { return {Bytes.data(), static_cast<unsigned int>(Bytes.size())}; }
  [[nodiscard]] unsigned long Time() const { return CommonTime; }
  [[nodiscard]] unsigned long Entry() const { return Number; }
  /// Its place among those of its channel that are compared, from 0.
  [[nodiscard]] unsigned long Index() const { return Place; }

  /// Of Data: always 0, see Data(). Of Time: always 0, see Time().
  [[nodiscard]] unsigned long operator[](ComparedField field) const { return Values[static_cast<size_t>(field)]; }
  [[nodiscard]] std::span<const unsigned char> Data() const { return std::span(Bytes).subspan(DataPlace, DataSize); }

  void Set(ComparedField field, unsigned long value) { Values[static_cast<size_t>(field)] = value; }
  void Clear(ComparedField field);
  void Clear(const ComparedFields& fields);
  void DropZerosAtEnd();  // of the data
  void SetIndex(unsigned long index) { Place = index; }
  /// So many records of the other recording must have come before this one has no equal; 0: its time alone says so.
  [[nodiscard]] unsigned long WaitsFor() const { return Patience; }
  void WaitFor(unsigned long records) { Patience = records; }

  /// The same for records with the same fields and data, whatever their times; hardly ever for others.
  [[nodiscard]] unsigned long Content() const;
  /// Likewise for records of the same message: bus, channel, identifier or slot or addresses.
  [[nodiscard]] unsigned long Message() const;
  /// But for the time.
  [[nodiscard]] bool HasSameContent(const ComparedRecord& other) const;
  /// But for the time.
  [[nodiscard]] ComparedFields DifferencesTo(const ComparedRecord& other) const;

  /// Bytes that it takes.
  [[nodiscard]] size_t Memory() const { return sizeof *this + Bytes.capacity(); }

 private:
  void ReadPayload(const RecordView& record);
  void ReadCan(const CanView& can);
  void ReadLin(const LinView& lin);
  void ReadFlexRay(const RecordView& record, const FlexRayView& flexRay);
  void ReadEthernet(const RecordView& record, const EthernetView& ethernet);
  void SetData(std::span<const unsigned char> data);

  std::vector<unsigned char> Bytes;
  std::array<unsigned long, kComparedFieldCount> Values = {};
  size_t DataPlace = 0;
  size_t DataSize = 0;
  unsigned long CommonTime = 0;
  unsigned long Number = 0;
  unsigned long Place = 0;
  unsigned long Patience = 0;
};

}  // namespace client
