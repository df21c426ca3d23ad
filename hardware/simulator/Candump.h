// Recordings in the text form of candump: "(seconds.fraction) interface id#data [R|T]", one frame a line.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "CanItem.h"
#include "ItemSource.h"

namespace qor_sim {

enum class Direction { Received, Transmitted };

struct CandumpFrame {
  std::string_view Interface;  // of the line that was read
  std::optional<Direction> OwnDirection;
  CanItem Item{};  // Timestamp as in the line, ns; received unless the line says otherwise
};

/// Reads one line, which must not be blank. Failure: Error QOR_SIM_ERROR_SOURCE with the reason, without file and line.
CandumpFrame ParseCandumpLine(std::string_view line);

/// Hands every frame of a file to `visit`, in the order of the lines. Blank lines are left out; lines may end in CR LF.
/// Failure: Error QOR_SIM_ERROR_SOURCE that names the file and, for an unreadable line, its number.
void ReadCandump(const std::string& path, const std::function<void(const CandumpFrame&)>& visit);

/// The interfaces of a file, in order of their names. Failure: as ReadCandump; a file without frames.
std::vector<std::string> CandumpInterfaces(const std::string& path);

enum class TimeOrigin { File, Absolute };

struct CandumpSettings {
  std::optional<std::string> Interface;  // none: the only one of the file
  TimeOrigin Origin = TimeOrigin::File;
  Direction Fallback = Direction::Received;  // of lines without their own
};

/// The frames of one interface, in order of their times; those of the same time in the order of their lines. The source
/// begins with the earliest frame of the file, whichever its interface. The file is read whole, here.
/// Failure: as ReadCandump; no such interface, or several and none was named.
std::unique_ptr<ItemSource> MakeCandumpSource(const std::string& path, const CandumpSettings& settings);

}  // namespace qor_sim
