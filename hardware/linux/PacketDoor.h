// Capture sockets take a right that few programs have. A small helper beside the program may have it in its stead.
#pragma once

#include <string>

namespace qor_linux {

/// Where the helper is looked for: beside the program.
std::string PacketHelper();

/// A new socket that captures nothing yet, made here, or by the helper where this program may not. -1 with errno on failure;
/// EPERM when neither may.
int OpenPacketDoor();

/// What gives the right, in a shell.
std::string PacketRightsCommand();

}  // namespace qor_linux
