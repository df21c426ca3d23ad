// What the loader says when it can't load a shared object.
#pragma once

#include <dlfcn.h>

#include <string>

namespace client {

/// The loader's last error, "invalid ELF header", without the path of the object that its sentences begin with.
[[nodiscard]] inline std::string LoaderError(const std::string& path) {
  const char* const text = dlerror();
  const std::string sentence = text == nullptr ? "unknown error" : text;
  return sentence.starts_with(path + ": ") ? sentence.substr(path.size() + 2) : sentence;
}

}  // namespace client
