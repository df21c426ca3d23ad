// Recordings in the text form of candump: "(seconds.fraction) interface id#data [R|T]", one frame a line.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "CanItem.h"
#include "ItemSource.h"
#include "Recording.h"

namespace qor_sim {

struct CandumpFrame {
  std::string_view Interface;  // of the line that was read
  std::optional<Direction> OwnDirection;
  CanItem Item{};  // Timestamp as in the line, ns; received unless the line says otherwise
};

/// Reads one line, which must not be blank. Failure: Error QOR_SIM_ERROR_SOURCE with the reason, without file and line.
CandumpFrame ParseCandumpLine(std::string_view line);

/// The interfaces of a file, in order of their names.
/// Failure: Error QOR_SIM_ERROR_FILE that names the file and, for an unreadable line, its number; a file without frames.
std::vector<std::string> CandumpInterfaces(const std::string& path, BadLines bad = BadLines::Refuse);

struct CandumpSettings {
  std::optional<std::string> Interface;  // none: the only one of the file
  TimeOrigin Origin = TimeOrigin::File;
  Direction Fallback = Direction::Received;  // of lines without their own
  BadLines Bad = BadLines::Refuse;
};

/// The frames of one interface, in order of their times; those of the same time in the order of their lines. The source
/// begins with the earliest frame of the file, whichever its interface. The file is read whole, here.
/// Failure: as CandumpInterfaces; Error QOR_SIM_ERROR_SOURCE: no such interface, or several and none was named.
std::unique_ptr<ItemSource> MakeCandumpSource(const std::string& path, const CandumpSettings& settings);

/// The same for a text in memory; `file` is what errors call it.
std::unique_ptr<ItemSource> ParseCandump(std::string_view text, const std::string& file,
                                         const CandumpSettings& settings);

}  // namespace qor_sim
