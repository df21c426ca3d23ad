#include "views/ReportTables.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>

#include "stream/KindText.h"
#include "stream/LossWords.h"
#include "system/Units.h"
#include "views/HtmlText.h"
#include "views/TimeAxis.h"

namespace client {

namespace {

std::string Number(unsigned long number) { return fmt::format("{}", number); }

std::string Moment(const ReportSubject& report, unsigned long time) {
  return Html(MomentText(time, report.Facts.Times));
}

/// A table within its section, which is scrolled where a screen is too narrow for it.
std::string Table(const char* kind, const std::vector<HtmlHead>& heads, const std::string& rows) {
  return fmt::format("<div class=\"scroll\"><table class=\"{}\"><thead>{}</thead><tbody>\n{}</tbody></table></div>\n",
                     kind, HtmlHeads(heads), rows);
}

/// Rows for the first of the items, and how many more there are.
template <class Items, class RowOf>
std::string CappedTable(const char* kind, const std::vector<HtmlHead>& heads, const Items& items, RowOf rowOf) {
  std::string rows;
  size_t count = 0;
  for (const auto& item : items)
    if (++count <= kMostRows) rows += rowOf(item);
  const std::string table = Table(kind, heads, rows);
  return count <= kMostRows ? table : table + fmt::format("<p class=\"muted\">and {} more</p>\n", count - kMostRows);
}

std::map<unsigned int, unsigned long> MessagesByChannel(const ReportSubject& report) {
  std::map<unsigned int, unsigned long> counts;
  for (const MessageTimes::Item* item : report.Data.OfMessages().All()) ++counts[item->first.Channel];
  return counts;
}

unsigned long ErrorsOf(const ChannelActivity& channel) {
  unsigned long errors = 0;
  for (const auto& [kind, places] : channel.ErrorKinds) errors += places.Count;
  return errors;
}

std::string PeakText(const ReportSubject& report, const ChannelActivity& channel) {
  std::string text;
  for (size_t lane = 0; lane < LaneCount(channel.Bus); ++lane) {
    const auto& peak = channel.Curves[lane].Peak();
    if (!peak) continue;
    text += fmt::format("{}{}{:.1f} % from {}", text.empty() ? "" : "<br>",
                        LaneCount(channel.Bus) > 1 ? fmt::format("{} ", LaneName(channel.Bus, lane)) : "",
                        100 * peak->Busy / LoadCurve::kWindow, Moment(report, peak->Begin));
  }
  return text.empty() ? "–" : text;
}

std::string ChannelRow(const ReportSubject& report, unsigned int number, const ChannelSummary& summary,
                       unsigned long messages) {
  const ChannelActivity* const channel = report.Activity(number);
  const std::string source = Html(SourceText(report, number));
  const std::string lost = LostText(summary.Losses);
  if (channel == nullptr)
    return HtmlRow({{Number(number), "n"},
                    {summary.BusType ? BusName(*summary.BusType) : "–"},
                    {source, "w"},
                    {"–"},
                    {Number(summary.Counted.Entries), "n"},
                    {"–", "n"},
                    {"–"},
                    {"–"},
                    {"–", "n"},
                    {lost.empty() ? "0" : lost, "n"},
                    {"–", "n"}});
  return HtmlRow({{Number(number), "n"},
                  {BusName(channel->Bus)},
                  {source, "w"},
                  {RatesText(*channel)},
                  {Number(summary.Counted.Entries), "n"},
                  {Number(messages), "n"},
                  {LoadText(report, *channel)},
                  {PeakText(report, *channel)},
                  {Number(ErrorsOf(*channel)), "n"},
                  {lost.empty() ? "0" : lost, "n"},
                  {Number(report.Data.OfChannels().SilencesOf(*channel).Count), "n"}});
}

std::string Section(const char* id, const char* heading, const std::string& contents) {
  return fmt::format("<section id=\"{}\"><h2>{}</h2>\n{}</section>\n", id, heading, contents);
}

}  // namespace

std::string RatesText(const ChannelActivity& channel) {
  const BitRates& rates = channel.Known.Rates;
  const auto assumed = [](bool is) { return is ? " (assumed)" : ""; };
  switch (channel.Bus) {
    case BusType_Can:
      return fmt::format("{} bit/s{}, data {} bit/s{}", FormatBitRate(rates.CanNominal), assumed(channel.Known.Assumed),
                         FormatBitRate(rates.CanData), assumed(channel.Known.DataAssumed));
    case BusType_Lin:
      return "that of its frames";
    case BusType_FlexRay:
      return fmt::format("{} bit/s", FormatBitRate(kFlexRayBitRate));
    case BusType_Ethernet:
      return fmt::format("{} bit/s{}", FormatBitRate(rates.Ethernet), assumed(channel.Known.Assumed));
    default:
      return "–";
  }
}

std::string LoadText(const ReportSubject& report, const ChannelActivity& channel) {
  const ChannelTimes& times = report.Data.OfChannels();
  std::string text;
  for (size_t lane = 0; lane < LaneCount(channel.Bus); ++lane) {
    const auto percent = channel.Load.Percent(lane, times.Last() - times.First());
    if (!percent) return "–";
    text += fmt::format("{}{}{:.1f} %", text.empty() ? "" : ", ",
                        LaneCount(channel.Bus) > 1 ? fmt::format("{} ", LaneName(channel.Bus, lane)) : "", *percent);
  }
  return text;
}

std::string LostText(const std::vector<Loss>& losses) {
  unsigned long count = 0;
  bool any = false, counted = true;
  for (const Loss& loss : losses) {
    if (!IsMissing(loss.Cause)) continue;
    any = true;
    counted = counted && loss.Count;
    count += loss.Count.value_or(0);
  }
  if (!any) return "";
  if (counted) return Number(count);
  return count == 0 ? "not counted" : fmt::format("{} or more", count);
}

std::string SourceText(const ReportSubject& report, unsigned int channel) {
  const ChannelDescription* const known = FindChannel(report.Facts.Known, channel);
  if (known == nullptr) return "";
  std::string text = known->Source;
  for (const std::string& more : {known->Name, known->Hardware})
    if (!more.empty() && more != known->Source) text += (text.empty() ? "" : ", ") + more;
  return text;
}

std::string ChannelsSection(const ReportSubject& report) {
  const auto messages = MessagesByChannel(report);
  const auto messagesOf = [&](unsigned int number) {
    const auto place = messages.find(number);
    return place == messages.end() ? 0ul : place->second;
  };
  std::string text = CappedTable("wide",
                                 {{"Ch", "n"},
                                  {"Bus"},
                                  {"Source"},
                                  {"Bit rate"},
                                  {"Entries", "n"},
                                  {"Messages", "n"},
                                  {"Mean load"},
                                  {"Busiest 0.1 s"},
                                  {"Errors", "n"},
                                  {"Lost", "n"},
                                  {"Silences", "n"}},
                                 report.Held.All(), [&](const auto& item) {
                                   return ChannelRow(report, item.first, item.second, messagesOf(item.first));
                                 });
  if (const unsigned long further = report.Data.OfChannels().FurtherEntries(); further > 0)
    text += fmt::format("<p>{} are of channels beyond the first {}, which were only counted.</p>\n",
                        FormatCount(further, "entry", "entries"), ChannelTimes::kMost);
  const auto& all = report.Data.OfChannels().All();
  if (std::any_of(all.begin(), all.end(), [](const auto& item) {
        return item.second.Known.Assumed && (item.second.Bus == BusType_Can || item.second.Bus == BusType_Ethernet);
      }))
    text +=
        "<p class=\"muted\">An assumed bit rate isn't known from the recording; loads are in proportion to it. "
        "<code>--bitrate</code> and <code>--ethernet-bitrate</code> say what it was.</p>\n";
  return Section("channels", "Channels", text);
}

std::string ErrorsSection(const ReportSubject& report) {
  struct Row {
    unsigned int Channel;
    RecordKind Kind;
    KindPlaces Places;
  };
  std::vector<Row> rows;
  for (const auto& [number, channel] : report.Data.OfChannels().All())
    for (const auto& [kind, places] : channel.ErrorKinds) rows.push_back({number, kind, places});
  if (rows.empty()) return "";
  return Section(
      "errors", "Errors on the buses",
      CappedTable("list", {{"Ch", "n"}, {"What"}, {"Number", "n"}, {"First"}, {"Last"}}, rows, [&](const Row& row) {
        return HtmlRow({{Number(row.Channel), "n"},
                        {TextOf(row.Kind).Many},
                        {Number(row.Places.Count), "n"},
                        {Moment(report, row.Places.First), "t"},
                        {Moment(report, row.Places.Last), "t"}});
      }));
}

std::string LossesSection(const ReportSubject& report) {
  const auto& losses = report.Facts.Known.Losses;
  if (losses.empty()) return "";
  const std::string table = CappedTable(
      "list", {{"Ch", "n"}, {"What happened"}, {"From"}, {"To"}, {"Length", "n"}}, losses, [&](const Loss& loss) {
        return HtmlRow({{Number(loss.Channel), "n"},
                        {fmt::format("{} {}", ItemsText(loss.Count), Fate(loss.Cause))},
                        {Moment(report, loss.First), "t"},
                        {Moment(report, loss.Last), "t"},
                        {DurationText(static_cast<double>(loss.Last - loss.First)), "n"}});
      });
  return Section("losses", "Losses", table);
}

std::string SilencesSection(const ReportSubject& report) {
  struct Row {
    unsigned int Channel;
    Silence At;
  };
  std::vector<Row> rows;
  std::string notes;
  for (const auto& [number, channel] : report.Data.OfChannels().All()) {
    const Silences silences = report.Data.OfChannels().SilencesOf(channel);
    for (const Silence& silence : silences.All) rows.push_back({number, silence});
    if (silences.Count > silences.All.size())
      notes += fmt::format("<p class=\"muted\">Channel {} has {} in all; the longest ones are shown.</p>\n", number,
                           silences.Count);
  }
  if (rows.empty()) return "";
  constexpr const char* kWhere[] = {"", "before its first entry", "after its last entry"};
  const std::string table =
      CappedTable("list", {{"Ch", "n"}, {"From"}, {"To"}, {"Length", "n"}, {""}}, rows, [&](const Row& row) {
        return HtmlRow({{Number(row.Channel), "n"},
                        {Moment(report, row.At.From), "t"},
                        {Moment(report, row.At.To), "t"},
                        {DurationText(static_cast<double>(row.At.To - row.At.From)), "n"},
                        {kWhere[static_cast<size_t>(row.At.Where)]}});
      });
  return Section(
      "silences", "Silences",
      "<p class=\"muted\">Times without an entry on a channel that are long for it: at least 0.1 s, and ten times "
      "what 99 of 100 of its entries come within.</p>\n" +
          table + notes);
}

std::string FindingsSection(const ReportSubject& report) {
  if (report.Facts.Found.Empty()) return "";
  std::string items;
  for (const Finding& finding : report.Facts.Found.All()) {
    std::string text = FindingText(finding);
    if (text.ends_with('\n')) text.pop_back();
    items += fmt::format("<li>{}</li>\n", Html(text));
  }
  return Section("findings", "What the input held besides", "<ul>\n" + items + "</ul>\n");
}

}  // namespace client
