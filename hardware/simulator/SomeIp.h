// SOME/IP messages, and messages of its service discovery: what UDP carries.
#pragma once

#include <cstdint>
#include <span>

#include "EthernetFrames.h"

namespace qor_sim {

enum class SomeIpType : unsigned char { Request = 0x00, Notification = 0x02, Response = 0x80 };

struct SomeIpHead {
  uint16_t Service = 0;
  uint16_t Method = 0;  // from 0x8000 on: an event
  uint16_t Client = 0;
  uint16_t Session = 0;
  SomeIpType Type = SomeIpType::Notification;
};

FrameBytes SomeIpMessage(const SomeIpHead& head, std::span<const unsigned char> payload);

/// What a node offers or subscribes to.
struct SomeIpService {
  uint16_t Service;
  uint16_t Eventgroup;
  uint32_t Address;  // where it is offered, or where its events are sent
  uint16_t Port;
};

constexpr uint16_t kServiceDiscoveryPort = 30490;

// Messages of service discovery with one entry.
//
// @param session  counts the messages of a sender, from 1; never 0
// @param rebooted  the sender's count has not yet begun anew
FrameBytes OfferService(const SomeIpService& service, uint16_t session, bool rebooted);
FrameBytes FindService(uint16_t service, uint16_t session, bool rebooted);
FrameBytes SubscribeEventgroup(const SomeIpService& service, uint16_t session, bool rebooted);
FrameBytes SubscribeEventgroupAck(const SomeIpService& service, uint16_t session, bool rebooted);

}  // namespace qor_sim
