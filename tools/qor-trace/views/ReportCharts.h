// The charts of a report, as SVG within the page.
#pragma once

#include <string>
#include <vector>

#include "views/ChannelTimes.h"
#include "views/Intervals.h"
#include "views/LoadCurve.h"
#include "views/TimeAxis.h"

namespace client {

/// A load above all that a curve shows, for the top of its chart: 1, 2 or 5 times a power of ten, in percent.
/// @param greatest  percent
[[nodiscard]] double LoadTop(double greatest);

/// The greatest value that a curve's chart shows, percent: its peaks, or the bins where they are no wider than a peak's window.
[[nodiscard]] double GreatestLoad(const LoadCurve& curve, const TimeAxis& axis);

/// The load over time: an area of the means of the bins, and where bins are wider than the window of the peaks, a line above it.
/// Stretches to its place's width; texts stand beside it.
/// @param top    percent
/// @param label  what it is, in words
[[nodiscard]] std::string LoadChart(const LoadCurve& curve, const TimeAxis& axis, double top, const std::string& label);

/// Marks of bins, higher where there is more.
/// @param kind  a class of the page's style
[[nodiscard]] std::string CountStrip(const TimeBins<unsigned long>& counts, const TimeAxis& axis, const char* kind,
                                     const std::string& label);

/// A time on a strip.
struct Stretch {
  unsigned long From = 0;
  unsigned long To = 0;
  std::string Words = {};  // shown by a pointer that rests on it
};
/// Short ones are drawn wide enough to be seen.
[[nodiscard]] std::string StretchStrip(const std::vector<Stretch>& stretches, const TimeAxis& axis, const char* kind,
                                       const std::string& label);

/// How long the intervals were, on a logarithmic axis: of regular ones from half to twice the typical one, of others from the
/// least to the greatest. Of at least one interval.
[[nodiscard]] std::string IntervalChart(const Intervals& intervals);

}  // namespace client
