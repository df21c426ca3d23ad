#include "LinkMessage.h"

#include <linux/can/netlink.h>
#include <linux/if_link.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>

#include <algorithm>
#include <cstring>
#include <optional>

namespace qor_linux {
namespace {

using Bytes = std::span<const unsigned char>;

template <class Content>
std::optional<Content> As(Bytes bytes) {
  if (bytes.size() < sizeof(Content)) return std::nullopt;
  Content content;
  std::memcpy(&content, bytes.data(), sizeof content);
  return content;
}

Bytes After(Bytes bytes, size_t count) { return bytes.subspan(std::min(bytes.size(), count)); }

/// Calls visit(type, content) for each attribute.
template <class Visit>
void ForEachAttribute(Bytes bytes, Visit visit) {
  while (const auto head = As<rtattr>(bytes)) {
    if (head->rta_len < sizeof *head || head->rta_len > bytes.size()) return;
    visit(head->rta_type & NLA_TYPE_MASK, bytes.first(head->rta_len).subspan(sizeof *head));
    bytes = After(bytes, RTA_ALIGN(size_t{head->rta_len}));
  }
}

std::string Text(Bytes bytes) { return {bytes.begin(), std::find(bytes.begin(), bytes.end(), 0)}; }

void TakeCan(Bytes data, Link& link) {
  ForEachAttribute(data, [&](int type, Bytes content) {
    if (type == IFLA_CAN_BITTIMING) {
      if (const auto timing = As<can_bittiming>(content)) link.BitRate = timing->bitrate;
    } else if (type == IFLA_CAN_DATA_BITTIMING) {
      if (const auto timing = As<can_bittiming>(content)) link.DataBitRate = timing->bitrate;
    } else if (type == IFLA_CAN_STATE) {
      link.State = static_cast<CanState>(
          std::min(As<uint32_t>(content).value_or(~0u), static_cast<uint32_t>(CanState::Unknown)));
    }
  });
}

void TakeInfo(Bytes info, Link& link) {
  Bytes data;
  ForEachAttribute(info, [&](int type, Bytes content) {
    if (type == IFLA_INFO_KIND) link.Kind = Text(content);
    if (type == IFLA_INFO_DATA) data = content;
  });
  if (link.Kind == "can") TakeCan(data, link);
}

std::optional<Link> ParseLink(Bytes message) {
  const auto head = As<ifinfomsg>(message);
  if (!head) return std::nullopt;
  Link link;
  link.Type = head->ifi_type;
  link.Flags = head->ifi_flags;
  ForEachAttribute(After(message, NLMSG_ALIGN(sizeof *head)), [&](int type, Bytes content) {
    if (type == IFLA_IFNAME) link.Name = Text(content);
    if (type == IFLA_LINKINFO) TakeInfo(content, link);
  });
  return link.Name.empty() ? std::nullopt : std::optional(link);
}

}  // namespace

std::vector<Link> ParseLinks(std::span<const unsigned char> answer, bool& done) {
  std::vector<Link> links;
  while (const auto head = As<nlmsghdr>(answer)) {
    if (head->nlmsg_len < sizeof *head || head->nlmsg_len > answer.size()) break;
    const Bytes content = answer.first(head->nlmsg_len).subspan(sizeof *head);
    if (head->nlmsg_type == NLMSG_DONE || head->nlmsg_type == NLMSG_ERROR) done = true;
    if (head->nlmsg_type == RTM_NEWLINK)
      if (auto link = ParseLink(content)) links.push_back(std::move(*link));
    answer = After(answer, NLMSG_ALIGN(size_t{head->nlmsg_len}));
  }
  return links;
}

}  // namespace qor_linux
