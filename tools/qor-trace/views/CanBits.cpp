#include "views/CanBits.h"

namespace client {

namespace {

constexpr unsigned int kErrorFrameBits = 6 + 8 + 3;         // flag, delimiter, intermission
constexpr unsigned int kClassicTailBits = 1 + 2 + 7 + 3;    // CRC delimiter, acknowledge, end of frame, intermission
constexpr unsigned int kFdTailBits = 2 + 7 + 3;             // the same without the CRC delimiter
constexpr unsigned int kFdShortCheckBits = 4 + 17 + 6 + 1;  // stuff count, CRC, fixed stuff bits, CRC delimiter
constexpr unsigned int kFdLongCheckBits = 4 + 21 + 7 + 1;   // the same of more than 16 data bytes

/// Bits as they are sent: after five equal ones comes a stuff bit, which counts among the next five.
class StuffedBits {
 public:
  /// @param bits  the lowest `count` of `value`, the highest of them first
  void Put(unsigned int value, unsigned int count) {
    while (count-- > 0) PutBit((value >> count & 1) != 0);
  }
  void PutData(const CanView& can) {
    for (const unsigned char byte : can.Data()) Put(byte, 8);
  }
  unsigned int Crc() const { return Crc15; }
  unsigned int Count() const { return Bits; }
  /// The same with the stuff bit that is due.
  unsigned int CountToTheEnd() const { return Bits + (Run == 5 ? 1 : 0); }

 private:
  void PutBit(bool bit) {
    if (Run == 5) Send(!Last);
    Send(bit);
    const bool feedback = bit != ((Crc15 & 0x4000) != 0);
    Crc15 = (Crc15 << 1 & 0x7FFF) ^ (feedback ? 0x4599 : 0);
  }
  void Send(bool bit) {
    Run = Bits > 0 && bit == Last ? Run + 1 : 1;
    Last = bit;
    ++Bits;
  }

  unsigned int Bits = 0;
  unsigned int Run = 0;
  bool Last = false;
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
