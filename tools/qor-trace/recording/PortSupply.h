// Where ports come from: the stand-in hardware library opens what it simulates and this machine's interfaces, an adapter those
// of another one.
#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "qor_sim.h"
#include "recording/Sources.h"
#include "stream/Description.h"
#include "stream/UnreadLines.h"

namespace client {

/// An interface that can be recorded, or can't. Texts that aren't known are empty, bit rates 0.
struct ListedPort {
  std::string Name;       // the source that records it
  unsigned int Type = 0;  // 4 CAN, 5 LIN, 9 FlexRay, 14 Ethernet; 0 for another kind
  std::string State = {};
  unsigned long BitRate = 0;      // bit/s
  unsigned long DataBitRate = 0;  // bit/s of the data phase of CAN FD frames
  std::string Driver = {};        // what it is, or what drives it
  std::string WhyNot = {};        // why it can't be recorded, without a full stop; empty when it can
  bool LacksRights = false;       // that is why
};

/// An open port; closed at its end.
class OpenedPort {
 public:
  OpenedPort() = default;
  virtual ~OpenedPort() = default;
  OpenedPort(const OpenedPort&) = delete;
  OpenedPort& operator=(const OpenedPort&) = delete;

  /// Of the hardware library.
  [[nodiscard]] virtual unsigned int Handle() const = 0;
  [[nodiscard]] virtual Qor_Sim_Status_t Status() const = 0;
  /// What it is an interface to; without number and source.
  [[nodiscard]] virtual ChannelDescription Describe() const = 0;
  /// Lines of its file that were left out, the first ten of them by number and reason; the file isn't named.
  [[nodiscard]] virtual UnreadLines Unread() const { return {}; }
  /// What happened to the interface since the last call.
  [[nodiscard]] virtual std::vector<Qor_Sim_Notice_t> NewNotices() { return {}; }
};

class PortSupply {
 public:
  PortSupply() = default;
  virtual ~PortSupply() = default;
  PortSupply(const PortSupply&) = delete;
  PortSupply& operator=(const PortSupply&) = delete;

  /// One source for each port of what was typed; see PlanSources.
  /// Failure: UsageError, Failure.
  [[nodiscard]] virtual std::vector<Source> Plan(const std::vector<std::string>& typed, const SourceDefaults& defaults,
                                                 const std::filesystem::path& folder) = 0;
  /// Failure: UsageError for a source that isn't understood, else Failure.
  [[nodiscard]] virtual std::unique_ptr<OpenedPort> Open(const Source& source) = 0;
  /// Failure: Failure.
  [[nodiscard]] virtual std::vector<ListedPort> List() = 0;
  /// What comes first on the command line of a program that is to have these ports, in whatever folder it is started. None for the
  /// stand-in's.
  [[nodiscard]] virtual std::vector<std::string> ProgramOptions() const { return {}; }
};

/// Why the hardware library that the command line names isn't loaded; told when something is to be recorded with it. To be called
/// before UseAdapter.
void SetHardwareFault(const std::string& fault);

/// Ports come from this adapter, which is loaded when the first of them is wanted, and not from the stand-in.
///
/// @param hardware  as typed, likewise
void UseAdapter(const std::string& hardware, const std::string& adapter);

/// Of this process.
[[nodiscard]] PortSupply& Supply();

/// CAN for 4, and so on: types of interfaces as the hardware library numbers them.
[[nodiscard]] std::optional<unsigned char> BusOfInterface(unsigned int type);

}  // namespace client
