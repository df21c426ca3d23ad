#include "system/TemporaryFolder.h"

#include <cstdlib>

namespace client {

std::string TemporaryFolder() {
  const char* const chosen = std::getenv("TMPDIR");
  return chosen != nullptr && *chosen != '\0' ? chosen : "/var/tmp";
}

}  // namespace client
