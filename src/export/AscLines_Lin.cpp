// LIN lines. The dialect has columns for much that a trace doesn't measure; those are fixed texts.
#include "export/AscLines.h"

namespace asc {

namespace {

constexpr size_t kDataBegin = offsetof(Qor_Trace_Entry_t, Payload.Lin.Data);
constexpr size_t kMostDataBytes = sizeof(Qor_Trace_Entry_Lin_t::Data);  // the checksum of such a frame lies in the pad

/// Bits of the three sets of fields that a line may have, in the order in which they are written.
enum Set1 : unsigned char {
  kDirection = 0x01,
  kDataCount = 0x02,
  kData = 0x04,
  kChecksum = 0x08,
  kHeaderTime = 0x10,
  kStartOfFrame = 0x20,
  kBaudRate = 0x40,
  kBreak = 0x80,
};
enum Set2 : unsigned char {
  kEndOfHeader = 0x01,
  kEndOfBytes = 0x02,
  kSimulated = 0x04,
  kEndOfFrame = 0x08,
  kReceiverBaudRate = 0x10,
  kHeaderBaudRate = 0x20,
  kHeaderStopOffset = 0x40,
  kResponseStopOffset = 0x80,
};
enum Set3 : unsigned char {
  kChecksumModel = 0x01,
  kZero = 0x02,
  kLengthCode = 0x04,
};

/// The fields of one kind of line.
struct FieldSets {
  unsigned int First;
  unsigned int Second;
  unsigned int Third;
};

constexpr FieldSets kTransmitErrorFields = {0xF0, 0x61, 0x01};
constexpr FieldSets kReceiveErrorFields = {0xE0, 0xF0, 0x01};
constexpr FieldSets kChecksumErrorFields = {0xFF, 0xFF, 0x01};
constexpr FieldSets kEventFields = {0, 0, 0};
constexpr FieldSets kWakeUpFields = {0x61, 0, 0x06};
constexpr FieldSets kFrameFields = {0xFF, 0xFF, 0x01};

/// A line on its way: where it is written and what from.
struct Line {
  AscLineState& State;
  const Qor_Trace_Entry_t& Entry;  // may be shorter than a LIN entry
  const Qor_Trace_Entry_Lin_t& Lin;
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
    AddInteger(Lin.Identifier & 0x3Fu);
  }
  [[nodiscard]] bool Flag(unsigned int flag) const { return (Lin.Flags & flag) != 0; }
  /// Data bytes that the entry announces, the checksum not among them.
  [[nodiscard]] unsigned int DataCount() const { return Lin.DataLength == 0 ? 0u : Lin.DataLength - 1u; }
};

void AddChannel(Line& line) {
  if (line.Entry.ChannelId == 1) return line.Add("Li");  // channel 1 has no number
  line.Add("L");
  line.AddInteger(line.Entry.ChannelId);
}

FieldSets AddReceiveError(Line& line) {
  line.Add(" RcvError: ");
  if (line.Flag(QOR_TRACE_LIN_PARITY_ERROR)) {
    line.Add(" invalid identifier parity  ");
  } else {
    line.Add(" inconsistent sync field  ");
  }
  line.Add(" StateReason =  0  ShortError = 0  DlcTimeout = 0  HasDataBytes = 0  ");
  return kReceiveErrorFields;
}

FieldSets AddEvent(Line& line) {
  line.AddIdentifier();
  line.Add(" EvTrigFrmInfo  ");
  if (line.Lin.Identifier != 0) {
    line.Add(" falling edge at trigger input");
  } else {
    line.Add(" rising edge at trigger input");
  }
  return kEventFields;
}

/// What the line is about, and which fields follow.
FieldSets AddKind(Line& line) {
  if (line.Flag(QOR_TRACE_LIN_TRANSMIT_ERROR) && line.Flag(QOR_TRACE_LIN_TRANSMITTED)) {
    line.AddIdentifier();
    line.Add(" TransmErr  ");
    return kTransmitErrorFields;
  }
  if (line.Flag(QOR_TRACE_LIN_PARITY_ERROR | QOR_TRACE_LIN_SYNC_ERROR)) return AddReceiveError(line);
  if (line.Flag(QOR_TRACE_LIN_CHECKSUM_ERROR)) {
    line.AddIdentifier();
    line.Add(" CSErr  ");
    return kChecksumErrorFields;
  }
  if (line.Flag(QOR_TRACE_LIN_EVENT)) return AddEvent(line);
  if (line.Flag(QOR_TRACE_LIN_WAKEUP)) {
    line.Add(" WakeupFrame  ");
    return kWakeUpFields;
  }
  line.AddIdentifier();
  return kFrameFields;
}

void AddData(Line& line) {
  const size_t announced = std::min<size_t>(line.DataCount(), kMostDataBytes);
  const size_t count = BytesThere(line.Entry, kDataBegin, announced);
  const unsigned char* data = BytesAt(line.Entry, kDataBegin);
  for (size_t i = 0; i < count; ++i) line.AddByte(data[i]);
}

/// The byte behind the data bytes; 0 where the entry has no such byte.
void AddChecksum(Line& line) {
  const size_t place = line.DataCount();
  const bool there =
      line.Lin.DataLength != 0 && place <= kMostDataBytes && BytesThere(line.Entry, kDataBegin, place + 1) == place + 1;
  line.Add("checksum = ");
  line.AddByte(there ? BytesAt(line.Entry, kDataBegin)[place] : static_cast<unsigned char>(0));
}

/// The entry's time once more, always counted from the start time. All times after it have six decimals.
void AddStartOfFrame(Line& line) {
  line.State.Decimals = 6;
  line.Add("SOF = ");
  const AscTime time = AscTime::Between(line.Entry.Timestamp, line.State.StartTime);
  line.Out = Character(Seconds(line.Out, time, line.State.Decimals), ' ');
}

/// bit/s; 0 for a bit time below 1 ns.
uint32_t BaudRate(uint32_t bitTime) {
  const uint32_t nanoseconds = bitTime >> 3;
  if (nanoseconds == 0) return 0;
  return static_cast<uint32_t>(1 / (nanoseconds / 1e9));
}

/// Always decimal, in five columns or more. The numbers after it are in the base of the header.
void AddBaudRate(Line& line) {
  line.Add("BR = ");
  char* const begin = line.Out;
  line.Out = Decimal(begin, BaudRate(line.Lin.BitTime));
  while (line.Out - begin < 5) line.Out = Character(line.Out, ' ');
  line.Out = Character(line.Out, ' ');
  line.State.Hex = !line.State.Has(QOR_TRACE_ASC_DECIMAL);
}

void AddFirstSet(Line& line, unsigned int fields) {
  if ((fields & kDirection) != 0) line.Flag(QOR_TRACE_LIN_TRANSMITTED) ? line.Add(" Tx") : line.Add(" Rx");
  if ((fields & kDataCount) != 0) {
    line.Add(" ");
    line.AddInteger(line.DataCount());
    line.Add(" ");
  }
  if ((fields & kData) != 0) AddData(line);
  if ((fields & kChecksum) != 0) AddChecksum(line);
  if ((fields & kHeaderTime) != 0) line.Add("header time = 0, full time = 0 ");
  if ((fields & kStartOfFrame) != 0) AddStartOfFrame(line);
  if ((fields & kBaudRate) != 0) AddBaudRate(line);
  if ((fields & kBreak) != 0) line.Add("break = 0 0");
}

void AddSecondSet(Line& line, unsigned int fields) {
  if ((fields & kEndOfHeader) != 0) line.Add(" EOH = 0.0");
  if ((fields & kEndOfBytes) != 0) {
    line.Add(" EOB =");
    for (unsigned int i = 0; i < line.DataCount(); ++i) line.Add(" 0.0");
  }
  if ((fields & kSimulated) != 0) line.Add(" sim = 0");
  if ((fields & kEndOfFrame) != 0) line.Add(" EOF = 0.0");
  if ((fields & kReceiverBaudRate) != 0) line.Add(" RBR = 0");
  if ((fields & kHeaderBaudRate) != 0) line.Add(" HBR = 0");
  if ((fields & kHeaderStopOffset) != 0) line.Add(" HSO = 0");
  if ((fields & kResponseStopOffset) != 0) line.Add(" RSO = 0");
}

void AddThirdSet(Line& line, unsigned int fields) {
  if ((fields & kChecksumModel) != 0) line.Add(" CSM = unknown");
  if ((fields & kZero) != 0) line.Add(" 0");
  if ((fields & kLengthCode) != 0) line.Add(" LengthCode = 0");
}

}  // namespace

char* LinLine(AscLineState& state, const Qor_Trace_Entry_t& entry, char* out) {
  const WholeHead head(entry, kEntryLinLength);
  if (head->Payload.Lin.Reserved1 != 0) return out;

  Line line{state, entry, head->Payload.Lin, TimestampColumn(state, entry, out)};
  AddChannel(line);
  const FieldSets fields = AddKind(line);
  AddFirstSet(line, fields.First);
  AddSecondSet(line, fields.Second);
  AddThirdSet(line, fields.Third);
  line.Add("\n");
  return line.Out;
}

}  // namespace asc
