#include "SomeIp.h"

namespace qor_sim {
namespace {

enum EntryType : unsigned char { Find = 0x00, Offer = 0x01, Subscribe = 0x06, SubscribeAck = 0x07 };

constexpr uint16_t kInstance = 1;
constexpr uint32_t kAnyInstance = 0xFFFF;
constexpr unsigned int kMajorVersion = 1;
constexpr unsigned int kTimeToLive = 3;  // s
constexpr unsigned int kUdp = 17;

/// Type, indexes of options, numbers of options, service, instance, version and time to live.
FrameBytes EntryHead(EntryType type, unsigned int options, unsigned int service, unsigned int instance) {
  FrameBytes entry;
  Put8(entry, type);
  Put16(entry, 0);
  Put8(entry, options << 4);
  Put16(entry, service);
  Put16(entry, instance);
  Put32(entry, kMajorVersion << 24 | kTimeToLive);
  return entry;
}

FrameBytes ServiceEntry(EntryType type, unsigned int options, unsigned int service, unsigned int instance,
                        uint32_t minorVersion) {
  FrameBytes entry = EntryHead(type, options, service, instance);
  Put32(entry, minorVersion);
  return entry;
}

FrameBytes EventgroupEntry(EntryType type, unsigned int options, const SomeIpService& service) {
  FrameBytes entry = EntryHead(type, options, service.Service, kInstance);
  Put16(entry, 0);
  Put16(entry, service.Eventgroup);
  return entry;
}

FrameBytes EndpointOption(const SomeIpService& service) {
  FrameBytes option;
  Put16(option, 9);       // bytes after the type
  Put16(option, 0x0400);  // IPv4 endpoint
  Put32(option, service.Address);
  Put8(option, 0);
  Put8(option, kUdp);
  Put16(option, service.Port);
  return option;
}

FrameBytes Discovery(uint16_t session, bool rebooted, const FrameBytes& entry, const FrameBytes& option) {
  FrameBytes body;
  Put32(body, rebooted ? 0xC0000000 : 0x40000000);  // rebooted, can receive unicast
  Put32(body, static_cast<uint32_t>(entry.size()));
  PutBytes(body, entry);
  Put32(body, static_cast<uint32_t>(option.size()));
  PutBytes(body, option);
  return SomeIpMessage({0xFFFF, 0x8100, 0, session, SomeIpType::Notification}, body);
}

}  // namespace

FrameBytes SomeIpMessage(const SomeIpHead& head, std::span<const unsigned char> payload) {
  FrameBytes bytes;
  Put16(bytes, head.Service);
  Put16(bytes, head.Method);
  Put32(bytes, static_cast<uint32_t>(8 + payload.size()));  // bytes from the client on
  Put16(bytes, head.Client);
  Put16(bytes, head.Session);
  Put8(bytes, 1);  // version of the protocol
  Put8(bytes, kMajorVersion);
  Put8(bytes, static_cast<unsigned int>(head.Type));
  Put8(bytes, 0);  // no error
  PutBytes(bytes, payload);
  return bytes;
}

FrameBytes OfferService(const SomeIpService& service, uint16_t session, bool rebooted) {
  return Discovery(session, rebooted, ServiceEntry(Offer, 1, service.Service, kInstance, 0), EndpointOption(service));
}

FrameBytes FindService(uint16_t service, uint16_t session, bool rebooted) {
  constexpr uint32_t kAnyMinorVersion = 0xFFFFFFFF;
  return Discovery(session, rebooted, ServiceEntry(Find, 0, service, kAnyInstance, kAnyMinorVersion), {});
}

FrameBytes SubscribeEventgroup(const SomeIpService& service, uint16_t session, bool rebooted) {
  return Discovery(session, rebooted, EventgroupEntry(Subscribe, 1, service), EndpointOption(service));
}

FrameBytes SubscribeEventgroupAck(const SomeIpService& service, uint16_t session, bool rebooted) {
  return Discovery(session, rebooted, EventgroupEntry(SubscribeAck, 0, service), {});
}

}  // namespace qor_sim
