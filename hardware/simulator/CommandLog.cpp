#include "CommandLog.h"

#include <algorithm>
#include <string>

#include "Error.h"

namespace qor_sim {

void CommandLog::Add(const CommandCall& call, unsigned int capacity, unsigned int result) {
  if (First.size() < Kept) {
    Qor_Sim_Command_t entry{call.Handle, call.Zero, call.Command, call.Mode, 0, capacity, result, {}};
    entry.RequestLength = static_cast<unsigned int>(call.Request.size());
    std::copy_n(call.Request.begin(), std::min(call.Request.size(), sizeof entry.Request), entry.Request);
    First.push_back(entry);
  }
  ++Total;
}

const Qor_Sim_Command_t& CommandLog::At(unsigned int index) const {
  if (index >= First.size()) {
    throw ArgumentError("There is no record of command " + std::to_string(index) + ": the port received " +
                        std::to_string(Total) + " commands, of which the first " + std::to_string(First.size()) +
                        " are kept.");
  }
  return First[index];
}

}  // namespace qor_sim
