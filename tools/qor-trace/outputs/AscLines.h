// One record, one line of an ASC log as other programs read it.
//
// CAN lines are those that readers of the format agree on: classic frames in the classic form, FD frames as CANFD, remote
// frames with `r`, error frames as ErrorFrame. LIN, FlexRay and Ethernet lines have the columns of the library's own export.
// Unlike there, each line ends in a line feed, and how its numbers look depends on nothing that came before it.
#pragma once

#include <algorithm>
#include <cstddef>
#include <optional>

#include "outputs/AscOmission.h"
#include "record/RecordView.h"

namespace client {

/// What the lines of a log look like.
struct AscStyle {
  bool Decimal = false;  // numbers of the header's base are decimal; else hexadecimal
  int Decimals = 6;      // of seconds: 6, which all readers take, or 9
};

/// When a record happened, in units of the last decimal.
struct AscTime {
  unsigned long Column = 0;      // what the line begins with
  unsigned long SinceStart = 0;  // of the log; LIN lines have it in a field as well
};

struct ComposedLine {
  char* End;
  std::optional<AscOmission> Omission = std::nullopt;
};

/// Bytes that the lines of a record may need, at most kMostAscRoom.
[[nodiscard]] inline size_t AscRoom(const RecordView& record) {
  constexpr size_t kUsual = 4096;
  if (record.Bus() != BusType_Ethernet) return kUsual;
  return kUsual + 2 * std::min<size_t>(record.Length(), 65535);
}
inline constexpr size_t kMostAscRoom = 4096 + 2 * size_t{65535};

/// Writes the line of a record at `out`, where AscRoom(record) bytes must be free. A comment line follows it where entries
/// were lost after this one, or the frame has a CRC error. A malformed record becomes a comment: readers would take whatever
/// stood in the place of a missing byte for data.
ComposedLine ComposeAscLine(const AscStyle& style, const RecordView& record, const AscTime& time, char* out);

}  // namespace client
