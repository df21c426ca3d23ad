#include "inputs/BinReader.h"

#include <fmt/format.h>

#include <cstddef>
#include <cstring>
#include <span>
#include <utility>

#include "inputs/DescriptionBeside.h"

namespace client {

namespace {

// No interface delivers longer ones: an item is at most 65535 bytes.
constexpr unsigned int kLongestRecord = RecordView::kHeader + 65535;

unsigned int Small(std::span<const unsigned char> bytes, size_t place, size_t size) {
  unsigned int value = 0;
  if (place + size <= bytes.size()) std::memcpy(&value, bytes.data() + place, size);
  return value;
}

/// The length of the record that bytes begin with, if that and its bus agree with what it holds; else 0.
unsigned int PlausibleLength(std::span<const unsigned char> bytes) {
  constexpr size_t kBus = offsetof(Qor_Trace_Entry_t, BusType);
  constexpr size_t kPayload = RecordView::kHeader;
  const unsigned int length = RecordView::LengthAt(bytes.data());
  if (length < kPayload || length > kLongestRecord) return 0;
  if (Small(bytes, kBus + 1, 3) != 0) return 0;
  unsigned int expected = 0;
  switch (bytes[kBus]) {
    case BusType_Can:
      expected =
          kPayload + CanView::kFixedFields + Small(bytes, offsetof(Qor_Trace_Entry_t, Payload.Can.DataLength), 1);
      break;
    case BusType_Lin:
      expected = kPayload + LinView::kFixedFields;
      break;
    case BusType_FlexRay:
    case BusType_Ethernet:
      expected = kPayload + Small(bytes, kPayload, 2);
      break;
    default:
      break;
  }
  return length == expected ? length : 0;
}

}  // namespace

BinReader::BinReader(InputBytes bytes, const std::string& path, AtDamage atDamage)
    : Bytes(std::move(bytes)), OnDamage(atDamage) {
  Known.Complete = true;
  if (Bytes.IsPipe()) return;
  FoundDescription found = FindDescription(path, FirstDigest());
  Sentences = std::move(found.Remarks);
  if (found.Known) Known = *std::move(found.Known);
}

const RecordView* BinReader::Next() {
  Bytes.Skip(std::exchange(Length, 0));
  if (OnDamage == AtDamage::PassOver) return NextPlausible();
  if (Bytes.Need(RecordView::kHeader)) {
    const unsigned int length = NextLength();
    if (Bytes.Need(length)) return Hand(length);
  }
  if (!Bytes.Stopped() && !Bytes.Ready().empty()) throw Damaged();
  return nullptr;
}

const RecordView* BinReader::Hand(unsigned int length) {
  Length = length;
  ++Count;
  return &Current.emplace(Bytes.Ready().data(), length);
}

/// Passes over what can't be records.
const RecordView* BinReader::NextPlausible() {
  const unsigned long begin = Bytes.Position();
  while (Bytes.Need(RecordView::kHeader)) {
    const unsigned int length = RecordView::LengthAt(Bytes.Ready().data());
    const bool skipped = Bytes.Position() > begin;
    if (skipped ? BeginsChain() : IsSound(length)) {
      if (skipped)
        Seen.Add(FindingKind::Unread, "a damaged byte between records", fmt::format("byte {}", begin),
                 Bytes.Position() - begin);
      return Hand(RecordView::LengthAt(Bytes.Ready().data()));
    }
    Bytes.Skip(1);
  }
  const unsigned long rest = Bytes.Position() + Bytes.Ready().size() - begin;
  if (!Bytes.Stopped() && rest > 0)
    Seen.Add(FindingKind::CutOff, "a byte at the end that is of no whole record", fmt::format("byte {}", begin), rest);
  return nullptr;
}

/// A record of its bus, or one that others follow.
bool BinReader::IsSound(unsigned int length) {
  if (length < RecordView::kHeader || length > kLongestRecord || !Bytes.Need(length)) return false;
  const auto ready = Bytes.Ready();
  if (PlausibleLength(ready) == length || ready.size() == length) return true;
  if (!Bytes.Need(length + RecordView::kHeader)) return false;
  return PlausibleLength(Bytes.Ready().subspan(length)) != 0;
}

/// Some plausible records in a row, or as many as there are up to the end.
bool BinReader::BeginsChain() {
  constexpr unsigned int kEnough = 3;
  size_t place = 0;
  for (unsigned int count = 0; count < kEnough; ++count) {
    if (!Bytes.Need(place + RecordView::kHeader)) return count > 0 && Bytes.Ready().size() == place;
    const unsigned int length = PlausibleLength(Bytes.Ready().subspan(place));
    if (length == 0 || !Bytes.Need(place + length)) return false;
    place += length;
  }
  return true;
}

unsigned int BinReader::NextLength() const {
  const unsigned int length = RecordView::LengthAt(Bytes.Ready().data());
  if (length < RecordView::kHeader || length > kLongestRecord) throw Damaged();
  return length;
}

/// DigestOf the first record; 0 without one.
unsigned long BinReader::FirstDigest() {
  if (!Bytes.Need(RecordView::kHeader)) return 0;
  if (OnDamage == AtDamage::PassOver && !IsSound(RecordView::LengthAt(Bytes.Ready().data()))) return 0;
  const unsigned int length = NextLength();
  return Bytes.Need(length) ? DigestOf(Bytes.Ready().data(), length) : 0;
}

Failure BinReader::Damaged() const {
  return Failure(fmt::format("There is no whole record at byte {} of {}: is it a .bin file of this program?",
                             Bytes.Position(), Bytes.Shown()));
}

}  // namespace client
