#include "views/CanBits.h"

#include <array>

namespace client {

namespace {

constexpr unsigned int kErrorFrameBits = 6 + 8 + 3;         // flag, delimiter, intermission
constexpr unsigned int kClassicTailBits = 1 + 2 + 7 + 3;    // CRC delimiter, acknowledge, end of frame, intermission
constexpr unsigned int kFdTailBits = 2 + 7 + 3;             // the same without the CRC delimiter
constexpr unsigned int kFdShortCheckBits = 4 + 17 + 6 + 1;  // stuff count, CRC, fixed stuff bits, CRC delimiter
constexpr unsigned int kFdLongCheckBits = 4 + 21 + 7 + 1;   // the same of more than 16 data bytes

// Every frame of a recording passes here, and one bit at a time would be most of the work of a conversion. So bits are
// taken in groups of up to eight, by tables that the bit-by-bit rules fill at compile time.
constexpr unsigned int kGroupBits = 8;

constexpr unsigned int kCrcBits = 15;
constexpr unsigned int kCrcMask = (1U << kCrcBits) - 1;
constexpr unsigned int kCrcPolynomial = 0x4599;

constexpr unsigned int kLongestRun = 5;  // equal bits without a stuff bit
constexpr unsigned int kStuffStates = 2 * kLongestRun;

/// The last bit sent and the length of the run that it ends, 1 to 5, as one number.
constexpr unsigned int StuffState(bool last, unsigned int run) { return (last ? kLongestRun : 0) + run - 1; }
constexpr bool LastOf(unsigned int state) { return state >= kLongestRun; }
constexpr unsigned int RunOf(unsigned int state) { return state % kLongestRun + 1; }

/// What sending some bits comes to: the state after them, and the stuff bits among them.
struct StuffStep {
  unsigned int State;
  unsigned int Stuffed;
};

/// The step with one more bit. After five equal bits comes a stuff bit, which counts among the next five; it is sent
/// together with the bit after it.
constexpr StuffStep WithBit(StuffStep step, bool bit) {
  bool last = LastOf(step.State);
  unsigned int run = RunOf(step.State);
  if (run == kLongestRun) {
    last = !last;
    run = 1;
    ++step.Stuffed;
  }
  return {StuffState(bit, bit == last ? run + 1 : 1), step.Stuffed};
}

/// The steps that some bits make from each of the states, in fields of six bits. A state is told by the place of its field, so
/// that what the next group waits for is a single shift: a lookup by the state would take several times as long.
struct StuffSteps {
  unsigned long Places = 0;  // of the next states' fields
  unsigned long Stuffed = 0;

  static constexpr unsigned int kFieldBits = 6;
  static constexpr unsigned int PlaceOf(unsigned int state) { return state * kFieldBits; }
  static constexpr unsigned int FieldAt(unsigned long fields, unsigned int place) {
    return static_cast<unsigned int>(fields >> place) & ((1U << kFieldBits) - 1);
  }

  [[nodiscard]] constexpr StuffStep From(unsigned int state) const {
    return {FieldAt(Places, PlaceOf(state)) / kFieldBits, FieldAt(Stuffed, PlaceOf(state))};
  }
  constexpr void Set(unsigned int state, StuffStep step) {
    Places |= static_cast<unsigned long>(PlaceOf(step.State)) << PlaceOf(state);
    Stuffed |= static_cast<unsigned long>(step.Stuffed) << PlaceOf(state);
  }
};
static_assert(StuffSteps::PlaceOf(kStuffStates) <= 64);

/// Indexed by the bits of a group with a one in front, which tells groups of different lengths apart.
constexpr auto MakeStuffTable() {
  std::array<StuffSteps, 2U << kGroupBits> table{};
  for (unsigned int state = 0; state < kStuffStates; ++state) {
    table[1].Set(state, {state, 0});  // no bits
    for (unsigned int group = 2; group < table.size(); ++group) {
      table[group].Set(state, WithBit(table[group / 2].From(state), group % 2 != 0));
    }
  }
  return table;
}
constexpr auto kStuffTable = MakeStuffTable();

constexpr unsigned int CrcWithBit(unsigned int crc, bool bit) {
  const bool feedback = bit != (crc >> (kCrcBits - 1) != 0);
  return (crc << 1 & kCrcMask) ^ (feedback ? kCrcPolynomial : 0);
}

/// The CRC of each group by itself.
constexpr auto MakeCrcTable() {
  std::array<unsigned short, 1U << kGroupBits> table{};
  for (unsigned int group = 0; group < table.size(); ++group) {
    unsigned int crc = 0;
    for (unsigned int bit = kGroupBits; bit-- > 0;) crc = CrcWithBit(crc, (group >> bit & 1) != 0);
    table[group] = static_cast<unsigned short>(crc);
  }
  return table;
}
constexpr auto kCrcTable = MakeCrcTable();

/// Bits in front of the data, the first one sent highest.
struct HeadBits {
  unsigned long Value = 0;
  unsigned int Count = 0;

