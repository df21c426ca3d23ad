// What of this machine can be recorded, and why the rest can't.
#pragma once

#include <string>
#include <vector>

#include "HostInterfaces.h"
#include "Kernel.h"
#include "simulator/qor_sim.h"

namespace qor_linux {

/// The state of a link in words.
std::string StateOf(const Link& link);

/// An interface as it is listed; driver and the bit rate of Ethernet are not filled.
Qor_Sim_HostInterface_t Listed(const Link& link, Kernel& kernel);

/// All interfaces of this machine.
std::vector<Qor_Sim_HostInterface_t> ListInterfaces();

}  // namespace qor_linux
