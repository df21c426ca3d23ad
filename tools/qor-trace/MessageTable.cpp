#include "MessageTable.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <nlohmann/json.hpp>

namespace client {

namespace {

constexpr unsigned char Extended = QOR_TRACE_CAN_EXTENDED;

/// What kind of entry a row's newest one is.
const char* KindOf(unsigned char flags) {
  if (flags & QOR_TRACE_CAN_TRIGGER) return "event";
  if (flags & QOR_TRACE_CAN_ERROR) return "error";
  return flags & QOR_TRACE_CAN_FD ? "FD" : "CAN";
}

const char* DirectionOf(unsigned char flags) { return flags & QOR_TRACE_CAN_TRANSMITTED ? "Tx" : "Rx"; }

/// "18fe0102x": hexadecimal, x for an extended identifier.
std::string IdentifierText(unsigned int identifier, unsigned char flags) {
  const unsigned int plain = identifier & ~(QOR_TRACE_CAN_ID_EXTENDED | QOR_TRACE_CAN_ID_FD);
  return fmt::format("{:x}{}", plain, flags & Extended ? "x" : "");
}

std::string CycleText(unsigned long ns, unsigned long count) {
  if (count < 2) return "-";
  return fmt::format("{}.{:03}", ns / 1000000, ns / 1000 % 1000);
}

}  // namespace

MessageTable::Row& MessageTable::RowOf(unsigned int channel, const CanEntry& can) {
  return Rows[{channel, can.Identifier}];
}

bool MessageTable::Take(const unsigned char* record, unsigned int length) {
  const auto can = ReadCan(record, length);
  if (!can) return true;
  const EntryHeader header = ReadHeader(record);
  Row& row = RowOf(header.ChannelId, *can);
  row.Cycle = row.Count > 0 && header.Timestamp > row.Timestamp ? header.Timestamp - row.Timestamp : 0;
  ++row.Count;
  row.Timestamp = header.Timestamp;
  row.Flags = can->Flags;
  row.Dlc = can->Dlc;
  row.Data.assign(can->Data, can->Data + can->DataLength);
  return true;
}

void MessageTable::SetNewest(const unsigned char* record, unsigned int length) {
  const auto can = ReadCan(record, length);
  if (!can) return;
  const EntryHeader header = ReadHeader(record);
  Row& row = RowOf(header.ChannelId, *can);
  row.Timestamp = header.Timestamp;
  row.Flags = can->Flags;
  row.Dlc = can->Dlc;
  row.Data.assign(can->Data, can->Data + can->DataLength);
}

std::string MessageTable::Text() const {
  std::string text = fmt::format("{:>2}  {:>9}  {:5}  {:3}  {:>9}  {:>12}  {:>3}  {}\n", "Ch", "Id", "Kind", "Dir",
                                 "Count", "Cycle (ms)", "DLC", "Last data");
  for (const auto& [key, row] : Rows) {
    const std::string line =
        fmt::format("{:>2}  {:>9}  {:5}  {:3}  {:>9}  {:>12}  {:>3x}  {:02x}", key.first,
                    IdentifierText(key.second, row.Flags), KindOf(row.Flags), DirectionOf(row.Flags), row.Count,
                    CycleText(row.Cycle, row.Count), row.Dlc, fmt::join(row.Data, " "));
    text += line.substr(0, line.find_last_not_of(' ') + 1) + "\n";
  }
  return text;
}

nlohmann::json MessageTable::Json() const {
  nlohmann::json array = nlohmann::json::array();
  for (const auto& [key, row] : Rows) {
    array.push_back({{"channel", key.first},
                     {"identifier", key.second & ~(QOR_TRACE_CAN_ID_EXTENDED | QOR_TRACE_CAN_ID_FD)},
                     {"extended", (row.Flags & Extended) != 0},
                     {"fd", (row.Flags & QOR_TRACE_CAN_FD) != 0},
                     {"kind", KindOf(row.Flags)},
                     {"direction", DirectionOf(row.Flags)},
                     {"count", row.Count},
                     {"cycle_ns", row.Count > 1 ? nlohmann::json(row.Cycle) : nlohmann::json()},
                     {"last_time_ns", row.Timestamp},
                     {"dlc", row.Dlc},
                     {"data", fmt::format("{:02x}", fmt::join(row.Data, ""))}});
  }
  return array;
}

}  // namespace client
