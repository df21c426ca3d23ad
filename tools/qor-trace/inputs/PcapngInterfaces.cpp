#include "inputs/PcapngInterfaces.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <string_view>
#include <utility>

#include "inputs/PcapngBlocks.h"
#include "stream/LossText.h"
#include "stream/PacketLayouts.h"
#include "system/Failure.h"

namespace client {

namespace {

constexpr unsigned short kComment = 1;
// Section header: 4 magic, 2 + 2 version, 8 section length, options.
constexpr size_t kSectionOptions = 16;
constexpr unsigned short kSectionHardware = 2;
constexpr unsigned short kSectionSystem = 3;
constexpr unsigned short kUserAppl = 4;
// Interface description: 2 link type, 2 reserved, 4 snap length, options.
constexpr size_t kInterfaceOptions = 8;
constexpr unsigned short kInterfaceName = 2;
constexpr unsigned short kInterfaceText = 3;
constexpr unsigned short kSpeed = 8;
constexpr unsigned short kTimeResolution = 9;
constexpr unsigned short kFilter = 11;
constexpr unsigned short kCheckSequence = 13;
constexpr unsigned short kTimeOffset = 14;
constexpr unsigned short kInterfaceHardware = 15;
// Interface statistics: 4 interface, 4 + 4 time, options.
constexpr size_t kStatisticsOptions = 12;
constexpr unsigned short kStartTime = 2;
constexpr unsigned short kDropped = 5;
constexpr unsigned short kDroppedBySystem = 7;

constexpr size_t kLongestText = 1000;  // bytes that are kept of one
constexpr std::string_view kExportApplication = "Norvik electronic Qor-API Trace Dll";
constexpr std::string_view kOwnApplication = "qor-trace ";
constexpr std::string_view kRecordedBy = "recorded by ";
constexpr unsigned long kNanosecondsPerSecond = 1'000'000'000;

std::string TextOf(const OrderedBytes& value) {
  std::string_view text = value.Text().substr(0, kLongestText);
  while (text.ends_with('\0')) text.remove_suffix(1);
  return std::string(text);
}

/// The number of "CAN-12" with the name of the link type's bus, and of "12" in the library's export.
std::optional<unsigned int> NumberIn(std::string_view name, unsigned int link, bool exported) {
  const auto bus = CaptureBusOfLink(link);
  if (!bus) return std::nullopt;
  if (!exported) {
    const std::string front = fmt::format("{}-", bus->Name);
    if (!name.starts_with(front)) return std::nullopt;
    name.remove_prefix(front.size());
  }
  unsigned int number = 0;
  const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), number);
  const bool whole = error == std::errc() && end == name.data() + name.size();
  return whole && number >= 1 ? std::optional(number) : std::nullopt;
}

/// The losses that comments tell of, each in a line of its own.
std::vector<Loss> LossesIn(std::string_view comments, unsigned int channel) {
  std::vector<Loss> losses;
  while (!comments.empty()) {
    const size_t end = std::min(comments.find('\n'), comments.size());
    if (const auto loss = LossFromText(comments.substr(0, end))) {
      losses.push_back(*loss);
      losses.back().Channel = channel;
    }
    comments.remove_prefix(std::min(end + 1, comments.size()));
  }
  return losses;
}

/// if_fcslen is said to be in bits, and to be 4 for Ethernet: both are found.
unsigned int CheckSequenceOf(unsigned int length) {
  constexpr unsigned int kMostBytes = 8;
  return length > kMostBytes ? length / 8 : length;
}

}  // namespace

unsigned long PcapngClock::NanosecondsOf(unsigned long stamp) const {
  __extension__ using Wide = unsigned __int128;
  __extension__ using SignedWide = __int128;
  constexpr unsigned int kNanoseconds = 9;
  unsigned int exponent = Resolution & 0x7Fu;
  Wide time = stamp;
  if ((Resolution & 0x80) != 0) {
    time = time * kNanosecondsPerSecond >> exponent;
  } else {
    for (; exponent < kNanoseconds; ++exponent) time *= 10;
    for (; exponent > kNanoseconds && time != 0; --exponent) time /= 10;
  }
  const SignedWide shifted = static_cast<SignedWide>(time) + SignedWide{Offset} * SignedWide{kNanosecondsPerSecond};
  if (shifted < 0) return 0;
  return shifted > SignedWide{~0ul} ? ~0ul : static_cast<unsigned long>(shifted);
}

