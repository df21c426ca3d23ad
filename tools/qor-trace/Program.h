// The program but for the hardware library, which has to be loaded before it: a shared object of its own.
#pragma once

namespace client {

/// What the shared object exports.
///
/// @param hardware       the hardware library, of dlopen
/// @param hardwareFault  why the one that was named isn't it; empty if it is, or none was named
/// @return               the exit code
using ProgramMain = int(int count, char** arguments, void* hardware, const char* hardwareFault);

constexpr const char* kProgramMain = "qor_trace_main";
constexpr const char* kProgramFile = "libqor-trace-client.so";

}  // namespace client
