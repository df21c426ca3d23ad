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

/// What sending some bits comes to.
struct StuffStep {
  unsigned char State;
  unsigned char Sent;  // those bits and their stuff bits
};

/// The step with one more bit. After five equal bits comes a stuff bit, which counts among the next five; it is sent
/// together with the bit after it.
constexpr StuffStep WithBit(StuffStep step, bool bit) {
  bool last = LastOf(step.State);
  unsigned int run = RunOf(step.State);
  unsigned int sent = step.Sent;
  if (run == kLongestRun) {
    last = !last;
    run = 1;
    ++sent;
  }
  run = bit == last ? run + 1 : 1;
  return {static_cast<unsigned char>(StuffState(bit, run)), static_cast<unsigned char>(sent + 1)};
}

/// Indexed by the bits of a group with a one in front, which tells groups of different lengths apart.
using StuffSteps = std::array<StuffStep, 2U << kGroupBits>;

constexpr std::array<StuffSteps, kStuffStates> MakeStuffTable() {
  std::array<StuffSteps, kStuffStates> table{};
  for (unsigned int state = 0; state < kStuffStates; ++state) {
    StuffSteps& steps = table[state];
    steps[1] = {static_cast<unsigned char>(state), 0};  // no bits
    for (unsigned int group = 2; group < steps.size(); ++group)
      steps[group] = WithBit(steps[group / 2], group % 2 != 0);
  }
  return table;
}
constexpr auto kStuffTable = MakeStuffTable();

constexpr unsigned int CrcWithBit(unsigned int crc, bool bit) {
  const bool feedback = bit != (crc >> (kCrcBits - 1) != 0);
  return (crc << 1 & kCrcMask) ^ (feedback ? kCrcPolynomial : 0);
}

/// The CRC of each group by itself. Zeros in front don't change it, so shorter groups need no entries of their own.
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

/// Bits as they are sent, with their stuff bits.
class StuffedBits {
 public:
  /// @param bits  the lowest `count` of `value`, the highest of them first
  void Put(unsigned int value, unsigned int count) {
    for (; count > kGroupBits; count -= kGroupBits) PutGroup(value >> (count - kGroupBits), kGroupBits);
    PutGroup(value, count);
  }
  void PutData(const CanView& can) {
    for (const unsigned char byte : can.Data()) PutGroup(byte, kGroupBits);
  }
  unsigned int Crc() const { return Crc15; }
  unsigned int Count() const { return Bits; }
  /// The same with the stuff bit that is due.
  unsigned int CountToTheEnd() const { return Bits + (RunOf(State) == kLongestRun ? 1 : 0); }

 private:
  void PutGroup(unsigned int value, unsigned int count) {
    const unsigned int marker = 1U << count;
    const unsigned int group = value & (marker - 1);
    const StuffStep step = kStuffTable[State][marker | group];
    State = step.State;
    Bits += step.Sent;
    Crc15 = (Crc15 << count & kCrcMask) ^ kCrcTable[Crc15 >> (kCrcBits - count) ^ group];
  }

  unsigned int Bits = 0;
  unsigned int State = StuffState(true, 1);  // the idle bus is recessive: the start of frame begins a run
  unsigned int Crc15 = 0;
};

/// Start of frame, identifier, and the bits around it, up to the last one that classic and FD frames share.
/// @param substitute  remote request, or its reserved place in an FD frame
void PutIdentifier(StuffedBits& bits, const CanView& can, unsigned int substitute) {
  const unsigned int identifier = can.PlainIdentifier();
  bits.Put(0, 1);
  if (!can.Has(QOR_TRACE_CAN_EXTENDED)) {
    bits.Put(identifier, 11);
    bits.Put(substitute << 1, 2);  // and a standard identifier
    return;
  }
  bits.Put(identifier >> 18, 11);
  bits.Put(3, 2);  // substitute remote request, extended identifier
  bits.Put(identifier, 18);
  bits.Put(substitute, 1);
}

CanBits ClassicBits(const CanView& can) {
  StuffedBits bits;
  const bool remote = can.DataLength == 0 && can.Dlc != 0;
  PutIdentifier(bits, can, remote ? 1 : 0);
  bits.Put(0, can.Has(QOR_TRACE_CAN_EXTENDED) ? 2 : 1);  // reserved
  bits.Put(can.Dlc, 4);
  bits.PutData(can);
  bits.Put(bits.Crc(), 15);
  return {bits.CountToTheEnd() + kClassicTailBits, 0};
}

CanBits FdBits(const CanView& can) {
  StuffedBits bits;
  const bool switched = can.Has(QOR_TRACE_CAN_BRS);
  PutIdentifier(bits, can, 0);
  bits.Put(2, 2);  // FD format, reserved
  bits.Put(switched ? 1 : 0, 1);
  const unsigned int head = bits.Count();
  bits.Put(can.Has(QOR_TRACE_CAN_ESI) ? 1 : 0, 1);
  bits.Put(can.Dlc, 4);
  bits.PutData(can);
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
