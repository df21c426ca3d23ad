#include <algorithm>
#include <iterator>

#include "CsvLine.h"
#include "Error.h"
#include "FlexRayItem.h"

namespace qor_sim {
namespace {

FlexRayChannel ChannelOf(const CsvLine& line) {
  const std::string_view channel = line.Text(CsvColumn::Channel);
  if (channel == "AB") return kFlexRayBoth;
  return channel == "A" ? kFlexRayA : kFlexRayB;
}

unsigned char TakeCycle(CsvLine& line) {
  return static_cast<unsigned char>(line.NeedNumber(CsvColumn::Cycle, 0, kFlexRayGreatestCycle));
}

unsigned char TakeFrameFlags(CsvLine& line) {
  struct NamedFlag {
    std::string_view Name;
    unsigned int Bit;
  };
  constexpr NamedFlag kFlags[] = {
      {"ppi", kFlexRayPayloadPreamble}, {"null", kFlexRayNull}, {"sync", kFlexRaySync}, {"startup", kFlexRayStartup}};
  unsigned int flags = 0;
  for (const auto& flag : kFlags) flags |= line.TakeFlag(flag.Name) ? flag.Bit : 0;
  return static_cast<unsigned char>(flags);
}

// ---- What the kinds take from a line -----------------------------------------------------------------------------------

FlexRayFrame ReadFrame(CsvLine& line, uint64_t time, Direction fallback) {
  FlexRayFrame frame;
  frame.Timestamp = time;
  frame.Transmitted = line.TakeDirection(fallback) == Direction::Transmitted;
  frame.Channel = ChannelOf(line);
  frame.Flags = TakeFrameFlags(line);
  frame.Slot = static_cast<uint16_t>(line.NeedNumber(CsvColumn::Id, 1, kFlexRayGreatestSlot));
  frame.Cycle = TakeCycle(line);
  frame.Data = line.TakeData(kFlexRayGreatestPayload);
  if (frame.Data.size() % 2 != 0) throw SourceError("the payload ends in half a word of two bytes");
  const auto crc = line.TakeNumber(CsvColumn::Crc, 0, kFlexRayGreatestHeaderCrc);
  frame.HeaderCrc = crc ? static_cast<uint16_t>(*crc) : FlexRayHeaderCrc(frame);
  return frame;
}

FlexRayEvent ReadBare(CsvLine&, uint64_t time, FlexRayKind kind) { return {time, kind, 0, 0, 0}; }

FlexRayEvent ReadStartOfCycle(CsvLine& line, uint64_t time, FlexRayKind) {
  return FlexRayStartOfCycle(time, TakeCycle(line));
}

FlexRayEvent ReadState(CsvLine& line, uint64_t time, FlexRayKind) {
  // In the order of FlexRayState.
  static constexpr std::string_view kStates[] = {"config",         "default_config", "halt",    "normal_active",
                                                 "normal_passive", "ready",          "startup", "wakeup"};
  return FlexRayStateChange(time, static_cast<FlexRayState>(line.TakeOneFlag(kStates)));
}

FlexRayEvent ReadSymbol(CsvLine& line, uint64_t time, FlexRayKind) { return FlexRaySymbolSeen(time, ChannelOf(line)); }

FlexRayEvent ReadError(CsvLine& line, uint64_t time, FlexRayKind kind) {
  const auto slot = static_cast<uint16_t>(line.TakeNumber(CsvColumn::Id, 0, kFlexRayGreatestSlot).value_or(0));
  return FlexRayError(time, kind, slot, TakeCycle(line), ChannelOf(line));
}

struct EventKind {
  std::string_view Name;
  FlexRayKind Kind;
  FlexRayEvent (*Read)(CsvLine&, uint64_t time, FlexRayKind kind);
};
constexpr EventKind kEvents[] = {
    {"overrun", kFlexRayOverrun, ReadBare},
    {"start_of_cycle", kFlexRayStartOfCycle, ReadStartOfCycle},
    {"state", kFlexRayState, ReadState},
    {"status", kFlexRayStatus, ReadBare},
    {"symbol", kFlexRaySymbol, ReadSymbol},
    {"nit_syntax_error", kFlexRayNitSyntaxError, ReadError},
    {"syntax_error", kFlexRaySyntaxError, ReadError},
    {"nit_boundary_violation", kFlexRayNitBoundaryViolation, ReadError},
    {"content_error", kFlexRayContentError, ReadError},
};

const EventKind& FindEvent(std::string_view name) {
  const auto* found =
      std::find_if(std::begin(kEvents), std::end(kEvents), [&](const auto& e) { return e.Name == name; });
  if (found != std::end(kEvents)) return *found;
  std::vector<std::string> known{"frame"};
  for (const auto& event : kEvents) known.emplace_back(event.Name);
  throw NoSuchKind(name, known);
}

}  // namespace

void ParseFlexRayLine(CsvLine& line, const CsvDefaults& defaults, CsvItem& item) {
  if (line.Kind() == "frame") {
    EncodeFlexRayFrame(ReadFrame(line, item.Time, defaults.Fallback), item.Bytes);
  } else {
    const EventKind& event = FindEvent(line.Kind());
    EncodeFlexRayEvent(event.Read(line, item.Time, event.Kind), item.Bytes);
  }
}

}  // namespace qor_sim
