#include "OwnLibrary.h"

#include <dlfcn.h>
#include <unistd.h>

#include <vector>

namespace client {

namespace {

/// Where the loader looks for what this program needs, its run path included.
std::vector<std::string> LibraryFolders() {
  void* const self = dlopen(nullptr, RTLD_LAZY);
  Dl_serinfo size{};
  if (self == nullptr || dlinfo(self, RTLD_DI_SERINFOSIZE, &size) != 0) return {};
  // The list is as long as it says, and wants to be told so again.
  std::vector<Dl_serinfo> room(size.dls_size / sizeof(Dl_serinfo) + 1);
  Dl_serinfo& list = room.front();
  if (dlinfo(self, RTLD_DI_SERINFOSIZE, &list) != 0 || dlinfo(self, RTLD_DI_SERINFO, &list) != 0) return {};
  std::vector<std::string> folders;
  const Dl_serpath* const paths = list.dls_serpath;
  for (unsigned int index = 0; index < list.dls_cnt; ++index) folders.emplace_back(paths[index].dls_name);
  return folders;
}

}  // namespace

std::string OwnLibrary(const std::string& name) {
  for (const std::string& folder : LibraryFolders()) {
    std::string path = folder + "/" + name;
    if (access(path.c_str(), R_OK) == 0) return path;
  }
  return name;
}

}  // namespace client
