#include "commands/WholeInput.h"

#include "commands/ReadingProgress.h"
#include "inputs/Inputs.h"
#include "system/Failure.h"

namespace client {

WholeInput ReadWhole(const std::string& file, RecordSink& sink, NoRecords none, bool progress, const Signals& signals) {
  WholeInput input;
  try {
    input.Source = OpenInput(file);
    ReadingProgress shown(*input.Source, signals, progress);
    const ReadingEnd end = ReadAll(*input.Source, sink, shown.MayGoOn());
    shown.Clear();
    input.Stopped = end == ReadingEnd::Stopped;
    if (none == NoRecords::Refused && end == ReadingEnd::Whole) RefuseWithoutRecords(*input.Source, file);
  } catch (const UsageError&) {
    throw;
  } catch (const Failure& failure) {
    input.Error = failure.what();
  }
  return input;
}

}  // namespace client
