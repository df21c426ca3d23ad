// Sends CAN frames that the usual programs don't.
//
// Usage: odd_frames INTERFACE lengths         eight bytes with each length code that a controller can see: 0 to 15
//        odd_frames INTERFACE random NUMBER   random bytes, as far as the kernel lets them pass; the same ones each time
#include <linux/can.h>
#include <linux/can/raw.h>
#include <net/if.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>

namespace {

int OpenSocket(const char* interface) {
  const int opened = socket(PF_CAN, SOCK_RAW | SOCK_CLOEXEC, CAN_RAW);
  constexpr int kOn = 1;
  sockaddr_can address{};
  address.can_family = AF_CAN;
  address.can_ifindex = static_cast<int>(if_nametoindex(interface));
  const bool ready = opened >= 0 && address.can_ifindex > 0 &&
                     setsockopt(opened, SOL_CAN_RAW, CAN_RAW_FD_FRAMES, &kOn, sizeof kOn) == 0 &&
                     bind(opened, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
  return ready ? opened : -1;
}

template <class Frame>
bool Send(int socket, const Frame& frame) {
  return write(socket, &frame, sizeof frame) == static_cast<ssize_t>(sizeof frame);
}

/// Each code with the identifier 600 + code; those beyond eight also in an extended frame and in a remote one.
bool SendLengths(int socket) {
  for (unsigned char code = 0; code <= CAN_MAX_RAW_DLC; ++code) {
    can_frame frame{};
    frame.can_id = 0x600U + code;
    frame.len = CAN_MAX_DLEN;
    frame.len8_dlc = code;
    std::memcpy(frame.data, "odd code", sizeof frame.data);
    if (!Send(socket, frame)) return false;
    if (code <= CAN_MAX_DLEN) continue;
    frame.can_id |= CAN_EFF_FLAG;
    if (!Send(socket, frame)) return false;
    frame.can_id = 0x620U + code + CAN_RTR_FLAG;
    if (!Send(socket, frame)) return false;
  }
  return true;
}

/// The kernel lets nothing pass that is longer than its kind can be.
bool SendRandom(int socket, unsigned long number) {
  std::mt19937 random(17);
  for (unsigned long count = 0; count < number; ++count) {
    canfd_frame frame;
    unsigned char bytes[sizeof frame];
    for (unsigned char& byte : bytes) byte = static_cast<unsigned char>(random());
    std::memcpy(&frame, bytes, sizeof frame);
    const bool fd = random() % 2 == 0;
    frame.len = static_cast<unsigned char>(frame.len % ((fd ? CANFD_MAX_DLEN : CAN_MAX_DLEN) + 1));
    can_frame classic;
    std::memcpy(&classic, &frame, sizeof classic);
    if (fd ? !Send(socket, frame) : !Send(socket, classic)) return false;
    if (count % 100 == 0) usleep(10000);  // any buffer has room for so many
  }
  return true;
}

}  // namespace

int main(int count, char** arguments) {
  const std::string what = count > 2 ? arguments[2] : "";
  const int socket = what.empty() ? -1 : OpenSocket(arguments[1]);
  bool sent = false;
  if (socket >= 0 && what == "lengths") sent = SendLengths(socket);
  if (socket >= 0 && what == "random" && count > 3) sent = SendRandom(socket, std::strtoul(arguments[3], nullptr, 10));
  if (!sent) std::perror("odd_frames");
  return sent ? 0 : 1;
}
