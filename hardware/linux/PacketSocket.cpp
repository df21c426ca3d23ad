#include "PacketSocket.h"

#include <arpa/inet.h>
#include <linux/if_ether.h>
#include <linux/if_packet.h>
#include <net/if.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <utility>

#include "Descriptor.h"
#include "Kernel.h"
#include "PacketDoor.h"

namespace qor_linux {
namespace {

constexpr unsigned int kBlockBytes = 128 << 10;  // more than the longest packet
constexpr unsigned int kLongestWait = 10;        // ms, until a block that isn't full is handed over as well
constexpr unsigned int kFrameBytes = 1 << 11;    // only has to divide a block
constexpr size_t kLeastBlocks = 8;

template <class Value>
bool SetOption(int socket, int name, const Value& value) {
  return setsockopt(socket, SOL_PACKET, name, &value, sizeof value) == 0;
}

unsigned int BlocksOf(size_t bytes) { return static_cast<unsigned int>(std::max(bytes / kBlockBytes, kLeastBlocks)); }

bool MakeRing(int socket, unsigned int blocks) {
  constexpr int kVersion = TPACKET_V3;
  tpacket_req3 wanted{};
  wanted.tp_block_size = kBlockBytes;
  wanted.tp_block_nr = blocks;
  wanted.tp_frame_size = kFrameBytes;
  wanted.tp_frame_nr = blocks * (kBlockBytes / kFrameBytes);
  wanted.tp_retire_blk_tov = kLongestWait;
  return SetOption(socket, PACKET_VERSION, kVersion) && SetOption(socket, PACKET_RX_RING, wanted);
}

bool Bind(int socket, unsigned int index) {
  sockaddr_ll address{};
  address.sll_family = AF_PACKET;
  address.sll_protocol = htons(ETH_P_ALL);
  address.sll_ifindex = static_cast<int>(index);
  return bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

bool BePromiscuous(int socket, unsigned int index) {
  packet_mreq wanted{};
  wanted.mr_ifindex = static_cast<int>(index);
  wanted.mr_type = PACKET_MR_PROMISC;
  return SetOption(socket, PACKET_ADD_MEMBERSHIP, wanted);
}

/// Sockets of one process on one interface are of one group.
bool Share(int socket, unsigned int index) {
  const unsigned int group = (static_cast<unsigned int>(getpid()) * 31 + index) & 0xFFFF;
  const unsigned int wanted = group | PACKET_FANOUT_LB << 16;
  return SetOption(socket, PACKET_FANOUT, wanted);
}

class RingSocket final : public PacketSocket {
 public:
  RingSocket(Descriptor socket, unsigned char* ring, unsigned int blocks)
      : Socket(std::move(socket)), Ring(ring), Blocks(blocks) {}
  ~RingSocket() override { munmap(Ring, size_t{Blocks} * kBlockBytes); }

  std::span<const unsigned char> Block() override {
    const std::atomic_ref<uint32_t> status(Head().block_status);
    if ((status.load(std::memory_order_acquire) & TP_STATUS_USER) == 0) return {};
    return {Ring + size_t{Current} * kBlockBytes, kBlockBytes};
  }

  void FreeBlock() override {
    std::atomic_ref<uint32_t>(Head().block_status).store(TP_STATUS_KERNEL, std::memory_order_release);
    Current = (Current + 1) % Blocks;
  }

  uint64_t TakeDrops() override {
    tpacket_stats_v3 counted{};
    socklen_t length = sizeof counted;
    return getsockopt(Socket.Get(), SOL_PACKET, PACKET_STATISTICS, &counted, &length) == 0 ? counted.tp_drops : 0;
  }

  int TakeError() override {
    int error = 0;
    socklen_t length = sizeof error;
    return getsockopt(Socket.Get(), SOL_SOCKET, SO_ERROR, &error, &length) == 0 ? error : errno;
  }

  bool IsAttached() override {
    sockaddr_ll address{};
    socklen_t length = sizeof address;
    return getsockname(Socket.Get(), reinterpret_cast<sockaddr*>(&address), &length) == 0 && address.sll_ifindex > 0;
  }

 private:
  tpacket_hdr_v1& Head() const {
    return reinterpret_cast<tpacket_block_desc*>(Ring + size_t{Current} * kBlockBytes)->hdr.bh1;
  }

  const Descriptor Socket;
  unsigned char* const Ring;
  const unsigned int Blocks;
  unsigned int Current = 0;
};

class MachineSystem final : public PacketSystem {
 public:
  std::unique_ptr<PacketSocket> Open(const PacketSettings& settings, int& error) override {
    auto opened = TryOpen(settings);
    error = opened ? 0 : errno;
    return opened;
  }
  bool IsUp(const std::string& interface) override { return Kernel::Machine().IsUp(interface) == 1; }
  uint64_t Now() override { return Kernel::Machine().Now(); }

 private:
  static std::unique_ptr<PacketSocket> TryOpen(const PacketSettings& settings) {
    const unsigned int index = if_nametoindex(settings.Interface.c_str());
    if (index == 0) {
      errno = ENODEV;
      return nullptr;
    }
    Descriptor socket(OpenPacketDoor());
    const unsigned int blocks = BlocksOf(settings.RingBytes);
    const bool ready = socket.Get() >= 0 && MakeRing(socket.Get(), blocks) && Bind(socket.Get(), index) &&
                       (!settings.Promiscuous || BePromiscuous(socket.Get(), index)) &&
                       (settings.Shares == 1 || Share(socket.Get(), index));
    if (!ready) return nullptr;
    void* const ring = mmap(nullptr, size_t{blocks} * kBlockBytes, PROT_READ | PROT_WRITE, MAP_SHARED, socket.Get(), 0);
    if (ring == MAP_FAILED) return nullptr;
    return std::make_unique<RingSocket>(std::move(socket), static_cast<unsigned char*>(ring), blocks);
  }
};

}  // namespace

PacketSystem& PacketSystem::Machine() {
  static MachineSystem machine;
  return machine;
}

}  // namespace qor_linux
