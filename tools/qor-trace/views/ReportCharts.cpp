#include "views/ReportCharts.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <iterator>

#include "views/HtmlText.h"

namespace client {

namespace {

constexpr double kWidth = 1000;      // of charts over time, in their own units
constexpr double kLeastWidth = 2.5;  // of a mark
constexpr double kStrip = 10;        // height of a strip

/// At most one decimal: "12.5", "12".
std::string Number(double value) {
  const double tenths = std::round(value * 10);
  if (std::fmod(tenths, 10) == 0) return fmt::format("{:.0f}", tenths / 10);
  return fmt::format("{:.1f}", tenths / 10);
}

double XOf(unsigned long time, const TimeAxis& axis) { return kWidth * axis.PlaceOf(time); }

/// Calls `use` with the time of each bin that lies on the axis, as far as it does, and the bin.
template <class Bin, class Use>
void ForEachBin(const TimeBins<Bin>& bins, const TimeAxis& axis, Use use) {
  unsigned long begin = bins.Begin();
  for (const Bin& bin : bins.All()) {
    const unsigned long end = begin > ~0ul - bins.Width() ? ~0ul : begin + bins.Width();
    const unsigned long from = std::max(begin, axis.First()), to = std::min(end, axis.End());
    if (from < to) use(from, to, bin);
    begin = end;
  }
}

double Percent(double busy, unsigned long time) { return 100 * busy / static_cast<double>(time); }

bool HasPeaks(const LoadCurve& curve) { return curve.Bins().Width() > LoadCurve::kWindow; }

/// A line of steps, as a path from the base and back to it.
class Steps {
 public:
  explicit Steps(double top) : Top(top) {}

  void Add(double from, double to, double value) {
    const std::string place = Number(100 - 100 * std::min(value / Top, 1.0));
    if (Path.empty()) Begin(from, place);
    if (place != Latest) {
      Path += fmt::format("H{}V{}", Number(from), place);
      Latest = place;
    }
    End = to;
  }
  [[nodiscard]] std::string Line() const { return Path.empty() ? "" : Path + "H" + Number(End); }
  [[nodiscard]] std::string Area() const { return Path.empty() ? "" : Line() + "V100Z"; }

 private:
  void Begin(double from, const std::string& place) {
    Path = fmt::format("M{} 100V{}", Number(from), place);
    Latest = place;
  }

  const double Top;
  std::string Path;
  std::string Latest;  // height
  double End = 0;
};

std::string Grid(const TimeAxis& axis, double height) {
  std::string path;
  for (const TimeAxis::Tick& tick : axis.Ticks())
    path += fmt::format("M{} 0V{}", Number(kWidth * tick.Place), Number(height));
  return path;
}

std::string OpenChart(const char* kind, double height, const std::string& label) {
  return fmt::format(
      "<svg class=\"{}\" viewBox=\"0 0 {} {}\" preserveAspectRatio=\"none\" role=\"img\" aria-label=\"{}\">", kind,
      Number(kWidth), Number(height), Html(label));
}

}  // namespace

double LoadTop(double greatest) {
  double decade = 0.01;
  while (decade < 1e12) {
    for (const double factor : {1.0, 2.0, 5.0})
      if (greatest <= decade * factor) return decade * factor;
    decade *= 10;
  }
  return decade;
}

double GreatestLoad(const LoadCurve& curve, const TimeAxis& axis) {
  double greatest = 0;
  ForEachBin(curve.Bins(), axis, [&](unsigned long from, unsigned long to, const LoadCurve::Bin& bin) {
    const double peak = HasPeaks(curve) ? Percent(bin.Peak, LoadCurve::kWindow) : 0;
    greatest = std::max({greatest, Percent(bin.Busy, to - from), peak});
  });
  return greatest;
}

std::string LoadChart(const LoadCurve& curve, const TimeAxis& axis, double top, const std::string& label) {
  Steps means(top), peaks(top);
  ForEachBin(curve.Bins(), axis, [&](unsigned long from, unsigned long to, const LoadCurve::Bin& bin) {
    means.Add(XOf(from, axis), XOf(to, axis), Percent(bin.Busy, to - from));
    peaks.Add(XOf(from, axis), XOf(to, axis), Percent(bin.Peak, LoadCurve::kWindow));
  });
  std::string svg = OpenChart("load", 100, label);
  svg += fmt::format("<path class=\"grid\" d=\"M0 0H1000M0 50H1000{}\"/>", Grid(axis, 100));
  svg += fmt::format("<path class=\"mean\" d=\"{}\"/>", means.Area());
  if (HasPeaks(curve)) svg += fmt::format("<path class=\"peak\" d=\"{}\"/>", peaks.Line());
  return svg + "</svg>";
}

std::string CountStrip(const TimeBins<unsigned long>& counts, const TimeAxis& axis, const char* kind,
                       const std::string& label) {
  const unsigned long most = counts.Empty() ? 0 : *std::max_element(counts.All().begin(), counts.All().end());
  std::string path;
  ForEachBin(counts, axis, [&](unsigned long from, unsigned long to, unsigned long count) {
    if (count == 0) return;
    // A third for a single one, so that it is seen.
    const double height = kStrip * (1 + 2 * static_cast<double>(count) / static_cast<double>(most)) / 3;
    const double begin = std::min(XOf(from, axis), kWidth - kLeastWidth);
    const double end = std::max(XOf(to, axis), begin + kLeastWidth);
    path += fmt::format("M{} {}V{}H{}V{}Z", Number(begin), Number(kStrip), Number(kStrip - height), Number(end),
                        Number(kStrip));
  });
  return OpenChart("strip", kStrip, label) +
         fmt::format("<path class=\"grid\" d=\"{}\"/><path class=\"{}\" d=\"{}\"/></svg>", Grid(axis, kStrip), kind,
                     path);
}

std::string StretchStrip(const std::vector<Stretch>& stretches, const TimeAxis& axis, const char* kind,
                         const std::string& label) {
  std::string svg = OpenChart("strip", kStrip, label);
  svg += fmt::format("<path class=\"grid\" d=\"{}\"/>", Grid(axis, kStrip));
  for (const Stretch& stretch : stretches) {
    const double begin = std::min(XOf(stretch.From, axis), kWidth - kLeastWidth);
    const double width = std::max(XOf(stretch.To, axis) - begin, kLeastWidth);
    svg += fmt::format("<rect class=\"{}\" x=\"{}\" width=\"{}\" y=\"1\" height=\"{}\"><title>{}</title></rect>", kind,
                       Number(begin), Number(width), Number(kStrip - 1), Html(stretch.Words));
  }
  return svg + "</svg>";
}

// ---- Intervals ------------------------------------------------------------------------------------------------------

namespace {

constexpr double kChartWidth = 192;  // pixels
constexpr double kBarsHeight = 30;   // likewise
constexpr unsigned int kMostBars = 64;

/// Bins of a histogram that become bars.
struct Bars {
  unsigned int First = 0;   // index of the first bin
  unsigned int PerBar = 1;  // bins
  unsigned int Count = 1;   // bars
  std::vector<unsigned long> Heights = {};

