#include "stream/DescriptionJson.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <limits>
#include <nlohmann/json.hpp>

#include "qor_api_trace.h"
#include "system/Failure.h"
#include "system/Units.h"

namespace client {

namespace {

using nlohmann::json;
using nlohmann::ordered_json;

constexpr const char* kSchema = "qor-trace-recording";

// ---- Words of the schema --------------------------------------------------------------------------------------------

template <class Value>
struct Name {
  Value Meaning;
  const char* Text;
};

constexpr Name<ClockEpoch> kEpochs[] = {
    {ClockEpoch::Unknown, "unknown"}, {ClockEpoch::Since1970, "1970"}, {ClockEpoch::Own, "own"}};

constexpr Name<AnchorOrigin> kOrigins[] = {{AnchorOrigin::RecordingStart, "recording_start"},
                                           {AnchorOrigin::FirstEntries, "first_entries"},
                                           {AnchorOrigin::Clock, "clock"},
                                           {AnchorOrigin::Given, "given"}};

constexpr Name<unsigned char> kBuses[] = {
    {BusType_Can, "CAN"}, {BusType_Lin, "LIN"}, {BusType_FlexRay, "FlexRay"}, {BusType_Ethernet, "Ethernet"}};

const Name<LossCause> kCauses[] = {{LossCause::CaptureBufferFull, Word(LossCause::CaptureBufferFull)},
                                   {LossCause::OverrunMark, Word(LossCause::OverrunMark)},
                                   {LossCause::MemoryLimit, Word(LossCause::MemoryLimit)},
                                   {LossCause::DiskFull, Word(LossCause::DiskFull)},
                                   {LossCause::Reordering, Word(LossCause::Reordering)},
                                   {LossCause::InterfaceGone, Word(LossCause::InterfaceGone)}};

template <class Names, class Value>
const char* TextOf(const Names& names, Value meaning) {
  const auto found =
      std::find_if(std::begin(names), std::end(names), [&](auto& name) { return name.Meaning == meaning; });
  return found == std::end(names) ? "" : found->Text;
}

// ---- Writing --------------------------------------------------------------------------------------------------------

template <class Value>
ordered_json OrNull(const std::optional<Value>& value) {
  return value ? ordered_json(*value) : ordered_json();
}

ordered_json JsonOf(const ClockAnchor& anchor) {
  return {{"entry_time_ns", anchor.EntryTime},
          {"utc_ns", anchor.Utc},
          {"utc", FormatUtc(anchor.Utc)},
          {"uncertainty_ns", OrNull(anchor.Uncertainty)},
          {"origin", TextOf(kOrigins, anchor.Origin)}};
}

ordered_json JsonOf(const ChannelDescription& channel) {
  return {{"number", channel.Number},
          {"bus", channel.BusType ? ordered_json(TextOf(kBuses, *channel.BusType)) : ordered_json()},
          {"source", channel.Source},
          {"name", channel.Name},
          {"hardware", channel.Hardware},
          {"bit_rate", channel.BitRate},
          {"data_bit_rate", channel.DataBitRate},
          {"filter", channel.Filter}};
}

ordered_json JsonOf(const Loss& loss) {
  return {{"channel", loss.Channel},
          {"cause", TextOf(kCauses, loss.Cause)},
          {"first_time_ns", loss.First},
          {"last_time_ns", loss.Last},
          {"count", OrNull(loss.Count)}};
}

template <class Items>
ordered_json ArrayOf(const Items& items) {
  ordered_json array = ordered_json::array();
  for (const auto& item : items) array.push_back(JsonOf(item));
  return array;
}

// ---- Reading --------------------------------------------------------------------------------------------------------

/// A value, and where it stands, for those who have to mend it.
class Field {
 public:
  Field(const json& value, std::string place) : Value(value), Place(std::move(place)) {}

  [[noreturn]] void Refuse(const std::string& wanted) const {
    throw Failure(fmt::format("has something wrong at {}: {} is wanted there", Place, wanted));
  }

