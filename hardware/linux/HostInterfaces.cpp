#include "HostInterfaces.h"

#include <linux/ethtool.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <linux/sockios.h>
#include <net/if.h>
#include <net/if_arp.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <algorithm>
#include <iterator>
#include <new>

#include "Descriptor.h"

namespace qor_linux {
namespace {

bool AskForLinks(int netlink) {
  struct {
    nlmsghdr Head;
    ifinfomsg Which;
  } request{};
  request.Head.nlmsg_len = sizeof request;
  request.Head.nlmsg_type = RTM_GETLINK;
  request.Head.nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
  request.Which.ifi_family = AF_UNSPEC;
  return send(netlink, &request, sizeof request, 0) == sizeof request;
}

bool AskDriver(const std::string& name, void* question) {
  const Descriptor any(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  ifreq request{};
  name.copy(request.ifr_name, sizeof request.ifr_name - 1);
  request.ifr_data = static_cast<char*>(question);
  return any.Get() >= 0 && ioctl(any.Get(), SIOCETHTOOL, &request) == 0;
}

}  // namespace

std::vector<Link> HostLinks() {
  const Descriptor netlink(socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE));
  std::vector<Link> links;
  if (netlink.Get() < 0 || !AskForLinks(netlink.Get())) return links;
  std::vector<unsigned char> answer(1u << 16);
  for (bool done = false; !done;) {
    const ssize_t length = recv(netlink.Get(), answer.data(), answer.size(), 0);
    if (length <= 0) break;
    auto some = ParseLinks(std::span(answer).first(static_cast<size_t>(length)), done);
    std::move(some.begin(), some.end(), std::back_inserter(links));
  }
  return links;
}

std::optional<Link> FindLink(const std::string& name) {
  auto links = HostLinks();
  const auto found = std::find_if(links.begin(), links.end(), [&](const Link& link) { return link.Name == name; });
  return found == links.end() ? std::nullopt : std::optional(std::move(*found));
}

bool IsCan(const Link& link) { return link.Type == ARPHRD_CAN; }

bool IsEthernet(const Link& link) { return link.Type == ARPHRD_ETHER || link.Type == ARPHRD_LOOPBACK; }

uint64_t EthernetBitRate(const std::string& name) {
  // The kernel says first, as a negative number, how many words its bit sets have, and then wants them asked for.
  constexpr size_t kMostWords = 127;
  alignas(
      ethtool_link_settings) unsigned char room[sizeof(ethtool_link_settings) + 3 * kMostWords * sizeof(uint32_t)] = {};
  auto* const settings = new (room) ethtool_link_settings{};
  settings->cmd = ETHTOOL_GLINKSETTINGS;
  if (!AskDriver(name, room) || settings->link_mode_masks_nwords >= 0) return 0;
  settings->cmd = ETHTOOL_GLINKSETTINGS;
  settings->link_mode_masks_nwords = static_cast<signed char>(-settings->link_mode_masks_nwords);
  if (!AskDriver(name, room) || settings->speed == static_cast<uint32_t>(SPEED_UNKNOWN)) return 0;
  return uint64_t{settings->speed} * 1'000'000;
}

std::string DriverOf(const std::string& name) {
  ethtool_drvinfo info{};
  info.cmd = ETHTOOL_GDRVINFO;
  if (!AskDriver(name, &info)) return "";
  return std::string(info.driver, std::find(std::begin(info.driver), std::end(info.driver), '\0'));
}

}  // namespace qor_linux
