// What the head of an ASC log says of its lines.
#pragma once

#include <optional>
#include <string_view>

#include "inputs/AscDate.h"

namespace client {

/// Takes lines in the order of the file; those that aren't of the head as well, so that nobody has to know where it ends.
class AscHead {
 public:
  /// Takes a line that has no time, comments included. False if it means nothing.
  bool Take(std::string_view line);

  [[nodiscard]] int Base() const { return Numbers; }
  [[nodiscard]] bool TimesAreRelative() const { return Relative; }
  /// Takes a line "Start of measurement" at time 0: it is the beginning of the block that counts, as some write the moment of
  /// writing into the head.
  void StartWithBlock() {
    if (BlockBegan) Start = BlockBegan;
  }

  /// What times count from. Of the first head, if several files or blocks have one.
  [[nodiscard]] const std::optional<AscDate>& Date() const { return Start; }
  /// A block of lines was begun, and its end didn't come.
  [[nodiscard]] bool IsInBlock() const { return InBlock; }

  /// The library's own export wrote it: its numbers and relative times mean something else, and its date is that of the
  /// export.
  [[nodiscard]] bool IsExport() const { return Start && Start->Plain && InternalEvents && Version; }

 private:
  [[nodiscard]] bool TakeBase(std::string_view line);

  int Numbers = 16;
  bool Relative = false;
  std::optional<AscDate> Start;
  std::optional<AscDate> BlockBegan;
  bool InternalEvents = false;  // "internal events logged"
  bool Version = false;         // "// version 8.1.0"
  bool InBlock = false;
};

}  // namespace client
