// qor-trace ports
#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>
#include <vector>

#include "commands/Commands.h"
#include "recording/PortSupply.h"
#include "stream/KindText.h"
#include "system/Failure.h"
#include "system/Printable.h"
#include "system/Terminal.h"
#include "views/BusLoad.h"
#include "views/TextTable.h"

namespace client {

namespace {

const char* BusOf(const ListedPort& port) {
  const auto bus = BusOfInterface(port.Type);
  return bus ? BusName(*bus) : "";
}

std::string RatesOf(const ListedPort& port) {
  if (port.BitRate == 0) return "";
  if (port.DataBitRate == 0) return FormatBitRate(port.BitRate);
  return fmt::format("{}/{}", FormatBitRate(port.BitRate), FormatBitRate(port.DataBitRate));
}

std::string Table(const std::vector<ListedPort>& ports) {
  TextTable table({{"Port"}, {"Bus"}, {"State"}, {"Bit rate"}, {"Driver"}, {"Recordable"}});
  for (const ListedPort& port : ports) {
    table.Add({Printable(port.Name), BusOf(port), Printable(port.State), RatesOf(port), Printable(port.Driver),
               port.WhyNot.empty() ? "yes" : fmt::format("no: {}", Printable(port.WhyNot))});
  }
  return table.Text();
}

nlohmann::json Json(const ListedPort& port) {
  return {{"port", port.Name},
          {"bus", BusOfInterface(port.Type) ? nlohmann::json(BusOf(port)) : nlohmann::json()},
          {"state", port.State},
          {"bit_rate", port.BitRate},
          {"data_bit_rate", port.DataBitRate},
          {"driver", port.Driver},
          {"recordable", port.WhyNot.empty()},
          {"why_not", port.WhyNot}};
}

int ListPorts(bool json) {
  const std::vector<ListedPort> ports = Supply().List();
  const auto barred = std::find_if(ports.begin(), ports.end(), [](const ListedPort& port) { return port.LacksRights; });
  const int code = barred == ports.end() ? ExitDone : ExitFailed;
  if (json) {
    nlohmann::json listed = nlohmann::json::array();
    for (const ListedPort& port : ports) listed.push_back(Json(port));
    PrintJson({{"schema", "qor-trace-ports"}, {"version", 1}, {"ports", listed}, {"exit_code", code}});
  } else {
    Print(Table(ports));
  }
  if (barred != ports.end()) SayError(fmt::format("Cannot record {}: {}", barred->Name, barred->WhyNot));
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
    "'qor-trace --hardware LIBRARY --adapter ADAPTER ports' lists those of another hardware library.\n"
    "\n"
    "Exit codes: 0 done, 1 one can't be recorded for lack of rights, 2 wrong usage.";

}  // namespace

void AddPortsCommand(CLI::App& program, Action& chosen) {
  Command command(program, chosen, "ports", "List the interfaces of this machine that can be recorded");
  const auto json = std::make_shared<bool>(false);
  command.AddFlag("--json", *json, "Print it as JSON");
  command.Footer(kPortsHelp);
  command.Does([json](Signals&) { return ListPorts(*json); });
}

}  // namespace client
