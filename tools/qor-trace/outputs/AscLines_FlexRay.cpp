// FlexRay lines, with the columns of the library's export. Much of what they have room for isn't measured: those are fixed
// texts.
#include <algorithm>

#include "outputs/AscLine.h"

namespace client::asc {

namespace {

constexpr unsigned int kNoCode = 3;  // stands for "no channel" and for every code that isn't A, B or both

/// 0 channel A, 1 channel B, 2 both, else kNoCode.
unsigned int CodeOf(const FlexRayView& flexRay) {
  return std::min<unsigned int>(flexRay.ChannelCode().value_or(kNoCode), kNoCode);
}

/// "Fr RMSG  1 0 2 1 ": what the line is about, the channel in decimal, and the FlexRay channel: 1 A, 2 B, 3 both, 0 none.
void AddHead(Line& line, unsigned int channel, unsigned int code, std::string_view word) {
  constexpr char kColumn[] = {'1', '2', '3', '0'};
  line.AddTime();
  line.Add("Fr ");
  line.Add(word);
  line.Add("  1 0 ");
  line.AddDecimal(channel);
  line.Add(' ');
  line.Add(kColumn[code]);
  line.Add(' ');
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

void AddNumberAndBlank(Line& line, unsigned int number) {
  line.AddNumber(number);
  line.Add(' ');
}

void AddFrame(Line& line, const FlexRayView& frame) {
  AddNumberAndBlank(line, frame.SlotId);
  AddNumberAndBlank(line, frame.Cycle);
  line.Add(frame.IsTransmitted() ? "Tx 0 " : "Rx 0 ");
  AddNumberAndBlank(line, FrameStateOf(frame));
  line.Add("5 ");
  AddNumberAndBlank(line, 40);  // fixed, yet in the base of the header
  AddNumberAndBlank(line, frame.HeaderCrc);
  line.Add("FlexRay_Frame_[x|x|x] ");
  AddNumberAndBlank(line, frame.PayloadBytes());
  if (frame.Has(QOR_TRACE_FLEXRAY_NULL)) return line.Add("0\n");
  line.AddNumber(frame.PayloadBytes());
  line.AddBytes(frame.Data());
  line.Add('\n');
}

void AddState(Line& line, const FlexRayView& flexRay) {
  // By the state's code; the last row is for unknown codes.
  constexpr struct {
    unsigned char Kind, State;
  } kStates[] = {{2, 6}, {2, 0}, {2, 4}, {1, 2}, {1, 3}, {2, 1}, {2, 32}, {2, 19}, {2, 0}};
  const auto& state = kStates[std::min<size_t>(flexRay.Channel, std::size(kStates) - 1)];
  line.Add("0 5 ");
  AddNumberAndBlank(line, state.Kind);
  line.AddNumber(state.State);
  line.Add(" 0 0 0 0\n");
}

/// An error in the network idle time; `masks` by channel code.
void AddNitError(Line& line, const unsigned char (&masks)[kNoCode + 1], unsigned int code) {
  line.Add("5 4 ");
  line.AddNumber(masks[code]);
  line.Add(" 0 0\n");
}

/// The payload that the record announces is there. A null frame has none.
bool IsSound(const FlexRayView& flexRay) {
  return !flexRay.IsFrame() || flexRay.Has(QOR_TRACE_FLEXRAY_NULL) || flexRay.Data().size() == flexRay.PayloadBytes();
}

}  // namespace

bool AddFlexRay(Line& line, unsigned int channel, const FlexRayView& flexRay) {
  if (!IsSound(flexRay)) return false;
  const unsigned int code = CodeOf(flexRay);
  switch (flexRay.Type) {
    case FlexRayItemType::Overrun:
      AddHead(line, channel, code, "EE");
      line.Add("5 6 0 0 0\n");
      return true;
    case FlexRayItemType::ReceivedFrame:
    case FlexRayItemType::TransmittedFrame:
      AddHead(line, channel, code, "RMSG");
      AddFrame(line, flexRay);
      return true;
    case FlexRayItemType::CycleStart:
      AddHead(line, channel, code, "SCE");
      line.AddNumber(flexRay.Channel);  // the cycle's number
      line.Add(" Rx 5 0 0 0 0 0 NM_Vector: 0\n");
      return true;
    case FlexRayItemType::State:
      AddHead(line, channel, code, "SE");
      AddState(line, flexRay);
      return true;
    case FlexRayItemType::Status:
    case FlexRayItemType::Symbol:
      AddHead(line, channel, code, "SCE");
      line.Add('\n');
      return true;
    case FlexRayItemType::NitSyntaxError:
      AddHead(line, channel, code, "EE");
      AddNitError(line, {1, 4, 5, 0}, code);
      return true;
    case FlexRayItemType::NitBoundaryViolation:
      AddHead(line, channel, code, "EE");
      AddNitError(line, {2, 8, 10, 0}, code);
      return true;
    case FlexRayItemType::SyntaxError:
    case FlexRayItemType::ContentError:
      AddHead(line, channel, code, "EE");
      line.Add('\n');
      return true;
  }
  return false;
}

}  // namespace client::asc