  /// A member that may be missing or null: then there is nothing to read.
  template <class Read>
  void IfGiven(const char* name, Read read) const {
    if (!Value.is_object()) Refuse("an object");
    const auto found = Value.find(name);
    if (found != Value.end() && !found->is_null()) read(Field(*found, Place.empty() ? name : Place + "." + name));
  }

  template <class Read>
  void ForEach(Read read) const {
    if (!Value.is_array()) Refuse("an array");
    for (size_t index = 0; index < Value.size(); ++index)
      read(Field(Value[index], fmt::format("{}[{}]", Place, index)));
  }

  unsigned long Number(unsigned long least = 0,
                       unsigned long greatest = std::numeric_limits<unsigned long>::max()) const {
    if (!Value.is_number_unsigned() || Value.get<unsigned long>() < least || Value.get<unsigned long>() > greatest)
      Refuse(fmt::format("a whole number from {} to {}", least, greatest));
    return Value.get<unsigned long>();
  }

  std::string Text() const {
    if (!Value.is_string()) Refuse("a text");
    return Value.get<std::string>();
  }

  bool Truth() const {
    if (!Value.is_boolean()) Refuse("true or false");
    return Value.get<bool>();
  }

  template <class Names>
  auto OneOf(const Names& names) const {
    const std::string text = Text();
    const auto found = std::find_if(std::begin(names), std::end(names), [&](auto& name) { return text == name.Text; });
    if (found != std::end(names)) return found->Meaning;
    std::string known;
    for (const auto& name : names) known += fmt::format("{}\"{}\"", known.empty() ? "" : ", ", name.Text);
    Refuse("one of " + known);
  }

