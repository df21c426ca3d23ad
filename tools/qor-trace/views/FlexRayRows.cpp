// The list's columns for FlexRay.
#include <fmt/format.h>

#include <bit>
#include <nlohmann/json.hpp>

#include "views/MessageRow.h"

namespace client {

CycleFilter CycleFilterOf(unsigned long cycles) {
  const auto base = static_cast<unsigned int>(std::countr_zero(cycles));
  unsigned int repetition = 64;
  for (; repetition > 1; repetition /= 2) {
    unsigned long fitting = 0;
    for (unsigned int cycle = base % repetition; cycle < 64; cycle += repetition) fitting |= 1ul << cycle;
    if ((cycles & ~fitting) == 0) break;
  }
  return {base % repetition, repetition};
}

const char* FlexRayChannels(unsigned char code) {
  constexpr const char* kNames[] = {"A", "B", "AB"};
  return code < std::size(kNames) ? kNames[code] : "-";
}

namespace {

/// The channel of a frame, a symbol or an error; other events have none.
const char* Channels(const FlexRayView& flexRay) {
  const auto code = flexRay.ChannelCode();
  return code ? FlexRayChannels(*code) : "-";
}

std::string Cycles(const MessageRow& row) {
  if (row.BusCycles == 0) return "-";
  const CycleFilter filter = CycleFilterOf(row.BusCycles);
  return fmt::format("{}/{}", filter.Base, filter.Repetition);
}

/// Frames differ by their slot and channel; of the rest, each kind is one.
class Rows : public BusRows {
 public:
  std::string KeyOf(const RecordView& record) const override {
    const FlexRayView flexRay = record.FlexRay();
    if (flexRay.IsFrame()) return KeyOfNumber(flexRay.SlotId) + KeyOfNumber(flexRay.Channel);
    return KeyOfNumber(~0u) + KeyOfNumber(static_cast<unsigned int>(flexRay.Type));  // after the frames
  }

  std::vector<Column> NameColumns() const override { return {{"Slot", true}, {"A/B"}, {"Cycles"}}; }
  std::vector<std::string> NameCells(const MessageRow& row) const override {
    const FlexRayView flexRay = row.Record().FlexRay();
    return {flexRay.IsFrame() ? fmt::format("{}", flexRay.SlotId) : "-", Channels(flexRay), Cycles(row)};
  }

  /// "12 A 0/2": slot, channel, cycles. Of the rest, the kind says what it is.
  std::string Name(const MessageRow& row) const override {
    const FlexRayView flexRay = row.Record().FlexRay();
    if (!flexRay.IsFrame()) return Channels(flexRay);
    return fmt::format("{} {} {}", flexRay.SlotId, Channels(flexRay), Cycles(row));
  }

  std::vector<Column> MoreColumns() const override { return {{"Len", true}, {"Flags"}}; }
  std::vector<std::string> MoreCells(const MessageRow& row) const override {
    const FlexRayView flexRay = row.Record().FlexRay();
    if (!flexRay.IsFrame()) return {"-", "-"};
    return {fmt::format("{}", flexRay.PayloadBytes()), FlagText(flexRay)};
  }

  void AddJson(const MessageRow& row, nlohmann::json& json) const override {
    const FlexRayView flexRay = row.Record().FlexRay();
    const std::string channels = Channels(flexRay);
    json["item_type"] = static_cast<unsigned int>(flexRay.Type);
    json["flexray_channel"] = channels == "-" ? nlohmann::json() : nlohmann::json(channels);
    if (!flexRay.IsFrame()) return;
    const CycleFilter filter = CycleFilterOf(row.BusCycles);
    json["slot"] = flexRay.SlotId;
    json["cycle"] = flexRay.Cycle;
    json["base_cycle"] = filter.Base;
    json["cycle_repetition"] = filter.Repetition;
    json["payload_bytes"] = flexRay.PayloadBytes();
    json["sync"] = flexRay.Has(QOR_TRACE_FLEXRAY_SYNC);
    json["startup"] = flexRay.Has(QOR_TRACE_FLEXRAY_STARTUP);
    json["payload_preamble"] = flexRay.Has(QOR_TRACE_FLEXRAY_INDICATOR);
    json["header_crc"] = flexRay.HeaderCrc;
  }

  /// The payload of a null frame isn't valid.
  std::span<const unsigned char> Data(const RecordView& record) const override {
    const FlexRayView flexRay = record.FlexRay();
    if (flexRay.Has(QOR_TRACE_FLEXRAY_NULL)) return {};
    return flexRay.Data();
  }

 private:
  static std::string FlagText(const FlexRayView& flexRay) {
    std::string text;
    if (flexRay.Has(QOR_TRACE_FLEXRAY_STARTUP)) text += " startup";
    if (flexRay.Has(QOR_TRACE_FLEXRAY_SYNC)) text += " sync";
    if (flexRay.Has(QOR_TRACE_FLEXRAY_INDICATOR)) text += " preamble";
    return text.empty() ? "-" : text.substr(1);
  }
};

}  // namespace

const BusRows& FlexRayRows() {
  static const Rows rows;
  return rows;
}

}  // namespace client
