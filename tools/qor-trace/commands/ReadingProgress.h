// How far a file has been read, and whether to go on.
#ifndef QOR_TRACE_READINGPROGRESS_H
#define QOR_TRACE_READINGPROGRESS_H

#include <string>

#include "inputs/BinReader.h"
#include "system/Signals.h"
#include "system/Terminal.h"

namespace client {

/// Shows progress while a BinReader reads, and ends the reading when a stop is requested.
class ReadingProgress {
 public:
  /// @param elsewhere  as for LiveLine
  ReadingProgress(const BinReader& reader, const Signals& signals, bool elsewhere)
      : Reader(reader), StopSignals(signals), Line(elsewhere) {}

  BinReader::GoOn GoOn() {
    return [this] {
      if (Line.IsDue()) Line.Show(Text());
      return !StopSignals.StopRequested();
    };
  }
  void Clear() { Line.Clear(); }

 private:
  std::string Text() const;

  const BinReader& Reader;
  const Signals& StopSignals;
  LiveLine Line;
};

/// Failure: UsageError when standard input is a terminal.
void RefuseTerminalInput();

}  // namespace client

#endif  // QOR_TRACE_READINGPROGRESS_H
