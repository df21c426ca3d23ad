#include "PacketBlock.h"

#include <linux/if_ether.h>
#include <linux/if_packet.h>

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace qor_linux {
namespace {

constexpr uint64_t kSecond = 1'000'000'000;  // ns
constexpr size_t kAddresses = size_t{2} * ETH_ALEN;

template <class Content>
std::optional<Content> At(std::span<const unsigned char> bytes, size_t place) {
  if (place > bytes.size() || bytes.size() - place < sizeof(Content)) return std::nullopt;
  Content content;
  std::memcpy(&content, bytes.data() + place, sizeof content);
  return content;
}

std::optional<uint32_t> TagOf(const tpacket3_hdr& head) {
  if ((head.tp_status & TP_STATUS_VLAN_VALID) == 0) return std::nullopt;
  const bool hasProtocol = (head.tp_status & TP_STATUS_VLAN_TPID_VALID) != 0;
  const uint32_t protocol = hasProtocol ? head.hv1.tp_vlan_tpid : uint32_t{ETH_P_8021Q};
  return protocol << 16 | (head.hv1.tp_vlan_tci & 0xFFFF);
}

unsigned char Byte(uint32_t value, unsigned int shift) { return static_cast<unsigned char>(value >> shift & 0xFF); }

}  // namespace

PacketBlock::PacketBlock(std::span<const unsigned char> block) {
  const auto head = At<tpacket_block_desc>(block, 0);
  if (!head) return;
  Block = block.first(std::min<size_t>(block.size(), head->hdr.bh1.blk_len));
  Place = head->hdr.bh1.offset_to_first_pkt;
  Count = head->hdr.bh1.num_pkts;
}

std::optional<Packet> PacketBlock::Next() {
  if (Count == 0) return std::nullopt;
  const auto head = At<tpacket3_hdr>(Block, Place);
  const auto address = At<sockaddr_ll>(Block, Place + TPACKET_ALIGN(sizeof(tpacket3_hdr)));
  if (!head || !address) return std::nullopt;
  const size_t begin = Place + head->tp_mac;
  if (begin > Block.size() || Block.size() - begin < head->tp_snaplen) return std::nullopt;
  Packet packet;
  packet.Time = uint64_t{head->tp_sec} * kSecond + head->tp_nsec;
  packet.Transmitted = address->sll_pkttype == PACKET_OUTGOING;
  packet.Cut = head->tp_len > head->tp_snaplen;
  packet.Bytes = Block.subspan(begin, head->tp_snaplen);
  packet.VlanTag = TagOf(*head);
  // The last one of a block leads nowhere; another that does would go round forever.
  Place = head->tp_next_offset == 0 ? Block.size() : Place + head->tp_next_offset;
  --Count;
  return packet;
}

void RestoreFrame(const Packet& packet, std::vector<unsigned char>& frame) {
  frame.assign(packet.Bytes.begin(), packet.Bytes.end());
  if (!packet.VlanTag || frame.size() < kAddresses) return;
  const uint32_t tag = *packet.VlanTag;
  const unsigned char bytes[] = {Byte(tag, 24), Byte(tag, 16), Byte(tag, 8), Byte(tag, 0)};
  frame.insert(frame.begin() + kAddresses, std::begin(bytes), std::end(bytes));
}

}  // namespace qor_linux
