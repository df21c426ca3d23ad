// The list's columns for LIN.
#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include "stream/LinChecksum.h"
#include "views/MessageRow.h"

namespace client {

namespace {

const char* ChecksumModel(const LinView& lin) {
  const auto checksum = lin.Checksum();
  if (!checksum) return "-";
  switch (LinChecksumModelOf(*checksum, LinProtectedIdentifier(lin.Identifier), lin.Data())) {
    case LinChecksumModel::Classic:
      return "classic";
    case LinChecksumModel::Enhanced:
      return "enhanced";
    default:
      return "-";
  }
}

/// Messages differ by their identifier byte.
class Rows : public BusRows {
 public:
  std::string KeyOf(const RecordView& record) const override {
    const LinView lin = record.Lin();
    return KeyOfNumber(lin.PlainIdentifier()) + KeyOfNumber(lin.Identifier);
  }

  std::vector<Column> NameColumns() const override { return {{"Id", true}}; }
  std::vector<std::string> NameCells(const MessageRow& row) const override {
    return {fmt::format("{:02x}", row.Record().Lin().PlainIdentifier())};
  }

  std::string Name(const MessageRow& row) const override { return NameCells(row).front(); }

  std::vector<Column> MoreColumns() const override { return {{"Len", true}, {"Checksum"}}; }
  std::vector<std::string> MoreCells(const MessageRow& row) const override {
    const LinView lin = row.Record().Lin();
    const auto checksum = lin.Checksum();
    const std::string sum = checksum ? fmt::format("{:02x} ", *checksum) : "";
    return {fmt::format("{}", lin.Data().size()), sum + ChecksumModel(lin)};
  }

  void AddJson(const MessageRow& row, nlohmann::json& json) const override {
    const LinView lin = row.Record().Lin();
    const std::string model = ChecksumModel(lin);
    json["identifier"] = lin.PlainIdentifier();
    const auto checksum = lin.Checksum();
    json["checksum"] = checksum ? nlohmann::json(*checksum) : nlohmann::json();
    json["checksum_model"] = model == "-" ? nlohmann::json() : nlohmann::json(model);
  }

  std::span<const unsigned char> Data(const RecordView& record) const override { return record.Lin().Data(); }
};

}  // namespace

const BusRows& LinRows() {
  static const Rows rows;
  return rows;
}

}  // namespace client