bool PcapngInterfaces::BeginSection(const OrderedBytes& body) {
  if (body.At<unsigned short>(4) != 1)
    throw Failure(
        fmt::format("Version {} of PCAPNG isn't known here; there is only version 1", body.At<unsigned short>(4)));
  Section.clear();
  SectionNames.clear();
  std::string comment, application;
  Description origin;
  const bool sound = ForEachOption(body.From(kSectionOptions), [&](unsigned short code, const OrderedBytes& value) {
    if (code == kComment) comment = TextOf(value);
    if (code == kSectionHardware) origin.Machine = TextOf(value);
    if (code == kSectionSystem) origin.System = TextOf(value);
    if (code == kUserAppl) application = TextOf(value);
  });
  Exported = application == kExportApplication;
  // Further sections say the same, or are of other recordings.
  if (std::exchange(AnySection, true)) return sound;
  Own = application.starts_with(kOwnApplication);
  Described = std::move(origin);
  ReadOrigin(std::move(comment), std::move(application));
  return sound;
}

/// A comment is a title, and after it "recorded by qor-trace 2.0.0 on bench-7" if it was this program.
void PcapngInterfaces::ReadOrigin(std::string comment, std::string application) {
  const size_t line = comment.rfind('\n');
  const size_t last = line == std::string::npos ? 0 : line + 1;
  Described.Tool = std::move(application);
  if (comment.compare(last, kRecordedBy.size(), kRecordedBy) == 0) {
    const std::string tool = comment.substr(last + kRecordedBy.size());
    const size_t on = tool.rfind(" on ");
    Described.Tool = tool.substr(0, on);
    if (on != std::string::npos) Described.Host = tool.substr(on + 4);
    comment.resize(last == 0 ? 0 : line);
  }
  Described.Title = std::move(comment);
}

bool PcapngInterfaces::AddInterface(const OrderedBytes& body) {
  PcapngInterface added{.Link = body.At<unsigned short>(0), .SnapLength = body.At<unsigned int>(4)};
  Named named;
  const bool sound = ForEachOption(body.From(kInterfaceOptions), [&](unsigned short code, const OrderedBytes& value) {
    if (code == kInterfaceName) named.Name = TextOf(value);
    if (code == kInterfaceText) named.Text = TextOf(value);
    if (code == kSpeed) added.BitRate = value.At<unsigned long>(0);
    if (code == kTimeResolution) added.Clock.Resolution = value.At<unsigned char>(0);
    if (code == kTimeOffset) added.Clock.Offset = static_cast<long>(value.At<unsigned long>(0));
    if (code == kCheckSequence) added.CheckSequence = CheckSequenceOf(value.At<unsigned char>(0));
    if (code == kInterfaceHardware) named.Channel.Hardware = TextOf(value);
    if (code == kFilter && value.At<unsigned char>(0) == 0) named.Channel.Filter = TextOf(value.From(1));
  });
  if (Section.size() >= kMostInterfaces)
    throw Failure(fmt::format("The file describes more than {} interfaces: it is damaged", kMostInterfaces));
  added.Channel = ChannelOf(named, added.Link);
  named.Channel.BitRate = added.BitRate;
  Describe(std::move(named), added.Link, added.Channel);
  Section.push_back(added);
  return sound;
}

unsigned int PcapngInterfaces::ChannelOf(const Named& named, unsigned int link) {
  const std::string kind = fmt::format("{} {}", link, named.Name);
  const std::string key = fmt::format("{} {}", SectionNames[kind]++, kind);
  const auto known = Channels.find(key);
  if (known != Channels.end()) return known->second;
  if (Channels.size() >= kMostInterfaces)
    throw Failure(fmt::format("The file has more than {} channels: it is damaged", kMostInterfaces));
  const unsigned int number = NumberFor(named, link);
  Channels.emplace(key, number);
  Taken.insert(number);
  return number;
}

