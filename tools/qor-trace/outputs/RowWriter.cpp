#include "outputs/RowWriter.h"

#include <fmt/format.h>

#include <nlohmann/json.hpp>

namespace client {

RowWriter::RowWriter(const std::string& path, RowFormat format) : File(path), Rows(format) {
  File.AddHeader(Rows.Header());
}

void RowWriter::Describe(const Description& description) {
  Described = description;
  Origin.Times = TimesOf(description);
  Untold.Describe(description.Losses);
}

bool RowWriter::Take(const RecordView& record) {
  if (!File.Usable()) return false;
  if (Origin.Recording.empty()) Origin.Recording = RowId(Described.Id, record);
  const unsigned long time = record.Timestamp();
  AddLosses(Untold.Before(record));
  File.Add(Rows.Compose(File.Room(RowComposer::Room(record)), record, Origin));
  ++Entries;
  if (!record.HasOverrunMark()) return File.Usable();
  Untold.Shown(record);
  AddLoss({.Channel = record.ChannelId(), .Cause = LossCause::OverrunMark, .First = time, .Last = time}, record.Bus());
  return File.Usable();
}

void RowWriter::AddLoss(const Loss& loss, unsigned char busType) {
  File.Add(Rows.ComposeLoss(File.Room(RowComposer::kLossRoom), loss, busType, Origin));
  ++LossRows;
}

void RowWriter::AddLosses(const std::vector<Loss>& losses) {
  for (const Loss& loss : losses) AddLoss(loss, BusOf(loss.Channel));
}

unsigned char RowWriter::BusOf(unsigned int channel) const {
  constexpr unsigned char kUnknown = BusType_Ethernet + 1;
  const ChannelDescription* const known = FindChannel(Described, channel);
  return known != nullptr ? known->BusType.value_or(kUnknown) : kUnknown;
}

bool RowWriter::Finish() {
  if (Entries > 0 && File.Usable()) AddLosses(Untold.Rest());
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
