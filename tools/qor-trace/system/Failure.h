// How the program ends, and the exceptions that end it early.
#pragma once

#include <cstring>
#include <stdexcept>
#include <string>

namespace client {

enum ExitCode {
  ExitDone = 0,
  ExitFailed = 1,
  ExitUsage = 2,
  ExitLossy = 3  // done, but something that was on the bus is missing
};

/// Ends the command with one sentence on standard error.
class Failure : public std::runtime_error {
 public:
  explicit Failure(const std::string& sentence, ExitCode code = ExitFailed)
      : std::runtime_error(sentence), Code(code) {}
  const ExitCode Code;
};

/// What the person typed can't be carried out; nothing was begun.
class UsageError : public Failure {
 public:
  explicit UsageError(const std::string& sentence) : Failure(sentence, ExitUsage) {}
};

/// "Permission denied" for EACCES, and so on.
[[nodiscard]] inline std::string ErrnoText(int error) { return std::strerror(error); }

}  // namespace client
