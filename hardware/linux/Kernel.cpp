#include "Kernel.h"

#include <linux/can/error.h>
#include <linux/can/raw.h>
#include <linux/net_tstamp.h>
#include <linux/sock_diag.h>
#include <net/if.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <system_error>

#include "PacketDoor.h"

namespace qor_linux {
namespace {

constexpr size_t kMostMessages = 64;  // of one call

template <class Value>
bool SetOption(int socket, int level, int name, const Value& value) {
  return setsockopt(socket, level, name, &value, sizeof value) == 0;
}

/// The kernel's buffer takes as much as it may: beyond net.core.rmem_max only with rights.
void SetBuffer(int socket, int bytes) {
  if (!SetOption(socket, SOL_SOCKET, SO_RCVBUFFORCE, bytes)) SetOption(socket, SOL_SOCKET, SO_RCVBUF, bytes);
}

bool SetFilters(int socket, const std::vector<can_filter>& filters) {
  return setsockopt(socket, SOL_CAN_RAW, CAN_RAW_FILTER, filters.data(),
                    static_cast<socklen_t>(filters.size() * sizeof filters.front())) == 0;
}

bool SetOptions(int socket, const CanSocketSettings& settings) {
  constexpr int kOn = 1;
  constexpr can_err_mask_t kAllErrors = CAN_ERR_MASK;
  constexpr int kStamps = SOF_TIMESTAMPING_RX_SOFTWARE | SOF_TIMESTAMPING_SOFTWARE | SOF_TIMESTAMPING_RX_HARDWARE |
                          SOF_TIMESTAMPING_RAW_HARDWARE;
  SetBuffer(socket, settings.BufferBytes);
  return SetOption(socket, SOL_CAN_RAW, CAN_RAW_ERR_FILTER, kAllErrors) &&
         SetOption(socket, SOL_CAN_RAW, CAN_RAW_FD_FRAMES, kOn) &&
         SetOption(socket, SOL_CAN_RAW, CAN_RAW_RECV_OWN_MSGS, kOn) &&
         (!settings.Filters || SetFilters(socket, *settings.Filters)) &&
         SetOption(socket, SOL_SOCKET, SO_TIMESTAMPING, kStamps) && SetOption(socket, SOL_SOCKET, SO_RXQ_OVFL, kOn);
}

bool Bind(int socket, const std::string& interface) {
  sockaddr_can address{};
  address.can_family = AF_CAN;
  address.can_ifindex = static_cast<int>(if_nametoindex(interface.c_str()));
  if (address.can_ifindex == 0) {  // which would be all interfaces
    errno = ENODEV;
    return false;
  }
  return bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

class MachineKernel final : public Kernel {
 public:
  int OpenCan(const CanSocketSettings& settings) override {
    const int opened = socket(PF_CAN, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, CAN_RAW);
    if (opened < 0) return -errno;
    if (SetOptions(opened, settings) && Bind(opened, settings.Interface)) return opened;
    const int error = errno;
    close(opened);
    return -error;
  }

  int CanWorks() override {
    const int opened = socket(PF_CAN, SOCK_RAW | SOCK_CLOEXEC, CAN_RAW);
    if (opened < 0) return -errno;
    close(opened);
    return 0;
  }

  int CaptureWorks() override {
    const int opened = OpenPacketDoor();
    if (opened < 0) return -errno;
    close(opened);
    return 0;
  }

  void Close(int socket) override { close(socket); }

  int Receive(int socket, std::span<Message> batch) override {
    std::array<mmsghdr, kMostMessages> heads{};
    std::array<iovec, kMostMessages> places;
    const size_t most = std::min(batch.size(), kMostMessages);
    for (size_t index = 0; index < most; ++index) {
      Message& message = batch[index];
      places[index] = {message.Bytes.data(), message.Bytes.size()};
      msghdr& head = heads[index].msg_hdr;
      head.msg_iov = &places[index];
      head.msg_iovlen = 1;
      head.msg_control = message.Control.data();
      head.msg_controllen = message.Control.size();
    }
    const int count = recvmmsg(socket, heads.data(), static_cast<unsigned int>(most), MSG_DONTWAIT, nullptr);
    if (count < 0) return -errno;
    for (size_t index = 0; index < static_cast<size_t>(count); ++index) {
      batch[index].Length = heads[index].msg_len;
      batch[index].Flags = heads[index].msg_hdr.msg_flags;
      batch[index].ControlLength = heads[index].msg_hdr.msg_controllen;
    }
    return count;
  }

  std::optional<uint32_t> Dropped(int socket) override {
    std::array<uint32_t, SK_MEMINFO_VARS> memory{};
    socklen_t length = sizeof memory;
    const bool told = getsockopt(socket, SOL_SOCKET, SO_MEMINFO, memory.data(), &length) == 0 &&
                      length >= (SK_MEMINFO_DROPS + 1) * sizeof(uint32_t);
    if (!told) return std::nullopt;
    return memory[SK_MEMINFO_DROPS];
  }

  void Wait(int socket, const WakeUp& wake, int milliseconds) override {
    pollfd waited[] = {{wake.Descriptor(), POLLIN, 0}, {socket, POLLIN, 0}};
    poll(waited, socket < 0 ? 1 : 2, milliseconds);
  }

  int IsUp(const std::string& interface) override {
    const int any = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (any < 0) return -errno;
    ifreq request{};
    interface.copy(request.ifr_name, sizeof request.ifr_name - 1);
    const int result = ioctl(any, SIOCGIFFLAGS, &request) == 0 ? ((request.ifr_flags & IFF_UP) != 0 ? 1 : 0) : -errno;
    close(any);
    return result;
  }

  uint64_t Now() override {
    const auto since = std::chrono::system_clock::now().time_since_epoch();
    return static_cast<uint64_t>(std::chrono::duration_cast<std::chrono::nanoseconds>(since).count());
  }
};

}  // namespace

WakeUp::WakeUp() : EventDescriptor(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  if (EventDescriptor < 0) throw std::system_error(errno, std::generic_category(), "eventfd");
}

WakeUp::~WakeUp() { close(EventDescriptor); }

void WakeUp::Call() const { eventfd_write(EventDescriptor, 1); }

Kernel& Kernel::Machine() {
  static MachineKernel machine;
  return machine;
}

}  // namespace qor_linux
