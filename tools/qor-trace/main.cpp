// qor-trace: loads the hardware library, then the program proper.
//
// The program is linked with libqor_api_trace.so.2, and that with libqor_api.so.2, which the loader takes from what the process has
// already. So the choice has to be made before either is loaded, and this is linked with neither.
#include <dlfcn.h>

#include <cstdio>

#include "HardwareLibrary.h"
#include "OwnLibrary.h"
#include "Program.h"

int main(int count, char** arguments) {
  const client::HardwareLibrary hardware =
      client::LoadHardware(client::NamedHardware({arguments + 1, arguments + count}));
  void* const program = dlopen(client::OwnLibrary(client::kProgramFile).c_str(), RTLD_NOW | RTLD_LOCAL);
  void* const programMain = program == nullptr ? nullptr : dlsym(program, client::kProgramMain);
  if (programMain == nullptr) {
    std::fprintf(stderr, "qor-trace: The program is not installed completely: %s\n", dlerror());
    return 1;
  }
  return reinterpret_cast<client::ProgramMain*>(programMain)(count, arguments, hardware.Handle, hardware.Fault.c_str());
}
