// The description of a raw record file that lies beside it.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "stream/Description.h"

namespace client {

/// What was found beside a record file.
struct FoundDescription {
  std::optional<Description> Known = std::nullopt;
  std::vector<std::string> Remarks = {};  // sentences about descriptions that couldn't be taken
};

/// Reads NAME.bin.json, or the one that a recording that was cut off has left as NAME.bin.json.part. Without a good one the
/// records are as readable as before, so nothing is a failure here. A file's own times say nothing of its contents: they
/// aren't looked at.
///
/// A description that names another first record, or fewer bytes than there are, is of another recording.
///
/// @param path         of the record file; "-", standard input, has none
/// @param firstRecord  DigestOf its first record; 0 without records
FoundDescription FindDescription(const std::string& path, unsigned long firstRecord);

/// The sentence that says that it isn't known when a recording was made, and what helps.
std::string UnknownTimeText(const std::string& path);

}  // namespace client
