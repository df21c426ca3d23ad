#include "commands/StatsLines.h"

#include <fmt/format.h>

#include <nlohmann/json.hpp>
#include <utility>

#include "commands/Command.h"
#include "commands/EventJson.h"
#include "system/Failure.h"
#include "system/Terminal.h"
#include "system/Units.h"

namespace client {

namespace {

constexpr unsigned long kShortest = 100'000'000;  // ns
constexpr unsigned long kLook = 256;              // entries between two looks at the clock

}  // namespace

void StatsArguments::AddTo(Command& command) {
  command.Add("--stats", Interval,
              "Say each interval, e.g. 1s, what comes over the channels, what is lost, what waits, and how long the "
              "disk lasts; with --json as lines for programs");
}

std::optional<unsigned long> StatsArguments::Plan() const {
  if (Interval.empty()) return std::nullopt;
  const auto interval = ParseDuration(Interval);
  if (!interval || *interval < kShortest)
    throw UsageError(
        fmt::format("--stats \"{}\" is no interval; write 1s, or another one of at least 100ms", Interval));
  return interval;
}

StatsLines::StatsLines(std::optional<unsigned long> interval, const BitRates& rates, bool json)
    : Interval(interval), Json(json), Due(std::chrono::nanoseconds(interval.value_or(kShortest))), Stats(rates) {}

void StatsLines::Begin(std::function<State()> ask) {
  Ask = std::move(ask);
  Begun = std::chrono::steady_clock::now();
  Due.Restart();
}

bool StatsLines::Take(const RecordView& record) {
  if (!Interval) return true;
  if (++Records % kLook == 0) TellIfDue();
  return Stats.Take(record);
}

void StatsLines::Pause() {
  if (Interval) TellIfDue();
}

void StatsLines::Finish() {
  if (Interval) Tell();
}

void StatsLines::TellIfDue() {
  if (Due.IsDue()) Tell();
}

void StatsLines::Tell() {
  State state = Ask();
  state.Machine.Elapsed = static_cast<unsigned long>(
      std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now() - Begun).count());
  Stats.Look(state.Machine, state.Losses);
  if (Json)
    PrintEvent("stats", Stats.Json());
  else
    Say(Stats.Text());
}

}  // namespace client
