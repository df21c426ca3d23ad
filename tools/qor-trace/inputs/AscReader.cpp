#include "inputs/AscReader.h"

#include <fmt/format.h>

#include <filesystem>
#include <utility>

#include "inputs/AscSeries.h"
#include "stream/LossComment.h"

namespace client {

namespace {

constexpr unsigned long kGreatestColumn = ~0ul >> 1;

unsigned char BusOf(const AscEvent& event) {
  constexpr unsigned char kBuses[] = {BusType_Can, BusType_Can, BusType_Lin, BusType_FlexRay, BusType_Ethernet};
  return kBuses[event.Parts.index()];
}

std::optional<unsigned char> BusNamed(std::string_view name) {
  if (name == "CAN") return static_cast<unsigned char>(BusType_Can);
  if (name == "LIN") return static_cast<unsigned char>(BusType_Lin);
  if (name == "FlexRay") return static_cast<unsigned char>(BusType_FlexRay);
  if (name == "Ethernet") return static_cast<unsigned char>(BusType_Ethernet);
  return std::nullopt;
}

/// ns; nothing unless more words follow. Times of the library's export may be negative.
std::optional<long> TakeColumn(TextScan& line) {
  const bool negative = line.Take("-");
  const auto seconds = line.TakeSeconds();
  const bool isWord = line.Rest().starts_with(' ') || line.Rest().starts_with('\t');
  if (!seconds || *seconds > kGreatestColumn || !isWord) return std::nullopt;
  return negative ? -static_cast<long>(*seconds) : static_cast<long>(*seconds);
}

/// What the entries of a message have in common, and nothing else has.
unsigned long MessageOf(const AscEvent& event) {
  constexpr int kBusAt = 56, kChannelAt = 36;
  unsigned long message = 0;
  if (const auto* can = std::get_if<CanParts>(&event.Parts)) {
    const unsigned int kind = can->Flags & (QOR_TRACE_CAN_EXTENDED | QOR_TRACE_CAN_FD | QOR_TRACE_CAN_ERROR);
    message = can->Identifier | static_cast<unsigned long>(kind) << 29;
  } else if (const auto* lin = std::get_if<LinParts>(&event.Parts)) {
    message = lin->Identifier;
  } else if (const auto* flexRay = std::get_if<FlexRayParts>(&event.Parts)) {
    const bool isFrame =
        flexRay->Type == FlexRayItemType::ReceivedFrame || flexRay->Type == FlexRayItemType::TransmittedFrame;
    message = isFrame ? flexRay->SlotId : 0x10000ul << static_cast<unsigned int>(flexRay->Type);
  }
  return message | static_cast<unsigned long>(BusOf(event)) << kBusAt |
         static_cast<unsigned long>(event.Channel.value_or(0)) << kChannelAt;
}

unsigned long SizeOf(const std::vector<std::string>& files) {
  unsigned long size = 0;
  std::error_code unknown;
  for (const std::string& file : files) {
    const auto bytes = std::filesystem::file_size(file, unknown);
    if (!unknown) size += bytes;
  }
  return size;
}

}  // namespace

AscReader::AscReader(InputBytes bytes, const std::string& path)
    : Lines(std::move(bytes)),
      Later(Lines->IsPipe() ? std::vector<std::string>() : LaterAscFiles(path)),
      SeriesSize(Lines->Size() + SizeOf(Later)),
      Room(new unsigned char[MadeRecord::kMostEthernet]) {}

void AscReader::Attend(Attendance attendance) {
  Present = attendance;
  Lines->Attend(std::move(attendance));
}

const RecordView* AscReader::Next() {
  if (Waiting) {
    if (const RecordView* record = ReadRemark(*std::exchange(Waiting, std::nullopt))) return record;
  }
  do {
    while (const auto line = NextLine())
      if (const RecordView* record = Read(*line)) return record;
    if (!Stopped()) EndFile();
  } while (!Stopped() && BeginNextFile());
  return nullptr;
}

/// A line, or the next part of one.
std::optional<std::string_view> AscReader::NextLine() {
  if (Pieces.empty()) {
    const auto line = Lines->Next();
    if (!line) return std::nullopt;
    if (Lines->IsTooLong()) Note(FindingKind::Unread, "a line that is too long");
    Pieces = *line;
  }
  const size_t length = Pieces.find('\r');
  const std::string_view piece = Pieces.substr(0, length);
  Pieces = length == std::string_view::npos ? std::string_view() : Pieces.substr(length + 1);
  return piece;
}

void AscReader::EndFile() {
  // Once: the end may be asked for again.
  if (Head.IsInBlock() && !IsCut) Note(FindingKind::CutOff, "no \"End TriggerBlock\" at the end");
  IsCut = IsCut || Head.IsInBlock();
}

bool AscReader::BeginNextFile() {
  if (FilesBegun == Later.size()) return false;
  BytesBefore += Lines->Position();
  Lines.emplace(InputBytes(Later[FilesBegun++]));
  Lines->Attend(Present);
  Pieces = {};
  Times.BeginFile();
  return true;
}

const RecordView* AscReader::Read(std::string_view line) {
  const size_t begin = line.find_first_not_of(" \t");
  if (begin == std::string_view::npos) return nullptr;
  line.remove_prefix(begin);
  if (DigitValue(line[0]) < 10 || line[0] == '-') return ReadEvent(line);
  if (const auto remark = RemarkOf(line)) return ReadRemark(*remark);
  if (TakeLoss(line)) return nullptr;
  TakeHead(line);
  return nullptr;
}

void AscReader::TakeHead(std::string_view line) {
  if (!Head.Take(line)) {
    if (IsCutLine()) IsCut = true;
    return Note(IsCutLine() ? FindingKind::CutOff : FindingKind::Unread, "a line without a time");
  }
  const bool isExport = Head.IsExport();
  if (Count > 0) return;  // a head in the middle changes nothing of what its lines mean
  Numbers = {Head.Base(), isExport, Head.Base()};
  Times.Column = !Head.TimesAreRelative() ? AscTimeColumn::Date
                 : isExport               ? AscTimeColumn::Message
                                          : AscTimeColumn::Line;
}

const RecordView* AscReader::ReadEvent(std::string_view text) {
  TextScan line(text);
  if (IsCutLine()) {
    IsCut = true;
    Note(FindingKind::CutOff, "a line without its end");
    return nullptr;
  }
  const auto column = TakeColumn(line);
  if (!column) {
    Note(FindingKind::Unread, "a line whose time can't be read");
    return nullptr;
  }
  AscEvent event;
  const AscBytes room(Room.get(), MadeRecord::kMostEthernet);
  const AscLineResult result = ReadAscEvent(line, Numbers, room, event);
  if (result.Kind != AscLineKind::Event) {
    Times.PassOver(*column);
    if (line.Take("Start of measurement")) {
      if (*column == 0 && Count == 0) Head.StartWithBlock();
    } else {
      Note(result.Kind == AscLineKind::NoRecord ? FindingKind::LeftOut : FindingKind::Unread, result.What);
    }
    return nullptr;
  }
  if (event.Channel.value_or(0) > AscChannels::kGreatest) {
    Note(FindingKind::Unread, "a line with a channel above 65535");
    return nullptr;
  }
  FollowBase(event);
  TakeRemarks(event);
  return Make(event, Times.Of(*column, MessageOf(event), event.SinceDate));
}

const RecordView* AscReader::Make(const AscEvent& event, unsigned long time) {
  if (Count++ == 0) Since1970 = CountsSince1970(time);
  const RecordHead head{event.Channel ? Channels.Of(BusOf(event), *event.Channel) : Channels.OfEvent(), time};
  if (const auto* can = std::get_if<CanParts>(&event.Parts)) return Made.Can(head, *can);
  if (const auto* lin = std::get_if<LinParts>(&event.Parts)) return Made.Lin(head, *lin);
  if (const auto* flexRay = std::get_if<FlexRayParts>(&event.Parts)) return Made.FlexRay(head, *flexRay);
  return Made.Ethernet(head, std::get<EthernetParts>(event.Parts));
}

/// In a decimal log the library's export goes on in hexadecimal after a CAN line, until a line of another bus has set it back.
void AscReader::FollowBase(const AscEvent& event) {
  if (!Numbers.IsExport) return;
  const auto* lin = std::get_if<LinParts>(&event.Parts);
  if (lin != nullptr && (lin->Flags & QOR_TRACE_LIN_EVENT) != 0) return;
  Numbers.RunningBase = std::holds_alternative<CanParts>(event.Parts) ? 16 : Numbers.Base;
}

bool AscReader::NextIsComment() { return Pieces.empty() && Lines->NextBeginsWith("//"); }

/// Takes the comments after a line, as far as they say something of its entry, or nothing.
void AscReader::TakeRemarks(AscEvent& event) {
  while (!Waiting && NextIsComment()) {
    const auto comment = NextLine();
    if (comment && TakeLoss(*comment)) continue;
    const auto remark = comment ? RemarkOf(*comment) : std::nullopt;
    if (remark && !Apply(*remark, event)) Waiting = remark;
  }
}

/// "// 0.004956 CAN 1: overrun, data were lost here"
std::optional<AscReader::Remark> AscReader::RemarkOf(std::string_view comment) {
  TextScan line(comment);
  if (!line.Take("// ")) return std::nullopt;
  const auto column = TakeColumn(line);
  const auto bus = BusNamed(line.Word());
  const std::string_view number = line.Word();
  if (!column || !bus || !number.ends_with(':')) return std::nullopt;
  const auto channel = NumberOf<unsigned int>(number.substr(0, number.size() - 1), 10);
  if (!channel || *channel > AscChannels::kGreatest) return std::nullopt;
  if (line.Take("overrun, data were lost here")) return Remark{Remark::Word::Overrun, *bus, *channel, *column};
  if (line.Take("the frame above has a CRC error")) return Remark{Remark::Word::CrcError, *bus, *channel, *column};
  if (line.Take("malformed record of")) return Remark{Remark::Word::Malformed, *bus, *channel, *column};
  return std::nullopt;
}

/// "// LOST on CAN 1: 311 items found the capture buffer full, 1.500000000 s to 1.612000000 s". False for another text.
bool AscReader::TakeLoss(std::string_view line) {
  constexpr std::string_view kComment = "// ";
  if (!line.starts_with(kComment)) return false;
  auto loss = LossFromComment(line.substr(kComment.size()));
  if (!loss || loss->Channel > AscChannels::kGreatest) return false;
  TextScan words(line);
  words.SkipWords(3);
  if (const auto bus = BusNamed(words.Word())) loss->Channel = Channels.Of(*bus, loss->Channel);
  Losses.Add(*loss);
  ++LossCount;
  return true;
}

/// False for a remark that isn't of this event.
bool AscReader::Apply(const Remark& remark, AscEvent& event) {
  if (remark.Bus != BusOf(event) || remark.Channel != event.Channel.value_or(remark.Channel)) return false;
  if (remark.What == Remark::Word::CrcError) {
    auto* const ethernet = std::get_if<EthernetParts>(&event.Parts);
    if (ethernet != nullptr) ethernet->Flags |= QOR_TRACE_ETHERNET_CRC_ERROR;
    return ethernet != nullptr;
  }
  if (remark.What != Remark::Word::Overrun) return false;
  if (auto* can = std::get_if<CanParts>(&event.Parts)) can->Flags |= QOR_TRACE_CAN_OVERRUN;
  if (auto* lin = std::get_if<LinParts>(&event.Parts)) lin->Flags |= QOR_TRACE_LIN_OVERRUN;
  return !std::holds_alternative<EthernetParts>(event.Parts);  // that mark has no line, the line is another entry's
}

/// One that stands for itself: the mark of a loss on Ethernet is an entry. Those of other buses belong to a line that
/// couldn't be read.
const RecordView* AscReader::ReadRemark(const Remark& remark) {
  if (remark.What == Remark::Word::Malformed) Note(FindingKind::LeftOut, "a malformed entry, which is a comment only");
  if (remark.What != Remark::Word::Overrun || remark.Bus != BusType_Ethernet) return nullptr;
  AscEvent event;
  event.Channel = remark.Channel;
  event.Parts = EthernetParts{.Type = EthernetItemType::Overrun};
  return Make(event, Times.Preview(remark.Column));
}

void AscReader::Note(FindingKind kind, const char* what) {
  std::string where = fmt::format("line {}", Lines->Number());
  if (FilesBegun > 0) where += fmt::format(" of {}", Lines->Shown());
  Noted.Add(kind, what, where);
}

Description AscReader::Describe() const {
  Description known;
  known.Complete = !IsCut;
  known.Channels = Channels.Describe();
  known.Losses = Losses.All();
  if (Since1970) {
    known.Epoch = ClockEpoch::Since1970;
  } else if (const auto& date = Head.Date(); date && !Head.IsExport() && CountsSince1970(date->Utc)) {
    known.Epoch = ClockEpoch::Own;
    known.Anchor = ClockAnchor{0, date->Utc, std::nullopt, AnchorOrigin::RecordingStart};
  }
  return known;
}

}  // namespace client
