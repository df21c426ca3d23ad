#include "commands/TimeArguments.h"

#include <fmt/format.h>

#include "commands/Command.h"
#include "system/Failure.h"
#include "system/Units.h"

namespace client {

void TimeArguments::AddTo(Command& command) {
  command.Add("--start-time", StartTime,
              "When the first entry was, in place of what is known: 2026-11-21T14:30:00 in local time, or with "
              "Z appended in UTC");
  command.Add("--time-format", Format,
              "How tables show times: relative (s since the start of the recording), utc, local or epoch (s since "
              "1970)");
}

std::optional<unsigned long> TimeArguments::FirstTime() const {
  if (StartTime.empty()) return std::nullopt;
  if (const auto time = ParseWallClock(StartTime)) return time;
  throw UsageError(fmt::format("\"{}\" is no time; write 2026-11-21T14:30:00, or with Z after it for UTC", StartTime));
}

TimeFormat TimeArguments::TableFormat() const {
  if (Format == "relative") return TimeFormat::Relative;
  if (Format == "utc") return TimeFormat::Utc;
  if (Format == "local") return TimeFormat::Local;
  if (Format == "epoch") return TimeFormat::Epoch;
  throw UsageError(fmt::format("\"{}\" is no format of times; there are relative, utc, local and epoch", Format));
}

}  // namespace client
