// LIN lines. The dialect has columns for much that a trace doesn't measure; those are fixed texts.
#include "export/AscLines.h"

namespace asc {

namespace {

/// The fields that a line may have, in the order in which they are written.
enum Field : unsigned int {
  kDirection = 1u << 0,
  kDataCount = 1u << 1,
  kData = 1u << 2,
  kChecksum = 1u << 3,
  kHeaderTime = 1u << 4,
  kStartOfFrame = 1u << 5,
  kBaudRate = 1u << 6,
  kBreak = 1u << 7,
  kEndOfHeader = 1u << 8,
  kEndOfBytes = 1u << 9,
  kSimulated = 1u << 10,
  kEndOfFrame = 1u << 11,
  kReceiverBaudRate = 1u << 12,
  kHeaderBaudRate = 1u << 13,
  kHeaderStopOffset = 1u << 14,
  kResponseStopOffset = 1u << 15,
  kChecksumModel = 1u << 16,
  kZero = 1u << 17,
  kLengthCode = 1u << 18,
};
using Fields = unsigned int;

// The fields of each kind of line. An event has none.
constexpr Fields kTransmitErrorFields = kHeaderTime | kStartOfFrame | kBaudRate | kBreak | kEndOfHeader |
                                        kHeaderBaudRate | kHeaderStopOffset | kChecksumModel;
constexpr Fields kReceiveErrorFields = kStartOfFrame | kBaudRate | kBreak | kReceiverBaudRate | kHeaderBaudRate |
                                       kHeaderStopOffset | kResponseStopOffset | kChecksumModel;
constexpr Fields kEventFields = 0;
constexpr Fields kWakeUpFields = kDirection | kStartOfFrame | kBaudRate | kZero | kLengthCode;
constexpr Fields kFrameFields = kDirection | kDataCount | kData | kChecksum | kHeaderTime | kStartOfFrame | kBaudRate |
                                kBreak | kEndOfHeader | kEndOfBytes | kSimulated | kEndOfFrame | kReceiverBaudRate |
                                kHeaderBaudRate | kHeaderStopOffset | kResponseStopOffset | kChecksumModel;

/// A line being composed: where it is written, and what from.
struct Line {
  AscLineState& State;
  RecordView Record;
  const LinView& Lin;
  char* Out;

