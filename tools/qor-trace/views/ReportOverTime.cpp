#include "views/ReportOverTime.h"

#include <fmt/format.h>

#include <algorithm>
#include <vector>

#include "stream/KindText.h"
#include "stream/LossWords.h"
#include "views/HtmlText.h"
#include "views/ReportCharts.h"
#include "views/ReportTables.h"
#include "views/TimeAxis.h"

namespace client {

namespace {

/// "25.5 %" at most three digits: of the top of a chart and of half of it.
std::string TopText(double percent) { return fmt::format("{:.3g} %", percent); }

std::string Strip(const char* name, const std::string& svg) {
  return fmt::format("<div class=\"row\"><div class=\"y s\">{}</div>{}</div>\n", name, svg);
}

std::string Load(const ChannelActivity& channel, size_t lane, const TimeAxis& axis) {
  const LoadCurve& curve = channel.Curves[lane];
  const double greatest = GreatestLoad(curve, axis);
  const double top = LoadTop(greatest);
  const bool several = LaneCount(channel.Bus) > 1;
  const std::string name = several ? LaneName(channel.Bus, lane) : "";
  const std::string label =
      fmt::format("Bus load{} over time, at most {:.1f} %", several ? " of " + name : "", greatest);
  return fmt::format(
      "<div class=\"row{}\"><div class=\"y\"><span>{}</span><span>{}</span><span>0 %</span></div>{}</div>\n",
      several ? " lanes" : "", TopText(top), several ? "<b>" + name + "</b>" : TopText(top / 2),
      LoadChart(curve, axis, top, label));
}

std::vector<Stretch> LossStretches(const ReportSubject& report, unsigned int channel) {
  std::vector<Stretch> stretches;
  for (const Loss& loss : report.Facts.Known.Losses)
    if (loss.Channel == channel)
      stretches.push_back({loss.First, loss.Last,
                           fmt::format("{} {}, from {}", ItemsText(loss.Count), Fate(loss.Cause),
                                       MomentText(loss.First, report.Facts.Times))});
  return stretches;
}

std::vector<Stretch> SilenceStretches(const ReportSubject& report, const ChannelActivity& channel) {
  std::vector<Stretch> stretches;
  for (const Silence& silence : report.Data.OfChannels().SilencesOf(channel).All)
    stretches.push_back(
        {silence.From, silence.To,
         fmt::format("no entry for {}, from {}", DurationText(static_cast<double>(silence.To - silence.From)),
                     MomentText(silence.From, report.Facts.Times))});
  return stretches;
}

/// Only those that have something on them.
std::string Strips(const ReportSubject& report, unsigned int number, const ChannelActivity& channel,
                   const TimeAxis& axis) {
  std::string text;
  if (!channel.Errors.Empty()) text += Strip("errors", CountStrip(channel.Errors, axis, "bad", "Errors over time"));
  if (const auto losses = LossStretches(report, number); !losses.empty())
    text += Strip("lost", StretchStrip(losses, axis, "lost", "Losses over time"));
  if (const auto silences = SilenceStretches(report, channel); !silences.empty())
    text += Strip("silent", StretchStrip(silences, axis, "gap", "Silences over time"));
  if (!channel.Events.Empty())
    text += Strip("events", CountStrip(channel.Events, axis, "event", "Trigger events over time"));
  return text;
}

std::string AxisRow(const TimeAxis& axis) {
  std::string ticks;
  for (size_t index = 0; index < axis.Ticks().size(); ++index) {
    const TimeAxis::Tick& tick = axis.Ticks()[index];
    std::string kind = index % 2 == 1 ? "o" : "";  // every other one is left out on narrow screens
    if (tick.Place > 0.93) kind += kind.empty() ? "r" : " r";
    if (tick.Place < 0.03) kind += kind.empty() ? "l" : " l";
    ticks += fmt::format("<span{} style=\"left:{:.2f}%\">{}</span>",
                         kind.empty() ? "" : fmt::format(" class=\"{}\"", kind), 100 * tick.Place, Html(tick.Text));
  }
  return fmt::format("<div class=\"row\"><div></div><div class=\"x\">{}</div></div>\n", ticks);
}

std::string Chart(const ReportSubject& report, unsigned int number, const ChannelActivity& channel,
                  const TimeAxis& axis) {
  const std::string source = SourceText(report, number);
  std::string text = fmt::format(
      "<figure><figcaption><b>Channel {}, {}</b> {} <span class=\"muted\">mean load {}</span></figcaption>\n", number,
      BusName(channel.Bus), Html(source), LoadText(report, channel));
  for (size_t lane = 0; lane < LaneCount(channel.Bus); ++lane) text += Load(channel, lane, axis);
  return text + Strips(report, number, channel, axis) + AxisRow(axis) + "</figure>\n";
}

/// A round width: "20 s", "10 min", "2 h".
std::string WidthText(unsigned long ns) {
  if (ns < kMinute) return DurationText(static_cast<double>(ns));
  if (ns < kHour) return fmt::format("{} min", ns / kMinute);
  return ns < kDay ? fmt::format("{} h", ns / kHour) : fmt::format("{} d", ns / kDay);
}

std::string Legend(const ChannelTimes& times) {
  const std::string width = WidthText(times.BinWidth());
  std::string text = fmt::format(
      "<li><svg viewBox=\"0 0 22 12\" aria-hidden=\"true\"><path class=\"mean\" d=\"M0 3H22V12H0Z\"/></svg>bus load, "
      "mean of each "
      "{}</li>",
      width);
  if (times.BinWidth() > LoadCurve::kWindow)
    text +=
        "<li><svg viewBox=\"0 0 22 12\" aria-hidden=\"true\"><path class=\"peak\" d=\"M0 8H8V4H15V7H22\"/></svg>its "
        "busiest "
        "0.1 s</li>";
  return text +
         fmt::format(
             "<li><svg viewBox=\"0 0 22 12\" aria-hidden=\"true\"><path class=\"bad\" d=\"M2 12V3H6V12ZM10 "
             "12V7H14V12Z\"/></svg>errors "
             "in each {}</li>"
             "<li><svg viewBox=\"0 0 22 12\" aria-hidden=\"true\"><rect class=\"lost\" x=\"2\" y=\"2\" width=\"18\" "
             "height=\"9\"/></svg>something is missing</li>"
             "<li><svg viewBox=\"0 0 22 12\" aria-hidden=\"true\"><rect class=\"gap\" x=\"2\" y=\"2\" width=\"18\" "
             "height=\"9\"/></svg>long silence</li>"
             "<li><svg viewBox=\"0 0 22 12\" aria-hidden=\"true\"><path class=\"event\" d=\"M2 12V3H6V12ZM10 "
             "12V7H14V12Z\"/></svg>trigger events</li>",
             width);
}

/// The numbers of the channels that have a chart.
std::vector<unsigned int> Charted(const std::map<unsigned int, ChannelActivity>& all) {
  std::vector<unsigned int> numbers;
  numbers.reserve(all.size());
  for (const auto& [number, channel] : all) numbers.push_back(number);
  if (numbers.size() <= kMostCharts) return numbers;
  std::stable_sort(numbers.begin(), numbers.end(), [&](unsigned int one, unsigned int other) {
    return all.at(one).Entries.Count() > all.at(other).Entries.Count();
  });
  numbers.resize(kMostCharts);
  std::sort(numbers.begin(), numbers.end());
  return numbers;
}

std::string WithoutChart(const std::map<unsigned int, ChannelActivity>& all, const std::vector<unsigned int>& charted) {
  std::string names;
  for (const auto& [number, channel] : all)
    if (!std::binary_search(charted.begin(), charted.end(), number))
      names += fmt::format("{}{}", names.empty() ? "" : ", ", number);
  if (names.empty()) return "";
  return fmt::format("<p>The {} channels with most entries have a chart; these don't: {}.</p>\n", charted.size(),
                     names);
}

}  // namespace

std::string OverTimeSection(const ReportSubject& report) {
  const ChannelTimes& times = report.Data.OfChannels();
  if (times.End() <= times.First()) return "";
  const TimeAxis axis(times.First(), times.End(), report.Facts.Times);
  const std::vector<unsigned int> charted = Charted(times.All());
  std::string text = fmt::format(
      "<p class=\"muted\">Across: {}. Each chart has a scale of its own, from zero. Marks of short times "
      "are drawn wide enough to be seen.</p><ul class=\"legend\">{}</ul>\n",
      Html(axis.Caption()), Legend(times));
  for (const unsigned int number : charted) text += Chart(report, number, times.All().at(number), axis);
  text += WithoutChart(times.All(), charted);
  return "<section id=\"time\"><h2>Load, errors and losses over time</h2>\n" + text + "</section>\n";
}

}  // namespace client
