// CAN lines. All their numbers are hexadecimal but one, whatever base the header announced.
#include "export/AscLines.h"

namespace asc {

namespace {

/// Data bytes that an entry announces and holds.
struct Payload {
  const unsigned char* Begin;
  const unsigned char* End;
};

Payload PayloadOf(const Qor_Trace_Entry_t& entry, unsigned char announced) {
  const unsigned char* begin = BytesAt(entry, kEntryCanData);
  return {begin, begin + BytesThere(entry, kEntryCanData, announced)};
}

/// The kind of an error frame or a trigger event.
unsigned char FirstDataByte(const Qor_Trace_Entry_t& entry) {
  return entry.Length > kEntryCanData ? *BytesAt(entry, kEntryCanData) : static_cast<unsigned char>(0);
}

char* TriggerEvent(const Qor_Trace_Entry_t& entry, const Qor_Trace_Entry_Can_t& can, char* out) {
  out = Text(out, "log trigger event");
  const unsigned char kind = FirstDataByte(entry);
  if (kind == 0) return Text(out, " (rising edge on trigger input)\n");
  if (kind == 1) return Text(out, " (falling edge on trigger input)\n");
  out = Text(out, " (user event)");
  const Payload data = PayloadOf(entry, can.DataLength);
  for (const auto* byte = data.Begin; byte != data.End; ++byte) out = Hex(Character(out, ' '), *byte);
  return Character(out, '\n');
}

char* ErrorFrame(const Qor_Trace_Entry_t& entry, const Qor_Trace_Entry_Can_t& can, char* out) {
  constexpr unsigned char kReceived = 0x20;
  constexpr unsigned char kUnknownKind = 0xC0;
  constexpr unsigned char kEccOfKind[] = {kUnknownKind, 0x80, 0x40, 0xC0, 0x00, 0x00, 0xC0, 0x00};
  const unsigned char kind = FirstDataByte(entry);
  unsigned int ecc = kind < std::size(kEccOfKind) ? kEccOfKind[kind] : kUnknownKind;
  if ((can.Flags & QOR_TRACE_CAN_TRANSMITTED) == 0) ecc |= kReceived;

  out = Text(Hex(out, entry.ChannelId), " ErrorFrame ECC: ");
  for (int bit = 7; bit >= 0; --bit) out = Character(out, static_cast<char>('0' + (ecc >> bit & 1)));
  return Character(out, '\n');
}

/// Direction, identifier, and the two flags behind it: " Rx 18fe0102x   0 0 ".
char* FrameHead(const Qor_Trace_Entry_Can_t& can, char* out) {
  const unsigned int flags = can.Flags;
  unsigned int identifier = can.Identifier;
  if ((flags & QOR_TRACE_CAN_EXTENDED) != 0) identifier &= ~QOR_TRACE_CAN_ID_EXTENDED;
  if ((flags & QOR_TRACE_CAN_FD) != 0) identifier &= ~QOR_TRACE_CAN_ID_FD;

  out = (flags & QOR_TRACE_CAN_TRANSMITTED) != 0 ? Text(out, " Tx ") : Text(out, " Rx ");
  out = Hex(out, identifier);
  *out = 'x';
  out += flags & QOR_TRACE_CAN_EXTENDED;
  char* const marks = out;
  out = Text(out, "   0 0 ");
  marks[3] = static_cast<char>('0' + ((flags & QOR_TRACE_CAN_BRS) != 0));
  marks[5] = static_cast<char>('0' + ((flags & QOR_TRACE_CAN_ESI) != 0));
  return out;
}

/// The length code, and the number of data bytes in decimal in two columns.
char* FrameLength(const Qor_Trace_Entry_Can_t& can, char* out) {
  out = Text(Hex(out, can.Dlc), "  ");
  if (can.DataLength >= 10) --out;
  return SmallDecimal(out, can.DataLength);
}

/// Duration, length, flags word, CRC and bit timing, of which only the flags word is known.
char* FrameTail(unsigned int flags, char* out) {
  // The flags word has bits 12, 13 and 14 for FD, BRS and ESI: one hexadecimal digit and three zeros.
  const unsigned int word = ((flags & QOR_TRACE_CAN_FD) != 0 ? 1u : 0u) | ((flags & QOR_TRACE_CAN_BRS) != 0 ? 2u : 0u) |
                            ((flags & QOR_TRACE_CAN_ESI) != 0 ? 4u : 0u);
  if (word == 0) return Text(out, " 0 0 0 0 0 0 0 0\n");
  out = Character(Text(out, " 0 0 "), static_cast<char>('0' + word));
  return Text(out, "000 0 0 0 0 0\n");
}

char* Frame(const Qor_Trace_Entry_t& entry, const Qor_Trace_Entry_Can_t& can, char* out) {
  out = Hex(Text(out, "CANFD "), entry.ChannelId);
  out = FrameLength(can, FrameHead(can, out));
  const Payload data = PayloadOf(entry, can.DataLength);
  for (const auto* byte = data.Begin; byte != data.End; ++byte) out = BlankAndHexByte(out, *byte);
  return FrameTail(can.Flags, out);
}

}  // namespace

char* CanLine(AscLineState& state, const Qor_Trace_Entry_t& entry, char* out) {
  const WholeHead head(entry, kEntryCanData);
  const Qor_Trace_Entry_Can_t& can = head->Payload.Can;
  out = TimestampColumn(state, entry, out);
  state.Hex = true;
  if ((can.Flags & QOR_TRACE_CAN_TRIGGER) != 0) return TriggerEvent(entry, can, out);
  if ((can.Flags & QOR_TRACE_CAN_ERROR) != 0) return ErrorFrame(entry, can, out);
  return Frame(entry, can, out);
}

}  // namespace asc
