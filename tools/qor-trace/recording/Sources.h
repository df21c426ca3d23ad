// What a person types for a source, and what the simulator is given.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace client {

/// One bus to be recorded.
struct Source {
  std::string Text;       // for Qor_Sim_OpenPort; paths are absolute
  std::string Shown;      // as typed
  double Speed = 1;       // trace seconds a second; 0: as fast as it can be drained
  std::string File = {};  // as typed; empty without one
};

/// Options that go into every source that does not set them itself; empty: not given.
struct SourceDefaults {
  std::string Speed;
  std::string Duration = {};  // synthetic buses only
  std::string BadLines = {};  // text recordings only: refuse or skip
  std::string Clock = {};     // what is simulated only: own or utc
};

/// Completes what was typed: "x.log" becomes "candump:/where/x.log", likewise .pcap, .pcapng and .csv; and the defaults
/// are added. Interfaces of this machine stay as they are.
[[nodiscard]] Source PlanSource(const std::string& typed, const SourceDefaults& defaults,
                                const std::filesystem::path& folder);

/// Whether it is written as a source that only the stand-in hardware library has: simulated, a replay, or an interface of this
/// machine by its kind.
[[nodiscard]] bool NeedsStandIn(const std::string& typed);

/// The file that a source is read from, if any.
[[nodiscard]] std::optional<std::string> FileOf(const std::string& source);

/// Plans all, in UTC when there is an interface of this machine among them, and makes one source for each bus of a vehicle or
/// of a recording that has several.
///
/// Failure: UsageError for a source that the simulator doesn't understand, and for one of several that never ends at
///          speed=max; Failure for a file or an interface that can't be read as what it should be.
[[nodiscard]] std::vector<Source> PlanSources(const std::vector<std::string>& typed, const SourceDefaults& defaults,
                                              const std::filesystem::path& folder);

}  // namespace client
