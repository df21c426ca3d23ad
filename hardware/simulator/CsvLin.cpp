#include <algorithm>
#include <iterator>

#include "CsvLine.h"
#include "Error.h"
#include "LinItem.h"

namespace qor_sim {
namespace {

void SetFlag(LinItem& item, unsigned int flag) { item.Flags = static_cast<unsigned char>(item.Flags | flag); }

void ReadDirection(CsvLine& line, Direction fallback, LinItem& item) {
  if (line.TakeDirection(fallback) == Direction::Transmitted) SetFlag(item, kLinTransmitted);
}

void ReadIdentifier(CsvLine& line, LinItem& item) {
  item.Identifier =
      LinProtectedIdentifier(static_cast<unsigned char>(line.NeedNumber(CsvColumn::Id, 0, kLinGreatestId)));
}

/// Data and checksum; without one in the line, the right one, or where that is not what was seen its complement.
void ReadResponse(CsvLine& line, LinItem& item) {
  const auto data = line.TakeData(kLinGreatestDataLength);
  const unsigned int right = LinChecksum(item.Identifier, data);
  const bool wrong = (item.Flags & kLinChecksumError) != 0;
  const auto given = line.TakeNumber(CsvColumn::Crc, 0, 0xFF);
  SetLinData(item, data, static_cast<unsigned char>(given.value_or(wrong ? right ^ 0xFF : right)));
}

void ReadResponseIfAny(CsvLine& line, LinItem& item) {
  const bool any = !line.Text(CsvColumn::Data).empty() || !line.Text(CsvColumn::Crc).empty();
  if (any) ReadResponse(line, item);
}

// ---- What the kinds take from a line -----------------------------------------------------------------------------------

void ReadFrame(CsvLine& line, Direction fallback, LinItem& item) {
  ReadDirection(line, fallback, item);
  ReadIdentifier(line, item);
  ReadResponse(line, item);
}

/// The identifier byte gets a wrong second parity bit.
void ReadParityError(CsvLine& line, Direction fallback, LinItem& item) {
  ReadDirection(line, fallback, item);
  ReadIdentifier(line, item);
  item.Identifier ^= 0x80;
  ReadResponseIfAny(line, item);
}

void ReadDirectionOnly(CsvLine& line, Direction fallback, LinItem& item) { ReadDirection(line, fallback, item); }

void ReadNoResponse(CsvLine& line, Direction, LinItem& item) {
  line.TakeFlag("tx");
  ReadIdentifier(line, item);
}

void ReadTransmitError(CsvLine& line, Direction, LinItem& item) {
  line.TakeFlag("tx");
  ReadIdentifier(line, item);
  ReadResponseIfAny(line, item);
}

void ReadTrigger(CsvLine& line, Direction, LinItem& item) {
  static constexpr std::string_view kEdges[] = {"rising", "falling"};
  item.Identifier = line.TakeOneFlag(kEdges) == 0 ? kLinRisingEdge : kLinFallingEdge;
}

struct LinKind {
  std::string_view Name;
  unsigned int Flags;
  void (*Read)(CsvLine&, Direction fallback, LinItem&);
};
constexpr LinKind kKinds[] = {
    {"frame", 0, ReadFrame},
    {"checksum_error", kLinChecksumError, ReadFrame},
    {"parity_error", kLinParityError, ReadParityError},
    {"sync_error", kLinSyncError, ReadDirectionOnly},
    {"no_response", kLinTransmitError | kLinTransmitted, ReadNoResponse},
    {"transmit_error", kLinTransmitError | kLinTransmitted, ReadTransmitError},
    {"wakeup", kLinWakeUp, ReadDirectionOnly},
    {"trigger", kLinTrigger, ReadTrigger},
};

const LinKind& FindKind(std::string_view name) {
  const auto* found = std::find_if(std::begin(kKinds), std::end(kKinds), [&](const auto& k) { return k.Name == name; });
  if (found != std::end(kKinds)) return *found;
  std::vector<std::string> known;
  for (const auto& kind : kKinds) known.emplace_back(kind.Name);
  throw NoSuchKind(name, known);
}

}  // namespace

void ParseLinLine(CsvLine& line, const CsvDefaults& defaults, CsvItem& item) {
  const LinKind& kind = FindKind(line.Kind());
  LinItem lin;
  lin.Timestamp = item.Time;
  lin.BitTime = LinBitTime(defaults.BitRate);
  SetFlag(lin, kind.Flags);
  if (line.TakeFlag("overrun")) SetFlag(lin, kLinOverrun);
  kind.Read(line, defaults.Fallback, lin);
  EncodeLinItem(lin, item.Bytes);
}

}  // namespace qor_sim
