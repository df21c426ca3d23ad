#include "inputs/CandumpReader.h"

#include <algorithm>

#include "inputs/CandumpLine.h"
#include "inputs/TextScan.h"

namespace client {

const RecordView* CandumpReader::Next() {
  while (const auto line = Lines.Next()) {
    if (TextScan(*line).AtEnd() && !Lines.IsTooLong()) continue;
    IsCut = IsCut || Lines.IsCut();
    CandumpFrame frame;
    auto fault = ReadCandumpLine(*line, Room, frame);
    if (Lines.IsCut()) fault = {FindingKind::CutOff, "a line without its end"};
    const unsigned int channel = fault ? 0 : ChannelOf(frame.Interface);
    if (!fault && channel == 0) fault = {FindingKind::Unread, "a frame of the 1001st interface, or one after it"};
    if (!fault) {
      ++Count;
      return Made.Can({channel, frame.Time}, frame.Can);
    }
    Noted.AtLine(fault->Kind, fault->What, Lines.Number());
  }
  return nullptr;
}

unsigned int CandumpReader::ChannelOf(std::string_view interface) {
  constexpr size_t kMost = 1000;
  if (interface == LatestInterface && LatestChannel != 0) return LatestChannel;
  auto known = Channels.find(interface);
  if (known == Channels.end()) {
    if (Channels.size() == kMost) return 0;
    known = Channels.emplace(interface, NumberFor(interface)).first;
    Taken.insert(known->second);
  }
  LatestInterface = interface;
  return LatestChannel = known->second;
}

/// "can0" is 1, if that isn't taken: as the numbers of a recording are written.
unsigned int CandumpReader::NumberFor(std::string_view interface) const {
  constexpr std::string_view kUsual = "can";
  constexpr unsigned int kGreatest = 0xFFFF;
  if (interface.starts_with(kUsual)) {
    const auto place = NumberOf<unsigned int>(interface.substr(kUsual.size()), 10);
    if (place && *place < kGreatest && !Taken.contains(*place + 1)) return *place + 1;
  }
  unsigned int number = 1;
  while (Taken.contains(number)) ++number;
  return number;
}

Description CandumpReader::Describe() const {
  Description known;
  known.Complete = !IsCut;
  for (const auto& [name, number] : Channels)
    known.Channels.push_back({.Number = number, .BusType = static_cast<unsigned char>(BusType_Can), .Name = name});
  std::sort(known.Channels.begin(), known.Channels.end(),
            [](const auto& left, const auto& right) { return left.Number < right.Number; });
  return known;
}

}  // namespace client
