// qor-trace convert
#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>

#include "BinFile.h"
#include "BitRateArguments.h"
#include "Commands.h"
#include "Failure.h"
#include "OutputArguments.h"
#include "OutputSet.h"
#include "Replay.h"
#include "Units.h"

namespace client {

namespace {

struct ConvertArguments {
  std::string Input;
  std::string SwapFolder;
  BitRateArguments BitRates;
  OutputArguments Output;
};

constexpr unsigned int MemoryLimit = 50000;  // entries of the monitor that writes .asc outputs

/// Counts records and hands them to the outputs, until one of these can't go on or a stop is requested.
class Converter : public EntrySink {
 public:
  Converter(OutputSet& outputs, Summary& summary, Signals& signals)
      : Outputs(outputs), Counted(summary), StopSignals(signals) {}

  bool Take(const unsigned char* record, unsigned int length) override {
    Interrupted = StopSignals.StopRequested();
    return !Interrupted && Outputs.Take(record, length) && Counted.Take(record, length);
  }

  bool Interrupted = false;

 private:
  OutputSet& Outputs;
  Summary& Counted;
  Signals& StopSignals;
};

/// A monitor to play the records into, if an output needs one.
std::unique_ptr<Replay> MakeReplay(const ConvertArguments& arguments, const OutputPlan& plan, Signals& signals) {
  const auto isAsc = [](const Output& output) { return output.Kind == Format::Asc; };
  if (std::none_of(plan.Outputs.begin(), plan.Outputs.end(), isAsc)) return nullptr;
  const std::string folder = arguments.SwapFolder.empty() ? FolderOf(plan.Outputs, "/var/tmp")
                                                          : std::filesystem::absolute(arguments.SwapFolder).string();
  auto replay = std::make_unique<Replay>(folder, MemoryLimit);
  RemoveAtTheEnd(replay->Folder(), signals);
  return replay;
}

/// Nothing is made before the input is known to be there.
std::string InputPath(const std::string& typed) {
  if (typed == "-") return typed;
  const std::string path = std::filesystem::absolute(typed).string();
  CheckReadable(path);
  return path;
}

int Convert(const ConvertArguments& arguments, Signals& signals) {
  const OutputPlan plan = arguments.Output.Plan();
  Summary summary(arguments.BitRates.Rates());
  const std::string input = InputPath(arguments.Input);
  for (const Output& output : plan.Outputs) CheckWritable(output);
  OutputSet outputs(plan, MakeReplay(arguments, plan, signals));
  Converter converter(outputs, summary, signals);
  try {
    ReadBin(input, converter);
  } catch (const Failure& failure) {
    outputs.NoteError(failure.what());
  }
  if (converter.Interrupted)
    outputs.NoteError(fmt::format("Interrupted: the outputs end after {} of \"{}\"",
                                  FormatCount(summary.Entries(), "entry", "entries"), arguments.Input));
  outputs.Finish(nullptr, summary);
  return Conclude("convert", summary, outputs, arguments.Output.Json, {{"input", arguments.Input}});
}

constexpr const char* ConvertHelp =
    "Examples:\n"
    "  qor-trace convert drive.bin -o drive.asc -o drive.pcapng\n"
    "  qor-trace convert drive.bin -o - --format pcapng | tshark -r -\n"
    "\n"
    "The outputs hold what a recording into them would have held. For .asc outputs the records are played into the\n"
    "library once more and compared with what comes out. Raw records have no relative times.\n"
    "\n"
    "Exit codes: 0 done, 1 failed, 2 wrong usage, 3 done but an output can't hold everything.";

}  // namespace

void AddConvertCommand(CLI::App& app, Action& action) {
  CLI::App* command = app.add_subcommand("convert", "Write the outputs from a file of raw records");
  const auto arguments = std::make_shared<ConvertArguments>();
  command->add_option("INPUT", arguments->Input, "A .bin file, or - for standard input")->required();
  arguments->Output.AddTo(*command);
  command->get_option("--output")->required();
  command->add_option("--swap-folder", arguments->SwapFolder,
                      "Where the swap file's own folder is made for .asc outputs (the folder of the first output)");
  arguments->BitRates.AddTo(*command);
  command->footer(ConvertHelp);
  command->callback(
      [arguments, &action] { action = [arguments](Signals& signals) { return Convert(*arguments, signals); }; });
}

}  // namespace client
