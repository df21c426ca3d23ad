// LIN and FlexRay recordings in CSV files.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "CsvLine.h"
#include "ItemSource.h"
#include "Recording.h"

namespace qor_sim {

/// What one port replays of a file: a LIN channel, or its FlexRay bus.
struct CsvPart {
  CsvBus Bus = CsvBus::Lin;
  uint64_t Channel = 0;  // LIN; else 0

  bool operator==(const CsvPart&) const = default;
  /// LIN before FlexRay; by channel.
  bool operator<(const CsvPart& other) const { return std::tie(Bus, Channel) < std::tie(other.Bus, other.Channel); }
};

/// Selects parts of a file; unset fields match all.
struct CsvChoice {
  std::optional<CsvBus> Bus = {};
  std::optional<uint64_t> LinChannel = {};
};

struct CsvContents {
  std::vector<CsvPart> Parts;  // in order; at least one
  bool HoldsBoth = false;      // the file has parts of both buses, chosen or not
};

/// The parts of a file that fit the choice.
/// Failure: Error QOR_SIM_ERROR_FILE that names the file and, for an unreadable line, its number; a file without frames.
/// Error QOR_SIM_ERROR_SOURCE: no part fits.
CsvContents ListCsv(const std::string& path, const CsvChoice& choice, BadLines bad = BadLines::Refuse);

struct CsvSettings {
  CsvChoice Choice;  // one part of the file must fit
  TimeOrigin Origin = TimeOrigin::File;
  CsvDefaults Defaults;
  BadLines Bad = BadLines::Refuse;  // a line before the header is a bad one
};

struct CsvSource {
  CsvBus Bus = CsvBus::Lin;
  std::unique_ptr<ItemSource> Items;
};

/// The items of one part, in order of their times; those of the same time in the order of their lines. The source begins
/// with the earliest item of the file, whichever its part. The file is read whole, here.
/// Failure: as ListCsv; several parts fit the choice.
CsvSource MakeCsvSource(const std::string& path, const CsvSettings& settings);

/// The same for a text in memory; `file` is what errors call it.
CsvSource ParseCsv(std::string_view text, const std::string& file, const CsvSettings& settings);

}  // namespace qor_sim
