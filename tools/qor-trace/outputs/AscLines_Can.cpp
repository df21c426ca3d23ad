// CAN lines.
#include <algorithm>
#include <cstring>

#include "outputs/AscLine.h"

namespace client::asc {

namespace {

constexpr unsigned int kMostClassicBytes = 8;
constexpr unsigned int kMostDlc = 15;

/// The base of the header holds for these as well.
void AddEvent(Line& line, const CanView& can) {
  line.AddTime();
  line.Add("log trigger event");
  switch (can.Code()) {
    case 0:
      return line.Add(" (rising edge on trigger input)\n");
    case 1:
      return line.Add(" (falling edge on trigger input)\n");
    default:
      line.Add(" (user event)");
      line.AddBytes(can.Data());
      return line.Add('\n');
  }
}

/// The error code capture in binary.
void AddErrorFrame(Line& line, unsigned int channel, const CanView& can) {
  constexpr unsigned int kReceived = 0x20;
  constexpr unsigned char kUnspecified = 0xC0;
  // By error code; 0 is none of them.
  constexpr unsigned char kCaptureOfCode[] = {kUnspecified, 0x80, 0x40, 0xC0, 0x00, 0x00, 0xC0, 0x00};
  unsigned int capture = can.Code() < std::size(kCaptureOfCode) ? kCaptureOfCode[can.Code()] : kUnspecified;
  if (!can.Has(QOR_TRACE_CAN_TRANSMITTED)) capture |= kReceived;

  line.AddTime();
  line.AddDecimal(channel);
  line.Add(" ErrorFrame ECC: ");
  for (int bit = 7; bit >= 0; --bit) line.Add(static_cast<char>('0' + (capture >> bit & 1)));
  line.Add('\n');
}

void AddIdentifier(Line& line, const CanView& can) {
  line.AddNumber(can.PlainIdentifier());
  if (can.Has(QOR_TRACE_CAN_EXTENDED)) line.Add('x');
}

void AddDirection(Line& line, const CanView& can) {
  if (can.Has(QOR_TRACE_CAN_TRANSMITTED)) return line.Add("Tx ");
  line.Add("Rx ");
}

/// Readers take the column as the number of data bytes; the length code of the bus follows where it is another one.
void AddLengthCode(Line& line, const CanView& can, unsigned int shown) {
  if (can.Dlc == shown) return;
  line.Add("  // DLC = ");
  line.AddNumber(can.Dlc);
}

/// "1.500000 1  18fe0102x  Rx d 8 01 02 03 04 05 06 07 08"; channel and identifier are padded so that columns align.
void AddClassicFrame(Line& line, unsigned int channel, const CanView& can) {
  line.AddTime();
  const char* begin = line.End();
  line.AddDecimal(channel);
  line.PadFrom(begin, 2);
  line.Add(' ');
  begin = line.End();
  AddIdentifier(line, can);
  line.PadFrom(begin, 10);
  line.Add(' ');
  AddDirection(line, can);
  // A record has no mark for a remote frame: it is a classic frame that has a length on the bus, but no data.
  const bool remote = can.DataLength == 0 && can.Dlc != 0;
  const unsigned int length = remote ? std::min<unsigned int>(can.Dlc, kMostClassicBytes) : can.DataLength;
  line.Add(remote ? "r " : "d ");
  line.Add(static_cast<char>('0' + length));
  line.AddBytes(can.Data());
  AddLengthCode(line, can, length);
  line.Add('\n');
}

/// The flags column, always hexadecimal.
enum FdFlag : unsigned int {
  kFdFormat = 0x1000,
  kBitRateSwitch = 0x2000,
  kErrorStateIndicator = 0x4000,
};

unsigned int FdFlagsOf(const CanView& can) {
  unsigned int flags = kFdFormat;
  if (can.Has(QOR_TRACE_CAN_BRS)) flags |= kBitRateSwitch;
  if (can.Has(QOR_TRACE_CAN_ESI)) flags |= kErrorStateIndicator;
  return flags;
}

/// "1.500000 CANFD 1 Rx 18fe0102x   1 0 9 12 01 02 ... 0 0 3000 0 0 0 0 0". Duration, length, CRC and bit timing aren't known:
/// they are 0.
void AddFdFrame(Line& line, unsigned int channel, const CanView& can) {
  line.AddTime();
  line.Add("CANFD ");
  line.AddDecimal(channel);
  line.Add(' ');
  AddDirection(line, can);
  AddIdentifier(line, can);
  line.Add(can.Has(QOR_TRACE_CAN_BRS) ? "   1 " : "   0 ");
  line.Add(can.Has(QOR_TRACE_CAN_ESI) ? "1 " : "0 ");
  line.AddNumber(can.Dlc);
  line.Add(can.DataLength < 10 ? std::string_view("  ") : std::string_view(" "));
  line.AddDecimal(can.DataLength);
  line.AddBytes(can.Data());
  line.Add(" 0 0 ");
  line.AddHex(FdFlagsOf(can));
  line.Add(" 0 0 0 0 0\n");
}

/// All announced bytes are there, and not more than the format has. A reader would take what follows for data bytes.
bool IsSound(const CanView& can, bool fd) {
  const unsigned int most = fd ? 64 : kMostClassicBytes;
  return can.DataLength <= most && can.Dlc <= kMostDlc && can.Data().size() == can.DataLength;
}

}  // namespace

bool AddCan(Line& line, unsigned int channel, const CanView& can) {
  switch (can.Kind()) {
    case RecordKind::CanEvent:
      AddEvent(line, can);
      return true;
    case RecordKind::CanErrorFrame:
      AddErrorFrame(line, channel, can);
      return true;
    case RecordKind::CanFdFrame:
      if (!IsSound(can, true)) return false;
      AddFdFrame(line, channel, can);
      return true;
    default:
      if (!IsSound(can, false)) return false;
      AddClassicFrame(line, channel, can);
      return true;
  }
}

}  // namespace client::asc
