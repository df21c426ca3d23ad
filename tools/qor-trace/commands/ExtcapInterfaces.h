// What Wireshark is offered to capture from.
#pragma once

#include <string>
#include <vector>

#include "recording/PortSupply.h"

namespace client {

/// Where an offered interface gets its frames from.
enum class ExtcapOrigin {
  Simulated,  // synthetic buses
  Port,       // an interface that the hardware library opens
  Several,    // whatever the user names
  Replay,     // a recording
};

struct ExtcapInterface {
  std::string Name;   // by which Wireshark asks for it: "qor-can0"
  std::string Shown;  // to its user
  ExtcapOrigin Origin = ExtcapOrigin::Simulated;
  std::string Source;                // as for qor-trace record, until the user says otherwise; may be empty
  std::vector<unsigned char> Buses;  // that its frames may be of, Qor_Trace_BusType
};

/// The ports first, then several sources together, replays and simulated buses.
/// @param simulation  there are simulated buses
[[nodiscard]] std::vector<ExtcapInterface> ExtcapInterfaces(const std::vector<ListedPort>& ports, bool simulation);

/// Failure: UsageError when there is none of that name.
[[nodiscard]] const ExtcapInterface& FindInterface(const std::vector<ExtcapInterface>& interfaces,
                                                   const std::string& name);

}  // namespace client
