#include "recording/Sources.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <initializer_list>
#include <iterator>
#include <string_view>
#include <utility>

#include "qor_sim.h"
#include "system/Failure.h"
#include "system/InputFile.h"
#include "system/Text.h"

namespace client {

namespace {

/// KIND[:PATH][?OPTIONS]
struct Parts {
  std::string Kind, Path, Options;
};

/// The kind of source that a recorded file is, by its extension; null for another file.
const char* KindOfFile(const std::string& path) {
  constexpr std::pair<const char*, const char*> kKinds[] = {
      {".log", "candump"}, {".pcap", "pcap"}, {".pcapng", "pcap"}, {".csv", "csv"}};
  const std::string own = ExtensionOf(path);
  for (const auto& [extension, kind] : kKinds)
    if (own == extension) return kind;
  return nullptr;
}

bool IsOneOf(const std::string& word, std::initializer_list<const char*> words) {
  return std::find(words.begin(), words.end(), word) != words.end();
}

/// Synthetic buses, which take a duration.
bool IsSynthetic(const std::string& kind) { return IsOneOf(kind, {"can", "lin", "flexray", "ethernet", "vehicle"}); }

/// Interfaces of this machine: one of their kinds, or just a name.
bool IsReal(const Parts& parts) {
  if (IsOneOf(parts.Kind, {"socketcan", "packet"})) return true;
  return parts.Path.empty() && !IsSynthetic(parts.Kind) && !IsOneOf(parts.Kind, {"candump", "csv", "pcap", "script"});
}

/// Recordings that people can read, line by line.
bool IsText(const std::string& kind) { return kind == "candump" || kind == "csv"; }

Parts Split(const std::string& text) {
  Parts parts;
  const auto mark = text.find('?');
  if (mark != std::string::npos) parts.Options = text.substr(mark + 1);
  const std::string front = text.substr(0, mark);
  const auto colon = front.find(':');
  // "./a:b.log" is a path: kinds are plain words.
  const char* const kind = colon == std::string::npos || front.find('/') < colon ? KindOfFile(front) : nullptr;
  if (kind != nullptr) return {kind, front, parts.Options};
  parts.Kind = front.substr(0, colon);
  if (colon != std::string::npos) parts.Path = front.substr(colon + 1);
  return parts;
}

std::string Join(const Parts& parts) {
  std::string text = parts.Kind;
  if (!parts.Path.empty()) text += ":" + parts.Path;
  if (!parts.Options.empty()) text += "?" + parts.Options;
  return text;
}

/// The value of an option, if the options name it.
std::optional<std::string> Option(const std::string& options, const std::string& name) {
  std::string_view rest = options;
  while (!rest.empty()) {
    const std::string_view option = rest.substr(0, rest.find('&'));
    if (option.starts_with(name + "=")) return std::string(option.substr(name.size() + 1));
    rest.remove_prefix(std::min(rest.size(), option.size() + 1));
  }
  return std::nullopt;
}

void SetDefault(std::string& options, const std::string& name, const std::string& value) {
  if (value.empty() || Option(options, name)) return;
  options += fmt::format("{}{}={}", options.empty() ? "" : "&", name, value);
}

double SpeedOf(const std::string& options) {
  const std::string text = Option(options, "speed").value_or("1");
  double speed = 0;  // what "max" comes to, and what the simulator will refuse
  std::from_chars(text.data(), text.data() + text.size(), speed);
  return speed;
}

/// What the simulator's refusal of a source means: Failure for its file, UsageError for its text.
Failure Refusal(const Source& source, unsigned int status) {
  std::string sentence = fmt::format("Source \"{}\": {}", source.Shown, Qor_Sim_ErrorText());
  if (status == QOR_SIM_ERROR_FILE || status == QOR_SIM_ERROR_INTERFACE) return Failure(sentence);
  std::error_code ignored;
  if (source.File.empty() && std::filesystem::exists(source.Shown, ignored))
    sentence += " For a file write candump:PATH, pcap:PATH or csv:PATH.";
  return UsageError(sentence);
}

/// One source per line.
std::string Expand(const Source& source) {
  std::string text(4096, '\0');
  auto length = static_cast<unsigned int>(text.size());
  unsigned int status = Qor_Sim_ExpandSource(source.Text.c_str(), text.data(), &length);
  if (status == QOR_SIM_ERROR_CAPACITY) {
    text.assign(length, '\0');
    status = Qor_Sim_ExpandSource(source.Text.c_str(), text.data(), &length);
  }
  if (status != 0) throw Refusal(source, status);
  text.resize(text.find('\0'));
  return text;
}

/// What distinguishes one of several buses of the same source: " (can1)", " (lin)"; empty for a single one.
std::string Difference(const Parts& whole, const Parts& one) {
  if (IsReal(one)) {
    const auto share = Option(one.Options, "share");
    return share && !Option(whole.Options, "share") ? fmt::format(" ({})", *share) : "";
  }
  if (one.Kind != whole.Kind) return fmt::format(" ({})", one.Kind);
  for (const char* option : {"interface", "channel", "bus"}) {
    const auto value = Option(one.Options, option);
    if (value && !Option(whole.Options, option)) return fmt::format(" ({})", *value);
  }
  return "";
}

/// Several buses are merged at the pace of real time, and what comes faster waits in memory: without an end it would fill that.
void RefuseEndless(const std::vector<Source>& sources) {
  if (sources.size() < 2) return;
  for (const Source& source : sources) {
    const Parts parts = Split(source.Text);
    const bool ends = Option(parts.Options, "duration") || Option(parts.Options, "gone");
    if (!IsSynthetic(parts.Kind) || source.Speed > 0 || ends) continue;
    throw UsageError(fmt::format(
        "Source \"{}\" has no end, and at speed=max its entries would fill the memory while they wait to be "
        "merged with others; give it one with --duration TIME",
        source.Shown));
  }
}

}  // namespace

Source PlanSource(const std::string& typed, const SourceDefaults& defaults, const std::filesystem::path& folder) {
  Parts parts = Split(typed);
  if (IsReal(parts)) return {Join(parts), typed};
  if (!parts.Path.empty()) parts.Path = (folder / parts.Path).lexically_normal().string();
  if (parts.Kind != "script") SetDefault(parts.Options, "clock", defaults.Clock);
  SetDefault(parts.Options, "speed", defaults.Speed);
  if (IsSynthetic(parts.Kind)) SetDefault(parts.Options, "duration", defaults.Duration);
  if (IsText(parts.Kind)) SetDefault(parts.Options, "bad_lines", defaults.BadLines);
  return {Join(parts), typed, SpeedOf(parts.Options), Split(typed).Path};
}

bool NeedsStandIn(const std::string& typed) {
  const std::string kind = Split(typed).Kind;
  return IsSynthetic(kind) || IsOneOf(kind, {"candump", "csv", "packet", "pcap", "script", "socketcan"});
}

std::optional<std::string> FileOf(const std::string& source) {
  const Parts parts = Split(source);
  if (parts.Path.empty() || IsReal(parts)) return std::nullopt;
  return parts.Path;
}

std::vector<Source> PlanSources(const std::vector<std::string>& typed, const SourceDefaults& defaults,
                                const std::filesystem::path& folder) {
  SourceDefaults own = defaults;
  if (std::any_of(typed.begin(), typed.end(), [](const std::string& text) { return IsReal(Split(text)); }))
    own.Clock = "utc";
  std::vector<Source> sources;
  for (const std::string& text : typed) {
    const Source whole = PlanSource(text, own, folder);
    // The simulator would name an unreadable file as well, but report it like a wrong source text.
    if (const auto path = FileOf(whole.Text)) CheckInputFile(*path);
    const std::string lines = Expand(whole);
    for (size_t begin = 0; begin < lines.size();) {
      const size_t end = std::min(lines.find('\n', begin), lines.size());
      Source one{lines.substr(begin, end - begin), whole.Shown, whole.Speed, whole.File};
      one.Shown += Difference(Split(text), Split(one.Text));
      sources.push_back(one);
      begin = end + 1;
    }
  }
  RefuseEndless(sources);
  return sources;
}

}  // namespace client
