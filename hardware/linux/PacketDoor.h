// Capture sockets take a right that few programs have. A small helper beside the program may have it in its stead.
#pragma once

#include <string>

namespace qor_linux {

/// Where the helper is looked for: beside the program.
std::string PacketHelper();

/// A new socket that captures nothing yet, made here, or by the helper where this program may not. -1 with errno on failure;
/// EPERM when neither may.
int OpenPacketDoor();

/// What a user can do who may not capture: a sentence without a full stop, with the command that gives the right, in a shell.
/// @param helper  path of the helper
std::string PacketRightsAdvice(const std::string& helper = PacketHelper());

}  // namespace qor_linux
