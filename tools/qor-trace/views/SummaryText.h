// The summary's words, for people and for programs.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

#include "views/Summary.h"

namespace client {

/// How times are shown.
struct ShownTimes {
  TimeFormat Format = TimeFormat::Relative;
  TimeBase Moment = {};
};

/// Lines about a channel, each closed by a newline.
/// @param span  ns: what the bus load refers to, mostly the whole recording
[[nodiscard]] std::string ChannelText(unsigned int number, const ChannelSummary& channel, unsigned long span,
                                      const ShownTimes& times = {});

/// A line about all channels of a bus, closed by a newline.
[[nodiscard]] std::string BusText(unsigned char busType, unsigned int channels, const Counts& counts);

/// ", FlexRay at 10M bit/s"
[[nodiscard]] std::string BitRateText(unsigned char busType, const BitRates& rates);

/// Lines about lines that could not be read, each closed by a newline: "some.log: LOST: 1 line ...", "  some.log:2: why".
[[nodiscard]] std::string UnreadText(const UnreadLines& lines);
[[nodiscard]] nlohmann::json UnreadJson(const UnreadLines& lines);

/// A line, closed by a newline: "LOST: a line that can't be read, 3 times; the first at line 12".
[[nodiscard]] std::string FindingText(const Finding& finding);
[[nodiscard]] nlohmann::json FindingJson(const Finding& finding);

[[nodiscard]] nlohmann::json ChannelJson(unsigned int number, const ChannelSummary& channel, unsigned long span,
                                         const BitRates& rates);
[[nodiscard]] nlohmann::json BusJson(unsigned char busType, unsigned int channels, const Counts& counts);

}  // namespace client
