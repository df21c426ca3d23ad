// The list's columns for Ethernet.
#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "views/MessageRow.h"

namespace client {

namespace {

constexpr std::size_t AddressSize = 6;
constexpr unsigned int SmallestType = 0x600;  // below, the field is a length

/// What the front of a frame says, as far as there is one.
struct Front {
  std::span<const unsigned char> Destination, Source;
  std::vector<unsigned int> Vlans;   // identifiers, the outer one first
  std::optional<unsigned int> Type;  // after the tags
  std::size_t Size = 0;              // bytes up to the payload

  explicit Front(const RecordView& record) : Front(record.Ethernet().Frame()) {}
  explicit Front(std::span<const unsigned char> frame) {
    if (frame.size() < 2 * AddressSize) return;
    Destination = frame.first(AddressSize);
    Source = frame.subspan(AddressSize, AddressSize);
    Size = 2 * AddressSize;
    ReadTags(frame);
  }

 private:
  void ReadTags(std::span<const unsigned char> frame) {
    const auto number = [&](std::size_t offset) {
      return static_cast<unsigned int>(frame[offset] << 8 | frame[offset + 1]);
    };
    while (frame.size() >= Size + 2) {
      const unsigned int type = number(Size);
      const bool tag = type == 0x8100 || type == 0x88A8 || type == 0x9100;
      if (!tag || frame.size() < Size + 4) {
        Type = type;
        Size += 2;
        return;
      }
      Vlans.push_back(number(Size + 2) & 0xFFF);
      Size += 4;
    }
  }
};

std::string AddressText(std::span<const unsigned char> address) {
  return address.empty() ? "-" : fmt::format("{:02x}", fmt::join(address, ":"));
}

std::string TypeText(std::optional<unsigned int> type) {
  if (!type) return "-";
  if (*type < SmallestType) return "LLC";
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
    const Front front(record);
    std::string key(front.Source.begin(), front.Source.end());
    key.append(front.Destination.begin(), front.Destination.end());
    key += static_cast<char>(front.Vlans.size());  // untagged ones first
    for (const unsigned int vlan : front.Vlans) key += KeyOfNumber(vlan);
    // All lengths are one type.
    return key + KeyOfNumber(front.Type ? std::max(*front.Type, SmallestType - 1) : 0);
  }

  std::vector<Column> NameColumns() const override { return {{"Source"}, {"Destination"}, {"VLAN"}, {"Type"}}; }
  std::vector<std::string> NameCells(const MessageRow& row) const override {
    const Front front(row.Record());
    return {AddressText(front.Source), AddressText(front.Destination),
            front.Vlans.empty() ? "-" : fmt::format("{}", fmt::join(front.Vlans, ".")), TypeText(front.Type)};
  }

  std::vector<Column> MoreColumns() const override { return {{"Len", true}}; }
  std::vector<std::string> MoreCells(const MessageRow& row) const override {
    return {fmt::format("{}", row.Record().Ethernet().FrameLength)};
  }

  void AddJson(const MessageRow& row, nlohmann::json& json) const override {
    const Front front(row.Record());
    const bool there = !front.Source.empty();
    json["source"] = there ? nlohmann::json(AddressText(front.Source)) : nlohmann::json();
    json["destination"] = there ? nlohmann::json(AddressText(front.Destination)) : nlohmann::json();
    json["vlans"] = front.Vlans;
    json["type"] = front.Type && *front.Type >= SmallestType ? nlohmann::json(*front.Type) : nlohmann::json();
    json["frame_bytes"] = row.Record().Ethernet().FrameLength;
  }

  /// The payload: what follows addresses and type.
  std::span<const unsigned char> Data(const MessageRow& row) const override {
    const auto frame = row.Record().Ethernet().Frame();
    return frame.subspan(Front(frame).Size);
  }
};

}  // namespace

const BusRows& EthernetRows() {
  static const Rows rows;
  return rows;
}

}  // namespace client
