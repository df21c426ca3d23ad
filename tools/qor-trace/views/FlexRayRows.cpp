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
  constexpr const char* names[] = {"A", "B", "AB"};
  return code < std::size(names) ? names[code] : "-";
}

namespace {

FlexRayEntry FlexRay(const MessageRow& row) { return ReadFlexRay(row.Record(), row.Length()).value_or(FlexRayEntry{}); }

/// The channel of a frame, a symbol or an error; other events have none.
const char* Channels(const FlexRayEntry& flexRay) {
  if (flexRay.IsFrame() || flexRay.Kind == 6) return FlexRayChannels(flexRay.Channel);
  return flexRay.Kind >= 7 ? FlexRayChannels(flexRay.EventChannel()) : "-";
}

std::string Cycles(const MessageRow& row) {
  if (row.BusCycles == 0) return "-";
  const CycleFilter filter = CycleFilterOf(row.BusCycles);
  return fmt::format("{}/{}", filter.Base, filter.Repetition);
}

/// Frames differ by their slot and channel; of the rest, each kind is one.
class Rows : public BusRows {
 public:
  std::string KeyOf(const unsigned char* record, unsigned int length) const override {
    const FlexRayEntry flexRay = ReadFlexRay(record, length).value_or(FlexRayEntry{});
    if (flexRay.IsFrame()) return KeyOfNumber(flexRay.Slot) + KeyOfNumber(flexRay.Channel);
    return KeyOfNumber(~0u) + KeyOfNumber(flexRay.Kind);  // after the frames
  }

  std::vector<Column> NameColumns() const override { return {{"Slot", true}, {"A/B"}, {"Cycles"}}; }
  std::vector<std::string> NameCells(const MessageRow& row) const override {
    const FlexRayEntry flexRay = FlexRay(row);
    return {flexRay.IsFrame() ? fmt::format("{}", flexRay.Slot) : "-", Channels(flexRay), Cycles(row)};
  }

  std::vector<Column> MoreColumns() const override { return {{"Len", true}, {"Flags"}}; }
  std::vector<std::string> MoreCells(const MessageRow& row) const override {
    const FlexRayEntry flexRay = FlexRay(row);
    if (!flexRay.IsFrame()) return {"-", "-"};
    return {fmt::format("{}", 2 * flexRay.Words), FlagText(flexRay)};
  }

  void AddJson(const MessageRow& row, nlohmann::json& json) const override {
    const FlexRayEntry flexRay = FlexRay(row);
    const std::string channels = Channels(flexRay);
    json["item_type"] = flexRay.Kind;
    json["flexray_channel"] = channels == "-" ? nlohmann::json() : nlohmann::json(channels);
    if (!flexRay.IsFrame()) return;
    const CycleFilter filter = CycleFilterOf(row.BusCycles);
    json["slot"] = flexRay.Slot;
    json["cycle"] = flexRay.Cycle;
    json["base_cycle"] = filter.Base;
    json["cycle_repetition"] = filter.Repetition;
    json["payload_bytes"] = 2 * flexRay.Words;
    json["sync"] = flexRay.Has(QOR_TRACE_FLEXRAY_SYNC);
    json["startup"] = flexRay.Has(QOR_TRACE_FLEXRAY_STARTUP);
    json["payload_preamble"] = flexRay.Has(QOR_TRACE_FLEXRAY_INDICATOR);
    json["header_crc"] = flexRay.HeaderCrc;
  }

  /// The payload of a null frame isn't valid.
  std::span<const unsigned char> Data(const MessageRow& row) const override {
    const FlexRayEntry flexRay = FlexRay(row);
    if (flexRay.Has(QOR_TRACE_FLEXRAY_NULL)) return {};
    return {flexRay.Data, flexRay.DataLength};
  }

 private:
  static std::string FlagText(const FlexRayEntry& flexRay) {
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
