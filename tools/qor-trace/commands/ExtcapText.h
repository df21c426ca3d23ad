// The sentences in which Wireshark is told of external interfaces.
//
// Each is a line: a word, then fields in braces, as in "interface {value=qor-can0}{display=CAN interface can0}".
#pragma once

#include <string>
#include <vector>

#include "commands/ExtcapInterfaces.h"

namespace client {

/// What answers, and what it offers.
/// @param version  of this program: "2.0.0"
[[nodiscard]] std::string InterfacesText(const std::vector<ExtcapInterface>& interfaces, const std::string& version);

/// The link types of an interface: one for each bus.
[[nodiscard]] std::string LinkTypesText(const ExtcapInterface& interface);

/// What the user may set before a capture, and the option that each is handed over with.
[[nodiscard]] std::string ConfigText(const ExtcapInterface& interface);

}  // namespace client
