// The hardware library of this process, libqor_api.so.2: the one that is named on the command line, or else the stand-in.
#pragma once

#include <string>
#include <vector>

namespace client {

struct HardwareLibrary {
  void* Handle = nullptr;  // of dlopen; null: not even the stand-in could be loaded
  std::string Fault = {};  // why the one that is named can't be used, without a full stop; the stand-in is in its place
};

/// What follows --hardware in front of the command; empty without it, and for commands on files, which don't need it.
[[nodiscard]] std::string NamedHardware(const std::vector<std::string>& arguments);

/// Loads a hardware library so that libqor_api_trace.so.2, when that is loaded afterwards, finds the libqor_api.so.2 that it
/// needs in the process already. It stays there until the process ends. Threads that it starts take no signals.
///
/// @param named  path of the library; empty: the stand-in
[[nodiscard]] HardwareLibrary LoadHardware(const std::string& named);

}  // namespace client
