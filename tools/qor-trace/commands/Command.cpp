#include "commands/Command.h"

#include <CLI/CLI.hpp>
#include <optional>
#include <utility>
#include <vector>

namespace client {

namespace {

void CheckExtras(const CLI::App& command, const std::string& passedOver) {
  const std::vector<std::string> extras = command.remaining();
  if (extras.empty() || extras.front().starts_with(passedOver)) return;
  throw CLI::ExtrasError(command.get_name(), extras);
}

}  // namespace

AddedOption::AddedOption(CLI::Option& option) : Parsed(&option) {}

AddedOption& AddedOption::Required() {
  Parsed->required();
  return *this;
}

AddedOption& AddedOption::OneValueEach() {
  Parsed->allow_extra_args(false);
  return *this;
}

AddedOption& AddedOption::SeparatedByCommas() {
  Parsed->delimiter(',');
  return *this;
}

AddedOption& AddedOption::Help(const std::string& text) {
  Parsed->description(text);
  return *this;
}

Command::Command(CLI::App& program, Action& chosen, const std::string& name, const std::string& purpose)
    : Parsed(program.add_subcommand(name, purpose)), Chosen(&chosen) {}

template <typename Value>
AddedOption Command::Add(const std::string& names, Value& value, const std::string& help) {
  return AddedOption(*Parsed->add_option(names, value, help));
}

template AddedOption Command::Add(const std::string&, std::string&, const std::string&);
template AddedOption Command::Add(const std::string&, std::vector<std::string>&, const std::string&);
template AddedOption Command::Add(const std::string&, unsigned long&, const std::string&);
template AddedOption Command::Add(const std::string&, std::optional<int>&, const std::string&);
template AddedOption Command::Add(const std::string&, std::optional<unsigned>&, const std::string&);
template AddedOption Command::Add(const std::string&, std::optional<unsigned long>&, const std::string&);

AddedOption Command::AddFlag(const std::string& name, bool& value, const std::string& help) {
  return AddedOption(*Parsed->add_flag(name, value, help));
}

AddedOption Command::Get(const std::string& name) { return AddedOption(*Parsed->get_option(name)); }

void Command::Remove(const std::string& name) { Parsed->remove_option(Parsed->get_option(name)); }

void Command::Footer(const std::string& text) { Parsed->footer(text); }

void Command::PassOver(const std::string& beginning) {
  PassedOver = beginning;
  Parsed->allow_extras();
}

void Command::Does(Action action) {
  Parsed->callback([command = Parsed, passedOver = PassedOver, chosen = Chosen, action = std::move(action)] {
    CheckExtras(*command, passedOver);
    *chosen = action;
  });
}

}  // namespace client
