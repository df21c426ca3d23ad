// Lines of recordings in CSV form: one item of a LIN or FlexRay bus each. docs/simulator.md has the columns and kinds.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "Recording.h"

namespace qor_sim {

constexpr std::string_view kCsvHeader = "timestamp_ns,channel,kind,flags,id,cycle,crc,data";

enum class CsvColumn { Time, Channel, Kind, Flags, Id, Cycle, Crc, Data };
constexpr size_t kCsvColumns = 8;

/// Reads the columns of a line. What the line's kind doesn't take from it is found by Finish.
/// Failure of all calls: Error QOR_SIM_ERROR_SOURCE with the reason, without file and line.
class CsvLine {
 public:
  /// `line` outlives this.
  explicit CsvLine(std::string_view line);

  std::string_view Text(CsvColumn column) const { return Columns[static_cast<size_t>(column)]; }
  std::string_view Kind() const { return Text(CsvColumn::Kind); }

  bool TakeFlag(std::string_view name);
  /// The place of the first of the names that is a flag. Failure: none is.
  size_t TakeOneFlag(std::span<const std::string_view> names);
  Direction TakeDirection(Direction fallback);
  /// Nothing for an empty column. Failure: no number, decimal or hexadecimal with 0x, from least to greatest.
  std::optional<uint64_t> TakeNumber(CsvColumn column, uint64_t least, uint64_t greatest);
  /// Failure: as TakeNumber, and an empty column.
  uint64_t NeedNumber(CsvColumn column, uint64_t least, uint64_t greatest);
  std::vector<unsigned char> TakeData(size_t greatestLength);

  /// Refuses flags and columns that nobody took.
  void Finish() const;

 private:
  void SplitFlags();
  void Take(CsvColumn column) { Taken[static_cast<size_t>(column)] = true; }

  std::string_view Columns[kCsvColumns];
  bool Taken[kCsvColumns] = {};
  std::vector<std::string_view> Flags;  // those that nobody took yet
};

enum class CsvBus { Lin, FlexRay };
constexpr uint64_t kCsvGreatestChannel = 65535;  // LIN

/// What the lines of a file don't say.
struct CsvDefaults {
  Direction Fallback = Direction::Received;
  uint32_t BitRate = 19200;  // LIN, bit/s
};

struct CsvItem {
  CsvBus Bus = CsvBus::Lin;
  uint64_t Channel = 0;              // LIN; else 0
  uint64_t Time = 0;                 // ns
  std::vector<unsigned char> Bytes;  // in the layout of the bus
};

/// Reads one line into `item`, and reuses its bytes. Failure: as CsvLine.
void ParseCsvLine(std::string_view line, const CsvDefaults& defaults, CsvItem& item);

/// Parts of ParseCsvLine: the kinds of each bus.
void ParseLinLine(CsvLine& line, const CsvDefaults& defaults, CsvItem& item);
void ParseFlexRayLine(CsvLine& line, const CsvDefaults& defaults, CsvItem& item);

/// "there is no kind NAME; there are A, B."
Error NoSuchKind(std::string_view name, const std::vector<std::string>& known);

}  // namespace qor_sim
