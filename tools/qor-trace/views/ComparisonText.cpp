#include "views/ComparisonText.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <vector>

#include "stream/KindText.h"
#include "stream/RecordFields.h"
#include "system/Units.h"
#include "views/MessageRow.h"

namespace client {

namespace {

constexpr size_t kMostDataShown = 32;      // bytes of a line
constexpr size_t kMostDifferingShown = 8;  // bytes, from the first on that differs

const char* NameOf(Side side) { return side == Side::A ? "A" : "B"; }

MessageRow RowOf(const ComparedRecord& record) {
  const auto bytes = record.View().Bytes();
  return {.Count = 1, .Timestamp = record.View().Timestamp(), .Newest = {bytes.begin(), bytes.end()}};
}

RecordKind KindOf(const ComparedRecord& record) { return static_cast<RecordKind>(record[ComparedField::Kind] & 0xFF); }

const char* DirectionOf(const ComparedRecord& record) { return record.View().IsTransmitted() ? "Tx" : "Rx"; }

std::string DataText(std::span<const unsigned char> data, size_t most = kMostDataShown) {
  const auto shown = data.first(std::min(data.size(), most));
  return fmt::format("{:02x}{}", fmt::join(shown, " "), shown.size() < data.size() ? " ..." : "");
}

void AddCells(std::string& text, const std::vector<Column>& columns, const std::vector<std::string>& cells) {
  for (size_t cell = 0; cell < cells.size(); ++cell)
    if (!cells[cell].empty()) text += fmt::format("  {} {}", columns[cell].Heading, cells[cell]);
}

/// "Id 123  frame  Rx  DLC 8  01 02 03": what a list shows of it.
std::string RecordText(const ComparedRecord& record) {
  const RecordKind kind = record.View().Kind();
  const BusRows* const bus = kind == RecordKind::Unknown ? nullptr : RowsOf(record.View().Bus());
  if (bus == nullptr) return fmt::format("  malformed  {}", DataText(record.View().Payload()));
  const MessageRow row = RowOf(record);
  std::string text;
  AddCells(text, bus->NameColumns(), bus->NameCells(row));
  text += fmt::format("  {}  {}", TextOf(kind).Word, DirectionOf(record));
  AddCells(text, bus->MoreColumns(), bus->MoreCells(row));
  return text + "  " + DataText(bus->Data(row.Record()));
}

std::string LineOf(Side side, const ComparedRecord& record, const ComparedTimes& times) {
  const TimeBase& moment = times.Moments[static_cast<size_t>(side)];
  return fmt::format("  {} {}{}  entry {}{}\n", NameOf(side), TimeText(record.View().Timestamp(), times.Format, moment),
                     times.Format == TimeFormat::Relative ? " s" : "", record.Entry(), RecordText(record));
}

/// "from byte 2: a1 a2, a1 a3"
std::string OtherBytesText(const ComparedRecord& a, const ComparedRecord& b) {
  const auto first = static_cast<size_t>(std::ranges::mismatch(a.Data(), b.Data()).in1 - a.Data().begin());
  const auto text = [&](const ComparedRecord& record) {
    const auto rest = record_view::From(record.Data(), first);
    return rest.empty() ? "none" : DataText(rest, kMostDifferingShown);
  };
  return fmt::format("from byte {}: {}, {}", first, text(a), text(b));
}

long Apart(const Difference& pair) { return static_cast<long>(pair.B->Time() - pair.A->Time()); }

/// "dlc (8, 7)"
std::string FieldText(const Difference& pair, ComparedField field) {
  const ComparedRecord &a = *pair.A, &b = *pair.B;
  const char* const name = NameOf(field);
  switch (field) {
    case ComparedField::Time:
      return fmt::format("{} (B {} s)", name, FormatApart(Apart(pair)));
    case ComparedField::Kind:
      return fmt::format("{} ({}, {})", name, WordOf(KindOf(a)), WordOf(KindOf(b)));
    case ComparedField::Direction:
      return fmt::format("{} ({}, {})", name, DirectionOf(a), DirectionOf(b));
    case ComparedField::Data:
      return fmt::format("{} ({})", name, OtherBytesText(a, b));
    case ComparedField::Identifier:
    case ComparedField::Flags:
    case ComparedField::HeaderCrc:
    case ComparedField::Reserved:
      return fmt::format("{} ({:x}, {:x})", name, a[field], b[field]);
    case ComparedField::Checksum:  // 0 is none, see there
      return fmt::format("{} ({:02x}, {:02x})", name, (a[field] - 1) & 0xFF, (b[field] - 1) & 0xFF);
    default:
      return fmt::format("{} ({}, {})", name, a[field], b[field]);
  }
}

std::string ChannelName(const ComparedRecord& record) {
  return fmt::format("channel {} ({})", record.View().ChannelId(), BusName(record.View().Bus()));
}

std::string PairText(const Difference& pair, const ComparedTimes& times) {
  std::vector<std::string> fields;
  for (size_t field = 0; field < kComparedFieldCount; ++field)
    if (pair.Fields.test(field)) fields.push_back(FieldText(pair, static_cast<ComparedField>(field)));
  return fmt::format("{}: differs in {}\n{}{}", ChannelName(*pair.A), fmt::join(fields, ", "),
                     LineOf(Side::A, *pair.A, times), LineOf(Side::B, *pair.B, times));
}

std::string RunText(const Difference& run, const ComparedTimes& times) {
  const Side side = run.A ? Side::A : Side::B;
  const ComparedRecord& first = run.First();
  std::string text =
      fmt::format("{}: only in {}: {}", ChannelName(first), NameOf(side), FormatCount(run.Count, "entry", "entries"));
  if (run.Count > 1)
    text += fmt::format(", to entry {} at {}{}", run.LastEntry,
                        TimeText(run.LastTime, times.Format, times.Moments[static_cast<size_t>(side)]),
                        times.Format == TimeFormat::Relative ? " s" : "");
  return text + "\n" + LineOf(side, first, times);
}

/// By time, as they stand in the recordings.
std::vector<const Difference*> InOrder(const Comparison& comparison) {
  std::vector<const Difference*> differences;
  for (const Difference& difference : comparison.Shown()) differences.push_back(&difference);
  if (comparison.Plan().Times.Counts)
    std::ranges::stable_sort(differences, {}, [](const Difference* shown) { return shown->First().Time(); });
  return differences;
}

/// "11388 equal, 311 only in A, 13 differ (12 data, 1 time)"
std::string CountsText(const ComparedCounts& counts) {
  std::string text = fmt::format("{} equal", counts.Equal);
  if (counts.Reordered > 0) text += fmt::format(" ({} in another order)", counts.Reordered);
  for (const Side side : {Side::A, Side::B})
    if (counts.Only(side) > 0) text += fmt::format(", {} only in {}", counts.Only(side), NameOf(side));
  if (counts.Differing == 0) return text;
  std::vector<std::string> fields;
  for (size_t field = 0; field < kComparedFieldCount; ++field)
    if (counts.Fields[field] > 0)
      fields.push_back(
          fmt::format("{} in {}", counts.Fields[field], client::NameOf(static_cast<ComparedField>(field))));
  return text + fmt::format(", {} different ({})", counts.Differing, fmt::join(fields, ", "));
}

nlohmann::json RecordJson(const ComparedRecord& record) {
  const RecordView view = record.View();
  nlohmann::json json = {{"entry", record.Entry()},
                         {"time_ns", view.Timestamp()},
                         {"kind", WordOf(view.Kind())},
                         {"direction", DirectionOf(record)}};
  const BusRows* const bus = view.Kind() == RecordKind::Unknown ? nullptr : RowsOf(view.Bus());
  if (bus == nullptr) return json;
  const MessageRow row = RowOf(record);
  bus->AddJson(row, json);
  json["data"] = fmt::format("{:02x}", fmt::join(bus->Data(row.Record()), ""));
  return json;
}

nlohmann::json FieldNames(const ComparedFields& fields) {
  nlohmann::json names = nlohmann::json::array();
  for (size_t field = 0; field < kComparedFieldCount; ++field)
    if (fields.test(field)) names.push_back(NameOf(static_cast<ComparedField>(field)));
  return names;
}

nlohmann::json DifferenceJson(const Difference& difference) {
  const ComparedRecord& first = difference.First();
  nlohmann::json json = {{"what", difference.IsPair() ? "different"
                                  : difference.A      ? "only_in_a"
                                                      : "only_in_b"},
                         {"channel", first.View().ChannelId()},
                         {"bus", BusName(first.View().Bus())},
                         {"a", difference.A ? RecordJson(*difference.A) : nlohmann::json()},
                         {"b", difference.B ? RecordJson(*difference.B) : nlohmann::json()},
                         {"fields", FieldNames(difference.Fields)},
                         {"apart_ns", nullptr},
                         {"count", difference.Count},
                         {"last_entry", first.Entry()},
                         {"last_time_ns", first.View().Timestamp()}};
  if (difference.IsPair()) {
    json["apart_ns"] = Apart(difference);
  } else {
    json["last_entry"] = difference.LastEntry;
    json["last_time_ns"] = difference.LastTime;
  }
  return json;
}

}  // namespace

std::string FormatApart(long ns) {
  const auto size = ns < 0 ? 0 - static_cast<unsigned long>(ns) : static_cast<unsigned long>(ns);
  return fmt::format("{}{}", ns < 0 ? "-" : "+", FormatSeconds(size));
}

std::string DifferencesText(const Comparison& comparison, const ComparedTimes& times) {
  std::string text;
  for (const Difference* const difference : InOrder(comparison))
    text += difference->IsPair() ? PairText(*difference, times) : RunText(*difference, times);
  const unsigned long more = comparison.Differences() - comparison.Shown().size();
  if (more > 0) text += fmt::format("and {}\n", FormatCount(more, "further difference", "further differences"));
  return text;
}

std::string ComparedText(const Comparison& comparison, bool whole) {
  std::string text;
  for (const auto& [key, counts] : comparison.Channels())
    text += fmt::format("{} ({}): {}\n", key.first == 0 ? "any channel" : fmt::format("channel {}", key.first),
                        BusName(key.second), CountsText(counts));
  for (const Side side : {Side::A, Side::B})
    if (comparison.LeftOut(side) > 0)
      text += fmt::format("not compared: {} of {} that a format has no place for\n",
                          FormatCount(comparison.LeftOut(side), "entry", "entries"), NameOf(side));
  const auto& spread = comparison.Times();
  if (spread && (spread->Least != 0 || spread->Greatest != 0))
    text +=
        fmt::format("times: B less A is {} s at first, {} s at last, from {} s to {} s\n", FormatApart(spread->First),
                    FormatApart(spread->Last), FormatApart(spread->Least), FormatApart(spread->Greatest));
  const ComparedCounts all = comparison.All();
  const char* const verdict = !whole ? "so far" : all.AnyDifference() ? "different" : "equal";
  return text + fmt::format("{}: {}\n", verdict, CountsText(all));
}

nlohmann::json DifferencesJson(const Comparison& comparison) {
  nlohmann::json differences = nlohmann::json::array();
  for (const Difference* const difference : InOrder(comparison)) differences.push_back(DifferenceJson(*difference));
  return differences;
}

nlohmann::json CountsJson(const ComparedCounts& counts) {
  nlohmann::json fields = nlohmann::json::object();
  for (size_t field = 0; field < kComparedFieldCount; ++field)
    if (counts.Fields[field] > 0) fields[NameOf(static_cast<ComparedField>(field))] = counts.Fields[field];
  return {{"entries_a", counts.Entries[0]},
          {"entries_b", counts.Entries[1]},
          {"equal", counts.Equal},
          {"reordered", counts.Reordered},
          {"only_in_a", counts.Only(Side::A)},
          {"only_in_b", counts.Only(Side::B)},
          {"different", counts.Differing},
          {"fields", fields}};
}

nlohmann::json ChannelsJson(const Comparison& comparison) {
  nlohmann::json channels = nlohmann::json::array();
  for (const auto& [key, counts] : comparison.Channels()) {
    nlohmann::json channel = CountsJson(counts);
    channel["channel"] = key.first;
    channel["bus"] = BusName(key.second);
    channels.push_back(std::move(channel));
  }
  return channels;
}

nlohmann::json SpreadJson(const Comparison& comparison) {
  const auto& spread = comparison.Times();
  if (!spread) return nullptr;
  return {{"first_ns", spread->First},
          {"last_ns", spread->Last},
          {"least_ns", spread->Least},
          {"greatest_ns", spread->Greatest}};
}

}  // namespace client
