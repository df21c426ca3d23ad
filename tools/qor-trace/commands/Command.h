// A command of the command line while its options are added. The parser is a header of twelve thousand lines, so only the units of
// this class and of the command line as a whole include it.
#pragma once

#include <functional>
#include <string>

#include "system/Signals.h"

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace client {

/// What a chosen command does. Returns the exit code; throws Failure.
using Action = std::function<int(Signals&)>;

/// An option, or an argument without a name, that was added to a command; to say more about it.
class AddedOption {
 public:
  explicit AddedOption(CLI::Option& option);

  AddedOption& Required();
  /// It takes one value each time it is given, so that the arguments that follow are none of its values. For lists.
  AddedOption& OneValueEach();
  /// "a,b" are two values. For lists.
  AddedOption& SeparatedByCommas();
  /// Another help text than the one it was added with.
  AddedOption& Help(const std::string& text);

 private:
  CLI::Option* Parsed;
};

class Command {
 public:
  /// @param chosen  is set to what the command does when it was chosen. It and the program outlive the command
  Command(CLI::App& program, Action& chosen, const std::string& name, const std::string& purpose);

  /// @param names  "--count", or "-o,--output", or "INPUT" for an argument without a name
  /// @param value  gets what was typed, and keeps its own value when nothing was; it lives until the command is done
  template <typename Value>
  AddedOption Add(const std::string& names, Value& value, const std::string& help);
  AddedOption AddFlag(const std::string& name, bool& value, const std::string& help);
  /// The option of this name, which was added before.
  [[nodiscard]] AddedOption Get(const std::string& name);
  void Remove(const std::string& name);

  /// What the help says after the options.
  void Footer(const std::string& text);
  /// Unknown options that begin like this, e.g. "--extcap-", are passed over with their values. Before Does().
  void PassOver(const std::string& beginning);
  void Does(Action action);

 private:
  CLI::App* Parsed;
  Action* Chosen;
  std::string PassedOver;
};

}  // namespace client