  [[nodiscard]] unsigned int End() const { return First + PerBar * Count; }
};

Bars BarsOf(const Intervals& intervals) {
  const auto& bins = intervals.Histogram().Bins();
  Bars bars;
  if (intervals.IsRegular()) {
    const unsigned int typical = LogHistogram::IndexOf(static_cast<unsigned long>(intervals.Typical()));
    bars = {typical - std::min(typical, LogHistogram::kPerDoubling), 1, 2 * LogHistogram::kPerDoubling};
  } else {
    const unsigned int range = bins.back().Index - bins.front().Index + 1;
    const unsigned int each = (range + kMostBars - 1) / kMostBars;
    bars = {bins.front().Index, each, (range + each - 1) / each};
  }
  bars.Heights.resize(bars.Count);
  for (const LogHistogram::Bin& bin : bins)
    if (bin.Index >= bars.First && bin.Index < bars.End())
      bars.Heights[(bin.Index - bars.First) / bars.PerBar] += bin.Count;
  return bars;
}

std::string IntervalLabel(const Intervals& intervals, unsigned long tallest) {
  return fmt::format("{} times, {} to {}; the highest bar is {}", intervals.Count(),
                     DurationText(static_cast<double>(intervals.Least())),
                     DurationText(static_cast<double>(intervals.Greatest())), tallest);
}

std::string AxisTexts(const Bars& bars, const Intervals& intervals) {
  const bool regular = intervals.IsRegular();
  const auto edge = [](unsigned int index) {
    return DurationText(static_cast<double>(LogHistogram::LowerEdge(index)));
  };
  std::string texts = fmt::format("<text y=\"42\">{}</text><text x=\"192\" y=\"42\" text-anchor=\"end\">{}</text>",
                                  edge(bars.First), edge(bars.End()));
  if (regular)
    texts += fmt::format("<text x=\"96\" y=\"42\" text-anchor=\"middle\">{}</text>", DurationText(intervals.Typical()));
  return texts;
}

/// Triangles at the sides, where intervals lie beyond them.
std::string Beyond(const Bars& bars, const Intervals& intervals) {
  std::string path;
  if (LogHistogram::IndexOf(intervals.Least()) < bars.First) path += "M0 15l5-4v8z";
  if (LogHistogram::IndexOf(intervals.Greatest()) >= bars.End()) path += "M192 15l-5-4v8z";
  return path.empty() ? "" : fmt::format("<path class=\"out\" d=\"{}\"/>", path);
}

}  // namespace

std::string IntervalChart(const Intervals& intervals) {
  const Bars bars = BarsOf(intervals);
  const unsigned long tallest = *std::max_element(bars.Heights.begin(), bars.Heights.end());
  const double width = kChartWidth / bars.Count;
  const bool regular = intervals.IsRegular();
  const unsigned int least = LogHistogram::IndexOf(intervals.ShortLimit());
  const unsigned int most = LogHistogram::IndexOf(intervals.LongLimit());
  std::string usual, outliers;
  for (unsigned int bar = 0; bar < bars.Count; ++bar) {
    if (bars.Heights[bar] == 0) continue;
    const double share = static_cast<double>(bars.Heights[bar]) / static_cast<double>(std::max(tallest, 1ul));
    const std::string height = Number(std::max(kBarsHeight * share, 1.0));
    const unsigned int index = bars.First + bar;
    const bool outlier = regular && (index < least || index >= most);
    (outlier ? outliers : usual) +=
        fmt::format("M{} 31v-{}h{}v{}z", Number(width * bar), height, Number(width), height);
  }
  std::string svg = fmt::format(
      "<svg class=\"times\" viewBox=\"0 0 192 44\" role=\"img\" aria-label=\"{}\"><path class=\"base\" d=\"M0 "
      "31.5H192\"/>"
      "<path class=\"mean\" d=\"{}\"/>",
      Html(IntervalLabel(intervals, tallest)), usual);
  if (!outliers.empty()) svg += fmt::format("<path class=\"out\" d=\"{}\"/>", outliers);
  return svg + Beyond(bars, intervals) + AxisTexts(bars, intervals) + "</svg>";
}

}  // namespace client
