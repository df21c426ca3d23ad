// qor-trace complete -- WORD...
//
// Prints "files", "unfinished", both or neither on a line (Completion says what they mean), then a line for each candidate: the
// word, a tab, and what it is.
#include "commands/CompleteCommand.h"

#include <memory>
#include <utility>

#include "recording/PortSupply.h"
#include "system/Failure.h"
#include "system/Printable.h"
#include "system/Terminal.h"

namespace client {

namespace {

/// None where they can't be listed: a line that is being typed is no place for that to be told.
std::vector<std::string> PortsOfThisMachine() {
  std::vector<std::string> names;
  try {
    for (const ListedPort& port : Supply().List()) names.push_back(port.Name);
  } catch (const Failure&) {
  }
  return names;
}

/// A help text up to its first line break.
std::string FirstLine(const std::string& help) { return help.substr(0, help.find('\n')); }

std::string TextOf(const Completion& completion) {
  std::string text = completion.Files ? "files" : "";
  if (completion.IsUnfinished) text += text.empty() ? "unfinished" : " unfinished";
  text += "\n";
  for (const Candidate& candidate : completion.Candidates)
    text += Printable(candidate.Word) + "\t" + Printable(FirstLine(candidate.Help)) + "\n";
  return text;
}

}  // namespace

void AddCompleteCommand(CLI::App& program, Action& chosen, std::function<OfferedProgram()> offered) {
  Command command(program, chosen, kCompleteCommand, "Print what can stand at the end of a command line, for shells");
  const auto words = std::make_shared<std::vector<std::string>>();
  command.Add("WORD", *words, "The words up to the cursor, after --; the last one is being typed");
  command.Does([words, offered = std::move(offered)](Signals&) {
    Print(TextOf(Complete(offered(), *words, PortsOfThisMachine)));
    return ExitDone;
  });
}

}  // namespace client
