#include "outputs/RowWriter.h"

#include <fmt/format.h>

#include <algorithm>
#include <nlohmann/json.hpp>

namespace client {

RowWriter::RowWriter(const std::string& path, RowFormat format) : File(path), Rows(format) {
  File.AddHeader(Rows.Header());
}

/// What was told of a loss stays told.
void RowWriter::Describe(const Description& description) {
  Described = description;
  Origin.Times = TimesOf(description);
  for (const Loss& loss : description.Losses) {
    if (loss.Cause == LossCause::OverrunMark) continue;  // the records have it
    const auto same = [&](const Told& told) {
      return told.What.Channel == loss.Channel && told.What.Cause == loss.Cause && told.What.First == loss.First;
    };
    const auto known = std::find_if(Losses.begin(), Losses.end(), same);
    if (known == Losses.end())
      Losses.push_back({loss});
    else
      known->What = loss;
  }
  FindNextLoss();
}

bool RowWriter::Take(const RecordView& record) {
  if (!File.Usable()) return false;
  if (Origin.Recording.empty()) Origin.Recording = RowId(Described.Id, record);
  const unsigned long time = record.Timestamp();
  if (time > NextLoss) AddLossesBefore(time);
  File.Add(Rows.Compose(File.Room(RowComposer::Room(record)), record, Origin));
  ++Entries;
  if (record.HasOverrunMark())
    AddLoss({.Channel = record.ChannelId(), .Cause = LossCause::OverrunMark, .First = time, .Last = time},
            record.Bus());
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
  if (Entries > 0 && File.Usable()) AddLossesBefore(~0ul);
  return File.Finish();
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
