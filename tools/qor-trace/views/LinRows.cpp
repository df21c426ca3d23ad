// The list's columns for LIN.
#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include "stream/LinChecksum.h"
#include "views/MessageRow.h"

namespace client {

namespace {

LinEntry Lin(const MessageRow& row) { return ReadLin(row.Record(), row.Length()).value_or(LinEntry{}); }

const char* ChecksumModel(const LinEntry& lin) {
  if (!lin.Checksum) return "-";
  switch (LinChecksumModelOf(*lin.Checksum, LinProtectedIdentifier(lin.Identifier), lin.Data, lin.DataLength)) {
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
  std::string KeyOf(const unsigned char* record, unsigned int length) const override {
    const LinEntry lin = ReadLin(record, length).value_or(LinEntry{});
    return KeyOfNumber(lin.PlainIdentifier()) + KeyOfNumber(lin.Identifier);
  }

  std::vector<Column> NameColumns() const override { return {{"Id", true}}; }
  std::vector<std::string> NameCells(const MessageRow& row) const override {
    return {fmt::format("{:02x}", Lin(row).PlainIdentifier())};
  }

  std::vector<Column> MoreColumns() const override { return {{"Len", true}, {"Checksum"}}; }
  std::vector<std::string> MoreCells(const MessageRow& row) const override {
    const LinEntry lin = Lin(row);
    const std::string sum = lin.Checksum ? fmt::format("{:02x} ", *lin.Checksum) : "";
    return {fmt::format("{}", lin.DataLength), sum + ChecksumModel(lin)};
  }

  void AddJson(const MessageRow& row, nlohmann::json& json) const override {
    const LinEntry lin = Lin(row);
    const std::string model = ChecksumModel(lin);
    json["identifier"] = lin.PlainIdentifier();
    json["checksum"] = lin.Checksum ? nlohmann::json(*lin.Checksum) : nlohmann::json();
    json["checksum_model"] = model == "-" ? nlohmann::json() : nlohmann::json(model);
  }

  std::span<const unsigned char> Data(const MessageRow& row) const override {
    const LinEntry lin = Lin(row);
    return {lin.Data, lin.DataLength};
  }
};

}  // namespace

const BusRows& LinRows() {
  static const Rows rows;
  return rows;
}

}  // namespace client
