// How far a file has been read, and whether to go on.
#pragma once

#include <string>

#include "inputs/Reader.h"
#include "system/Signals.h"
#include "system/Terminal.h"

namespace client {

/// Shows progress while a Reader reads, and ends the reading when a stop is requested.
class ReadingProgress {
 public:
  /// @param elsewhere  as for LiveLine
  ReadingProgress(const Reader& reader, const Signals& signals, bool elsewhere)
      : Input(reader), StopSignals(signals), Line(elsewhere) {}

  [[nodiscard]] GoOn MayGoOn() {
    return [this] {
      if (Line.IsDue()) Line.Show(Text());
      return !StopSignals.StopRequested();
    };
  }
  void Clear() { Line.Clear(); }

 private:
  [[nodiscard]] std::string Text() const;

  const Reader& Input;
  const Signals& StopSignals;
  LiveLine Line;
};

}  // namespace client
