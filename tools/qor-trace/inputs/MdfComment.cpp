#include "inputs/MdfComment.h"

#include <algorithm>
#include <charconv>
#include <map>

#include "qor_api_trace.h"
#include "stream/LossWords.h"

namespace client {

namespace {

constexpr size_t kDeepest = 16;  // trees in trees

std::string Unescaped(std::string_view text) {
  constexpr std::pair<std::string_view, char> kEntities[] = {
      {"&amp;", '&'}, {"&lt;", '<'}, {"&gt;", '>'}, {"&quot;", '"'}, {"&apos;", '\''}};
  std::string plain;
  while (!text.empty()) {
    const auto* known = std::find_if(std::begin(kEntities), std::end(kEntities),
                                     [&](const auto& entity) { return text.starts_with(entity.first); });
    const bool found = known != std::end(kEntities);
    plain += found ? known->second : text.front();
    text.remove_prefix(found ? known->first.size() : 1);
  }
  return plain;
}

/// The value of an attribute in a tag; empty without it.
std::string Attribute(std::string_view tag, std::string_view name) {
  const size_t begin = tag.find(std::string(" ") + std::string(name) + "=\"");
  if (begin == std::string_view::npos) return "";
  const std::string_view rest = tag.substr(begin + name.size() + 3);
  const size_t end = rest.find('"');
  return end == std::string_view::npos ? "" : Unescaped(rest.substr(0, end));
}

bool IsTag(std::string_view tag, std::string_view name) {
  return tag.starts_with(name) && (tag.size() == name.size() || tag[name.size()] == ' ');
}

std::string Joined(const std::vector<std::string>& trees, const std::string& name) {
  std::string path;
  for (const std::string& tree : trees) path += tree + "/";
  return path + name;
}

std::optional<unsigned long> NumberIn(std::string_view text) {
  unsigned long number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

void TakeChannel(ChannelDescription& channel, std::string_view name, const std::string& value) {
  const auto number = NumberIn(value).value_or(0);
  if (name == "name") channel.Name = value;
  if (name == "source") channel.Source = value;
  if (name == "hardware") channel.Hardware = value;
  if (name == "filter") channel.Filter = value;
  if (name == "bit_rate") channel.BitRate = number;
  if (name == "data_bit_rate") channel.DataBitRate = number;
}

/// A loss while its properties come one by one.
struct LossParts {
  std::optional<MdfBusName> Bus;
  std::optional<LossCause> Cause;
  unsigned long First = 0;
  unsigned long Last = 0;
  std::optional<unsigned long> Count;

  void Take(std::string_view name, const std::string& value) {
    const auto number = NumberIn(value);
    if (name == "bus") Bus = ParseMdfBusName(value);
    if (name == "cause") Cause = CauseFromText(value);
    if (name == "items") Count = number;
    if (name == "first") First = number.value_or(0);
    if (name == "last") Last = number.value_or(0);
  }
};

}  // namespace

std::vector<MdfProperty> MdfProperties(std::string_view xml) {
  std::vector<MdfProperty> properties;
  std::vector<std::string> trees;
  for (size_t begin = xml.find('<'); begin != std::string_view::npos; begin = xml.find('<', begin)) {
    const size_t end = xml.find('>', begin);
    if (end == std::string_view::npos) break;
    const std::string_view tag = xml.substr(begin + 1, end - begin - 1);
    begin = end + 1;
    if (IsTag(tag, "tree") && !tag.ends_with('/')) {
      if (trees.size() == kDeepest) break;
      trees.push_back(Attribute(tag, "name"));
    } else if (tag == "/tree") {
      if (!trees.empty()) trees.pop_back();
    } else if (IsTag(tag, "e") && !tag.ends_with('/')) {
      const size_t close = xml.find('<', begin);
      if (close == std::string_view::npos) break;
      properties.emplace_back(Joined(trees, Attribute(tag, "name")), Unescaped(xml.substr(begin, close - begin)));
      begin = close;
    }
  }
  return properties;
}

std::optional<MdfBusName> ParseMdfBusName(std::string_view name) {
  const size_t digits = name.find_last_not_of("0123456789") + 1;
  const auto number = NumberIn(name.substr(digits));
  if (!number || *number > 0xFFFFFFFF) return std::nullopt;
  MdfBusName bus{.Number = static_cast<unsigned int>(*number)};
  if (name.starts_with("CAN")) bus.Bus = BusType_Can;
  if (name.starts_with("LIN")) bus.Bus = BusType_Lin;
  if (name.starts_with("FLEX") || name.starts_with("FLX")) bus.Bus = BusType_FlexRay;
  if (name.starts_with("ETH")) bus.Bus = BusType_Ethernet;
  return bus;
}

namespace {

/// A property of the recording itself. The version of its tool comes by itself.
void TakeOwn(Description& description, std::string& version, std::string_view name, const std::string& value) {
  if (name == "title") description.Title = value;
  if (name == "tool") description.Tool = value;
  if (name == "tool_version") version = value;
  if (name == "host") description.Host = value;
  if (name == "system") description.System = value;
  if (name == "machine") description.Machine = value;
}

/// A property of the channel of that number; 0 is none.
void TakeChannelOf(Description& description, unsigned int channel, std::string_view name, const std::string& value) {
  for (ChannelDescription& known : description.Channels)
    if (channel != 0 && known.Number == channel) TakeChannel(known, name, value);
}

}  // namespace

void TakeMdfProperties(Description& description, const std::vector<MdfProperty>& properties,
                       const std::function<unsigned int(const MdfBusName&)>& channelOf) {
  std::map<unsigned long, LossParts> losses;  // by their numbers
  std::string version;
  for (const auto& [path, value] : properties) {
    const size_t first = path.find('/');
    const size_t last = path.rfind('/');
    const std::string_view name = std::string_view(path).substr(last == std::string::npos ? 0 : last + 1);
    if (first == std::string::npos) {
      TakeOwn(description, version, name, value);
      continue;
    }
    if (first == last) continue;
    const std::string_view tree = std::string_view(path).substr(0, first);
    const std::string_view member = std::string_view(path).substr(first + 1, last - first - 1);
    if (const auto number = NumberIn(member); tree == "losses" && number) losses[*number].Take(name, value);
    const auto bus = tree == "channels" ? ParseMdfBusName(member) : std::nullopt;
    TakeChannelOf(description, bus ? channelOf(*bus) : 0, name, value);
  }
  if (!version.empty()) description.Tool += " " + version;
  for (const auto& [number, loss] : losses) {
    const unsigned int channel = loss.Bus ? channelOf(*loss.Bus) : 0;
    if (channel != 0 && loss.Cause)
      description.Losses.push_back({channel, *loss.Cause, loss.First, loss.Last, loss.Count});
  }
}

}  // namespace client
