#include "commands/ExtcapInterfaces.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>
#include <utility>

#include "qor_api_trace.h"
#include "stream/KindText.h"
#include "system/Failure.h"

namespace client {

namespace {

const std::vector<unsigned char> kAllBuses = {BusType_Can, BusType_Lin, BusType_FlexRay, BusType_Ethernet};

std::vector<ExtcapInterface> InterfacesWithoutPort(bool simulation) {
  using enum ExtcapOrigin;
  std::vector<ExtcapInterface> interfaces = {
      {"qor-sources", "Several sources in one capture", Several, "", kAllBuses},
      {"qor-replay", "Replay of a recording", Replay, "", kAllBuses},
      {"qor-vehicle", "Simulated vehicle: CAN, LIN, FlexRay, Ethernet", Simulated, "vehicle", kAllBuses},
      {"qor-can", "Simulated CAN bus", Simulated, "can", {BusType_Can}},
      {"qor-lin", "Simulated LIN bus", Simulated, "lin", {BusType_Lin}},
      {"qor-flexray", "Simulated FlexRay bus", Simulated, "flexray", {BusType_FlexRay}},
      {"qor-ethernet", "Simulated Ethernet", Simulated, "ethernet", {BusType_Ethernet}},
  };
  if (!simulation) std::erase_if(interfaces, [](const auto& one) { return one.Origin == Simulated; });
  return interfaces;
}

/// Wireshark makes names of files and settings of it.
std::string PlainName(std::string_view name) {
  constexpr std::string_view kPlain = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-._";
  std::string plain(name);
  for (char& character : plain)
    if (kPlain.find(character) == std::string_view::npos) character = '_';
  return plain;
}

/// Wireshark calls temporary files by it.
std::string WithoutSlashes(std::string text) {
  std::replace(text.begin(), text.end(), '/', '-');
  return text;
}

/// In a few words, as Wireshark has one line for it.
const char* ObstacleText(const ListedPort& port) {
  if (port.WhyNot.empty()) return "";
  return port.LacksRights ? " (no rights to capture)" : " (not recordable)";
}

/// As SourcesIn reads it. A port that is called like a simulated bus is recorded by its long name.
std::string SourceOf(const ListedPort& port, bool isCalledLikeAnother) {
  if (port.Name.find(' ') != std::string::npos) return fmt::format("\"{}\"", port.Name);
  if (!isCalledLikeAnother) return port.Name;
  return fmt::format("{}:{}", BusOfInterface(port.Type) == BusType_Can ? "socketcan" : "packet", port.Name);
}

ExtcapInterface InterfaceOf(const ListedPort& port, const std::vector<ExtcapInterface>& others) {
  const std::string name = "qor-" + PlainName(port.Name);
  const auto other = std::find_if(others.begin(), others.end(), [&](const auto& one) { return one.Name == name; });
  const auto bus = BusOfInterface(port.Type);
  return {other == others.end() ? name : "qor-port-" + PlainName(port.Name),
          fmt::format("{}{} {}{}", bus ? BusName(*bus) : "", bus ? " interface" : "Interface",
                      WithoutSlashes(port.Name), ObstacleText(port)),
          ExtcapOrigin::Port, SourceOf(port, other != others.end() && other->Origin == ExtcapOrigin::Simulated),
          bus ? std::vector<unsigned char>{*bus} : kAllBuses};
}

}  // namespace

std::vector<ExtcapInterface> ExtcapInterfaces(const std::vector<ListedPort>& ports, bool simulation) {
  const std::vector<ExtcapInterface> others = InterfacesWithoutPort(simulation);
  std::vector<ExtcapInterface> interfaces;
  interfaces.reserve(ports.size() + others.size());
  for (const ListedPort& port : ports) interfaces.push_back(InterfaceOf(port, others));
  interfaces.insert(interfaces.end(), others.begin(), others.end());
  return interfaces;
}

const ExtcapInterface& FindInterface(const std::vector<ExtcapInterface>& interfaces, const std::string& name) {
  const auto found =
      std::find_if(interfaces.begin(), interfaces.end(), [&](const auto& one) { return one.Name == name; });
  if (found != interfaces.end()) return *found;
  throw UsageError(fmt::format("There is no interface \"{}\"; --extcap-interfaces lists them", name));
}

}  // namespace client
