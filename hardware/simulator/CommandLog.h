// The commands that a port received, in order.
#pragma once

#include <cstddef>
#include <vector>

#include "Protocol.h"

namespace qor_sim {

/// Counts all commands and keeps the first ones.
///
/// Threads: one at a time; the port's mutex guards it.
class CommandLog {
 public:
  /// @param kept  commands
  explicit CommandLog(size_t kept) : Kept(kept) {}

  /// @param capacity  of the response buffer, bytes
  /// @param result    what the port answered
  void Add(const CommandCall& call, unsigned int capacity, unsigned int result);

  unsigned int Count() const { return Total; }
  /// Failure: Error QOR_SIM_ERROR_ARGUMENT for a command that is not kept.
  const Qor_Sim_Command_t& At(unsigned int index) const;

 private:
  size_t Kept;
  unsigned int Total = 0;
  std::vector<Qor_Sim_Command_t> First;
};

}  // namespace qor_sim
