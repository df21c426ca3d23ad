#include "commands/CommandLine.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstddef>
#include <exception>
#include <new>
#include <utility>

#include "commands/Commands.h"
#include "commands/CompleteCommand.h"
#include "recording/PortSupply.h"
#include "stream/FilterError.h"
#include "system/Failure.h"
#include "system/Suggestion.h"
#include "system/Terminal.h"
#include "system/Text.h"

namespace client {

namespace {

constexpr size_t kUsualColumns = 80;    // of help that doesn't go to a terminal
constexpr size_t kWidestColumns = 100;  // longer lines are hard to read

std::vector<std::string> NamesOf(const std::vector<const CLI::App*>& commands) {
  std::vector<std::string> names;
  names.reserve(commands.size());
  for (const CLI::App* command : commands) names.push_back(command->get_name());
  return names;
}

/// "record", or nothing when none was chosen.
std::string ChosenCommand(const CLI::App& app) {
  const auto chosen = app.get_subcommands();
  return chosen.empty() ? "" : chosen.front()->get_name();
}

std::string SeeHelp(const std::string& command) {
  return fmt::format("see 'qor-trace {}{}--help'", command, command.empty() ? "" : " ");
}

std::string Meant(const std::optional<std::string>& word) { return word ? fmt::format("did you mean {}?", *word) : ""; }

constexpr const char* kHardware = "--hardware";
constexpr const char* kAdapter = "--adapter";

/// Where the command stands, or whatever else comes after these two options. The end if nothing does.
size_t PlaceOfCommand(const std::vector<std::string>& arguments) {
  for (size_t place = 0; place < arguments.size(); ++place) {
    const std::string name = arguments[place].substr(0, arguments[place].find('='));
    if (name != kHardware && name != kAdapter) return place;
    if (name == arguments[place]) ++place;  // its value
  }
  return arguments.size();
}

/// "help record" -> "record --help".
void TakeHelpWord(std::vector<std::string>& arguments) {
  const size_t place = PlaceOfCommand(arguments);
  if (place == arguments.size() || arguments[place] != "help") return;
  arguments.erase(arguments.begin() + static_cast<std::ptrdiff_t>(place));
  arguments.resize(std::min(arguments.size(), place + 1));
  arguments.emplace_back("--help");
}

void CheckCommand(const CLI::App& app, const std::vector<std::string>& arguments) {
  const auto names = NamesOf(app.get_subcommands({}));
  const size_t place = PlaceOfCommand(arguments);
  if (place == arguments.size()) return;  // the parser says what is missing
  const std::string& word = arguments[place];
  if (word.starts_with('-') || std::find(names.begin(), names.end(), word) != names.end()) return;
  const std::string meant = Meant(Nearest(word, names));
  throw UsageError(fmt::format("There is no command \"{}\"; {}", word, meant.empty() ? SeeHelp("") : meant));
}

/// Another hardware library than the stand-in, as typed. Which library the process has was settled before this program was loaded.
struct HardwareArguments {
  std::string Library;
  std::string Adapter;

  void AddTo(CLI::App& app) {
    app.add_option(kHardware, Library, "Record with this hardware library, a libqor_api.so.2; needs --adapter");
    app.add_option(kAdapter, Adapter,
                   "What lists and opens its interfaces; docs/hardware-adapter.md tells how to write one");
  }

