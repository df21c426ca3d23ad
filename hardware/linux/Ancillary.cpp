#include "Ancillary.h"

// errqueue.h needs timespec and doesn't declare it.
#include <ctime>
//
#include <linux/errqueue.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace qor_linux {
namespace {

constexpr uint64_t kSecond = 1'000'000'000;  // ns

/// A cmsghdr without its flexible array.
struct ControlHead {
  size_t Length;  // this head included
  int Level;
  int Type;
};
static_assert(sizeof(ControlHead) == CMSG_LEN(0));
static_assert(offsetof(ControlHead, Level) == offsetof(cmsghdr, cmsg_level));
static_assert(offsetof(ControlHead, Type) == offsetof(cmsghdr, cmsg_type));

/// Nothing for a time that is not there (0), or can't be held in ns.
std::optional<uint64_t> Nanoseconds(const timespec& time) {
  constexpr uint64_t kLatest = ~uint64_t{0} / kSecond - 1;
  const bool sound = time.tv_sec >= 0 && time.tv_nsec >= 0 && static_cast<uint64_t>(time.tv_nsec) < kSecond &&
                     static_cast<uint64_t>(time.tv_sec) <= kLatest;
  if (!sound || (time.tv_sec == 0 && time.tv_nsec == 0)) return std::nullopt;
  return static_cast<uint64_t>(time.tv_sec) * kSecond + static_cast<uint64_t>(time.tv_nsec);
}

/// The content of a control message, where it is long enough for one.
template <class Content>
std::optional<Content> As(std::span<const unsigned char> bytes) {
  if (bytes.size() < sizeof(Content)) return std::nullopt;
  Content content;
  std::memcpy(&content, bytes.data(), sizeof content);
  return content;
}

void Take(int type, std::span<const unsigned char> bytes, Ancillary& told) {
  if (type == SO_RXQ_OVFL) {
    told.Dropped = As<uint32_t>(bytes);
  } else if (type == SCM_TIMESTAMPING) {
    const auto times = As<scm_timestamping>(bytes);
    if (!times) return;
    told.Software = Nanoseconds(times->ts[0]);
    told.Hardware = Nanoseconds(times->ts[2]);
  }
}

}  // namespace

Ancillary ParseAncillary(std::span<const unsigned char> control) {
  Ancillary told;
  while (const auto head = As<ControlHead>(control)) {
    if (head->Length < sizeof *head || head->Length > control.size()) break;
    if (head->Level == SOL_SOCKET) Take(head->Type, control.first(head->Length).subspan(sizeof *head), told);
    control = control.subspan(std::min(control.size(), CMSG_ALIGN(head->Length)));
  }
  return told;
}

}  // namespace qor_linux
