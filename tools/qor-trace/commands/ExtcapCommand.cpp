// qor-trace extcap
#include <fmt/format.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "commands/Commands.h"
#include "commands/ExtcapCapture.h"
#include "commands/ExtcapInterfaces.h"
#include "commands/ExtcapLink.h"
#include "commands/ExtcapText.h"
#include "recording/PortSupply.h"
#include "stream/Filter.h"
#include "stream/FilterError.h"
#include "system/Failure.h"
#include "system/Host.h"
#include "system/Terminal.h"

namespace client {

namespace {

struct ExtcapArguments {
  bool Install = false;
  bool Uninstall = false;
  std::string Folder;
  bool Interfaces = false;
  bool LinkTypes = false;
  bool Config = false;
  bool Capture = false;
  std::string WiresharkVersion;  // everything works with all of them
  std::string Interface;
  ExtcapRequest Request;
};

std::vector<ExtcapInterface> Offered() { return ExtcapInterfaces(Supply().List(), Supply().ProgramOptions().empty()); }

int Link(const ExtcapArguments& arguments) {
  if (arguments.Install && arguments.Uninstall)
    throw UsageError("--install and --uninstall contradict each other; leave one of them out");
  const auto folders = arguments.Folder.empty()
                           ? ExtcapFolders()
                           : std::vector{std::filesystem::absolute(arguments.Folder).lexically_normal()};
  if (arguments.Uninstall) {
    Print(RemoveLinks(folders));
    return ExitDone;
  }
  Print(InstallLinks(std::filesystem::read_symlink("/proc/self/exe"), Supply().ProgramOptions(), folders));
  Say("Wireshark lists the interfaces when it starts, or with F5; so does: tshark -D | grep qor-");
  return ExitDone;
}

/// What is wrong is the answer; none means that nothing is.
int CheckCaptureFilter(const std::string& expression) {
  try {
    if (!expression.empty()) (void)Filter(expression);
  } catch (const FilterError& error) {
    Print(fmt::format("{}\n", error.what()));
  }
  return ExitDone;
}

int OfInterface(const ExtcapArguments& arguments, Signals& signals) {
  const auto interfaces = Offered();
  const ExtcapInterface& interface = FindInterface(interfaces, arguments.Interface);
  if (arguments.Capture) {
    if (arguments.Request.Fifo.empty())
      throw UsageError("--fifo is missing; to capture into a file use qor-trace record -o FILE.pcapng");
    return CaptureForWireshark(interface, arguments.Request, signals);
  }
  if (arguments.LinkTypes) Print(LinkTypesText(interface));
  if (arguments.Config) Print(ConfigText(interface));
  return arguments.LinkTypes || arguments.Config ? ExitDone : CheckCaptureFilter(arguments.Request.CaptureFilter);
}

int ListInterfaces() {
  const std::string tool = ToolName();  // "qor-trace 2.0.0"
  Print(InterfacesText(Offered(), tool.substr(tool.rfind(' ') + 1)));
  return ExitDone;
}

int Extcap(const ExtcapArguments& arguments, Signals& signals) {
  if (arguments.Install || arguments.Uninstall) return Link(arguments);
  if (arguments.Interfaces) return ListInterfaces();
  if (arguments.Interface.empty())
    throw UsageError(
        "There is no --extcap-interface; Wireshark calls this by itself, once qor-trace extcap --install was run");
  return OfInterface(arguments, signals);
}

constexpr const char* kExtcapHelp =
    "Examples:\n"
    "  qor-trace extcap --install\n"
    "  wireshark -k -i qor-vehicle\n"
    "  tshark -i qor-can0 -f \"id in 0x100..0x1FF\"\n"
    "  tshark -i qor-replay -o extcap.qor_replay.file:drive.mf4 -o extcap.qor_replay.speed:10\n"
    "\n"
    "Once it is installed, Wireshark and tshark list the interfaces of this machine, replays and simulated buses "
    "among theirs (tshark -D), as qor-NAME. All buses of a trace are in one capture, each with an interface of its "
    "own. The capture filter is an expression as for --filter.\n"
    "\n"
    "Exit codes: 0 done, 1 failed, 2 wrong usage, 3 done but some of the input was lost.";

}  // namespace

void AddExtcapCommand(CLI::App& program, Action& chosen) {
  Command command(program, chosen, "extcap", "Let Wireshark capture from sources and recordings");
  const auto arguments = std::make_shared<ExtcapArguments>();
  ExtcapRequest& request = arguments->Request;
  command.AddFlag("--install", arguments->Install, "Make the link by which Wireshark finds this program");
  command.AddFlag("--uninstall", arguments->Uninstall, "Remove it");
  command.Add("--folder", arguments->Folder, "Where, in place of Wireshark's folders of this user");
  command.AddFlag("--extcap-interfaces", arguments->Interfaces, "List the interfaces");
  command.Add("--extcap-version", arguments->WiresharkVersion, "Of the Wireshark that asks");
  command.Add("--extcap-interface", arguments->Interface, "The one that is meant");
  command.AddFlag("--extcap-dlts", arguments->LinkTypes, "List its link types");
  command.AddFlag("--extcap-config", arguments->Config, "List what can be set");
  command.Add("--extcap-capture-filter", request.CaptureFilter,
              "What to capture, as for --filter; without --capture it is checked");
  command.AddFlag("--capture", arguments->Capture, "Capture");
  command.Add("--fifo", request.Fifo, "Named pipe that the capture is written to");
  command.Add("--source", request.Source, "What to capture; several are separated by blanks");
  command.Add("--file", request.File, "The recording that is replayed");
  command.Add("--speed", request.Speed, "Speed of what is simulated or replayed: a factor, or max");
  command.Add("--filter", request.Filter, "Only entries that this expression matches");
  command.Add("--duration", request.Duration, "End after this much trace time, e.g. 90s or 1h30m");
  command.Footer(kExtcapHelp);
  // Newer versions of Wireshark may ask for more: what isn't known is none of ours to refuse.
  command.PassOver("--extcap-");
  command.Does([arguments](Signals& signals) { return Extcap(*arguments, signals); });
}

}  // namespace client
