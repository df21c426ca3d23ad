// qor-trace recover
#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "commands/Commands.h"
#include "commands/Conversion.h"
#include "inputs/RecoveryReader.h"
#include "system/Failure.h"

namespace client {

namespace {

namespace fs = std::filesystem;

/// Of a swap folder, the swap files in it.
std::vector<std::string> FilesOf(const std::vector<std::string>& typed) {
  std::vector<std::string> files;
  for (const std::string& name : typed) {
    const std::string path = fs::absolute(name).lexically_normal().string();
    std::error_code error;
    if (!fs::is_directory(path, error)) {
      files.push_back(path);
      continue;
    }
    const size_t before = files.size();
    for (const auto& entry : fs::directory_iterator(path, error)) {
      const bool hasBytes = entry.is_regular_file(error) && entry.file_size(error) > 0;
      if (entry.path().extension() == ".bin" && hasBytes) files.push_back(entry.path().string());
    }
    if (files.size() == before) throw Failure(fmt::format("There are no records in the folder \"{}\"", name));
  }
  std::sort(files.begin(), files.end());
  files.erase(std::unique(files.begin(), files.end()), files.end());
  return files;
}

/// What is there is all there is: it stays as it is.
void RefuseInPlace(const OutputPlan& plan, const std::vector<std::string>& files) {
  for (const Output& output : plan.Outputs)
    for (const std::string& file : files) {
      std::error_code missing;
      if (output.Path.empty() || (output.Path != file && !fs::equivalent(output.Path, file, missing))) continue;
      throw UsageError(fmt::format("\"{}\" is what is to be recovered; give the output another name", file));
    }
}

int Recover(ConvertArguments arguments, Signals& signals) {
  const OutputPlan plan = PlanOf(arguments);
  const auto files = FilesOf(arguments.Inputs);
  RefuseInPlace(plan, files);
  RecoveryReader reader(files);
  arguments.Inputs = files;
  return Convert("recover", reader, arguments, signals);
}

constexpr const char* kRecoverHelp =
    "Examples:\n"
    "  qor-trace recover drive.part.mf4 -o saved.mf4\n"
    "  qor-trace recover drive.bin.part .qor-trace-swap-* -o saved.bin -o saved.asc\n"
    "\n"
    "FILE is what a crash or a power cut has left: the part file of any format that is read, a swap folder or its "
    "file, a "
    "file that ends in the middle. It stays as it is. Several files must be raw records of one recording; what is in "
    "two of them "
    "comes once. Damage in raw records is passed over.\n"
    "\n"
    "What was missing is told, and from when on.\n"
    "\n"
    "Exit codes: 0 nothing was missing, 1 failed, 2 wrong usage, 3 done but something was missing.";

}  // namespace

void AddRecoverCommand(CLI::App& program, Action& chosen) {
  Command command(program, chosen, "recover", "Write complete files from what a crash has left");
  const auto arguments = std::make_shared<ConvertArguments>();
  command.Add("FILE", arguments->Inputs, "Part files, swap folders, files that were cut off").Required();
  arguments->AddTo(command);
  command.Footer(kRecoverHelp);
  command.Does([arguments](Signals& signals) { return Recover(*arguments, signals); });
}

}  // namespace client
