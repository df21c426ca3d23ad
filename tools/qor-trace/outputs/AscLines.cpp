#include "outputs/AscLines.h"

#include "outputs/AscLine.h"

namespace client {

namespace {

using asc::Line;

std::string_view NameOf(unsigned char bus) {
  constexpr std::string_view kNames[] = {"CAN", "LIN", "FlexRay", "Ethernet"};
  return bus < std::size(kNames) ? kNames[bus] : "unknown bus";
}

/// "// 1.500000 CAN 1: ": readers skip the line, people don't.
void BeginComment(Line& line, const RecordView& record) {
  line.Add("// ");
  line.AddTime();
  line.Add(NameOf(record.Bus()));
  line.Add(' ');
  line.AddDecimal(record.ChannelId());
  line.Add(": ");
}

void AddMalformed(Line& line, const RecordView& record) {
  BeginComment(line, record);
  line.Add("malformed record of ");
  line.AddDecimal(record.Length());
  line.Add(" bytes\n");
}

void AddLoss(Line& line, const RecordView& record) {
  BeginComment(line, record);
  line.Add("overrun, data were lost here\n");
}

/// The number of bytes, left-aligned, a colon, and the bytes without blanks.
void AddFrame(Line& line, const EthernetView& ethernet) {
  const char* const begin = line.End();
  line.AddNumber(ethernet.FrameLength);
  line.PadFrom(begin, line.IsDecimal() ? 3 : 2);
  line.Add(':');
  line.AddHexDigits(ethernet.Frame());
  line.Add('\n');
}

bool AddEthernetFrame(Line& line, const RecordView& record, const EthernetView& ethernet) {
  if (ethernet.Frame().size() < ethernet.FrameLength) return false;
  line.AddTime();
  line.Add("ETH ");
  line.AddDecimal(record.ChannelId());
  line.Add(ethernet.Has(QOR_TRACE_ETHERNET_TRANSMITTED) ? " Tx " : " Rx ");
  AddFrame(line, ethernet);
  if (ethernet.Has(QOR_TRACE_ETHERNET_CRC_ERROR)) {
    BeginComment(line, record);
    line.Add("the frame above has a CRC error\n");
  }
  return true;
}

/// What is missing is told by the return value; a malformed record has added nothing.
std::optional<AscOmission> AddEthernet(Line& line, const RecordView& record) {
  const EthernetView ethernet = record.Ethernet();
  if (ethernet.Type == EthernetItemType::Overrun) {
    AddLoss(line, record);
    return std::nullopt;
  }
  if (ethernet.Type != EthernetItemType::Frame) return AscOmission::Ethernet;
  return AddEthernetFrame(line, record, ethernet) ? std::nullopt : std::optional(AscOmission::Malformed);
}

std::optional<AscOmission> AddCan(Line& line, const RecordView& record) {
  const CanView can = record.Can();
  if (!asc::AddCan(line, record.ChannelId(), can)) return AscOmission::Malformed;
  if (can.Has(QOR_TRACE_CAN_OVERRUN)) AddLoss(line, record);
  return std::nullopt;
}

std::optional<AscOmission> AddLin(Line& line, const RecordView& record) {
  const LinView lin = record.Lin();
  if (!asc::AddLin(line, record.ChannelId(), lin)) return AscOmission::Malformed;
  if (lin.Has(QOR_TRACE_LIN_OVERRUN)) AddLoss(line, record);
  return std::nullopt;
}

std::optional<AscOmission> AddFlexRay(Line& line, const RecordView& record) {
  const FlexRayView flexRay = record.FlexRay();
  if (!asc::AddFlexRay(line, record.ChannelId(), flexRay)) return AscOmission::Malformed;
  if (flexRay.Type == FlexRayItemType::Overrun) AddLoss(line, record);
  return std::nullopt;
}

std::optional<AscOmission> AddRecord(Line& line, const RecordView& record) {
  if (record.IsCutShort()) return AscOmission::Malformed;
  switch (record.Bus()) {
    case BusType_Can:
      return AddCan(line, record);
    case BusType_Lin:
      return AddLin(line, record);
    case BusType_FlexRay:
      return AddFlexRay(line, record);
    case BusType_Ethernet:
      return AddEthernet(line, record);
    default:
      return AscOmission::Malformed;
  }
}

}  // namespace

ComposedLine ComposeAscLine(const AscStyle& style, const RecordView& record, const AscTime& time, char* out) {
  Line line(style, time, out);
  const auto omission = AddRecord(line, record);
  if (omission == AscOmission::Malformed) AddMalformed(line, record);
  return {line.End(), omission};
}

}  // namespace client
