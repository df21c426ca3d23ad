// The network interfaces of this machine, as far as they can be recorded.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "LinkMessage.h"

namespace qor_linux {

/// All links of this machine, in the kernel's order; none where it doesn't say.
std::vector<Link> HostLinks();
std::optional<Link> FindLink(const std::string& name);

bool IsCan(const Link& link);
/// Frames of it begin with Ethernet addresses; the loopback interface is one.
bool IsEthernet(const Link& link);

/// bit/s of an Ethernet interface; 0 if unknown.
uint64_t EthernetBitRate(const std::string& name);

/// The driver of an interface: "gs_usb", "veth"; empty if unknown.
std::string DriverOf(const std::string& name);

}  // namespace qor_linux
