#include "views/ReportPage.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>
#include <vector>

#include "stream/KindText.h"
#include "system/Units.h"
#include "views/HtmlText.h"
#include "views/ReportMessages.h"
#include "views/ReportOverTime.h"
#include "views/ReportStyle.h"
#include "views/ReportTables.h"
#include "views/TimeAxis.h"

namespace client {

namespace {

constexpr double kBusy = 80;       // percent of 0.1 s that stand out
constexpr double kPossible = 100;  // percent: more is a wrong bit rate

std::string NameOf(const std::string& input) {
  if (input == "-") return "standard input";
  return input.substr(input.find_last_of('/') + 1);
}

std::string TitleOf(const ReportFacts& facts) {
  if (!facts.Known.Title.empty()) return facts.Known.Title;
  if (facts.Inputs.size() == 1) return NameOf(facts.Inputs.front());
  return fmt::format("{} recordings", facts.Inputs.size());
}

std::string LengthText(const ReportSubject& report) {
  const ChannelTimes& times = report.Data.OfChannels();
  return DurationText(static_cast<double>(times.Last() - times.First()));
}

/// Of the bus, as the field "error" of filters counts them.
unsigned long Errors(const ReportSubject& report) {
  unsigned long errors = 0;
  for (const auto& [number, channel] : report.Data.OfChannels().All())
    for (const auto& [kind, places] : channel.ErrorKinds) errors += places.Count;
  return errors;
}

bool IsComplete(const ReportFacts& facts) {
  return facts.Known.Complete && facts.Error.empty() && !facts.Found.Lossy();
}

// ---- Front ----------------------------------------------------------------------------------------------------------

std::string Head(const ReportSubject& report) {
  return fmt::format(
      "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
      "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; style-src 'unsafe-inline'; "
      "script-src "
      "'sha256-{}'\">\n"
      "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n<meta name=\"color-scheme\" "
      "content=\"light dark\">\n"
      "<title>{}</title>\n<style>{}</style>\n</head>\n",
      kReportScriptSha256, Html(TitleOf(report.Facts)), kReportStyle);
}

std::string StartText(const ReportFacts& facts) {
  const TimeBase& moment = facts.Times.Moment;
  if (!moment.IsKnown()) return "not known when it was made";
  return fmt::format("{} ({} local time)", FormatUtc(*moment.Utc), FormatLocal(*moment.Utc));
}

/// The same for the line beneath the heading: to the second.
std::string ShortStartText(const ReportFacts& facts) {
  const TimeBase& moment = facts.Times.Moment;
  if (!moment.IsKnown()) return StartText(facts);
  const std::string utc = FormatUtc(*moment.Utc), local = FormatLocal(*moment.Utc);
  return fmt::format("{} {} UTC, {} {} local time", utc.substr(0, 10), utc.substr(11, 8), local.substr(0, 10),
                     local.substr(11, 8));
}

/// In groups of three digits: "134 666", with narrow spaces that don't break.
std::string Grouped(unsigned long number) {
  std::string text = fmt::format("{}", number);
  for (size_t place = text.size(); place > 3; place -= 3) text.insert(place - 3, "\u202F");
  return text;
}

std::string Tile(const std::string& number, const std::string& words, const char* kind = "") {
  return fmt::format("<li{}><b>{}</b><span>{}</span></li>\n", *kind != 0 ? fmt::format(" class=\"{}\"", kind) : "",
                     number, words);
}

std::string Tiles(const ReportSubject& report) {
  const ChannelTimes& times = report.Data.OfChannels();
  const unsigned long errors = Errors(report);
  const std::string lost = LostText(report.Facts.Known.Losses);
  const auto entries = report.Held.Entries();
  const std::string begin = "<ul class=\"tiles\">\n";
  return begin + Tile(LengthText(report), "length") + Tile(Grouped(entries), entries == 1 ? "entry" : "entries") +
         Tile(fmt::format("{}", times.All().size()), times.All().size() == 1 ? "channel" : "channels") +
         Tile(Grouped(report.Data.OfMessages().Count()), "messages") +
         Tile(Grouped(errors), "errors", errors > 0 ? "bad" : "") +
         Tile(lost.empty() ? "0" : lost, "items lost", lost.empty() ? "" : "lost") + "</ul>\n";
}

// ---- What stands out ------------------------------------------------------------------------------------------------

std::string Item(const char* kind, const std::string& html) {
  return fmt::format("<li class=\"{}\">{}</li>\n", kind, html);
}

std::string LossItems(const ReportSubject& report) {
  const ReportFacts& facts = report.Facts;
  std::string items;
  if (!facts.Error.empty()) items += Item("lost", fmt::format("This report ends early: {}.", Html(facts.Error)));
  if (facts.Found.Lossy()) items += Item("lost", "Something of the input <a href=\"#findings\">couldn't be read</a>.");
  const std::string lost = LostText(facts.Known.Losses);
  const auto missing = std::count_if(facts.Known.Losses.begin(), facts.Known.Losses.end(),
                                     [](const Loss& loss) { return IsMissing(loss.Cause); });
  if (missing > 0)
    items += Item("lost", fmt::format("Items are missing at <a href=\"#losses\">{}</a>; how many: {}.",
                                      FormatCount(static_cast<unsigned long>(missing), "place", "places"), lost));
  if (facts.Known.Losses.size() > static_cast<size_t>(missing))
    items += Item("lost", "Entries came <a href=\"#losses\">too late</a> to be in order.");
  if (items.empty()) items = Item("good", "Nothing is known to be lost.");
  // Of a part nobody expects the end.
  if (!IsComplete(facts) && facts.Error.empty() && !facts.Found.Lossy() && facts.Selected.empty())
    items += Item("bad", "The recording isn't known to have come to its end.");
  return items;
}

std::string ErrorItems(const ReportSubject& report) {
  std::string items;
  for (const auto& [number, channel] : report.Data.OfChannels().All()) {
    std::string kinds;
    for (const auto& [kind, places] : channel.ErrorKinds)
      kinds += fmt::format("{}{}", kinds.empty() ? "" : ", ",
                           FormatCount(places.Count, TextOf(kind).One, TextOf(kind).Many));
    if (!kinds.empty()) items += Item("bad", fmt::format("Channel {}: <a href=\"#errors\">{}</a>.", number, kinds));
  }
  return items;
}

std::string LoadItems(const ReportSubject& report) {
  std::string items;
  for (const auto& [number, channel] : report.Data.OfChannels().All()) {
    for (size_t lane = 0; lane < LaneCount(channel.Bus); ++lane) {
      const auto& peak = channel.Curves[lane].Peak();
      const double percent = peak ? 100 * peak->Busy / LoadCurve::kWindow : 0;
      if (percent < kBusy) continue;
      const std::string from = Html(MomentText(peak->Begin, report.Facts.Times));
      items +=
          percent > kPossible
              ? Item("bad",
                     fmt::format("Channel {}: a <a href=\"#time\">load</a> of {:.0f} % can't be, so its bit rate is "
                                 "another one than {}.",
                                 number, percent, RatesText(channel)))
              : Item("bad", fmt::format("Channel {} was busy for <a href=\"#time\">{:.0f} %</a> of the 0.1 s from {}.",
                                        number, percent, from));
    }
  }
  return items;
}

std::string SilenceItems(const ReportSubject& report) {
  std::string items;
  for (const auto& [number, channel] : report.Data.OfChannels().All()) {
    const Silences silences = report.Data.OfChannels().SilencesOf(channel);
    if (silences.All.empty()) continue;
    const auto longest = std::max_element(
        silences.All.begin(), silences.All.end(),
        [](const Silence& one, const Silence& other) { return one.To - one.From < other.To - other.From; });
    items += Item("bad", fmt::format("Channel {} was <a href=\"#silences\">silent</a> {}, longest for {} from {}.",
                                     number, silences.Count == 1 ? "once" : fmt::format("{} times", silences.Count),
                                     DurationText(static_cast<double>(longest->To - longest->From)),
                                     Html(MomentText(longest->From, report.Facts.Times))));
  }
  return items;
}

std::string CycleItems(const ReportSubject& report) {
  const CycleOutliers outliers = OutliersOf(report);
  if (outliers.Messages == 0) return "";
  std::string text = fmt::format("{} with <a href=\"#messages\">outliers</a>",
                                 FormatCount(outliers.Messages, "cyclic message", "cyclic messages"));
  if (outliers.Farthest != nullptr) {
    const Interval& longest = outliers.Farthest->second.Cycles.Longest().front();
    text += fmt::format("; farthest off: {}, with {} in place of {} from {}", Html(MessageName(*outliers.Farthest)),
                        DurationText(static_cast<double>(longest.Length)),
                        DurationText(outliers.Farthest->second.Cycles.Typical()),
                        Html(MomentText(longest.Begin(), report.Facts.Times)));
  }
  return Item("bad", text + ".");
}

std::string StandOuts(const ReportSubject& report) {
  return fmt::format(
      "<section id=\"standouts\"><h2>What stands out</h2>\n<ul class=\"standout\">\n{}{}{}{}{}</ul></section>\n",
      LossItems(report), ErrorItems(report), LoadItems(report), SilenceItems(report), CycleItems(report));
}

// ---- The recording --------------------------------------------------------------------------------------------------

std::string InputsText(const ReportFacts& facts) {
  std::string text;
  for (size_t index = 0; index < std::min(facts.Inputs.size(), kMostRows); ++index)
    text += fmt::format("{}{}", index == 0 ? "" : "<br>",
                        Html(facts.Inputs[index] == "-" ? "standard input" : facts.Inputs[index]));
  if (facts.Inputs.size() > kMostRows) text += fmt::format("<br>and {} more", facts.Inputs.size() - kMostRows);
  return text;
}

std::string UncertaintyText(const ReportFacts& facts) {
  const auto& anchor = facts.Known.Anchor;
  if (!anchor || !anchor->Uncertainty) return "";
  return fmt::format(", within {}", DurationText(static_cast<double>(*anchor->Uncertainty)));
}

std::string LeftOutText(const ReportFacts& facts) {
  std::string text = Html(facts.Selected);
  std::string left = facts.LeftOut;
  if (left.ends_with('\n')) left.pop_back();
  if (!left.empty()) text += fmt::format("{}{}", text.empty() ? "" : "<br>", Html(left));
  return text;
}

std::string RecordingSection(const ReportSubject& report) {
  const ReportFacts& facts = report.Facts;
  const ChannelTimes& times = report.Data.OfChannels();
  const Description& known = facts.Known;
  const auto span = [&] {
    return fmt::format("{} to {}", Html(MomentText(times.First(), facts.Times)),
                       Html(MomentText(times.Last(), facts.Times)));
  };
  const std::pair<const char*, std::string> rows[] = {
      {"Title", Html(known.Title)},
      {"Read from", InputsText(facts)},
      {"Format", Html(facts.Format)},
      {"Size", facts.Size > 0 ? FormatSize(facts.Size) : ""},
      {"Start", StartText(facts) + UncertaintyText(facts)},
      {"Entries", span()},
      {"Complete", IsComplete(facts) ? "yes" : "no, or not known to be"},
      {"Recorded by", Html(known.Tool)},
      {"Host", Html(known.Host)},
      {"System", Html(known.System)},
      {"Machine", Html(known.Machine)},
      {"Recording", Html(known.Id)},
      {"Selected", LeftOutText(facts)},
  };
  std::string list;
  for (const auto& [name, value] : rows)
    if (!value.empty()) list += fmt::format("<dt>{}</dt><dd>{}</dd>\n", name, value);
  return "<section id=\"recording\"><h2>The recording</h2>\n<dl>\n" + list + "</dl></section>\n";
}

// ---- The whole ------------------------------------------------------------------------------------------------------

struct PagePart {
  const char* Id;
  const char* Name;
  std::string Html;
};

std::string TimesText(TimeFormat format) {
  switch (format) {
    case TimeFormat::Relative:
      return "seconds since the start of the recording";
    case TimeFormat::Utc:
      return "UTC";
    case TimeFormat::Local:
      return "local time";
    case TimeFormat::Epoch:
      return "seconds since 1970";
  }
  return "";
}

std::string Links(const std::vector<PagePart>& parts) {
  std::string links;
  for (const PagePart& part : parts)
    if (!part.Html.empty()) links += fmt::format("<a href=\"#{}\">{}</a>\n", part.Id, part.Name);
  return "<nav aria-label=\"Sections\">\n" + links + "</nav>\n";
}

}  // namespace

std::string ReportPage(const ReportSubject& report) {
  const std::vector<PagePart> parts = {
      {"standouts", "What stands out", StandOuts(report)}, {"time", "Over time", OverTimeSection(report)},
      {"channels", "Channels", ChannelsSection(report)},   {"errors", "Errors", ErrorsSection(report)},
      {"losses", "Losses", LossesSection(report)},         {"silences", "Silences", SilencesSection(report)},
      {"messages", "Messages", MessagesSection(report)},   {"findings", "Findings", FindingsSection(report)},
      {"recording", "Recording", RecordingSection(report)}};
  const ReportFacts& facts = report.Facts;
  std::string page = Head(report);
  page += fmt::format("<body>\n<header>\n<h1>{}</h1>\n<p class=\"muted\">{}{}</p>\n{}</header>\n<main>\n{}",
                      Html(TitleOf(facts)), ShortStartText(facts),
                      facts.Known.Host.empty() ? "" : fmt::format(", on {}", Html(facts.Known.Host)), Links(parts),
                      Tiles(report));
  for (const PagePart& part : parts) page += part.Html;
  page += fmt::format("</main>\n<footer>{} report. Times: {}.</footer>\n<script>{}</script>\n</body>\n</html>\n",
                      Html(facts.Tool), TimesText(facts.Times.Format), kReportScript);
  return page;
}

}  // namespace client
