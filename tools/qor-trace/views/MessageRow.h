// A message in the list, and what each bus shows of its messages.
#pragma once

#include <cstddef>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <span>
#include <string>
#include <tuple>
#include <vector>

#include "record/RecordView.h"
#include "views/TextTable.h"

namespace client {

/// What distinguishes messages; in the order of rows.
struct MessageKey {
  unsigned char BusType = 0;
  unsigned int Channel = 0;
  std::string Name;  // as the bus has it: BusRows::KeyOf
  RecordKind Kind = {};

  bool operator<(const MessageKey& other) const {
    return std::tie(BusType, Channel, Name, Kind) < std::tie(other.BusType, other.Channel, other.Name, other.Kind);
  }
};

/// The entries of one message: counted, and the newest kept.
struct MessageRow {
  size_t Number = 0;  // in the order in which messages came, from 0 on
  unsigned long Count = 0;
  unsigned long Timestamp = 0;  // ns, of the newest entry
  unsigned long Cycle = 0;      // ns since the entry before; 0 for the first
  unsigned long BusCycles = 0;  // FlexRay frames: bit n for bus cycle n
  std::vector<unsigned char> Newest;

  /// The newest entry; only of a row that has taken one.
  [[nodiscard]] RecordView Record() const { return {Newest.data(), static_cast<unsigned int>(Newest.size())}; }
};

/// What is particular to the messages of one bus.
class BusRows {
 public:
  virtual ~BusRows() = default;

  /// Distinguishes the messages of a channel and kind; rows are sorted by it.
  [[nodiscard]] virtual std::string KeyOf(const RecordView& record) const = 0;

  /// Names a message in one cell.
  [[nodiscard]] virtual std::string Name(const MessageRow& row) const = 0;

  /// Columns that name a message, and columns with details of its newest entry; with the cells of each.
  [[nodiscard]] virtual std::vector<Column> NameColumns() const = 0;
  [[nodiscard]] virtual std::vector<std::string> NameCells(const MessageRow& row) const = 0;
  [[nodiscard]] virtual std::vector<Column> MoreColumns() const = 0;
  [[nodiscard]] virtual std::vector<std::string> MoreCells(const MessageRow& row) const = 0;

  /// Adds what the columns show.
  virtual void AddJson(const MessageRow& row, nlohmann::json& json) const = 0;

  /// The data of an entry.
  [[nodiscard]] virtual std::span<const unsigned char> Data(const RecordView& record) const = 0;
};

[[nodiscard]] const BusRows& CanRows();
[[nodiscard]] const BusRows& LinRows();
[[nodiscard]] const BusRows& FlexRayRows();
[[nodiscard]] const BusRows& EthernetRows();

/// Null for an unknown bus.
[[nodiscard]] const BusRows* RowsOf(unsigned char busType);

/// A number as bytes whose order is that of the numbers.
[[nodiscard]] std::string KeyOfNumber(unsigned int number);

/// FlexRay cycles in which a message comes: those that leave `Base` when divided by `Repetition`, which is a power of two
/// up to 64, the greatest that fits.
struct CycleFilter {
  unsigned int Base;
  unsigned int Repetition;
};

/// @param cycles  bit n for cycle n; not 0
[[nodiscard]] CycleFilter CycleFilterOf(unsigned long cycles);

/// "B", "AB": how a FlexRay channel code reads; "-" for others.
[[nodiscard]] const char* FlexRayChannels(unsigned char code);

}  // namespace client
