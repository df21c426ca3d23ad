#include "views/ReportMessages.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>

#include "stream/KindText.h"
#include "system/Units.h"
#include "views/HtmlText.h"
#include "views/ReportCharts.h"
#include "views/ReportTables.h"
#include "views/TimeAxis.h"

namespace client {

namespace {

using Item = MessageTimes::Item;

std::string Milliseconds(double ns) { return fmt::format("{:.3f}", ns / 1e6); }

const char* DirectionOf(const MessageTimes::Message& message) {
  if (message.Received && message.Transmitted) return "Rx, Tx";
  return message.Transmitted ? "Tx" : "Rx";
}

/// "41.2 ms (4.1 cycles) from 12.345678 s"
std::string OutlierText(const Interval& interval, const Intervals& cycles, const ReportSubject& report) {
  const auto length = static_cast<double>(interval.Length);
  const std::string times =
      cycles.IsRegular() && cycles.Typical() > 0 ? fmt::format(" ({:.3g} cycles)", length / cycles.Typical()) : "";
  return fmt::format("<li>{}{} from {}</li>", DurationText(length), times,
                     Html(MomentText(interval.Begin(), report.Facts.Times)));
}

std::string OutlierList(const Intervals& cycles, const ReportSubject& report) {
  std::string list;
  const bool regular = cycles.IsRegular();
  for (const Interval& interval : cycles.Longest())
    if (!regular || interval.Length >= cycles.LongLimit()) list += OutlierText(interval, cycles, report);
  for (const Interval& interval : cycles.Shortest())
    if (regular && interval.Length < cycles.ShortLimit()) list += OutlierText(interval, cycles, report);
  return list;
}

/// @return nothing to sort by: behind all others
HtmlCell OutlierCell(const Intervals& cycles, const ReportSubject& report) {
  if (cycles.Count() < Intervals::kLeast) return {cycles.Count() == 0 ? "–" : "too few to say", nullptr, "-2"};
  if (!cycles.IsRegular())
    return {fmt::format("<details><summary>not cyclic</summary><ul>{}</ul></details>", OutlierList(cycles, report)),
            nullptr, "-1"};
  const unsigned long count = cycles.LongCount() + cycles.ShortCount();
  if (count == 0) return {"none", nullptr, "0"};
  std::string counts;
  if (cycles.LongCount() > 0) counts += fmt::format("{} long", cycles.LongCount());
  if (cycles.ShortCount() > 0) counts += fmt::format("{}{} short", counts.empty() ? "" : ", ", cycles.ShortCount());
  const std::string limits =
      fmt::format("at least {}, or under {}", DurationText(static_cast<double>(cycles.LongLimit())),
                  DurationText(static_cast<double>(cycles.ShortLimit())));
  return {fmt::format("<details><summary>{}</summary><ul>{}</ul><span class=\"muted\">{}</span></details>", counts,
                      OutlierList(cycles, report), limits),
          nullptr, fmt::format("{}", count)};
}

void AppendCycles(std::vector<HtmlCell>& cells, const Intervals& cycles, const ReportSubject& report) {
  if (cycles.Count() == 0) {
    for (int column = 0; column < 4; ++column) cells.push_back({"–", "n", "-1"});
    cells.push_back({});
  } else {
    for (const double ns : {cycles.Typical(), static_cast<double>(cycles.Least()),
                            static_cast<double>(cycles.Greatest()), cycles.Deviation()})
      cells.push_back({Milliseconds(ns), "n"});
    cells.push_back({cycles.Count() < Intervals::kLeast ? "" : IntervalChart(cycles)});
  }
  cells.push_back(OutlierCell(cycles, report));
}

std::string Row(const Item& item, const BusRows& bus, const ReportSubject& report) {
  const auto& [key, message] = item;
  std::vector<HtmlCell> cells = {{fmt::format("{}", key.Channel), "n"}};
  for (const std::string& name : bus.NameCells(message.Row)) cells.push_back({Html(name), "id"});
  cells.push_back({TextOf(key.Kind).Word});
  cells.push_back({DirectionOf(message)});
  cells.push_back({fmt::format("{}", message.Row.Count), "n"});
  AppendCycles(cells, message.Cycles, report);
  return HtmlRow(cells);
}

std::string Heads(const BusRows& bus) {
  const std::vector<Column> names = bus.NameColumns();  // the headings point into it
  std::vector<HtmlHead> heads = {{"Ch", "n", "order"}};
  for (const Column& column : names) heads.push_back({column.Heading.c_str()});
  for (const HtmlHead& head : {HtmlHead{"Kind", nullptr, "value"},
                               {"Dir", nullptr, "value"},
                               {"Entries", "n", "value"},
                               {"Cycle<br>(ms)", "n", "value"},
                               {"Least<br>(ms)", "n", "value"},
                               {"Greatest<br>(ms)", "n", "value"},
                               {"Deviation<br>(ms)", "n", "value"},
                               {"Times between entries"},
                               {"Outliers", nullptr, "value"}})
    heads.push_back(head);
  return HtmlHeads(heads);
}

/// Those with most entries, where there are too many; else all.
std::set<const Item*> Shown(const std::vector<const Item*>& all) {
  std::vector<const Item*> chosen = all;
  if (chosen.size() > kMostMessages) {
    std::stable_sort(chosen.begin(), chosen.end(), [](const Item* one, const Item* other) {
      return one->second.Row.Count > other->second.Row.Count;
    });
    chosen.resize(kMostMessages);
  }
  return {chosen.begin(), chosen.end()};
}

std::string BusTable(unsigned char busType, const std::vector<const Item*>& all, const std::set<const Item*>& shown,
                     const ReportSubject& report) {
  const BusRows& bus = *RowsOf(busType);
  std::string rows;
  for (const Item* item : all)
    if (item->first.Bus == busType && shown.contains(item)) rows += Row(*item, bus, report);
  if (rows.empty()) return "";
  return fmt::format(
      "<h3>{}</h3>\n<div class=\"scroll\"><table class=\"wide sort "
      "messages\"><thead>{}</thead><tbody>\n{}</tbody></table></div>\n",
      BusName(busType), Heads(bus), rows);
}

std::string FurtherMessages(const std::vector<const Item*>& all, const std::set<const Item*>& shown) {
  if (shown.size() == all.size()) return "";
  std::string names;
  unsigned long entries = 0;
  size_t count = 0;
  for (const Item* item : all) {
    if (shown.contains(item)) continue;
    entries += item->second.Row.Count;
    if (++count <= kMostNames) names += fmt::format("{}{}", count == 1 ? "" : ", ", Html(MessageName(*item)));
  }
  if (count > kMostNames) names += fmt::format(" and {} more", count - kMostNames);
  return fmt::format(
      "<p>The tables show the {} messages with most entries.</p><details><summary>{} with {} aren't in "
      "them.</summary><p "
      "class=\"names\">{}</p></details>\n",
      shown.size(), FormatCount(count, "message", "messages"), FormatCount(entries, "entry", "entries"), names);
}

}  // namespace

std::string MessageName(const Item& item) {
  const auto& [key, message] = item;
  std::string name = BusName(key.Bus);
  for (const std::string& cell : RowsOf(key.Bus)->NameCells(message.Row)) name += " " + cell;
  if (!IsFrame(key.Kind)) name += fmt::format(" ({})", TextOf(key.Kind).Word);
  return fmt::format("{} on channel {}", name, key.Channel);
}

CycleOutliers OutliersOf(const ReportSubject& report) {
  CycleOutliers outliers;
  for (const Item* item : report.Data.OfMessages().All()) {
    const Intervals& cycles = item->second.Cycles;
    if (!IsFrame(item->first.Kind) || !cycles.IsRegular() || cycles.LongCount() + cycles.ShortCount() == 0) continue;
    ++outliers.Messages;
    const double times = static_cast<double>(cycles.Greatest()) / std::max(cycles.Typical(), 1.0);
    if (cycles.LongCount() == 0 || times <= outliers.Times) continue;
    outliers.Farthest = item;
    outliers.Times = times;
  }
  return outliers;
}

std::string MessagesSection(const ReportSubject& report) {
  const std::vector<const Item*> all = report.Data.OfMessages().All();
  if (all.empty()) return "";
  const std::set<const Item*> shown = Shown(all);
  std::string text =
      "<p class=\"muted\">The cycle is the mean time between two entries, without outliers. "
      "Histograms are "
      "logarithmic; of cyclic messages they go from half the cycle to twice that, a triangle stands for times beyond, "
      "and outliers "
      "are times of more than about 1.7 or less than about 0.6 cycles. Bars begin at zero; one is at least a pixel "
      "high.</p>\n";
  for (const unsigned char busType : {BusType_Can, BusType_Lin, BusType_FlexRay, BusType_Ethernet})
    text += BusTable(busType, all, shown, report);
  text += FurtherMessages(all, shown);
  if (const unsigned long further = report.Data.OfMessages().FurtherEntries(); further > 0)
    text += fmt::format("<p>{} are of still other messages, which were not told apart.</p>\n",
                        FormatCount(further, "entry", "entries"));
  return "<section id=\"messages\"><h2>Messages</h2>\n" + text + "</section>\n";
}

}  // namespace client
