// CAN lines. All numbers but one are hexadecimal, whatever base the header announced.
#include "export/AscLines.h"

namespace asc {

namespace {

char* TriggerEvent(const CanView& can, char* out) {
  out = Text(out, "log trigger event");
  const unsigned char kind = can.Code();
  if (kind == 0) return Text(out, " (rising edge on trigger input)\n");
  if (kind == 1) return Text(out, " (falling edge on trigger input)\n");
  out = Text(out, " (user event)");
  for (const unsigned char byte : can.Data()) out = Hex(Character(out, ' '), byte);
  return Character(out, '\n');
}

char* ErrorFrame(unsigned int channelId, const CanView& can, char* out) {
  constexpr unsigned char kReceived = 0x20;
  constexpr unsigned char kUnknownKind = 0xC0;
  // By error kind; 0 is none of them.
  constexpr unsigned char kEccOfKind[] = {kUnknownKind, 0x80, 0x40, 0xC0, 0x00, 0x00, 0xC0, 0x00};
  const unsigned char kind = can.Code();
  unsigned int ecc = kind < std::size(kEccOfKind) ? kEccOfKind[kind] : kUnknownKind;
  if (!can.Has(QOR_TRACE_CAN_TRANSMITTED)) ecc |= kReceived;

  out = Text(Hex(out, channelId), " ErrorFrame ECC: ");
  for (int bit = 7; bit >= 0; --bit) out = Character(out, static_cast<char>('0' + (ecc >> bit & 1)));
  return Character(out, '\n');
}

char Digit(bool flag) { return flag ? '1' : '0'; }

/// Direction, identifier, and the two flags after it: " Rx 18fe0102x   0 0 ".
char* FrameHead(const CanView& can, char* out) {
  // A marker bit is removed only if its flag is set; without the flag it is printed as part of the identifier.
  unsigned int identifier = can.Identifier;
  if (can.Has(QOR_TRACE_CAN_EXTENDED)) identifier &= ~QOR_TRACE_CAN_ID_EXTENDED;
  if (can.Has(QOR_TRACE_CAN_FD)) identifier &= ~QOR_TRACE_CAN_ID_FD;

  out = can.Has(QOR_TRACE_CAN_TRANSMITTED) ? Text(out, " Tx ") : Text(out, " Rx ");
  out = Hex(out, identifier);
  // The marker column is one character or none: always written, kept only if the frame is extended.
  *out = 'x';
  if (can.Has(QOR_TRACE_CAN_EXTENDED)) ++out;
  char* const marks = out;
  out = Text(out, "   0 0 ");
  marks[3] = Digit(can.Has(QOR_TRACE_CAN_BRS));
  marks[5] = Digit(can.Has(QOR_TRACE_CAN_ESI));
  return out;
}

/// The length code, and the announced number of data bytes in decimal in two columns.
char* FrameLength(const CanView& can, char* out) {
  out = Text(Hex(out, can.Dlc), "  ");
  if (can.DataLength >= 10) --out;  // two or three digits begin in the second blank
  return SmallDecimal(out, can.DataLength);
}

/// Duration, length, flags word, CRC and bit timing, of which only the flags word is known.
char* FrameTail(const CanView& can, char* out) {
  // The flags word has bits 12, 13 and 14 for FD, BRS and ESI: one hexadecimal digit and three zeros.
  enum : unsigned int { kFd = 1u << 0, kBrs = 1u << 1, kEsi = 1u << 2 };
  unsigned int digit = 0;
  if (can.Has(QOR_TRACE_CAN_FD)) digit |= kFd;
  if (can.Has(QOR_TRACE_CAN_BRS)) digit |= kBrs;
  if (can.Has(QOR_TRACE_CAN_ESI)) digit |= kEsi;
  if (digit == 0) return Text(out, " 0 0 0 0 0 0 0 0\n");
  out = Character(Text(out, " 0 0 "), static_cast<char>('0' + digit));
  return Text(out, "000 0 0 0 0 0\n");
}

char* Frame(unsigned int channelId, const CanView& can, char* out) {
  out = Hex(Text(out, "CANFD "), channelId);
  out = FrameLength(can, FrameHead(can, out));
  for (const unsigned char byte : can.Data()) out = BlankAndHexByte(out, byte);
  return FrameTail(can, out);
}

}  // namespace

char* CanLine(AscLineState& state, RecordView record, char* out) {
  const CanView can = record.Can();
  out = TimestampColumn(state, record, out);
  state.Hex = true;
  switch (can.Kind()) {
    case RecordKind::CanEvent:
      return TriggerEvent(can, out);
    case RecordKind::CanErrorFrame:
      return ErrorFrame(record.ChannelId(), can, out);
    default:
      return Frame(record.ChannelId(), can, out);
  }
}

}  // namespace asc
