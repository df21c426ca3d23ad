// Ethernet lines.
#include "export/AscLines.h"

namespace asc {

namespace {

/// The number, then blanks up to `width` columns.
char* LeftAligned(const AscLineState& state, char* out, uint32_t value, int width) {
  char* const end = Integer(state, out, value);
  if (end - out >= width) return end;
  std::memset(end, ' ', static_cast<size_t>(out + width - end));
  return out + width;
}

}  // namespace

char* EthernetLine(AscLineState& state, RecordView record, char* out) {
  const EthernetView ethernet = record.Ethernet();
  if (ethernet.Type != EthernetItemType::Frame) return out;

  const bool decimal = state.Has(QOR_TRACE_ASC_DECIMAL);
  out = Text(TimestampColumn(state, record, out), "ETH ");
  out = Integer(state, out, record.ChannelId());
  out = ethernet.Has(QOR_TRACE_ETHERNET_TRANSMITTED) ? Text(out, " Tx ") : Text(out, " Rx ");
  out = Character(LeftAligned(state, out, ethernet.FrameLength, decimal ? 3 : 2), ':');
  for (const unsigned char byte : ethernet.Frame()) out = HexByte(out, byte);
  if (decimal) state.Hex = false;  // the bytes were hexadecimal; the next lines are in the base of the header
  return Character(out, '\n');
}

}  // namespace asc
