// qor-trace convert
#include <filesystem>
#include <memory>

#include "commands/Commands.h"
#include "commands/Conversion.h"
#include "inputs/Inputs.h"

namespace client {

namespace {

/// Nothing is made before the input is known to be there.
std::string InputPath(const std::string& typed) {
  return typed == "-" ? typed : std::filesystem::absolute(typed).string();
}

int ConvertFile(const ConvertArguments& arguments, Signals& signals) {
  (void)PlanOf(arguments);
  const auto reader = OpenInput(InputPath(arguments.Input));  // refuses what can't be read before an output is made
  return Convert("convert", *reader, arguments, signals);
}

constexpr const char* kConvertHelp =
    "Examples:\n"
    "  qor-trace convert drive.bin -o drive.asc -o drive.pcapng\n"
    "  qor-trace convert drive.bin -o - --format pcapng | tshark -r -\n"
    "  qor-trace convert drive.asc -o drive.pcapng\n"
    "  qor-trace convert drive.bin -o part.mf4 --from 1m30s --to 2m --filter \"bus == lin or error\"\n"
    "\n"
    "The outputs hold what a recording into them would have held. INPUT is a .bin, .asc, .mf4, .pcapng or .pcap file, "
    "candump text (.log) or the CSV of LIN and FlexRay (.csv): what it is, its contents say, else its name; further "
    "files of a series are read with its first one. When a .bin "
    "file was recorded, its channels and what it lost are read from INPUT.json beside it; without it they aren't "
    "known, "
    "and times count from 1970 unless --start-time is given.\n"
    "\n"
    "Exit codes: 0 done, 1 failed, 2 wrong usage, 3 done but some of the input was lost.";

}  // namespace

void AddConvertCommand(CLI::App& app, Action& action) {
  CLI::App* command = app.add_subcommand("convert", "Write the outputs from a recording");
  const auto arguments = std::make_shared<ConvertArguments>();
  command->add_option("INPUT", arguments->Input, "A recording, or - for standard input")->required();
  arguments->Output.AddTo(*command);
  command->get_option("--output")->required();
  arguments->Stream.AddTo(*command);
  arguments->BitRates.AddTo(*command);
  command->add_flag("--progress", arguments->Progress,
                    "Tell how far it has come every few seconds, also without a terminal");
  command->footer(std::string(kFilterHelp) + kConvertHelp);
  command->callback(
      [arguments, &action] { action = [arguments](Signals& signals) { return ConvertFile(*arguments, signals); }; });
}

}  // namespace client
