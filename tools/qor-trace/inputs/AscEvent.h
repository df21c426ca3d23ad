// One line of an ASC log, as the parts of a record.
#pragma once

#include <optional>
#include <span>
#include <string_view>
#include <variant>

#include "inputs/MadeRecord.h"
#include "inputs/TextScan.h"

namespace client {

/// How the numbers of a log look. Channels are decimal, whatever the base.
struct AscNumbers {
  int Base = 16;          // by the head
  bool IsExport = false;  // by the library: all numbers of CAN lines are hexadecimal
  int RunningBase = 16;   // of LIN and Ethernet lines; the library's own export changes it on its way
};

/// Room for the data bytes of any line.
using AscBytes = std::span<unsigned char, MadeRecord::kMostEthernet>;

struct AscEvent {
  std::optional<unsigned int> Channel = std::nullopt;  // as in the line; nothing for a trigger event, which has none
  std::variant<std::monostate, CanParts, LinParts, FlexRayParts, EthernetParts> Parts = {};
  std::optional<unsigned long> SinceDate = std::nullopt;  // ns; LIN lines have the time a second time
};

/// What came of a line.
enum class AscLineKind {
  Event,       // the parts of a record
  NoRecord,    // sound, but nothing that a record could hold, or of a kind that isn't known
  Unreadable,  // of a known kind, but damaged
};

struct AscLineResult {
  AscLineKind Kind = AscLineKind::Event;
  const char* What = "";  // for findings, where there is no event
};

/// Reads what comes after the time of a line. The event's data lie in `room`.
[[nodiscard]] AscLineResult ReadAscEvent(TextScan line, const AscNumbers& numbers, AscBytes room, AscEvent& event);

namespace asc_event {

// The lines of each bus, from the word on that says which bus it is. For ReadAscEvent only.

[[nodiscard]] AscLineResult ReadCan(TextScan line, int base, bool channelIsHex, AscBytes room, AscEvent& event);
[[nodiscard]] AscLineResult ReadCanFd(TextScan line, int base, bool channelIsHex, AscBytes room, AscEvent& event);
[[nodiscard]] AscLineResult ReadTrigger(TextScan line, int base, AscBytes room, AscEvent& event);
[[nodiscard]] AscLineResult ReadLin(TextScan line, int base, AscBytes room, AscEvent& event);
[[nodiscard]] AscLineResult ReadFlexRay(TextScan line, int base, AscBytes room, AscEvent& event);
[[nodiscard]] AscLineResult ReadEthernet(TextScan line, int base, AscBytes room, AscEvent& event);

}  // namespace asc_event

}  // namespace client