 private:
  const json& Value;
  const std::string Place;
};

/// Readers of single fields into what they belong to.
template <class Target>
auto Into(Target& target) {
  return [&](const Field& field) {
    if constexpr (std::is_same_v<Target, std::string>)
      target = field.Text();
    else if constexpr (std::is_same_v<Target, bool>)
      target = field.Truth();
    else
      target = field.Number();
  };
}

/// A field without which the rest means nothing.
template <class Read>
void Need(const Field& parent, const char* name, Read read) {
  bool given = false;
  parent.IfGiven(name, [&](const Field& field) {
    read(field);
    given = true;
  });
  if (!given) parent.Refuse(fmt::format("\"{}\"", name));
}

ClockAnchor AnchorFrom(const Field& object) {
  ClockAnchor anchor;
  Need(object, "entry_time_ns", Into(anchor.EntryTime));
  Need(object, "utc_ns", Into(anchor.Utc));
  object.IfGiven("uncertainty_ns", Into(anchor.Uncertainty));
  object.IfGiven("origin", [&](const Field& field) { anchor.Origin = field.OneOf(kOrigins); });
  return anchor;
}

unsigned int ChannelNumberFrom(const Field& number) { return static_cast<unsigned int>(number.Number(1, 0xFFFFFFFF)); }

ChannelDescription ChannelFrom(const Field& object) {
  ChannelDescription channel;
  Need(object, "number", [&](const Field& field) { channel.Number = ChannelNumberFrom(field); });
  object.IfGiven("bus", [&](const Field& field) { channel.BusType = field.OneOf(kBuses); });
  object.IfGiven("source", Into(channel.Source));
  object.IfGiven("name", Into(channel.Name));
  object.IfGiven("hardware", Into(channel.Hardware));
  object.IfGiven("bit_rate", Into(channel.BitRate));
  object.IfGiven("data_bit_rate", Into(channel.DataBitRate));
  object.IfGiven("filter", Into(channel.Filter));
  return channel;
}

std::vector<ChannelDescription> ChannelsFrom(const Field& object) {
  std::vector<ChannelDescription> channels;
  object.ForEach([&](const Field& one) { channels.push_back(ChannelFrom(one)); });
  std::sort(channels.begin(), channels.end(), [](auto& left, auto& right) { return left.Number < right.Number; });
  const auto twice = std::adjacent_find(channels.begin(), channels.end(),
                                        [](auto& left, auto& right) { return left.Number == right.Number; });
  if (twice != channels.end()) object.Refuse(fmt::format("channel {} only once", twice->Number));
  return channels;
}

Loss LossFrom(const Field& object) {
  Loss loss;
  Need(object, "channel", [&](const Field& field) { loss.Channel = ChannelNumberFrom(field); });
  Need(object, "cause", [&](const Field& field) { loss.Cause = field.OneOf(kCauses); });
  Need(object, "first_time_ns", Into(loss.First));
  Need(object, "last_time_ns", [&](const Field& field) { loss.Last = field.Number(loss.First); });
  object.IfGiven("count", Into(loss.Count));
  return loss;
}

RecordsDescription RecordsFrom(const Field& object) {
  RecordsDescription records;
  Need(object, "count", Into(records.Count));
  Need(object, "bytes", Into(records.Bytes));
  Need(object, "first_record_fnv1a", Into(records.FirstRecord));
  return records;
}

void ReadClock(const Field& object, Description& description) {
  object.IfGiven("epoch", [&](const Field& field) { description.Epoch = field.OneOf(kEpochs); });
  object.IfGiven("start", [&](const Field& field) { description.Anchor = AnchorFrom(field); });
}

void CheckSchema(const json& value) {
  const auto schema = value.is_object() ? value.find("schema") : value.end();
  if (schema == value.end() || *schema != kSchema) throw Failure("is no description of a recording");
  const auto version = value.find("version");
  if (version == value.end() || !version->is_number_unsigned() || *version == 0)
    throw Failure("is a description without a version");
  if (*version > kDescriptionVersion)
    throw Failure(fmt::format("is a description of version {}, and this program reads version {}; use a newer one",
                              version->dump(), kDescriptionVersion));
}

}  // namespace

nlohmann::json AnchorJson(const std::optional<ClockAnchor>& anchor) {
  return anchor ? nlohmann::json(JsonOf(*anchor)) : nlohmann::json();
}

nlohmann::json LossesJson(const std::vector<Loss>& losses) { return ArrayOf(losses); }

std::string ToJson(const Description& description) {
  const ordered_json clock = {{"epoch", TextOf(kEpochs, description.Epoch)},
                              {"start", description.Anchor ? JsonOf(*description.Anchor) : ordered_json()}};
  const auto& records = description.Records;
  const ordered_json file = !records ? ordered_json()
                                     : ordered_json{{"count", records->Count},
                                                    {"bytes", records->Bytes},
                                                    {"first_record_fnv1a", records->FirstRecord}};
  const ordered_json object = {{"schema", kSchema},
                               {"version", kDescriptionVersion},
                               {"id", description.Id},
                               {"title", description.Title},
                               {"tool", description.Tool},
                               {"host", description.Host},
                               {"system", description.System},
                               {"machine", description.Machine},
                               {"complete", description.Complete},
                               {"clock", clock},
                               {"channels", ArrayOf(description.Channels)},
                               {"losses", ArrayOf(description.Losses)},
                               {"records", file}};
  return object.dump(2, ' ', true, ordered_json::error_handler_t::replace) + "\n";
}

Description DescriptionFromJson(std::string_view text) {
  const json value = json::parse(text, nullptr, false);
  if (value.is_discarded()) throw Failure("is no JSON");
  CheckSchema(value);
  const Field root(value, "");
  Description description;
  root.IfGiven("id", Into(description.Id));
  root.IfGiven("title", Into(description.Title));
  root.IfGiven("tool", Into(description.Tool));
  root.IfGiven("host", Into(description.Host));
  root.IfGiven("system", Into(description.System));
  root.IfGiven("machine", Into(description.Machine));
  root.IfGiven("complete", Into(description.Complete));
  root.IfGiven("clock", [&](const Field& field) { ReadClock(field, description); });
  root.IfGiven("channels", [&](const Field& field) { description.Channels = ChannelsFrom(field); });
  root.IfGiven("losses", [&](const Field& field) {
    field.ForEach([&](const Field& one) { description.Losses.push_back(LossFrom(one)); });
  });
  root.IfGiven("records", [&](const Field& field) { description.Records = RecordsFrom(field); });
  return description;
}

}  // namespace client
