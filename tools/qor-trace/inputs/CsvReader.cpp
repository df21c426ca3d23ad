#include "inputs/CsvReader.h"

#include <fmt/format.h>

#include "inputs/CsvRow.h"
#include "inputs/TextScan.h"
#include "system/Failure.h"

namespace client {

const RecordView* CsvReader::Next() {
  while (const auto line = Lines.Next()) {
    if (TextScan(*line).AtEnd() && !Lines.IsTooLong()) continue;
    if (!HasHeader) {
      if (*line != kCsvHeader)
        throw Failure(
            fmt::format("Line {} of {} is not \"{}\": it is another CSV", Lines.Number(), Lines.Shown(), kCsvHeader));
      HasHeader = true;
    } else if (const RecordView* record = Read(*line)) {
      return record;
    }
  }
  return nullptr;
}

const RecordView* CsvReader::Read(std::string_view row) {
  CsvEntry entry;
  auto fault = ReadCsvRow(row, Room, entry);
  if (Lines.IsCut()) {
    IsCut = true;
    fault = {FindingKind::CutOff, "a row without its end"};
  }
  if (fault) {
    Noted.AtLine(fault->Kind, fault->What, Lines.Number());
    return nullptr;
  }
  ++Count;
  const RecordHead head{ChannelOf(entry.LinChannel), entry.Time};
  if (const auto* lin = std::get_if<LinParts>(&entry.Parts)) return Made.Lin(head, *lin);
  return Made.FlexRay(head, std::get<FlexRayParts>(entry.Parts));
}

unsigned int CsvReader::ChannelOf(std::optional<unsigned int> lin) {
  return Channels.try_emplace(lin, static_cast<unsigned int>(Channels.size()) + 1).first->second;
}

Description CsvReader::Describe() const {
  Description known;
  known.Complete = !IsCut;
  known.Channels.resize(Channels.size());
  for (const auto& [lin, number] : Channels) {
    ChannelDescription& channel = known.Channels[number - 1];
    channel.Number = number;
    channel.BusType = static_cast<unsigned char>(lin ? BusType_Lin : BusType_FlexRay);
    channel.Name = lin ? fmt::format("LIN {}", *lin) : "FlexRay";
  }
  return known;
}

}  // namespace client
