// The list's columns for CAN and CAN FD.
#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include "views/MessageRow.h"

namespace client {

namespace {

/// Messages differ by their identifier with its marker bits: a standard and an extended frame of the same number are two,
/// and so are a classic and an FD one.
class Rows : public BusRows {
 public:
  std::string KeyOf(const RecordView& record) const override { return KeyOfNumber(record.Can().Identifier); }

  std::vector<Column> NameColumns() const override { return {{"Id", true, 9}}; }
  /// "18fe0102x": hexadecimal, x for an extended identifier.
  std::vector<std::string> NameCells(const MessageRow& row) const override {
    const CanView can = row.Record().Can();
    return {fmt::format("{:x}{}", can.PlainIdentifier(), can.Has(QOR_TRACE_CAN_EXTENDED) ? "x" : "")};
  }

  std::string Name(const MessageRow& row) const override { return NameCells(row).front(); }

  std::vector<Column> MoreColumns() const override { return {{"DLC", true}}; }
  std::vector<std::string> MoreCells(const MessageRow& row) const override {
    return {fmt::format("{:x}", row.Record().Can().Dlc)};
  }

  void AddJson(const MessageRow& row, nlohmann::json& json) const override {
    const CanView can = row.Record().Can();
    json["identifier"] = can.PlainIdentifier();
    json["extended"] = can.Has(QOR_TRACE_CAN_EXTENDED);
    json["fd"] = can.Has(QOR_TRACE_CAN_FD);
    json["dlc"] = can.Dlc;
  }

  std::span<const unsigned char> Data(const RecordView& record) const override { return record.Can().Data(); }
};

}  // namespace

const BusRows& CanRows() {
  static const Rows rows;
  return rows;
}

}  // namespace client
