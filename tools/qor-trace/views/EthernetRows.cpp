// The list's columns for Ethernet.
#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "stream/EthernetFront.h"
#include "views/MessageRow.h"

namespace client {

namespace {

constexpr unsigned short kAnyLength = EthernetFront::kLeastType - 1;  // all lengths are one type
constexpr size_t kFrontOfAddress = sizeof "00:00:00:00:" - 1;         // characters, before the last two bytes

EthernetFront FrontOf(const RecordView& record) { return EthernetFront::Of(record.Ethernet().Frame()); }

std::string AddressText(std::span<const unsigned char> address) {
  return address.empty() ? "-" : fmt::format("{:02x}", fmt::join(address, ":"));
}

std::string TypeText(std::optional<unsigned short> type) {
  if (!type) return "-";
  if (*type < EthernetFront::kLeastType) return "LLC";
  switch (*type) {
    case 0x0800:
      return "IPv4";
    case 0x0806:
      return "ARP";
    case 0x22F0:
      return "AVTP";
    case 0x86DD:
      return "IPv6";
    case 0x88F7:
      return "PTP";
    default:
      return fmt::format("{:04x}", *type);
  }
}

/// Frames differ by their addresses, VLAN tags and type; all others are one message.
class Rows : public BusRows {
 public:
  std::string KeyOf(const RecordView& record) const override {
    const EthernetFront front = FrontOf(record);
    std::string key(front.Source.begin(), front.Source.end());
    key.append(front.Destination.begin(), front.Destination.end());
    key += static_cast<char>(front.VlanCount);  // untagged ones first
    for (const unsigned short vlan : front.VlanIds()) key += KeyOfNumber(vlan);
    // All lengths are one type.
    return key + KeyOfNumber(front.TypeOrLength ? std::max(*front.TypeOrLength, kAnyLength) : 0u);
  }

  std::vector<Column> NameColumns() const override { return {{"Source"}, {"Destination"}, {"VLAN"}, {"Type"}}; }
  std::vector<std::string> NameCells(const MessageRow& row) const override {
    const EthernetFront front = FrontOf(row.Record());
    return {AddressText(front.Source), AddressText(front.Destination),
            front.VlanCount == 0 ? "-" : fmt::format("{}", fmt::join(front.VlanIds(), ".")),
            TypeText(front.TypeOrLength)};
  }

  /// "IPv4 00:01>00:02 5": type, the ends of the addresses, VLANs. The fronts are mostly their makers'.
  std::string Name(const MessageRow& row) const override {
    const EthernetFront front = FrontOf(row.Record());
    const std::string vlans = front.VlanCount == 0 ? "" : fmt::format(" {}", fmt::join(front.VlanIds(), "."));
    if (front.Source.empty()) return TypeText(front.TypeOrLength);
    return fmt::format("{} {}>{}{}", TypeText(front.TypeOrLength), AddressText(front.Source).substr(kFrontOfAddress),
                       AddressText(front.Destination).substr(kFrontOfAddress), vlans);
  }

  std::vector<Column> MoreColumns() const override { return {{"Len", true}}; }
  std::vector<std::string> MoreCells(const MessageRow& row) const override {
    return {fmt::format("{}", row.Record().Ethernet().FrameLength)};
  }

  void AddJson(const MessageRow& row, nlohmann::json& json) const override {
    const EthernetFront front = FrontOf(row.Record());
    const bool there = !front.Source.empty();
    json["source"] = there ? nlohmann::json(AddressText(front.Source)) : nlohmann::json();
    json["destination"] = there ? nlohmann::json(AddressText(front.Destination)) : nlohmann::json();
    json["vlans"] = std::vector<unsigned short>(front.VlanIds().begin(), front.VlanIds().end());
    json["type"] = front.Type() ? nlohmann::json(*front.Type()) : nlohmann::json();
    json["frame_bytes"] = row.Record().Ethernet().FrameLength;
  }

  /// The payload: what follows addresses and type.
  std::span<const unsigned char> Data(const RecordView& record) const override {
    const auto frame = record.Ethernet().Frame();
    return frame.subspan(EthernetFront::Of(frame).Size);
  }
};

}  // namespace

const BusRows& EthernetRows() {
  static const Rows rows;
  return rows;
}

}  // namespace client
