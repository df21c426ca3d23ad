// What replays of recorded files have in common: opening a file, reading its lines, and replaying items in order of time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <fstream>
#include <functional>
#include <istream>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "Error.h"
#include "ItemSource.h"
#include "SkippedLines.h"

namespace qor_sim {

enum class Direction { Received, Transmitted };

enum class TimeOrigin {
  File,     // the earliest item of the file, whichever its part, is at time 0
  Absolute  // the times of the file
};

/// Refuses a path that leads to no regular file. Failure: Error QOR_SIM_ERROR_FILE that names it.
void CheckRecording(const std::string& path);
/// Opens a regular file. Failure: as CheckRecording, and a file that can't be opened.
std::ifstream OpenRecording(const std::string& path);

/// Hands every line of a text to `visit`, without its end (LF or CR LF), as they come. Blank lines are left out.
/// @param skipped  notes the lines for which `visit` throws an Error; null: the first of them ends the reading
/// Failure: Error QOR_SIM_ERROR_FILE that names the file; if it was `visit` that failed, also the line and that reason.
void ReadLines(std::istream& text, const std::string& file, const std::function<void(std::string_view line)>& visit,
               SkippedLines* skipped = nullptr);

/// "Cannot read PLACE: REASON." A place is a file, perhaps with a line or a packet in it.
Error Unreadable(const std::string& place, const std::string& reason);
/// "Cannot replay FILE: it holds no frames."; for a file none of whose lines can be read, the first one and its reason.
Error NoFrames(const std::string& file, const SkippedLines& skipped = {});

/// Names with commas between them.
std::string Joined(const std::vector<std::string>& names);

/// The items of a file, in any order. A file may have several parts (interfaces, channels); one of them is replayed.
class Recording {
 public:
  /// @param timeOffset  where the timestamp, eight bytes, stands in every item
  /// @param wanted      the part whose items are kept; none: those of all parts
  explicit Recording(size_t timeOffset, std::optional<std::string> wanted = {})
      : TimeOffset(timeOffset), Wanted(std::move(wanted)) {}

  /// @param time  ns, as in the file
  /// @param item  at most 65535 bytes; its timestamp may hold anything
  void Add(std::string_view part, uint64_t time, std::span<const unsigned char> item);

  /// In order of their names.
  std::vector<std::string> Parts() const;

  /// Lines of the file that hold no item.
  SkippedLines Skipped;

  /// The items of one part, in order of their times, those of the same time as they were added.
  std::unique_ptr<ItemSource> Replay(const std::string& part, TimeOrigin origin) &&;

 private:
  struct Place {
    uint64_t Time;  // ns, as in the file
    size_t Offset;  // in Bytes
  };
  struct Items {
    std::vector<Place> Places;
    std::vector<unsigned char> Bytes;  // each item with its length, two bytes, before it
  };
  class Source;

  const size_t TimeOffset;
  const std::optional<std::string> Wanted;
  std::map<std::string, Items, std::less<>> ByPart;
  uint64_t Earliest = ~uint64_t{0};  // ns, of all parts
};

}  // namespace qor_sim
