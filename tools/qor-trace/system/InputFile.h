// Files that a person names as inputs.
#pragma once

#include <string>

namespace client {

/// Refuses an input with nothing to read, before anything is made: a missing file, a folder, an empty file, one that
/// may not be read. Pipes and devices are not opened.
///
/// Failure: Failure that names it.
void CheckInputFile(const std::string& path);

}  // namespace client
