// The sources of the stand-in hardware library: what it simulates, and this machine's interfaces.
#pragma once

#include "recording/PortSupply.h"

namespace client {

class StandInPorts : public PortSupply {
 public:
  std::vector<Source> Plan(const std::vector<std::string>& typed, const SourceDefaults& defaults,
                           const std::filesystem::path& folder) override;
  std::unique_ptr<OpenedPort> Open(const Source& source) override;
  std::vector<ListedPort> List() override;
};

}  // namespace client
