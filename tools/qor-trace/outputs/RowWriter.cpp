#include "outputs/RowWriter.h"

#include <fmt/format.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <utility>

namespace client {

RowWriter::RowWriter(const std::string& path, RowFormat format) : File(path), Rows(format) {
  File.AddHeader(Rows.Header());
}

namespace {

/// Of one channel and cause, and partly at the same time.
bool Overlap(const Loss& one, const Loss& other) {
  return one.Channel == other.Channel && one.Cause == other.Cause && one.First <= other.Last && other.First <= one.Last;
}

}  // namespace

/// What was told of a loss stays told, also when losses have become one.
void RowWriter::Describe(const Description& description) {
  Described = description;
  Origin.Times = TimesOf(description);
  std::vector<Told> losses;
  for (const Loss& loss : description.Losses) {
    if (loss.Cause == LossCause::OverrunMark) continue;  // the records have it
    Told now{loss};
    for (const Told& before : Losses) {
      if (!before.Named || !Overlap(before.What, loss)) continue;
      now = {loss, now.Count + before.Count, std::max(now.Until, before.Until), true};
    }
    losses.push_back(now);
  }
  Losses = std::move(losses);
  FindNextLoss();
}

bool RowWriter::Take(const RecordView& record) {
  if (!File.Usable()) return false;
  if (Origin.Recording.empty()) Origin.Recording = RowId(Described.Id, record);
  const unsigned long time = record.Timestamp();
  if (time > NextLoss) AddLossesBefore(time);
  File.Add(Rows.Compose(File.Room(RowComposer::Room(record)), record, Origin));
  ++Entries;
  if (record.HasOverrunMark()) {
    const Loss mark{.Channel = record.ChannelId(), .Cause = LossCause::OverrunMark, .First = time, .Last = time};
    AddLoss(mark, record.Bus());
    Marks.Add(mark);
  }
  return File.Usable();
}

void RowWriter::AddLoss(const Loss& loss, unsigned char busType) {
  File.Add(Rows.ComposeLoss(File.Room(RowComposer::kLossRoom), loss, busType, Origin));
  ++LossRows;
}

void RowWriter::AddLossesBefore(unsigned long time) {
  for (Told& told : Losses) {
    if (!told.IsDue() || told.What.Last >= time) continue;
    Loss added = told.What;
    if (told.Named) added.First = told.Until;
    if (added.Count) *added.Count -= std::min(*added.Count, told.Count);
    AddLoss(added, BusOf(added.Channel));
    told = {told.What, told.What.Count.value_or(0), told.What.Last, true};
  }
  FindNextLoss();
}

void RowWriter::FindNextLoss() {
  NextLoss = ~0ul;
  for (const Told& told : Losses)
    if (told.IsDue()) NextLoss = std::min(NextLoss, told.What.Last);
}

unsigned char RowWriter::BusOf(unsigned int channel) const {
  constexpr unsigned char kUnknown = BusType_Ethernet + 1;
  const ChannelDescription* const known = FindChannel(Described, channel);
  return known != nullptr ? known->BusType.value_or(kUnknown) : kUnknown;
}

bool RowWriter::Finish() {
  if (Entries > 0 && File.Usable()) {
    AddLossesBefore(~0ul);
    AddMarksOfOthers();
  }
  return File.Finish();
}

/// What was lost after an entry with a mark is missing even if that entry wasn't selected.
void RowWriter::AddMarksOfOthers() {
  const std::vector<Loss> told = Marks.All();
  for (const Loss& loss : Described.Losses) {
    if (loss.Cause != LossCause::OverrunMark) continue;
    const bool known = std::any_of(told.begin(), told.end(), [&](const Loss& mark) { return Overlap(mark, loss); });
    if (!known) AddLoss(loss, BusOf(loss.Channel));
  }
}

std::string RowWriter::RemarkText() const {
  if (Entries == 0 || Origin.Times.IsKnown()) return "";
  return fmt::format(
      "When {} was recorded isn't known: utc_ns is 0 in its rows. --start-time says when the first "
      "entry was",
      File.Path().empty() ? "standard output" : "\"" + File.Path() + "\"");
}

void RowWriter::AddJson(nlohmann::json& json) const {
  json["rows"] = Entries + LossRows;
  json["loss_rows"] = LossRows;
}

}  // namespace client
