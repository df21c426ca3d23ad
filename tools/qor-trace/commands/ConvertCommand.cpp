// qor-trace convert
#include <memory>

#include "commands/Commands.h"
#include "commands/Conversion.h"
#include "commands/InputRemarks.h"
#include "inputs/Inputs.h"
#include "inputs/MergedReader.h"

namespace client {

namespace {

struct ConvertCommandArguments : ConvertArguments {
  bool SameChannels = false;
};

int ConvertFiles(const ConvertCommandArguments& arguments, Signals& signals) {
  (void)PlanOf(arguments);
  // Refuses what can't be read before an output is made.
  const auto reader = OpenInputs(arguments.Inputs, MergingOf(arguments.SameChannels));
  return Convert("convert", *reader, arguments, signals);
}

constexpr const char* kConvertHelp =
    "Examples:\n"
    "  qor-trace convert drive.bin -o drive.asc -o drive.pcapng\n"
    "  qor-trace convert drive.bin -o - --format pcapng | tshark -r -\n"
    "  qor-trace convert drive.asc -o drive.pcapng\n"
    "  qor-trace convert can.asc ethernet.pcapng -o drive.mf4\n"
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

void AddConvertCommand(CLI::App& program, Action& chosen) {
  Command command(program, chosen, "convert", "Write the outputs from a recording");
  const auto arguments = std::make_shared<ConvertCommandArguments>();
  command.Add("INPUT", arguments->Inputs, "Recordings, or - for standard input; several are merged by time").Required();
  command.AddFlag("--same-channels", arguments->SameChannels, kSameChannelsHelp);
  arguments->AddTo(command);
  command.Footer(std::string(kFilterHelp) + kConvertHelp);
  command.Does([arguments](Signals& signals) { return ConvertFiles(*arguments, signals); });
}

}  // namespace client
