#include "system/InputFile.h"

#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "system/Failure.h"

namespace client {

void CheckInputFile(const std::string& path) {
  const auto fail = [&](const std::string& reason) {
    throw Failure(fmt::format("Cannot open \"{}\": {}", path, reason));
  };
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) fail(ErrnoText(errno));
  if (S_ISDIR(status.st_mode)) fail(ErrnoText(EISDIR) + "; name a file in it");
  if (access(path.c_str(), R_OK) != 0) fail(ErrnoText(errno));
  if (S_ISREG(status.st_mode) && status.st_size == 0) fail("The file is empty");
}

}  // namespace client
