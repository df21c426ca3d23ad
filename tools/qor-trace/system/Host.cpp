#include "system/Host.h"

#include <sys/utsname.h>

namespace client {

namespace {

utsname Names() {
  utsname names{};
  if (uname(&names) != 0) names = {};
  return names;
}

}  // namespace

std::string ToolName() { return "qor-trace " QOR_TRACE_VERSION; }

std::string HostName() { return Names().nodename; }

std::string SystemName() {
  const utsname names = Names();
  if (names.sysname[0] == '\0') return "";
  return std::string(names.sysname) + " " + names.release;
}

std::string MachineName() { return Names().machine; }

}  // namespace client
