// What the kernel's link messages (rtnetlink) say about an interface.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace qor_linux {

/// State of a CAN controller, in the order of the kernel.
enum class CanState : uint32_t { ErrorActive, ErrorWarning, ErrorPassive, BusOff, Stopped, Sleeping, Unknown };

struct Link {
  std::string Name;
  unsigned short Type = 0;   // ARPHRD_*
  unsigned int Flags = 0;    // IFF_*
  std::string Kind;          // of a software device or a CAN driver: "can", "vcan", "veth"; empty otherwise
  uint64_t BitRate = 0;      // of CAN, bit/s; 0: none, or not told
  uint64_t DataBitRate = 0;  // likewise
  CanState State = CanState::Unknown;
};

/// The links in an answer to RTM_GETLINK, as far as they are whole. Lengths are believed only as far as the bytes reach.
/// @param done  out: the answer ends here
std::vector<Link> ParseLinks(std::span<const unsigned char> answer, bool& done);

}  // namespace qor_linux
