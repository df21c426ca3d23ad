#include "SourceText.h"

#include <algorithm>

#include "Error.h"

namespace qor_sim {
namespace {

std::string Quoted(std::string_view text) { return '"' + std::string(text) + '"'; }

Error BadValue(std::string_view name, std::string_view value, const std::string& wanted) {
  return SourceError("The option " + std::string(name) + " can't be " + Quoted(value) + ": it takes " + wanted + ".");
}

void AddOption(SourceText& source, std::string_view option) {
  const size_t equals = option.find('=');
  if (equals == 0 || equals == std::string_view::npos) {
    throw SourceError("The option " + Quoted(option) + " is not of the form NAME=VALUE.");
  }
  const std::string name(option.substr(0, equals));
  const bool known = std::any_of(source.Options.begin(), source.Options.end(),
                                 [&](const auto& earlier) { return earlier.first == name; });
  if (known) throw SourceError("The option " + name + " is there twice.");
  source.Options.emplace_back(name, option.substr(equals + 1));
}

void AddOptions(SourceText& source, std::string_view options) {
  for (;;) {
    const size_t end = options.find('&');
    AddOption(source, options.substr(0, end));
    if (end == std::string_view::npos) return;
    options.remove_prefix(end + 1);
  }
}

}  // namespace

SourceText ParseSource(std::string_view text) {
  if (text.find('\n') != std::string_view::npos) throw SourceError("A source can't hold a line break.");
  const size_t question = text.find('?');
  const std::string_view head = text.substr(0, question);
  const size_t colon = head.find(':');
  SourceText source;
  source.Kind = head.substr(0, colon);
  if (source.Kind.empty()) throw SourceError("The source " + Quoted(text) + " names no kind, such as can or candump.");
  if (colon != std::string_view::npos) {
    source.Path = head.substr(colon + 1);
    if (source.Path.empty()) throw SourceError("The source " + Quoted(text) + " names no file after its colon.");
  }
  if (question != std::string_view::npos) AddOptions(source, text.substr(question + 1));
  return source;
}

std::string ToText(const SourceText& source) {
  std::string text = source.Kind;
  if (!source.Path.empty()) text += ':' + source.Path;
  char separator = '?';
  for (const auto& [name, value] : source.Options) {
    text += separator + name + '=' + value;
    separator = '&';
  }
  return text;
}

std::optional<std::string> OptionReader::TakeText(std::string_view name) {
  for (size_t i = 0; i < Source.Options.size(); ++i) {
    if (Source.Options[i].first != name) continue;
    Taken[i] = true;
    if (Source.Options[i].second.empty()) throw BadValue(name, "", "a value");
    return Source.Options[i].second;
  }
  return std::nullopt;
}

size_t OptionReader::TakeChoice(std::string_view name, const std::vector<std::string_view>& choices, size_t fallback) {
  const auto value = TakeText(name);
  if (!value) return fallback;
  const auto found = std::find(choices.begin(), choices.end(), *value);
  if (found != choices.end()) return static_cast<size_t>(found - choices.begin());
  std::string wanted;
  for (const auto choice : choices) wanted += (wanted.empty() ? "" : " or ") + std::string(choice);
  throw BadValue(name, *value, wanted);
}

uint64_t OptionReader::TakeUnsigned(std::string_view name, uint64_t least, uint64_t greatest, uint64_t fallback) {
  const auto value = TakeText(name);
  if (!value) return fallback;
  const auto number = ParseUnsigned(*value);
  if (!number || *number < least || *number > greatest) {
    throw BadValue(name, *value, "a number from " + std::to_string(least) + " to " + std::to_string(greatest));
  }
  return *number;
}

std::optional<uint64_t> OptionReader::TakeDuration(std::string_view name) {
  const auto value = TakeText(name);
  if (!value) return std::nullopt;
  const auto duration = ParseDuration(*value);
  if (!duration) throw BadValue(name, *value, "a time such as 90s, 1h30m or 0.5s");
  return duration;
}

void OptionReader::Finish() const {
  for (size_t i = 0; i < Taken.size(); ++i) {
    if (Taken[i]) continue;
    throw SourceError("A source of the kind " + Source.Kind + " has no option " + Quoted(Source.Options[i].first) +
                      ".");
  }
}

}  // namespace qor_sim
