// FlexRay lines. The dialect has columns for much that a trace doesn't measure; those are fixed texts.
#include "export/AscLines.h"

namespace asc {

namespace {

constexpr unsigned int kNoCode = 3;  // stands for "no channel" and for every code that isn't A, B or both

/// A line being composed: where it is written, and what from.
struct Line {
  AscLineState& State;
  const FlexRayView& FlexRay;
  char* Out;

  template <size_t kSize>
  void Add(const char (&text)[kSize]) {
    Out = Text(Out, text);
  }
  void AddInteger(uint32_t value) { Out = Integer(State, Out, value); }
  void AddIntegerAndBlank(uint32_t value) {
    AddInteger(value);
    Add(" ");
  }
};

void AddKindWord(Line& line) {
  switch (line.FlexRay.Type) {
    case FlexRayItemType::ReceivedFrame:
    case FlexRayItemType::TransmittedFrame:
      return line.Add("RMSG  ");
    case FlexRayItemType::CycleStart:
    case FlexRayItemType::Status:
    case FlexRayItemType::Symbol:
      return line.Add("SCE  ");
    case FlexRayItemType::State:
      return line.Add("SE  ");
    default:
      return line.Add("EE  ");
  }
}

/// 0 channel A, 1 channel B, 2 both, else kNoCode.
unsigned int ChannelCode(const FlexRayView& flexRay) {
  return std::min<unsigned int>(flexRay.ChannelCode().value_or(kNoCode), kNoCode);
}

/// The channel number, which is always decimal, and the FlexRay channel. The rest of the line is in the base of the header.
void AddChannels(Line& line, unsigned int channelId, unsigned int code) {
  constexpr char kColumn[] = {'1', '2', '3', '0'};  // A, B, both, none
  line.Add("1 0 ");
  line.State.Hex = false;
  line.AddIntegerAndBlank(channelId);
  line.Out = Character(line.Out, kColumn[code]);
  line.Add(" ");
  line.State.Hex = !line.State.Has(QOR_TRACE_ASC_DECIMAL);
}

/// The column of a frame's flags.
enum FrameState : unsigned int {
  kNullFrame = 1u << 0,
  kOtherThanNullFrame = 1u << 1,  // one of the two is set
  kSync = 1u << 2,
  kStartup = 1u << 3,
  kPayloadPreamble = 1u << 4,
  kEveryFrame = 1u << 19,
};

unsigned int FrameStateOf(const FlexRayView& frame) {
  unsigned int state = kEveryFrame;
  state |= frame.Has(QOR_TRACE_FLEXRAY_NULL) ? kNullFrame : kOtherThanNullFrame;
  if (frame.Has(QOR_TRACE_FLEXRAY_INDICATOR)) state |= kPayloadPreamble;
  if (frame.Has(QOR_TRACE_FLEXRAY_SYNC)) state |= kSync;
  if (frame.Has(QOR_TRACE_FLEXRAY_STARTUP)) state |= kStartup;
  return state;
}

void AddPayload(Line& line) {
  line.AddInteger(line.FlexRay.PayloadBytes());
  for (const unsigned char byte : line.FlexRay.Data()) {
    line.Out =
        line.State.Hex ? BlankAndHexByte(line.Out, byte) : PaddedByte(line.State, Character(line.Out, ' '), byte, 2);
  }
}

void AddFrameTail(Line& line) {
  const FlexRayView& frame = line.FlexRay;
  line.AddIntegerAndBlank(frame.SlotId);
  line.AddIntegerAndBlank(frame.Cycle);
  if (frame.IsTransmitted()) {
    line.Add("Tx 0 ");
  } else {
    line.Add("Rx 0 ");
  }
  line.AddIntegerAndBlank(FrameStateOf(frame));
  line.Add("5 ");
  line.AddIntegerAndBlank(40);  // fixed, yet in the base of the header
  line.AddIntegerAndBlank(frame.HeaderCrc);
  line.Add("FlexRay_Frame_[x|x|x] ");
  line.AddIntegerAndBlank(frame.PayloadBytes());
  if (frame.Has(QOR_TRACE_FLEXRAY_NULL)) return line.Add("0\n");
  AddPayload(line);
  line.Add("\n");
}

void AddStateTail(Line& line) {
  // By the state's code; the last row is for unknown codes.
  constexpr struct {
    unsigned char S, T;
  } kStates[] = {{2, 6}, {2, 0}, {2, 4}, {1, 2}, {1, 3}, {2, 1}, {2, 32}, {2, 19}, {2, 0}};
  const auto& state = kStates[std::min<size_t>(line.FlexRay.Channel, std::size(kStates) - 1)];
  line.Add("0 5 ");
  line.AddIntegerAndBlank(state.S);
  line.AddInteger(state.T);
  line.Add(" 0 0 0 0\n");
}

/// Errors in the network idle time; `masks` by channel code.
void AddNitErrorTail(Line& line, const unsigned char (&masks)[kNoCode + 1], unsigned int code) {
  line.Add("5 4 ");
  line.AddInteger(masks[code]);
  line.Add(" 0 0\n");
}

void AddTail(Line& line, unsigned int code) {
  switch (line.FlexRay.Type) {
    case FlexRayItemType::Overrun:
      return line.Add("5 6 0 0 0\n");
    case FlexRayItemType::ReceivedFrame:
    case FlexRayItemType::TransmittedFrame:
      return AddFrameTail(line);
    case FlexRayItemType::CycleStart:
      line.AddInteger(line.FlexRay.Channel);
      return line.Add(" Rx 5 0 0 0 0 0 NM_Vector: 0\n");
    case FlexRayItemType::State:
      return AddStateTail(line);
    case FlexRayItemType::NitSyntaxError:
      return AddNitErrorTail(line, {1, 4, 5, 0}, code);
    case FlexRayItemType::NitBoundaryViolation:
      return AddNitErrorTail(line, {2, 8, 10, 0}, code);
    case FlexRayItemType::SyntaxError:
    case FlexRayItemType::ContentError:
      return line.Add("\r");  // sic: the next line continues here
    default:                  // status and symbol
      return line.Add("\n");
  }
}

}  // namespace

char* FlexRayLine(AscLineState& state, RecordView record, char* out) {
  const FlexRayView flexRay = record.FlexRay();
  Line line{state, flexRay, TimestampColumn(state, record, out)};
  line.Add("Fr ");
  if (flexRay.Kind() == RecordKind::Unknown) {
    line.Add("\r");
    return line.Out;
  }
  AddKindWord(line);
  const unsigned int code = ChannelCode(flexRay);
  AddChannels(line, record.ChannelId(), code);
  AddTail(line, code);
  return line.Out;
}

}  // namespace asc
