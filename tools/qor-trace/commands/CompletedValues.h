// The values of options and arguments, for Completion: words, sources, expressions, files.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace client {

struct Candidate {
  std::string Word;
  std::string Help;

  bool operator==(const Candidate&) const = default;
};

/// What a word can become. All candidates begin as it does.
struct Completion {
  std::vector<Candidate> Candidates;
  bool Files = false;         // names of files as well
  bool IsUnfinished = false;  // something follows a candidate without a blank in between
};

/// The interfaces of this machine. Asked only where a source is typed, since listing them takes a while.
using PortNames = std::function<std::vector<std::string>()>;

/// @param command  "record"; empty for the program's own options
/// @param option   "--format", or an argument without a name, "SOURCE"
/// @param typed    the value so far
[[nodiscard]] Completion CompleteValue(std::string_view command, std::string_view option, const std::string& typed,
                                       const PortNames& ports);

}  // namespace client
