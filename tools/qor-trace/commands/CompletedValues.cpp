#include "commands/CompletedValues.h"

#include <algorithm>
#include <cctype>
#include <optional>

#include "outputs/Outputs.h"
#include "stream/RecordFields.h"
#include "views/ComparedRecord.h"
#include "views/KeptRecord.h"

namespace client {

namespace {

using Candidates = std::vector<Candidate>;

bool IsOneOf(std::string_view word, std::initializer_list<std::string_view> words) {
  return std::find(words.begin(), words.end(), word) != words.end();
}

/// Those that begin as what was typed, each after `before`.
Completion Matching(const std::string& before, std::string_view typed, const Candidates& all) {
  Completion completion;
  for (const Candidate& candidate : all)
    if (candidate.Word.starts_with(typed)) completion.Candidates.push_back({before + candidate.Word, candidate.Help});
  return completion;
}

Completion FilesOnly() {
  Completion completion;
  completion.Files = true;
  return completion;
}

// ---- One of a few words

template <class Value>
Candidates NamesOfAll(size_t count) {
  Candidates names;
  for (size_t value = 0; value < count; ++value) names.push_back({NameOf(static_cast<Value>(value)), ""});
  return names;
}

struct WordsOfOption {
  std::string_view Option;
  Candidates Words;
};

/// Options whose values are known, or have examples that are most of what is ever typed.
const std::vector<WordsOfOption>& WordsOfOptions() {
  static const std::vector<WordsOfOption> words = {
      {"--asc-decimals", {{"6", "microseconds"}, {"9", "nanoseconds"}}},
      {"--bitrate",
       {{"125k", ""}, {"250k", ""}, {"500k", ""}, {"1M", ""}, {"500k/2M", "CAN FD"}, {"500k/5M", "CAN FD"}}},
      {"--ethernet-bitrate", {{"10M", ""}, {"100M", ""}, {"1G", ""}}},
      {"--format",
       {{"bin", "raw records"},
        {"asc", "text"},
        {"pcapng", "for Wireshark"},
        {"ndjson", "a table, JSON lines"},
        {"csv", "a table"},
        {"log", "candump text"}}},
      {"--speed", {{"1", "as it was"}, {"10", "ten times as fast"}, {"max", "as fast as it goes"}}},
      {"--split-clock", {{"local", "the clock on the wall"}, {"utc", ""}}},
      {"--time-format",
       {{"relative", "seconds since the start"},
        {"utc", "date and time"},
        {"local", "date and time here"},
        {"epoch", "seconds since 1970"}}},
      {"--times", {{"utc", ""}, {"own", "each clock as it is"}, {"relative", "since the first entry of each"}}},
  };
  return words;
}

/// "time,d" -> "time,dir".
Completion CompleteList(const std::string& typed, const Candidates& all) {
  const size_t last = typed.rfind(',') + 1;  // 0 without a comma
  return Matching(typed.substr(0, last), std::string_view(typed).substr(last), all);
}

// ---- Outputs

const Candidates& OutputExtensions() {
  static const Candidates extensions = {
      {".mf4", "measurement file"}, {".pcapng", "for Wireshark"},       {".asc", "text"},
      {".bin", "raw records"},      {".ndjson", "a table, JSON lines"}, {".csv", "a table"},
      {".log", "candump text"}};
  return extensions;
}

/// "drive" and "drive.m" -> "drive.mf4"; and the files that are there.
Completion CompleteOutput(const std::string& typed, const Candidates& extensions) {
  const size_t name = typed.rfind('/') + 1;  // 0 without a slash
  const size_t dot = std::min(typed.find_last_of('.'), typed.size());
  const size_t stem = dot == typed.size() || dot > name ? dot : typed.size();
  Completion completion;
  if (stem > name) completion = Matching(typed.substr(0, stem), std::string_view(typed).substr(stem), extensions);
  completion.Files = true;
  return completion;
}

// ---- Sources

/// Kinds of sources, as sets of bits.
enum SourceKinds : unsigned {
  Can = 1,
  Lin = 2,
  FlexRay = 4,
  Ethernet = 8,
  Vehicle = 16,
  Candump = 32,
  Pcap = 64,
  Csv = 128,
  SocketCan = 256,
  Packet = 512,
  Synthetic = Can | Lin | FlexRay | Ethernet | Vehicle,
  Replayed = Candump | Pcap | Csv,
  Simulated = Synthetic | Replayed
};

struct SourceOption {
  const char* Name;
  unsigned Kinds;  // that have it
  const char* Help;
};

/// docs/simulator.md and docs/real-interfaces.md say what each one is.
constexpr SourceOption kSourceOptions[] = {{"seed", Synthetic, "another seed, other traffic"},
                                           {"duration", Synthetic, "it ends after this time, e.g. 10s"},
                                           {"load", Can | Ethernet, "percent of the bus"},
                                           {"interface", Candump, "one of the file's, by its name"},
                                           {"bus", Csv, "lin or flexray"},
                                           {"channel", Csv, "one of the file's LIN channels"},
                                           {"bitrate", Csv, "of a LIN bus, bit/s"},
                                           {"origin", Replayed, "file, or absolute: the times of the file"},
                                           {"direction", Replayed, "rx or tx, where the file doesn't say"},
                                           {"bad_lines", Candump | Csv, "refuse, or skip"},
                                           {"clock", Simulated, "own or utc"},
                                           {"speed", Simulated, "a factor, or max"},
                                           {"buffer", Simulated | SocketCan, "items that wait for the recording"},
                                           {"gone", Simulated, "it is unplugged after this time"},
                                           {"id", SocketCan, "only these identifiers, e.g. 100:7F0"},
                                           {"socket_buffer", SocketCan, "bytes in the kernel"},
                                           {"filter", Packet, "as for tcpdump"},
                                           {"promisc", Packet, "on or off"},
                                           {"ring", Packet, "bytes of the capture buffer"},
                                           {"fanout", Packet, "deals frames out among so many channels"}};

struct NamedKind {
  std::string_view Name;
  unsigned Kind;
};
constexpr NamedKind kSynthetic[] = {
    {"can", Can}, {"lin", Lin}, {"flexray", FlexRay}, {"ethernet", Ethernet}, {"vehicle", Vehicle}};
constexpr NamedKind kPrefixes[] = {
    {"candump:", Candump}, {"pcap:", Pcap}, {"csv:", Csv}, {"socketcan:", SocketCan}, {"packet:", Packet}};
constexpr NamedKind kExtensions[] = {{".log", Candump}, {".csv", Csv}, {".pcap", Pcap}, {".pcapng", Pcap}};

/// Of a source without its options. An interface of this machine may be of either kind.
unsigned KindsOf(std::string_view source) {
  for (const NamedKind& named : kSynthetic)
    if (source == named.Name) return named.Kind;
  for (const NamedKind& named : kPrefixes)
    if (source.starts_with(named.Name)) return named.Kind;
  for (const NamedKind& named : kExtensions)
    if (source.ends_with(named.Name)) return named.Kind;
  return SocketCan | Packet;
}

/// "can?seed=7&l" -> "can?seed=7&load=".
Completion CompleteSourceOption(const std::string& typed) {
  const unsigned kinds = KindsOf(std::string_view(typed).substr(0, typed.find('?')));
  const size_t last = typed.find_last_of("?&") + 1;
  Candidates options;
  for (const SourceOption& option : kSourceOptions)
    if ((kinds & option.Kinds) != 0) options.push_back({std::string(option.Name) + "=", option.Help});
  Completion completion = Matching(typed.substr(0, last), std::string_view(typed).substr(last), options);
  completion.IsUnfinished = true;
  return completion;
}

Completion CompleteSource(const std::string& typed, const PortNames& ports) {
  if (typed.find('?') != std::string::npos) return CompleteSourceOption(typed);
  Candidates sources = {{"vehicle", "simulated: all four buses"},
                        {"can", "simulated CAN and CAN FD"},
                        {"lin", "simulated LIN"},
                        {"flexray", "simulated FlexRay"},
                        {"ethernet", "simulated Ethernet"}};
  for (const std::string& port : ports()) sources.push_back({port, "interface of this machine"});
  Completion completion = Matching("", typed, sources);
  completion.Files = true;
  return completion;
}

// ---- Expressions

bool IsInWord(char letter) { return std::isalnum(static_cast<unsigned char>(letter)) != 0 || letter == '_'; }

/// Takes the blanks at the end off, and then what `isIn` says.
template <class IsIn>
std::string_view TakeLast(std::string_view& text, IsIn isIn) {
  while (text.ends_with(' ')) text.remove_suffix(1);
  size_t start = text.size();
  while (start > 0 && isIn(text[start - 1])) --start;
  const std::string_view last = text.substr(start);
  text = text.substr(0, start);
  return last;
}

std::string_view TakeLastWord(std::string_view& text) { return TakeLast(text, IsInWord); }

/// The words that a field's values have, where one of them comes next: after "bus ==", "kind in error,".
std::optional<Candidates> ValuesAfter(std::string_view text) {
  while (true) {
    std::string_view rest = text;
    const std::string_view sign = TakeLast(rest, [](char letter) { return IsOneOf({&letter, 1}, {"=", "!", ","}); });
    if (sign == ",") {  // after another value of the same list
      text = rest;
      TakeLastWord(text);
      continue;
    }
    if (sign.empty() && TakeLastWord(rest) != "in") return std::nullopt;
    if (!sign.empty() && !IsOneOf(sign, {"==", "!="})) return std::nullopt;
    std::string_view name = TakeLastWord(rest);
    if (sign.empty() && name == "not") name = TakeLastWord(rest);
    const std::optional<RecordField> field = FieldNamed(name);
    Candidates words;
    if (field)
      for (const FieldWord& word : Describe(*field).Words) words.push_back({word.Text, ""});
    return words;
  }
}

/// Whether a test begins there, which a field stands in front of.
bool BeginsATest(std::string_view text) {
  const std::string_view sign = TakeLast(text, [](char letter) { return IsOneOf({&letter, 1}, {"(", "&", "|", "!"}); });
  if (!sign.empty()) return sign.ends_with('(') || IsOneOf(sign, {"&&", "||", "!"});
  const std::string_view word = TakeLastWord(text);
  return (word.empty() && text.empty()) || IsOneOf(word, {"and", "or", "not"});
}

Completion CompleteExpression(const std::string& typed, bool isCondition) {
  std::string_view before = typed;
  while (!before.empty() && IsInWord(before.back())) before.remove_suffix(1);
  const std::string_view last = std::string_view(typed).substr(before.size());
  Candidates words;
  if (const std::optional<Candidates> values = ValuesAfter(before)) {
    words = *values;
  } else if (BeginsATest(before)) {
    for (const std::string& name : FieldNames()) words.push_back({name, "field of an entry"});
    if (isCondition) words.push_back({"loss", "something is missing"});
    if (isCondition) words.push_back({"missing", "missing(...) for TIME"});
  } else if (before.ends_with(' ') || before.ends_with(')')) {
    words = {{"and", ""}, {"or", ""}};
  }
  Completion completion = Matching(std::string(before), last, words);
  completion.IsUnfinished = true;
  return completion;
}

}  // namespace

Completion CompleteValue(std::string_view command, std::string_view option, const std::string& typed,
                         const PortNames& ports) {
  if (IsOneOf(option, {"SOURCE", "--source"})) return CompleteSource(typed, ports);
  if (!option.starts_with('-')) return FilesOnly();
  if (IsOneOf(option, {"--hardware", "--adapter", "--file", "--fifo", "--folder", "--swap-folder"})) return FilesOnly();
  if (option == "--output" && command == "report") return CompleteOutput(typed, {{".html", "a page"}});
  if (option == "--output") return CompleteOutput(typed, OutputExtensions());
  if (IsOneOf(option, {"--filter", "--extcap-capture-filter"})) return CompleteExpression(typed, false);
  if (IsOneOf(option, {"--trigger", "--start-on", "--stop-on"})) return CompleteExpression(typed, true);
  if (option == "--ignore") return CompleteList(typed, NamesOfAll<ComparedField>(kComparedFieldCount));
  if (option == "--as-kept-by") return CompleteList(typed, NamesOfAll<KeptFormat>(kKeptFormatCount));
  for (const WordsOfOption& one : WordsOfOptions())
    if (one.Option == option) return Matching("", typed, one.Words);
  return {};
}

}  // namespace client
