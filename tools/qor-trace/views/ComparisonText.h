// What a comparison has found, for people and for programs.
#pragma once

#include <array>
#include <nlohmann/json_fwd.hpp>
#include <string>

#include "views/Comparison.h"
#include "views/TimeText.h"

namespace client {

/// How times are shown: each recording's own.
struct ComparedTimes {
  TimeFormat Format = TimeFormat::Relative;
  std::array<TimeBase, 2> Moments = {};  // by side
};

/// The differences that are shown, several lines each. Empty without any.
[[nodiscard]] std::string DifferencesText(const Comparison& comparison, const ComparedTimes& times);
/// What was equal and what not, channel by channel, and a verdict.
/// @param whole  both were read to their ends; else there is none
[[nodiscard]] std::string ComparedText(const Comparison& comparison, bool whole = true);

[[nodiscard]] nlohmann::json DifferencesJson(const Comparison& comparison);
/// Of a channel, or of all.
[[nodiscard]] nlohmann::json CountsJson(const ComparedCounts& counts);
[[nodiscard]] nlohmann::json ChannelsJson(const Comparison& comparison);
/// Null without a pair.
[[nodiscard]] nlohmann::json SpreadJson(const Comparison& comparison);

/// "+0.000000300": s.
[[nodiscard]] std::string FormatApart(long ns);

}  // namespace client
