// The interfaces of a hardware library that the stand-in is not: its owner's adapter (qor_adapter.h) lists and opens them.
#pragma once

#include <string>

#include "qor_adapter.h"
#include "recording/PortSupply.h"

namespace client {

class AdapterPorts : public PortSupply {
 public:
  /// Loads nothing yet: commands on files do without hardware library and adapter. The functions below report what is wrong with
  /// either as a Failure.
  ///
  /// @param hardware  path of the hardware library, as typed
  /// @param fault     why it isn't loaded, without a full stop; empty if it is
  /// @param adapter   path of the adapter, as typed
  AdapterPorts(std::string hardware, std::string fault, std::string adapter);

  std::vector<Source> Plan(const std::vector<std::string>& typed, const SourceDefaults& defaults,
                           const std::filesystem::path& folder) override;
  std::unique_ptr<OpenedPort> Open(const Source& source) override;
  std::vector<ListedPort> List() override;
  std::vector<std::string> ProgramOptions() const override;

 private:
  [[nodiscard]] const Qor_Adapter_t& Adapter();
  [[nodiscard]] bool IsListed(const std::string& name);

  const std::string Hardware;
  const std::string HardwareFault;
  const std::string Path;
  const Qor_Adapter_t* Loaded = nullptr;
};

}  // namespace client
