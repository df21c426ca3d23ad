// How far a file has been read, and whether to go on.
#pragma once

#include <string>

#include "inputs/BinReader.h"
#include "stream/Description.h"
#include "system/Signals.h"
#include "system/Terminal.h"

namespace client {

/// Shows progress while a BinReader reads, and ends the reading when a stop is requested.
class ReadingProgress {
 public:
  /// @param elsewhere  as for LiveLine
  ReadingProgress(const BinReader& reader, const Signals& signals, bool elsewhere)
      : Reader(reader), StopSignals(signals), Line(elsewhere) {}

  [[nodiscard]] BinReader::GoOn GoOn() {
    return [this] {
      if (Line.IsDue()) Line.Show(Text());
      return !StopSignals.StopRequested();
    };
  }
  void Clear() { Line.Clear(); }

 private:
  [[nodiscard]] std::string Text() const;

  const BinReader& Reader;
  const Signals& StopSignals;
  LiveLine Line;
};

/// The description beside a file; says what couldn't be taken of it. One without any is complete, for what is known.
[[nodiscard]] Description DescriptionOf(BinReader& reader, const std::string& path);

/// Refuses an input with nothing to read, before anything is made.
/// @param input  path of a file, or "-" for standard input
/// Failure: UsageError when standard input is a terminal, else as CheckInputFile.
void CheckInput(const std::string& input);

}  // namespace client
