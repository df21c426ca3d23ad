// Blocks of a capture ring as the kernel writes them.
#pragma once

#include <linux/if_packet.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

struct MadePacket {
  std::vector<unsigned char> Bytes;
  uint64_t Time = 0;  // ns
  bool Outgoing = false;
  uint32_t Status = 0;  // TP_STATUS_*
  uint16_t VlanTag = 0;
  uint16_t VlanProtocol = 0;
};

inline std::vector<unsigned char> BlockOf(const std::vector<MadePacket>& packets) {
  constexpr size_t kFirst = sizeof(tpacket_block_desc);
  constexpr size_t kAddress = TPACKET_ALIGN(sizeof(tpacket3_hdr));
  constexpr size_t kFrame = TPACKET_ALIGN(kAddress + sizeof(sockaddr_ll));
  std::vector<unsigned char> block(kFirst);
  for (size_t index = 0; index < packets.size(); ++index) {
    const MadePacket& packet = packets[index];
    const size_t place = block.size();
    const size_t size = TPACKET_ALIGN(kFrame + packet.Bytes.size());
    tpacket3_hdr head{};
    head.tp_next_offset = index + 1 < packets.size() ? static_cast<uint32_t>(size) : 0;
    head.tp_sec = static_cast<uint32_t>(packet.Time / 1'000'000'000);
    head.tp_nsec = static_cast<uint32_t>(packet.Time % 1'000'000'000);
    head.tp_snaplen = head.tp_len = static_cast<uint32_t>(packet.Bytes.size());
    head.tp_status = packet.Status;
    head.tp_mac = kFrame;
    head.hv1.tp_vlan_tci = packet.VlanTag;
    head.hv1.tp_vlan_tpid = packet.VlanProtocol;
    sockaddr_ll address{};
    address.sll_pkttype = packet.Outgoing ? PACKET_OUTGOING : PACKET_HOST;
    block.resize(place + size);
    std::memcpy(block.data() + place, &head, sizeof head);
    std::memcpy(block.data() + place + kAddress, &address, sizeof address);
    std::copy(packet.Bytes.begin(), packet.Bytes.end(), block.begin() + static_cast<std::ptrdiff_t>(place + kFrame));
  }
  tpacket_block_desc description{};
  description.hdr.bh1.num_pkts = static_cast<uint32_t>(packets.size());
  description.hdr.bh1.offset_to_first_pkt = kFirst;
  description.hdr.bh1.blk_len = static_cast<uint32_t>(block.size());
  std::memcpy(block.data(), &description, sizeof description);
  return block;
}
