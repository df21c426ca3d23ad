// Which files an ASC log goes on in.
#pragma once

#include <string>
#include <vector>

namespace client {

/// Those after NAME.asc: NAME_1.asc, NAME_2.asc and so on, as long as each says in its head that the one before it is the
/// previous one. A file of that name that belongs to another log is none of them.
[[nodiscard]] std::vector<std::string> LaterAscFiles(const std::string& path);

}  // namespace client
