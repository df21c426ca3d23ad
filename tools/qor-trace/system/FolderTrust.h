// Whether other users can meddle with what is put into a folder.
#pragma once

#include <sys/stat.h>

#include <string>

namespace client {

/// Says why files in a folder aren't safe, to follow its name: "belongs to user 1001". Empty if they are. The groups that
/// may write are trusted: they were chosen.
///
/// @param folder  its status
/// @param user    who puts files there
[[nodiscard]] std::string WhyNotTrusted(const struct stat& folder, uid_t user);

}  // namespace client
