// Whether other users can meddle with what is put into a folder.
#ifndef QOR_TRACE_FOLDERTRUST_H
#define QOR_TRACE_FOLDERTRUST_H

#include <sys/stat.h>

#include <string>

namespace client {

/// Says why files in a folder aren't safe, to follow its name: "belongs to user 1001". Empty if they are. The groups that
/// may write are trusted: they were chosen.
///
/// @param folder  its status
/// @param user    who puts files there
std::string WhyNotTrusted(const struct stat& folder, uid_t user);

}  // namespace client

#endif  // QOR_TRACE_FOLDERTRUST_H
