// qor-trace: records bus traffic, converts recordings and lists them.
#include <exception>
#include <new>
#include <sstream>

#include "commands/Commands.h"
#include "recording/Reports.h"
#include "system/Failure.h"
#include "system/Terminal.h"

namespace {

constexpr const char* Version = "qor-trace " QOR_TRACE_VERSION;

int Run(const client::Action& action, client::Signals& signals) {
  try {
    return action(signals);
  } catch (const client::Failure& failure) {
    client::SayError(failure.what());
    return failure.Code;
  } catch (const std::bad_alloc&) {
    client::SayError("Memory is exhausted");
  } catch (const std::exception& error) {
    client::SayError(error.what());
  }
  return client::ExitFailed;
}

/// Prints help, or says what is wrong with the command line; that quotes it.
int Explain(const CLI::App& app, const CLI::ParseError& error) {
  std::ostringstream out, err;
  const bool asked = app.exit(error, out, err) == 0;
  client::Print(out.str());
  std::string text = err.str();
  if (text.ends_with('\n')) text.pop_back();
  if (!text.empty()) client::Say(text);
  return asked ? client::ExitDone : client::ExitUsage;
}

int RunCommandLine(int count, char** arguments, client::Signals& signals) {
  CLI::App app("Records the traffic of vehicle buses: CAN and CAN FD, LIN, FlexRay and Ethernet.", "qor-trace");
  app.set_version_flag("--version", Version);
  app.require_subcommand(1);
  app.footer("'qor-trace COMMAND --help' tells more.");
  client::Action action;
  client::AddRecordCommand(app, action);
  client::AddConvertCommand(app, action);
  client::AddListCommand(app, action);
  for (CLI::App* command : app.get_subcommands({})) command->set_version_flag("--version", Version);
  try {
    app.parse(count, arguments);
  } catch (const CLI::ParseError& error) {
    return Explain(app, error);
  }
  return Run(action, signals);
}

}  // namespace

int main(int count, char** arguments) {
  client::Signals signals;
  client::Reports::Install();
  return RunCommandLine(count, arguments, signals);
}