  void Use() const {
    if (Library.empty() != Adapter.empty())
      throw UsageError(fmt::format("{} needs {} as well", Library.empty() ? kAdapter : kHardware,
                                   Library.empty() ? kHardware : kAdapter));
    if (!Library.empty()) UseAdapter(Library, Adapter);
  }
};

std::string TextOf(const CLI::ExtrasError& /*error*/, const CLI::App& app) {
  const std::string command = ChosenCommand(app);
  const CLI::App& chosen = command.empty() ? app : *app.get_subcommand(command);
  const std::string word = chosen.remaining(true).empty() ? "" : chosen.remaining(true).front();
  if (!word.starts_with('-')) return fmt::format("\"{}\" is one argument too many; {}", word, SeeHelp(command));
  std::vector<std::string> options;
  for (const CLI::Option* option : chosen.get_options()) {
    for (const std::string& name : option->get_lnames()) options.push_back("--" + name);
  }
  const std::string name = word.substr(0, word.find('='));
  if (name == kHardware || name == kAdapter)
    return fmt::format("{0} goes before the command: qor-trace {1} LIBRARY {2} ADAPTER {3} ...", name, kHardware,
                       kAdapter, command);
  const std::string meant = Meant(Nearest(name, options));
  return fmt::format("There is no option {}; {}", name, meant.empty() ? SeeHelp(command) : meant);
}

std::string TextOf(const CLI::ParseError& error, const CLI::App& app) {
  std::string text = error.what();
  const std::string required = " is required";
  if (text.ends_with(required)) text.replace(text.size() - required.size(), required.size(), " is missing");
  return fmt::format("{}; {}", text, SeeHelp(ChosenCommand(app)));
}

/// An option with an empty value was meant to have another one: the variable of a script was not set, say.
void RefuseEmptyValues(CLI::App& command) {
  for (CLI::Option* option : command.get_options()) {
    if (option->get_expected_max() == 0) continue;  // a flag
    option->check([](const std::string& value) { return value.empty() ? "its value is empty" : std::string(); });
  }
}

/// What somebody sees who has just installed this: commands that work on any machine, each on what the one before it has written.
constexpr const char* kFirstSteps =
    "qor-trace record vehicle --duration 5s -o drive.mf4   records a simulated vehicle; no hardware is needed\n"
    "qor-trace list drive.mf4                              shows its messages, with counts and cycle times\n"
    "qor-trace convert drive.mf4 -o drive.pcapng           writes it for Wireshark; .asc, .csv and others likewise\n"
    "qor-trace ports                                       lists this machine's interfaces, to record them instead\n"
    "qor-trace help                                        lists all commands; 'qor-trace help record' is about one";

/// Wrong usage all the same: a script whose variable is empty neither goes on nor takes this for data.
int ShowFirstSteps() {
  Say(kFirstSteps);
  return ExitUsage;
}

OfferedOption Offered(const CLI::Option& option) {
  OfferedOption offered;
  for (const std::string& name : option.get_lnames()) offered.Names.push_back("--" + name);
  for (const std::string& name : option.get_snames()) offered.Names.push_back("-" + name);
  offered.IsArgument = offered.Names.empty();
  if (offered.IsArgument) offered.Names.push_back(option.get_name(true));
  offered.Help = option.get_description();
  offered.TakesValue = option.get_expected_max() > 0;
  offered.IsRepeatable = option.get_expected_max() > 1;
  return offered;
}

std::vector<OfferedOption> OptionsOf(const CLI::App& command) {
  std::vector<OfferedOption> offered;
  for (const CLI::Option* option : command.get_options()) offered.push_back(Offered(*option));
  return offered;
}

/// What the help shows.
OfferedProgram Offered(const CLI::App& program) {
  OfferedProgram offered{OptionsOf(program), {}};
  for (const CLI::App* command : program.get_subcommands({})) {
    if (command->get_group().empty()) continue;  // hidden
    offered.Commands.push_back({command->get_name(), command->get_description(), OptionsOf(*command)});
  }
  return offered;
}

int Help(const CLI::App& app) {
  const size_t columns = std::min(ColumnsOfStandardOutput().value_or(kUsualColumns), kWidestColumns);
  Print(Wrapped(app.help(), columns));
  return ExitDone;
}

int Parse(CLI::App& app, const Action& action, const HardwareArguments& hardware, std::vector<std::string> arguments,
          Signals& signals) {
  if (arguments.empty()) return ShowFirstSteps();
  TakeHelpWord(arguments);
  CheckCommand(app, arguments);
  std::reverse(arguments.begin(), arguments.end());  // as the parser wants them
  try {
    app.parse(arguments);
  } catch (const CLI::CallForHelp&) {
    return Help(app);
  } catch (const CLI::CallForVersion& version) {
    Print(std::string(version.what()) + "\n");
    return ExitDone;
  } catch (const CLI::ExtrasError& error) {
    throw UsageError(TextOf(error, app));
  } catch (const CLI::ParseError& error) {
    throw UsageError(TextOf(error, app));
  }
  hardware.Use();
  return action(signals);
}

}  // namespace

int RunCommandLine(std::vector<std::string> arguments, const std::string& version, Signals& signals) {
  try {
    CLI::App program("Records the traffic of vehicle buses: CAN and CAN FD, LIN, FlexRay and Ethernet.", "qor-trace");
    program.set_version_flag("--version", version);
    program.require_subcommand(1);
    program.footer("'qor-trace help COMMAND' tells more.");
    Action action;
    HardwareArguments hardware;
    hardware.AddTo(program);
    RefuseEmptyValues(program);
    AddRecordCommand(program, action);
    AddConvertCommand(program, action);
    AddListCommand(program, action);
    AddCheckCommand(program, action);
    AddCompareCommand(program, action);
    AddRecoverCommand(program, action);
    AddInfoCommand(program, action);
    AddReportCommand(program, action);
    AddPortsCommand(program, action);
    AddExtcapCommand(program, action);
    AddWatchCommand(program, action);
    AddCompleteCommand(program, action, [&program] { return Offered(program); });
    program.get_subcommand(kCompleteCommand)->group("");  // hidden: shells call it
    for (CLI::App* command : program.get_subcommands({})) {
      command->set_version_flag("--version", version);
      // Wireshark hands over an empty value for what its user has left empty, a shell for a word that is still to be typed.
      if (command->get_name() != "extcap" && command->get_name() != kCompleteCommand) RefuseEmptyValues(*command);
    }
    return Parse(program, action, hardware, std::move(arguments), signals);
  } catch (const FilterError& error) {
    SayError(error.what());
    Say(error.Lines(std::min(ColumnsOfStandardError().value_or(kUsualColumns), kWidestColumns)));
    return error.Code;
  } catch (const Failure& failure) {
    SayError(failure.what());
    return failure.Code;
  } catch (const std::bad_alloc&) {
    SayError("Memory is exhausted");
  } catch (const std::exception& error) {
    SayError(error.what());
  }
  return ExitFailed;
}

}  // namespace client
