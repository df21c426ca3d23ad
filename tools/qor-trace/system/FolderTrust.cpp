#include "system/FolderTrust.h"

#include <fmt/format.h>

namespace client {

std::string WhyNotTrusted(const struct stat& folder, uid_t user) {
  // The owner of a folder can rename and remove everything in it, whatever its sticky bit says.
  if (folder.st_uid != user && folder.st_uid != 0) return fmt::format("belongs to user {}", folder.st_uid);
  if ((folder.st_mode & S_IWOTH) != 0 && (folder.st_mode & S_ISVTX) == 0)
    return "can be written by everybody and has no sticky bit";
  return "";
}

}  // namespace client
