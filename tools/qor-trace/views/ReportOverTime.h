// The charts over time of a report, as a section of its page.
#pragma once

#include <cstddef>
#include <string>

#include "views/ReportData.h"

namespace client {

inline constexpr size_t kMostCharts = 24;  // channels that have one: those with most entries; the others are named

/// Of each channel its load, and beneath it on the same axis its errors, losses, silences and trigger events. Empty for a recording
/// of a single moment.
[[nodiscard]] std::string OverTimeSection(const ReportSubject& report);

}  // namespace client