  template <size_t kSize>
  void Add(const char (&text)[kSize]) {
    Out = Text(Out, text);
  }
  void AddInteger(uint32_t value) { Out = Integer(State, Out, value); }
  void AddByte(unsigned char byte) {
    Out = PaddedByte(State, Out, byte, State.Has(QOR_TRACE_ASC_DECIMAL) ? 3 : 2);
    Out = Character(Out, ' ');
  }
  /// A blank and the frame identifier.
  void AddIdentifier() {
    Add(" ");
    AddInteger(Lin.PlainIdentifier());
  }
};

void AddChannel(Line& line) {
  if (line.Record.ChannelId() == 1) return line.Add("Li");  // channel 1 has no number
  line.Add("L");
  line.AddInteger(line.Record.ChannelId());
}

// The doubled blanks in the texts are part of the interface.
Fields AddReceiveError(Line& line, RecordKind kind) {
  line.Add(" RcvError: ");
  if (kind == RecordKind::LinParityError) {
    line.Add(" invalid identifier parity  ");
  } else {
    line.Add(" inconsistent sync field  ");
  }
  line.Add(" StateReason =  0  ShortError = 0  DlcTimeout = 0  HasDataBytes = 0  ");
  return kReceiveErrorFields;
}

Fields AddEvent(Line& line) {
  line.AddIdentifier();
  line.Add(" EvTrigFrmInfo  ");
  if (line.Lin.Identifier != 0) {
    line.Add(" falling edge at trigger input");
  } else {
    line.Add(" rising edge at trigger input");
  }
  return kEventFields;
}

/// What the line is about. Returns the fields that follow.
Fields AddKind(Line& line) {
  const RecordKind kind = line.Lin.Kind();
  switch (kind) {
    case RecordKind::LinTransmitError:
      line.AddIdentifier();
      line.Add(" TransmErr  ");
      return kTransmitErrorFields;
    case RecordKind::LinParityError:
    case RecordKind::LinSyncError:
      return AddReceiveError(line, kind);
    case RecordKind::LinChecksumError:
      line.AddIdentifier();
      line.Add(" CSErr  ");
      return kFrameFields;
    case RecordKind::LinEvent:
      return AddEvent(line);
    case RecordKind::LinWakeUp:
      line.Add(" WakeupFrame  ");
      return kWakeUpFields;
    default:
      line.AddIdentifier();
      return kFrameFields;
  }
}

void AddDirection(Line& line) {
  if (line.Lin.Has(QOR_TRACE_LIN_TRANSMITTED)) return line.Add(" Tx");
  line.Add(" Rx");
}

void AddDataCount(Line& line) {
  line.Add(" ");
  line.AddInteger(line.Lin.DataCount());
  line.Add(" ");
}

void AddChecksum(Line& line) {
  line.Add("checksum = ");
  line.AddByte(line.Lin.Checksum().value_or(0));
}

/// The record's time again, always counted from the start time. All times after it have six decimals.
void AddStartOfFrame(Line& line) {
  line.State.Decimals = 6;
  line.Add("SOF = ");
  const AscTime time = AscTime::Between(line.Record.Timestamp(), line.State.StartTime);
  line.Out = Character(Seconds(line.Out, time, line.State.Decimals), ' ');
}

/// bit/s; 0 for a bit time below 1 ns.
uint32_t BaudRate(const LinView& lin) {
  const uint32_t nanoseconds = lin.BitTimeInNanoseconds();
  if (nanoseconds == 0) return 0;
  return static_cast<uint32_t>(1 / (nanoseconds / 1e9));  // sic: 1e9 / nanoseconds can differ by 1
}

/// Always decimal, in five columns or more. The numbers after it are in the base of the header.
void AddBaudRate(Line& line) {
  line.Add("BR = ");
  char* const begin = line.Out;
  line.Out = Decimal(begin, BaudRate(line.Lin));
  while (line.Out - begin < 5) line.Out = Character(line.Out, ' ');
  line.Out = Character(line.Out, ' ');
  line.State.Hex = !line.State.Has(QOR_TRACE_ASC_DECIMAL);
}

void AddEndOfBytes(Line& line) {
  line.Add(" EOB =");
  for (unsigned int i = 0; i < line.Lin.DataCount(); ++i) line.Add(" 0.0");
}

void AddFields(Line& line, Fields fields) {
  const auto has = [fields](Field field) { return (fields & field) != 0; };
  if (has(kDirection)) AddDirection(line);
  if (has(kDataCount)) AddDataCount(line);
  if (has(kData)) {
    for (const unsigned char byte : line.Lin.Data()) line.AddByte(byte);
  }
  if (has(kChecksum)) AddChecksum(line);
  if (has(kHeaderTime)) line.Add("header time = 0, full time = 0 ");
  if (has(kStartOfFrame)) AddStartOfFrame(line);
  if (has(kBaudRate)) AddBaudRate(line);
  if (has(kBreak)) line.Add("break = 0 0");
  if (has(kEndOfHeader)) line.Add(" EOH = 0.0");
  if (has(kEndOfBytes)) AddEndOfBytes(line);
  if (has(kSimulated)) line.Add(" sim = 0");
  if (has(kEndOfFrame)) line.Add(" EOF = 0.0");
  if (has(kReceiverBaudRate)) line.Add(" RBR = 0");
  if (has(kHeaderBaudRate)) line.Add(" HBR = 0");
  if (has(kHeaderStopOffset)) line.Add(" HSO = 0");
  if (has(kResponseStopOffset)) line.Add(" RSO = 0");
  if (has(kChecksumModel)) line.Add(" CSM = unknown");
  if (has(kZero)) line.Add(" 0");
  if (has(kLengthCode)) line.Add(" LengthCode = 0");
}

}  // namespace

char* LinLine(AscLineState& state, RecordView record, char* out) {
  const LinView lin = record.Lin();
  if (lin.Reserved != 0) return out;

  Line line{state, record, lin, TimestampColumn(state, record, out)};
  AddChannel(line);
  AddFields(line, AddKind(line));
  line.Add("\n");
  return line.Out;
}

}  // namespace asc
