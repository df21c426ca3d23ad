// qor-trace ports
#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>
#include <vector>

#include "commands/Commands.h"
#include "qor_sim.h"
#include "system/Failure.h"
#include "system/Host.h"
#include "system/Terminal.h"
#include "views/BusLoad.h"
#include "views/TextTable.h"

namespace client {

namespace {

using Interface = Qor_Sim_HostInterface_t;

std::vector<Interface> Interfaces() {
  std::vector<Interface> interfaces;
  unsigned int count = 0;
  // Another one may come between two calls.
  while (Qor_Sim_ListInterfaces(interfaces.data(), &count) == QOR_SIM_ERROR_CAPACITY) interfaces.resize(count);
  interfaces.resize(count);
  return interfaces;
}

const char* BusOf(const Interface& interface) {
  constexpr unsigned int kCan = 4, kEthernet = 14;  // as qor_sim.h has them
  if (interface.Type == kCan) return "CAN";
  return interface.Type == kEthernet ? "Ethernet" : "";
}

std::string RatesOf(const Interface& interface) {
  if (interface.BitRate == 0) return "";
  std::string text = FormatBitRate(interface.BitRate);
  if (interface.DataBitRate != 0) text += "/" + FormatBitRate(interface.DataBitRate);
  return text;
}

std::string Table(const std::vector<Interface>& interfaces) {
  TextTable table({{"Port"}, {"Bus"}, {"State"}, {"Bit rate"}, {"Driver"}, {"Recordable"}});
  for (const Interface& interface : interfaces) {
    const bool can = interface.Obstacle == QOR_SIM_OBSTACLE_NONE;
    table.Add({interface.Name, BusOf(interface), interface.State, RatesOf(interface), interface.Driver,
               can ? "yes" : fmt::format("no: {}", interface.Why)});
  }
  return table.Text();
}

nlohmann::json Json(const Interface& interface) {
  return {{"port", interface.Name},
          {"bus", interface.Type == 0 ? nlohmann::json() : nlohmann::json(BusOf(interface))},
          {"state", interface.State},
          {"bit_rate", interface.BitRate},
          {"data_bit_rate", interface.DataBitRate},
          {"driver", interface.Driver},
          {"recordable", interface.Obstacle == QOR_SIM_OBSTACLE_NONE},
          {"why_not", interface.Why}};
}

bool LacksRights(const Interface& interface) { return interface.Obstacle == QOR_SIM_OBSTACLE_RIGHTS; }

int Ports(bool json) {
  const std::vector<Interface> interfaces = Interfaces();
  const auto barred = std::find_if(interfaces.begin(), interfaces.end(), LacksRights);
  const int code = barred == interfaces.end() ? ExitDone : ExitFailed;
  if (json) {
    nlohmann::json ports = nlohmann::json::array();
    for (const Interface& interface : interfaces) ports.push_back(Json(interface));
    PrintJson({{"schema", "qor-trace-ports"}, {"version", 1}, {"ports", ports}, {"exit_code", code}});
  } else {
    Print(Table(interfaces));
  }
  if (barred != interfaces.end()) SayError(fmt::format("Cannot record {}: {}", barred->Name, barred->Why));
  return code;
}

constexpr const char* kPortsHelp =
    "Examples:\n"
    "  qor-trace ports\n"
    "  qor-trace ports --json\n"
    "  qor-trace record can0 -o drive.mf4\n"
    "\n"
    "Lists the network interfaces of this machine: bus, state, bit rate, driver, and whether it can be recorded or why "
    "not. The name of a port is the source that records it.\n"
    "\n"
    "Exit codes: 0 done, 1 one can't be recorded for lack of rights, 2 wrong usage.";

}  // namespace

void AddPortsCommand(CLI::App& app, Action& action) {
  CLI::App* command = app.add_subcommand("ports", "List the interfaces of this machine that can be recorded");
  const auto json = std::make_shared<bool>(false);
  command->add_flag("--json", *json, "Print it as JSON");
  command->footer(kPortsHelp);
  command->callback([json, &action] { action = [json](Signals&) { return Ports(*json); }; });
}

}  // namespace client
