// One row of the CSV of LIN and FlexRay, as the parts of a record. docs/simulator.md has its columns and kinds.
#pragma once

#include <optional>
#include <span>
#include <string_view>
#include <variant>

#include "inputs/LineFault.h"
#include "inputs/MadeRecord.h"

namespace client {

constexpr std::string_view kCsvHeader = "timestamp_ns,channel,kind,flags,id,cycle,crc,data";

struct CsvEntry {
  unsigned long Time = 0;                                 // ns
  std::optional<unsigned int> LinChannel = std::nullopt;  // 0 to 65535; nothing on FlexRay, of which there is one
  std::variant<LinParts, FlexRayParts> Parts = {};
};

/// Room for the data of any row.
using CsvBytes = std::span<unsigned char, 254>;

/// Reads a row; the entry's data lie in `room`.
[[nodiscard]] std::optional<LineFault> ReadCsvRow(std::string_view text, CsvBytes room, CsvEntry& entry);

}  // namespace client
