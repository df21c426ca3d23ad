// qor-trace check
#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "commands/Commands.h"
#include "commands/WholeInput.h"
#include "system/Failure.h"
#include "system/Printable.h"
#include "system/Terminal.h"
#include "system/Units.h"
#include "views/Soundness.h"
#include "views/SummaryText.h"

namespace client {

namespace {

struct CheckArguments {
  std::vector<std::string> Files;
  bool Json = false;
  bool Progress = false;
};

/// What is to be said of a file.
struct Verdict {
  std::string File = {};
  std::string Error = {};  // why it can't be read any further; empty if it was read to its end
  bool Interrupted = false;
  Soundness Judge = {};
  Findings Found = {};  // by the reader, then by the judge

  [[nodiscard]] size_t Defects() const {
    return static_cast<size_t>(std::count_if(Found.All().begin(), Found.All().end(), [](const Finding& finding) {
      return finding.Kind != FindingKind::LeftOut;
    }));
  }
  [[nodiscard]] ExitCode Code() const {
    if (!Error.empty() || Interrupted) return ExitFailed;
    return Defects() > 0 ? ExitLossy : ExitDone;
  }
  [[nodiscard]] const char* Word() const {
    if (!Error.empty()) return "unreadable";
    if (Interrupted) return "interrupted";
    return Defects() > 0 ? "defects" : "sound";
  }
};

/// What makes a complete file of one that is cut off or damaged.
std::string RecoverText(const std::string& file) {
  return fmt::format("qor-trace recover {} -o NEW writes what is there as a complete file",
                     file == "-" ? "FILE" : file);
}

/// What a person can do about it; empty: nothing, or nothing is wrong.
std::string Remedy(const Finding& finding, const std::string& file) {
  switch (finding.Kind) {
    case FindingKind::LeftOut:
      return "";
    case FindingKind::CutOff:
      return RecoverText(file);
    case FindingKind::Unread:
      return "what is missing can't be had back; what is there can be used";
    case FindingKind::Odd:
      return "it is read all the same; look at these entries before you rely on them";
  }
  return "";
}

/// Likewise, about a file that can't be read to its end.
std::string Remedy(const Verdict& verdict, const std::string& file) {
  return !verdict.Error.empty() && verdict.Judge.Entries() > 0 ? RecoverText(file) : "";
}

/// Failure: UsageError only; what fails otherwise is in the verdict.
void Judge(Verdict& verdict, bool progress, const Signals& signals) {
  const WholeInput input = ReadWhole(verdict.File, verdict.Judge, NoRecords::Refused, progress, signals);
  verdict.Error = input.Error;
  verdict.Interrupted = input.Stopped;
  if (input.Source == nullptr) return;
  verdict.Found = input.Source->Found();
  for (const std::string& remark : input.Source->Remarks())
    verdict.Found.Add(FindingKind::Odd, remark, "its description");
  if (!verdict.Interrupted) verdict.Judge.Compare(input.Source->Describe());
  verdict.Found.Append(verdict.Judge.Found());
}

std::string Text(const Verdict& verdict) {
  const Soundness& judge = verdict.Judge;
  std::string text = fmt::format("{}: ", Printable(verdict.File));
  if (!verdict.Error.empty())
    text += fmt::format("not readable{}: {}\n", judge.Entries() > 0 ? " to its end" : "", Printable(verdict.Error));
  else if (verdict.Interrupted)
    text += "interrupted before its end\n";
  else if (verdict.Defects() > 0)
    text += fmt::format("readable, with {}\n", FormatCount(verdict.Defects(), "defect", "defects"));
  else
    text += "sound\n";
  if (judge.Entries() > 0)
    text += fmt::format("  {} of {} in {} s\n", FormatCount(judge.Entries(), "entry", "entries"),
                        FormatCount(judge.Channels().size(), "channel", "channels"), FormatSeconds(judge.Span()));
  if (const std::string remedy = Remedy(verdict, Printable(verdict.File)); !remedy.empty())
    text += fmt::format("    {}\n", remedy);
  for (const Finding& finding : verdict.Found.All()) {
    text += "  " + FindingText(finding);
    const std::string remedy = Remedy(finding, Printable(verdict.File));
    if (!remedy.empty()) text += fmt::format("    {}\n", remedy);
  }
  return text;
}

nlohmann::json Json(const Verdict& verdict) {
  nlohmann::json findings = nlohmann::json::array();
  for (const Finding& finding : verdict.Found.All()) {
    nlohmann::json object = FindingJson(finding);
    object["remedy"] = Remedy(finding, verdict.File);
    findings.push_back(std::move(object));
  }
  return {{"file", verdict.File},
          {"verdict", verdict.Word()},
          {"entries", verdict.Judge.Entries()},
          {"channels", verdict.Judge.Channels()},
          {"span_ns", verdict.Judge.Span()},
          {"findings", findings},
          {"error", verdict.Error},
          {"remedy", Remedy(verdict, verdict.File)}};
}

/// The worst of two: not readable, then defects.
int Worse(int one, int other) {
  if (one == ExitFailed || other == ExitFailed) return ExitFailed;
  return std::max(one, other);
}

int Check(const CheckArguments& arguments, const Signals& signals) {
  int code = ExitDone;
  nlohmann::json files = nlohmann::json::array();
  for (const std::string& file : arguments.Files) {
    if (signals.StopRequested()) return ExitFailed;
    Verdict verdict{.File = file};
    Judge(verdict, arguments.Progress, signals);
    code = Worse(code, verdict.Code());
    if (arguments.Json)
      files.push_back(Json(verdict));
    else if (!Print(Text(verdict)))
      return code;
  }
  if (arguments.Json) PrintJson({{"schema", "qor-trace-check"}, {"version", 1}, {"files", files}, {"exit_code", code}});
  return code;
}

constexpr const char* kCheckHelp =
    "Examples:\n"
    "  qor-trace check drive.bin\n"
    "  qor-trace check --json archive/*.mf4\n"
    "\n"
    "Reads each file to its end and says what is wrong with it, where, and what helps: its structure, the order of its "
    "times, "
    "announced lengths, checksums, what is known to be lost, and whether its description fits.\n"
    "\n"
    "Exit codes: 0 all are sound, 3 all are readable but some have defects, 1 one can't be read, 2 wrong usage.";

}  // namespace

void AddCheckCommand(CLI::App& program, Action& chosen) {
  Command command(program, chosen, "check", "Read recordings to their end and say what is wrong with them");
  const auto arguments = std::make_shared<CheckArguments>();
  command.Add("FILE", arguments->Files, "Recordings in any format that is read, or - for standard input").Required();
  command.AddFlag("--json", arguments->Json, "Print the verdicts as JSON");
  command.AddFlag("--progress", arguments->Progress,
                  "Tell how far it has come every few seconds, also without a terminal");
  command.Footer(kCheckHelp);
  command.Does([arguments](Signals& signals) { return Check(*arguments, signals); });
}

}  // namespace client
