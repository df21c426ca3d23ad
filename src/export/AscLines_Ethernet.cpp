// Ethernet lines.
#include "export/AscLines.h"

namespace asc {

namespace {

constexpr size_t kHeadEnd = offsetof(Qor_Trace_Entry_t, Payload.Ethernet.Frame);

/// The number and blanks behind it up to `width` columns.
char* LeftAligned(const AscLineState& state, char* out, uint32_t value, int width) {
  char* const end = Integer(state, out, value);
  if (end - out >= width) return end;
  std::memset(end, ' ', static_cast<size_t>(out + width - end));
  return out + width;
}

}  // namespace

char* EthernetLine(AscLineState& state, const Qor_Trace_Entry_t& entry, char* out) {
  const WholeHead head(entry, kHeadEnd);
  const Qor_Trace_Entry_Ethernet_t& ethernet = head->Payload.Ethernet;
  if (ethernet.ItemType != QOR_TRACE_ETHERNET_FRAME) return out;

  const bool decimal = state.Has(QOR_TRACE_ASC_DECIMAL);
  out = Text(TimestampColumn(state, entry, out), "ETH ");
  out = Integer(state, out, entry.ChannelId);
  out = (ethernet.Flags & QOR_TRACE_ETHERNET_TRANSMITTED) != 0 ? Text(out, " Tx ") : Text(out, " Rx ");
  out = Character(LeftAligned(state, out, ethernet.FrameLength, decimal ? 3 : 2), ':');

  const unsigned char* byte = BytesAt(entry, kHeadEnd);
  const unsigned char* const end = byte + BytesThere(entry, kHeadEnd, ethernet.FrameLength);
  for (; byte != end; ++byte) out = HexByte(out, *byte);
  if (decimal) state.Hex = false;  // the bytes were hexadecimal; the lines go on in the base of the header
  return Character(out, '\n');
}

}  // namespace asc