  HeadBits& Add(unsigned int value, unsigned int count) {
    Value = Value << count | (value & ((1U << count) - 1));
    Count += count;
    return *this;
  }
};

unsigned int CrcOf(const HeadBits& head, RecordPayload data) {
  unsigned int crc = 0;
  const auto add = [&crc](unsigned int group) {
    crc = (crc << kGroupBits & kCrcMask) ^ kCrcTable[crc >> (kCrcBits - kGroupBits) ^ group];
  };
  // Zeros in front don't change it: the head begins at a whole group.
  for (unsigned int left = (head.Count + kGroupBits - 1) / kGroupBits * kGroupBits; left > 0; left -= kGroupBits) {
    add(head.Value >> (left - kGroupBits) & 0xFF);
  }
  for (const unsigned char byte : data) add(byte);
  return crc;
}

/// Bits as they are sent, with their stuff bits.
class StuffedBits {
 public:
  void Put(const HeadBits& bits) {
    unsigned int left = bits.Count;
    for (; left > kGroupBits; left -= kGroupBits) PutGroup(bits.Value >> (left - kGroupBits) & 0xFF, kGroupBits);
    PutGroup(bits.Value & ((1U << left) - 1), left);
  }
  void Put(RecordPayload data) {
    for (const unsigned char byte : data) PutGroup(byte, kGroupBits);
  }
  unsigned int Count() const { return Bits; }
  /// The same with the stuff bit that is due.
  unsigned int CountToTheEnd() const { return Bits + (RunOf(Place / StuffSteps::kFieldBits) == kLongestRun ? 1 : 0); }

 private:
  void PutGroup(unsigned long group, unsigned int count) {
    const StuffSteps& steps = kStuffTable[1U << count | group];
    Bits += count + StuffSteps::FieldAt(steps.Stuffed, Place);
    Place = StuffSteps::FieldAt(steps.Places, Place);
  }

  unsigned int Bits = 0;
  // Of the state's field. The idle bus is recessive: the start of frame begins a run.
  unsigned int Place = StuffSteps::PlaceOf(StuffState(true, 1));
};

/// Start of frame, identifier, and the bits around it, up to the last one that classic and FD frames share.
/// @param substitute  remote request, or its reserved place in an FD frame
HeadBits IdentifierBits(const CanView& can, unsigned int substitute) {
  const unsigned int identifier = can.PlainIdentifier();
  HeadBits bits;
  bits.Add(0, 1);
  if (!can.Has(QOR_TRACE_CAN_EXTENDED)) {
    return bits.Add(identifier, 11).Add(substitute << 1, 2);  // and a standard identifier
  }
  bits.Add(identifier >> 18, 11).Add(3, 2);  // substitute remote request, extended identifier
  return bits.Add(identifier, 18).Add(substitute, 1);
}

CanBits ClassicBits(const CanView& can) {
  const bool remote = can.DataLength == 0 && can.Dlc != 0;
  HeadBits head = IdentifierBits(can, remote ? 1 : 0);
  head.Add(0, can.Has(QOR_TRACE_CAN_EXTENDED) ? 2 : 1);  // reserved
  head.Add(can.Dlc, 4);
  StuffedBits bits;
  bits.Put(head);
  bits.Put(can.Data());
  bits.Put({CrcOf(head, can.Data()), kCrcBits});
  return {bits.CountToTheEnd() + kClassicTailBits, 0};
}

CanBits FdBits(const CanView& can) {
  const bool switched = can.Has(QOR_TRACE_CAN_BRS);
  StuffedBits bits;
  bits.Put(IdentifierBits(can, 0).Add(2, 2).Add(switched ? 1 : 0, 1));  // FD format, reserved, bit-rate switch
  const unsigned int head = bits.Count();
  bits.Put(HeadBits().Add(can.Has(QOR_TRACE_CAN_ESI) ? 1 : 0, 1).Add(can.Dlc, 4));
  bits.Put(can.Data());
  const unsigned int body = bits.Count() - head + (can.DataLength > 16 ? kFdLongCheckBits : kFdShortCheckBits);
  if (switched) return {head + kFdTailBits, body};
  return {head + body + kFdTailBits, 0};
}

}  // namespace

CanBits CanBitsOf(const CanView& can) {
  switch (can.Kind()) {
    case RecordKind::CanFrame:
      return ClassicBits(can);
    case RecordKind::CanFdFrame:
      return FdBits(can);
    case RecordKind::CanErrorFrame:
      return {kErrorFrameBits, 0};
    default:
      return {};
  }
}

}  // namespace client
