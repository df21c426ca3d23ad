#include "commands/Completion.h"

#include <algorithm>
#include <set>

namespace client {

namespace {

constexpr const char* kHelp = "help";

template <class Named>
const Named* Find(const std::vector<Named>& all, const std::string& name) {
  const auto found = std::find_if(all.begin(), all.end(), [&](const Named& one) { return one.Name == name; });
  return found == all.end() ? nullptr : &*found;
}

/// "--output" of "--output=drive.mf4".
std::string NameIn(const std::string& word) { return word.substr(0, word.find('=')); }

/// The words before the last one, read as the parser reads them.
class Line {
 public:
  Line(const OfferedProgram& program, const std::vector<std::string>& words) : Program(program) {
    for (size_t index = 0; index + 1 < words.size() && !IsUnknown; ++index) Read(words[index]);
  }

  /// Of the command, once it is there.
  const std::vector<OfferedOption>& Options() const { return Command == nullptr ? Program.Options : Command->Options; }
  std::string CommandName() const { return Command == nullptr ? "" : Command->Name; }

  const OfferedOption* OptionNamed(const std::string& name) const {
    for (const OfferedOption& option : Options())
      if (!option.IsArgument && std::count(option.Names.begin(), option.Names.end(), name) > 0) return &option;
    return nullptr;
  }

  const OfferedProgram& Program;
  const OfferedCommand* Command = nullptr;
  const OfferedOption* Awaiting = nullptr;  // its value is what comes next
  std::set<const OfferedOption*> Given;
  bool IsHelp = false;         // "help" stands in the place of the command
  bool OnlyArguments = false;  // after "--"
  bool IsUnknown = false;      // there is no such command, so nothing can be said of what follows it

 private:
  void Read(const std::string& word) {
    if (Awaiting != nullptr)
      Awaiting = nullptr;
    else if (word == "--")
      OnlyArguments = true;
    else if (word.starts_with('-') && !OnlyArguments)
      ReadOption(word);
    else if (Command == nullptr)
      ReadCommand(word);
  }

  void ReadOption(const std::string& word) {
    const OfferedOption* const option = OptionNamed(NameIn(word));
    if (option == nullptr) return;
    Given.insert(option);
    if (option->TakesValue && NameIn(word) == word) Awaiting = option;
  }

  void ReadCommand(const std::string& word) {
    const bool second = IsHelp;
    if (word == kHelp && !IsHelp)
      IsHelp = true;
    else
      Command = Find(Program.Commands, word);
    IsUnknown = second || (!IsHelp && Command == nullptr);
  }
};

void Offer(Completion& completion, const std::string& typed, const std::string& word, const std::string& help) {
  if (word.starts_with(typed)) completion.Candidates.push_back({word, help});
}

Completion CompleteCommand(const Line& line, const std::string& typed) {
  Completion completion;
  for (const OfferedCommand& command : line.Program.Commands) Offer(completion, typed, command.Name, command.Purpose);
  if (!line.IsHelp) Offer(completion, typed, kHelp, "Tell all about a command");
  return completion;
}

Completion CompleteOption(const Line& line, const std::string& typed) {
  Completion completion;
  for (const OfferedOption& option : line.Options()) {
    if (option.IsArgument || (line.Given.count(&option) > 0 && !option.IsRepeatable)) continue;
    // The short name only once it has been typed: it is there to be typed.
    for (const std::string& name : option.Names)
      if (name.starts_with("--") || name == typed) Offer(completion, typed, name, option.Help);
  }
  return completion;
}

/// "--format=asc" -> "asc".
Completion CompleteJoinedValue(const Line& line, const std::string& typed, const PortNames& ports) {
  const OfferedOption* const option = line.OptionNamed(NameIn(typed));
  if (option == nullptr || !option->TakesValue) return {};
  const std::string name = NameIn(typed) + "=";
  Completion completion = CompleteValue(line.CommandName(), option->Names.front(), typed.substr(name.size()), ports);
  for (Candidate& candidate : completion.Candidates) candidate.Word.insert(0, name);
  return completion;
}

Completion CompleteArgument(const Line& line, const std::string& typed, const PortNames& ports) {
  for (const OfferedOption& option : line.Options())
    if (option.IsArgument) return CompleteValue(line.CommandName(), option.Names.front(), typed, ports);
  return {};
}

}  // namespace

Completion Complete(const OfferedProgram& program, const std::vector<std::string>& words, const PortNames& ports) {
  const Line line(program, words);
  const std::string typed = words.empty() ? "" : words.back();
  if (line.IsUnknown) return {};
  if (line.Awaiting != nullptr) return CompleteValue(line.CommandName(), line.Awaiting->Names.front(), typed, ports);
  const bool isOption = typed.starts_with('-') && !line.OnlyArguments && !line.IsHelp;
  if (isOption && typed.find('=') != std::string::npos) return CompleteJoinedValue(line, typed, ports);
  if (isOption) return CompleteOption(line, typed);
  if (line.Command == nullptr) return CompleteCommand(line, typed);
  if (line.IsHelp) return {};
  return CompleteArgument(line, typed, ports);
}

}  // namespace client