unsigned int PcapngInterfaces::NumberFor(const Named& named, unsigned int link) const {
  const auto own = NumberIn(named.Name, link, Exported);
  unsigned int number = own ? *own : static_cast<unsigned int>(Section.size() + 1);
  while (number == 0 || Taken.contains(number)) ++number;
  return number;
}

/// What is known of a channel stands in its first description.
void PcapngInterfaces::Describe(Named named, unsigned int link, unsigned int channel) {
  const auto bus = CaptureBusOfLink(link);
  if (!bus || FindChannel(Described, channel) != nullptr) return;
  ChannelDescription& described = named.Channel;
  described.Number = channel;
  described.BusType = bus->BusType;
  described.Source = named.Text;
  if (!NumberIn(named.Name, link, Exported)) {  // a name that says no more than the number isn't one
    if (described.Source.empty()) described.Source = named.Name;
    described.Name = std::move(named.Name);
  }
  auto& channels = Described.Channels;
  const auto place =
      std::find_if(channels.begin(), channels.end(), [&](const auto& other) { return other.Number > channel; });
  channels.insert(place, std::move(described));
}

const PcapngInterface* PcapngInterfaces::Find(size_t number) const {
  return number < Section.size() ? &Section[number] : nullptr;
}

void PcapngInterfaces::TakePacket(unsigned int channel, unsigned long time, unsigned long dropped,
                                  const std::string& comments) {
  AnyPacket = true;
  Account& account = Accounts[channel];
  if (!account.Latest) account.AccountedTo = time;
  if (dropped > 0 || !comments.empty()) {
    std::vector<Loss> losses = LossesIn(comments, channel);
    if (losses.empty() && dropped > 0)
      losses.push_back(
          {.Channel = channel, .First = std::min(account.Latest.value_or(time), time), .Last = time, .Count = dropped});
    if (!losses.empty()) account.AccountedTo = std::max(account.AccountedTo, time);
    account.Told += dropped;
    Losses.Append(losses);
  }
  account.Latest = std::max(account.Latest.value_or(0), time);
}

bool PcapngInterfaces::TakeStatistics(const OrderedBytes& body) {
  AnyStatistics = true;
  unsigned long dropped = 0;
  std::optional<unsigned long> start;
  std::string comments;
  const bool sound = ForEachOption(body.From(kStatisticsOptions), [&](unsigned short code, const OrderedBytes& value) {
    if (code == kComment) comments += std::string(value.Text()) + "\n";
    if (code == kStartTime) start = StampAt(value, 0);
    if (code == kDropped || code == kDroppedBySystem) dropped += value.At<unsigned long>(0);
  });
  const PcapngInterface* const interface = Find(body.At<unsigned int>(0));
  if (interface == nullptr) return sound;
  const PcapngClock& clock = interface->Clock;
  Account& account = Accounts[interface->Channel];
  const unsigned long time = std::max(clock.NanosecondsOf(StampAt(body, 4)), account.Latest.value_or(0));
  if (!account.Latest && account.AccountedTo == 0) account.AccountedTo = start ? clock.NanosecondsOf(*start) : time;
  for (const Loss& loss : LossesIn(comments, interface->Channel)) {
    Losses.Add(loss);
    if (IsMissing(loss.Cause)) account.Told += loss.Count.value_or(0);
  }
  // The counts are those since the beginning: what is new in them happened since everything was accounted for.
  if (dropped > account.Told) {
    Losses.Add({.Channel = interface->Channel,
                .First = std::min(account.AccountedTo, time),
                .Last = time,
                .Count = dropped - account.Told});
    account.Told = dropped;
  }
  account.AccountedTo = time;
  return sound;
}

Description PcapngInterfaces::Known() const {
  Description known = Described;
  known.Losses = Losses.All();
  return known;
}

}  // namespace client
