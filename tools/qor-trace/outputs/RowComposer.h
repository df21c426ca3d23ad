// Records as rows of a flat table, for data analysis: docs/analysis.md describes the columns.
#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

#include "record/RecordView.h"
#include "stream/Description.h"
#include "stream/TimeBase.h"

namespace client {

/// The version of the columns, which every row has. A column that is added raises it, as does a change of meaning.
inline constexpr long kRowVersion = 1;

/// How rows are written down.
enum class RowFormat { Ndjson, Csv };

/// What all rows of a file have in common.
struct RowOrigin {
  std::string Recording;  // its id: RowId
  TimeBase Times;
};

/// Composes rows. Every row of every file has all columns, in one order, whatever its bus. A number that a row has none for
/// is -1 and a text is empty, never null: an empty cell would leave the type of its column to the rows that a reader happens
/// to look at first. Times are never negative: readers that find out the types give columns with numbers of either sign a
/// type of more than 64 bits, which some of them can't hand on without rounding.
class RowComposer {
 public:
  explicit RowComposer(RowFormat format);

  /// What a file begins with: the names of the columns; nothing in NDJSON, where each row has them.
  [[nodiscard]] std::string Header() const;

  /// Bytes that the row of a record may take.
  [[nodiscard]] static size_t Room(const RecordView& record);
  /// @param out  Room() bytes
  /// @return     the end of the row, past its newline
  [[nodiscard]] char* Compose(char* out, const RecordView& record, const RowOrigin& origin) const;

  static constexpr size_t kLossRoom = 4096;  // bytes
  /// The row of a loss, of kind "loss".
  /// @param busType  of the channel; BusType_Ethernet + 1 where it isn't known
  [[nodiscard]] char* ComposeLoss(char* out, const Loss& loss, unsigned char busType, const RowOrigin& origin) const;

  /// How a row is written, or the names of its columns.
  enum class Style { Ndjson, Csv, Names };

 private:
  const Style Format;
  std::array<std::string, BusType_Ethernet + 1> Empty;  // by bus: its columns in a row of another bus
};

/// The id that the rows of a recording have: its own, if that is 32 digits in five groups, so that readers may take the
/// column for identifiers of that form. Otherwise one is made of it, or, of a recording without any, of the first record: two
/// conversions of a file agree.
[[nodiscard]] std::string RowId(const std::string& id, const RecordView& first);

}  // namespace client
