// The shared objects that this program brings along.
#pragma once

#include <string>

namespace client {

/// The path of a shared object in the folders where the loader looks for those of this program; the name alone if it is in none of them.
/// The loader itself can't be trusted with the name: under a sanitizer it is the sanitizer's library that calls it, and that one's
/// folders are searched.
[[nodiscard]] std::string OwnLibrary(const std::string& name);

}  // namespace client
