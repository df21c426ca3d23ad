#include "outputs/SeriesPlan.h"

#include <fmt/format.h>

#include "system/Failure.h"
#include "system/Units.h"

namespace client {

namespace {

constexpr unsigned long kSmallest = 64ul << 10;     // bytes; below, a file's own description is most of it
constexpr unsigned long kShortest = 1'000'000'000;  // ns
constexpr unsigned long kDay = 86400 * kShortest;

}  // namespace

void CheckSeriesPlan(const SeriesPlan& plan) {
  if (plan.Keeps() && !plan.Splits())
    throw UsageError("--keep and --keep-size are about the files of a series; add --split-size or --split-time");
  if (plan.Size && *plan.Size < kSmallest)
    throw UsageError(fmt::format("--split-size is at least {}", FormatSize(kSmallest)));
  if (plan.Time && *plan.Time < kShortest) throw UsageError("--split-time is at least 1s");
  if (plan.Grid != SplitGrid::FirstEntry && !plan.Time)
    throw UsageError("--split-clock is about --split-time; add it, as in --split-time 10m");
  if (plan.Grid != SplitGrid::FirstEntry && kDay % *plan.Time != 0)
    throw UsageError("--split-clock needs a --split-time that divides a day, such as 30s, 10m, 1h or 24h");
  if (plan.KeepFiles == 0ul) throw UsageError("--keep is at least 1");
  if (plan.KeepSize && *plan.KeepSize < plan.Size.value_or(kSmallest))
    throw UsageError(plan.Size ? "--keep-size is less than one file; give at least what --split-size has"
                               : fmt::format("--keep-size is at least {}", FormatSize(kSmallest)));
}

}  // namespace client
