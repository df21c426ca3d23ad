// The columns of a live table: which have room, and what is in them.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "system/Grid.h"
#include "views/LiveTable.h"

namespace client {

enum class CellKind : unsigned char { Channel, Bus, Message, Kind, Direction, Count, Rate, Cycle, Jitter, Data };

struct TableColumn {
  CellKind Cell;
  std::string Heading;
  size_t Width;
  bool Right;        // right-aligned, for numbers
  size_t Begin = 0;  // column of the screen
};

/// Of a byte that has changed.
inline constexpr Style kMarked{.Colour = Ink::Changed, .Bold = true, .Underlined = true};

/// The columns that fit a screen, from the second one on; the data get what is left.
[[nodiscard]] std::vector<TableColumn> LayOut(const std::vector<LiveRow>& rows, size_t columns);
[[nodiscard]] bool HasColumn(const std::vector<TableColumn>& columns, CellKind cell);

/// What stands in a column other than that of the data.
[[nodiscard]] std::string CellText(const TableColumn& column, const LiveRow& row);

/// The order that sorts by a column, if there is one.
[[nodiscard]] std::optional<RowOrder> OrderOf(CellKind cell);

/// A frame like any other, of which nothing needs to be said.
[[nodiscard]] bool IsPlain(RecordKind kind);

/// Three letters at most.
[[nodiscard]] const char* ShortBusName(unsigned char busType);

/// A number in at most so many characters: with as many decimals as fit, up to a most; "1234k" where digits don't.
[[nodiscard]] std::string Fitted(double number, size_t width, int decimals);
/// ns as milliseconds.
[[nodiscard]] std::string Milliseconds(std::optional<unsigned long> ns, size_t width);

}  // namespace client
