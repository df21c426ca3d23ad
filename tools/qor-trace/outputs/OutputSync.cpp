#include "outputs/OutputSync.h"

#include <fmt/format.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <utility>

namespace client {

OutputSync::OutputSync(std::chrono::nanoseconds interval)
    : Interval(interval), Rounds(interval), KeptUpTo(std::chrono::steady_clock::now()) {}

void OutputSync::Begin(std::vector<DiskSync::Files> outputs) {
  Begun = std::chrono::steady_clock::now();
  UnderWay = true;
  Disk.Begin(std::move(outputs));
}

/// What came right after one round began had to wait until the next one ended.
std::vector<int> OutputSync::Heed(std::optional<DiskSync::Result> result) {
  if (!result) return {};
  UnderWay = false;
  ++Done;
  LongestWait = std::max<std::chrono::nanoseconds>(LongestWait, result->End - KeptUpTo);
  KeptUpTo = Begun;
  return std::move(result->Errors);
}

std::string OutputSync::Text() const {
  if (LongestWait <= 2 * Interval) return "";
  const auto seconds = [](std::chrono::duration<double> time) { return time.count(); };
  return fmt::format("The disk was slow: it took up to {:.1f} s until what was recorded was on it (--sync {:g}s)\n",
                     seconds(LongestWait), seconds(Interval));
}

nlohmann::json OutputSync::Json() const {
  return {{"interval_ns", Interval.count()}, {"rounds", Done}, {"longest_wait_ns", LongestWait.count()}};
}

}  // namespace client
