// Reads an input to its end, for commands that say something of it as a whole.
#pragma once

#include <memory>
#include <string>

#include "inputs/Reader.h"
#include "stream/RecordSink.h"
#include "system/Signals.h"

namespace client {

/// What became of it.
struct WholeInput {
  std::unique_ptr<Reader> Source;  // that has read; null: it couldn't be opened
  std::string Error;               // why it can't be read any further; empty: nothing is wrong with it
  bool Stopped = false;            // by a signal, before its end
};

enum class NoRecords { Fine, Refused };

/// Hands all records of an input to a sink.
/// @param progress  is shown without a terminal as well
/// @param none      what an input without a record is
/// Failure: UsageError only; what fails otherwise is in the result.
[[nodiscard]] WholeInput ReadWhole(const std::string& file, RecordSink& sink, NoRecords none, bool progress,
                                   const Signals& signals);

}  // namespace client
