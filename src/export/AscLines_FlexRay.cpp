// FlexRay lines. The dialect has columns for much that a trace doesn't measure; those are fixed texts.
#include "export/AscLines.h"

namespace asc {

namespace {

constexpr size_t kHeadEnd = offsetof(Qor_Trace_Entry_t, Payload.FlexRay.Data);
constexpr unsigned int kNoCode = 3;  // stands for every channel code that isn't A, B or both

/// A line on its way: where it is written and what from.
struct Line {
  AscLineState& State;
  const Qor_Trace_Entry_t& Entry;  // may be shorter than the head of a frame
  const Qor_Trace_Entry_FlexRay_t& FlexRay;
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
  switch (line.FlexRay.ItemType) {
    case 1:
    case 2:
      return line.Add("RMSG  ");
    case 3:
    case 5:
    case 6:
      return line.Add("SCE  ");
    case 4:
      return line.Add("SE  ");
    default:
      return line.Add("EE  ");
  }
}

/// 0 channel A, 1 channel B, 2 both, else kNoCode.
unsigned int ChannelCode(const Qor_Trace_Entry_FlexRay_t& flexray) {
  unsigned int code = kNoCode;
  if (flexray.ItemType == 1 || flexray.ItemType == 2 || flexray.ItemType == 6) code = flexray.Channel;
  if (flexray.ItemType >= 7) code = flexray.SlotId >> 8u;
  return std::min(code, kNoCode);
}

/// The channel number, which is always decimal, and the FlexRay channel. The rest of the line is in the base of the header.
void AddChannels(Line& line, unsigned int code) {
  line.Add("1 0 ");
  line.State.Hex = false;
  line.AddIntegerAndBlank(line.Entry.ChannelId);
  line.Out = Character(line.Out, "1230"[code]);
  line.Add(" ");
  line.State.Hex = !line.State.Has(QOR_TRACE_ASC_DECIMAL);
}

unsigned int FrameState(unsigned int flags) {
  unsigned int state = 0x80000;
  state |= (flags & QOR_TRACE_FLEXRAY_NULL) != 0 ? 0x1u : 0x2u;
  if ((flags & QOR_TRACE_FLEXRAY_INDICATOR) != 0) state |= 0x10u;
  if ((flags & QOR_TRACE_FLEXRAY_SYNC) != 0) state |= 0x4u;
  if ((flags & QOR_TRACE_FLEXRAY_STARTUP) != 0) state |= 0x8u;
  return state;
}

void AddPayload(Line& line, unsigned int bytes) {
  line.AddInteger(bytes);
  const size_t count = BytesThere(line.Entry, kHeadEnd, bytes);
  const unsigned char* data = BytesAt(line.Entry, kHeadEnd);
  for (size_t i = 0; i < count; ++i) {
    line.Out = line.State.Hex ? BlankAndHexByte(line.Out, data[i])
                              : PaddedByte(line.State, Character(line.Out, ' '), data[i], 2);
  }
}

void AddFrameTail(Line& line) {
  const auto& frame = line.FlexRay;
  line.AddIntegerAndBlank(frame.SlotId);
  line.AddIntegerAndBlank(frame.Cycle);
  frame.ItemType == QOR_TRACE_FLEXRAY_RECEIVED ? line.Add("Rx 0 ") : line.Add("Tx 0 ");
  line.AddIntegerAndBlank(FrameState(frame.FrameFlags));
  line.Add("5 ");
  line.AddIntegerAndBlank(40);
  line.AddIntegerAndBlank(frame.HeaderCrc);
  line.Add("FlexRay_Frame_[x|x|x] ");
  const unsigned int bytes = 2u * frame.PayloadLength;
  line.AddIntegerAndBlank(bytes);
  if ((frame.FrameFlags & QOR_TRACE_FLEXRAY_NULL) != 0) return line.Add("0\n");
  AddPayload(line, bytes);
  line.Add("\n");
}

void AddStatusTail(Line& line) {
  constexpr struct {
    unsigned char S, T;
  } kStatus[] = {{2, 6}, {2, 0}, {2, 4}, {1, 2}, {1, 3}, {2, 1}, {2, 32}, {2, 19}, {2, 0}};
  const auto& status = kStatus[std::min<size_t>(line.FlexRay.Channel, std::size(kStatus) - 1)];
  line.Add("0 5 ");
  line.AddIntegerAndBlank(status.S);
  line.AddInteger(status.T);
  line.Add(" 0 0 0 0\n");
}

/// Kinds 7 and 9; `masks` by channel code.
void AddErrorTail(Line& line, const unsigned char (&masks)[kNoCode + 1], unsigned int code) {
  line.Add("5 4 ");
  line.AddInteger(masks[code]);
  line.Add(" 0 0\n");
}

void AddTail(Line& line, unsigned int code) {
  switch (line.FlexRay.ItemType) {
    case 0:
      return line.Add("5 6 0 0 0\n");
    case 1:
    case 2:
      return AddFrameTail(line);
    case 3:
      line.AddInteger(line.FlexRay.Channel);
      return line.Add(" Rx 5 0 0 0 0 0 NM_Vector: 0\n");
    case 4:
      return AddStatusTail(line);
    case 7:
      return AddErrorTail(line, {1, 4, 5, 0}, code);
    case 9:
      return AddErrorTail(line, {2, 8, 10, 0}, code);
    case 8:
    case 10:
      return line.Add("\r");  // the next entry goes on in the same line
    default:                  // 5, 6
      return line.Add("\n");
  }
}

}  // namespace

char* FlexRayLine(AscLineState& state, const Qor_Trace_Entry_t& entry, char* out) {
  constexpr unsigned int kLastKind = 10;
  const WholeHead head(entry, kHeadEnd);
  Line line{state, entry, head->Payload.FlexRay, TimestampColumn(state, entry, out)};
  line.Add("Fr ");
  if (line.FlexRay.ItemType > kLastKind) {
    line.Add("\r");
    return line.Out;
  }
  AddKindWord(line);
  const unsigned int code = ChannelCode(line.FlexRay);
  AddChannels(line, code);
  AddTail(line, code);
  return line.Out;
}

}  // namespace asc
