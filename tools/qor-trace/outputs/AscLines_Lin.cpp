// LIN lines, with the columns of the library's export. Much of what they have room for isn't measured: those are fixed texts.
#include "outputs/AscLine.h"

namespace client::asc {

namespace {

void AddChannel(Line& line, unsigned int channel) {
  line.AddTime();
  if (channel == 1) return line.Add("Li");  // channel 1 has no number
  line.Add('L');
  line.AddDecimal(channel);
}

void AddIdentifier(Line& line, const LinView& lin) {
  line.Add(' ');
  line.AddNumber(lin.PlainIdentifier());
}

void AddDirection(Line& line, const LinView& lin) { line.Add(lin.Has(QOR_TRACE_LIN_TRANSMITTED) ? " Tx" : " Rx"); }

/// bit/s; 0 for an unknown bit time, or one below 1 ns.
unsigned int BaudRate(const LinView& lin) {
  const unsigned int nanoseconds = lin.BitTimeInNanoseconds();
  if (nanoseconds == 0) return 0;
  return static_cast<unsigned int>(1 / (nanoseconds / 1e9));  // as the library's export, not 1e9 / nanoseconds
}

/// The time again, and the baud rate, always decimal and in five columns or more.
void AddStartAndBaudRate(Line& line, const LinView& lin) {
  line.Add("SOF = ");
  line.AddTimeSinceStart();
  line.Add("BR = ");
  const char* const begin = line.End();
  line.AddDecimal(BaudRate(lin));
  line.PadFrom(begin, 5);
  line.Add(' ');
}

void AddTransmitError(Line& line, const LinView& lin) {
  AddIdentifier(line, lin);
  line.Add(" TransmErr  header time = 0, full time = 0 ");
  AddStartAndBaudRate(line, lin);
  line.Add("break = 0 0 EOH = 0.0 HBR = 0 HSO = 0 CSM = unknown\n");
}

void AddReceiveError(Line& line, const LinView& lin, std::string_view what) {
  line.Add(" RcvError: ");
  line.Add(what);
  line.Add("StateReason =  0  ShortError = 0  DlcTimeout = 0  HasDataBytes = 0  ");
  AddStartAndBaudRate(line, lin);
  line.Add("break = 0 0 RBR = 0 HBR = 0 HSO = 0 RSO = 0 CSM = unknown\n");
}

void AddEvent(Line& line, const LinView& lin) {
  AddIdentifier(line, lin);
  line.Add(" EvTrigFrmInfo  ");
  line.Add(lin.Identifier != 0 ? std::string_view(" falling edge at trigger input\n")
                               : std::string_view(" rising edge at trigger input\n"));
}

void AddWakeUp(Line& line, const LinView& lin) {
  line.Add(" WakeupFrame  ");
  AddDirection(line, lin);
  line.Add(' ');
  AddStartAndBaudRate(line, lin);
  line.Add("0 LengthCode = 0\n");
}

/// @param mark  what is wrong with the frame; empty: nothing
void AddFrame(Line& line, const LinView& lin, std::string_view mark) {
  AddIdentifier(line, lin);
  line.Add(mark);
  AddDirection(line, lin);
  line.Add(' ');
  line.AddNumber(lin.DataCount());
  line.AddBytes(lin.Data());
  line.Add(" checksum =");
  line.AddByte(lin.Checksum().value_or(0));
  line.Add(" header time = 0, full time = 0 ");
  AddStartAndBaudRate(line, lin);
  line.Add("break = 0 0 EOH = 0.0 EOB =");
  for (unsigned int i = 0; i < lin.DataCount(); ++i) line.Add(" 0.0");
  line.Add(" sim = 0 EOF = 0.0 RBR = 0 HBR = 0 HSO = 0 RSO = 0 CSM = unknown\n");
}

/// All announced bytes are there, and not more than the format has.
bool IsSound(const LinView& lin) {
  if (lin.Reserved != 0 || lin.DataCount() > LinView::kMostDataBytes) return false;
  return lin.DataLength == 0 || lin.Checksum().has_value();
}

}  // namespace

bool AddLin(Line& line, unsigned int channel, const LinView& lin) {
  if (!IsSound(lin)) return false;
  AddChannel(line, channel);
  switch (lin.Kind()) {
    case RecordKind::LinTransmitError:
      AddTransmitError(line, lin);
      break;
    case RecordKind::LinParityError:
      AddReceiveError(line, lin, " invalid identifier parity   ");
      break;
    case RecordKind::LinSyncError:
      AddReceiveError(line, lin, " inconsistent sync field   ");
      break;
    case RecordKind::LinChecksumError:
      AddFrame(line, lin, " CSErr  ");
      break;
    case RecordKind::LinEvent:
      AddEvent(line, lin);
      break;
    case RecordKind::LinWakeUp:
      AddWakeUp(line, lin);
      break;
    default:
      AddFrame(line, lin, "");
      break;
  }
  return true;
}

}  // namespace client::asc
