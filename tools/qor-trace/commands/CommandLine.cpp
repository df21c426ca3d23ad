#include "commands/CommandLine.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <exception>
#include <new>
#include <utility>

#include "commands/Commands.h"
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

/// "help record" -> "record --help".
void TakeHelpWord(std::vector<std::string>& arguments) {
  if (arguments.empty() || arguments.front() != "help") return;
  arguments.erase(arguments.begin());
  arguments.resize(std::min<size_t>(arguments.size(), 1));
  arguments.emplace_back("--help");
}

void CheckCommand(const CLI::App& app, const std::vector<std::string>& arguments) {
  const auto names = NamesOf(app.get_subcommands({}));
  if (arguments.empty()) throw UsageError("There is no command; " + SeeHelp(""));
  const std::string& word = arguments.front();
  if (word.starts_with('-') || std::find(names.begin(), names.end(), word) != names.end()) return;
  const std::string meant = Meant(Nearest(word, names));
  throw UsageError(fmt::format("There is no command \"{}\"; {}", word, meant.empty() ? SeeHelp("") : meant));
}

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

int Help(const CLI::App& app) {
  const size_t columns = std::min(ColumnsOfStandardOutput().value_or(kUsualColumns), kWidestColumns);
  Print(Wrapped(app.help(), columns));
  return ExitDone;
}

int Parse(CLI::App& app, const Action& action, std::vector<std::string> arguments, Signals& signals) {
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
  return action(signals);
}

}  // namespace

int RunCommandLine(std::vector<std::string> arguments, const std::string& version, Signals& signals) {
  try {
    CLI::App app("Records the traffic of vehicle buses: CAN and CAN FD, LIN, FlexRay and Ethernet.", "qor-trace");
    app.set_version_flag("--version", version);
    app.require_subcommand(1);
    app.footer("'qor-trace help COMMAND' tells more.");
    Action action;
    AddRecordCommand(app, action);
    AddConvertCommand(app, action);
    AddListCommand(app, action);
    AddCheckCommand(app, action);
    AddCompareCommand(app, action);
    AddRecoverCommand(app, action);
    AddInfoCommand(app, action);
    AddPortsCommand(app, action);
    for (CLI::App* command : app.get_subcommands({})) {
      command->set_version_flag("--version", version);
      RefuseEmptyValues(*command);
    }
    return Parse(app, action, std::move(arguments), signals);
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
