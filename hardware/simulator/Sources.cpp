#include "Sources.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <utility>

#include "Candump.h"
#include "Csv.h"
#include "Error.h"
#include "Pcap.h"
#include "ScriptedPort.h"
#include "SourceText.h"
#include "SyntheticCan.h"
#include "SyntheticEthernet.h"
#include "SyntheticFlexRay.h"
#include "SyntheticLin.h"
#include "TrafficPort.h"
#include "linux/LinuxSources.h"
#include "qor_api.h"

namespace qor_sim {
namespace {

constexpr uint64_t kGreatestBuffer = 100'000'000;  // items
constexpr uint64_t kFlexRayBitRate = 10'000'000;   // of every cluster

constexpr const char* kSynthetic = "simulated bus";
constexpr const char* kReplay = "replayed recording";

/// What a source may need to make its port.
struct PortContext {
  unsigned char Instance;
  Clock& SharedClock;
};

std::optional<Speed> TakeSpeed(OptionReader& options) {
  const auto value = options.TakeText("speed");
  if (!value) return Speed{};
  if (*value == "max") return std::nullopt;
  constexpr uint64_t kGreatest = 1'000'000;
  std::string_view rest = *value;
  const auto factor = TakeDecimal(rest);
  const bool valid = factor && rest.empty() && factor->Whole <= kGreatest;
  const uint64_t billionths = valid ? factor->Whole * kNsPerSecond + factor->Billionths : 0;
  if (billionths < kNsPerSecond / 1000 || billionths > kGreatest * kNsPerSecond) {
    throw SourceError("The option speed can't be \"" + *value + "\": it takes max or a factor from 0.001 to 1000000.");
  }
  return Speed{billionths, kNsPerSecond};
}

TrafficSettings TakeTrafficSettings(OptionReader& options) {
  TrafficSettings settings;
  settings.Pace = TakeSpeed(options);
  settings.BufferItems = options.TakeUnsigned("buffer", 1, kGreatestBuffer, settings.BufferItems);
  settings.GoneAt = options.TakeDuration("gone");
  settings.Stamps = options.TakeChoice("clock", {"own", "utc"}, 0) == 0 ? StampClock::Own : StampClock::Utc;
  const bool realTime = settings.Pace && settings.Pace->Numerator == settings.Pace->Denominator;
  if (settings.Stamps == StampClock::Utc && !realTime)
    throw SourceError("The option clock=utc needs speed=1: UTC goes at no other speed.");
  return settings;
}

TimeOrigin TakeOrigin(OptionReader& options) {
  return options.TakeChoice("origin", {"file", "absolute"}, 0) == 0 ? TimeOrigin::File : TimeOrigin::Absolute;
}

Direction TakeDirection(OptionReader& options) {
  return options.TakeChoice("direction", {"rx", "tx"}, 0) == 0 ? Direction::Received : Direction::Transmitted;
}

BadLines TakeBadLines(OptionReader& options) {
  return options.TakeChoice("bad_lines", {"refuse", "skip"}, 0) == 0 ? BadLines::Refuse : BadLines::Skip;
}

void NeedPath(const SourceText& source) {
  if (!source.Path.empty()) return;
  throw SourceError("A source of the kind " + source.Kind + " needs a file: " + source.Kind + ":PATH.");
}

void RefusePath(const SourceText& source) {
  if (!source.Path.empty()) throw SourceError("A source of the kind " + source.Kind + " takes no file.");
}

// ---- The kinds: what each reads from its options, the port that it makes, the sources that it stands for ------------

/// A synthetic bus.
struct SyntheticBus {
  unsigned char InterfaceType;
  uint64_t BitRate;                       // bit/s
  uint64_t DataBitRate;                   // likewise; 0 without one
  std::optional<unsigned int> UsualLoad;  // percent; nothing for a bus whose schedule determines its load
  std::unique_ptr<ItemSource> (*Make)(const SyntheticSettings& settings, unsigned int load);
};
constexpr SyntheticBus kCan = {QOR_INTERFACE_CAN, 500'000, 2'000'000, kUsualCanLoad, MakeSyntheticCan};
constexpr SyntheticBus kEthernet = {QOR_INTERFACE_ETHERNET, 100'000'000, 0, kUsualEthernetLoad, MakeSyntheticEthernet};
constexpr SyntheticBus kFlexRay = {QOR_INTERFACE_FLEXRAY, kFlexRayBitRate, 0, std::nullopt,
                                   [](const auto& settings, unsigned int) { return MakeSyntheticFlexRay(settings); }};
constexpr SyntheticBus kLin = {QOR_INTERFACE_LIN, 19'200, 0, std::nullopt,
                               [](const auto& settings, unsigned int) { return MakeSyntheticLin(settings); }};

struct SyntheticOptions {
  SyntheticSettings Bus;
  unsigned int Load = 0;  // percent, of a bus that takes it
  TrafficSettings Traffic;
};

SyntheticOptions TakeSynthetic(const SourceText& source, std::optional<unsigned int> usualLoad) {
  RefusePath(source);
  OptionReader options(source);
  SyntheticOptions taken;
  taken.Bus.Seed = options.TakeUnsigned("seed", 0, std::numeric_limits<uint64_t>::max(), taken.Bus.Seed);
  taken.Bus.Duration = options.TakeDuration("duration");
  if (usualLoad) taken.Load = static_cast<unsigned int>(options.TakeUnsigned("load", 1, 100, *usualLoad));
  taken.Traffic = TakeTrafficSettings(options);
  options.Finish();
  return taken;
}

template <const SyntheticBus& kBus>
std::shared_ptr<Port> MakeSynthetic(const SourceText& source, const PortContext& context) {
  SyntheticOptions options = TakeSynthetic(source, kBus.UsualLoad);
  options.Traffic.Bus = {kBus.BitRate, kBus.DataBitRate, "", kSynthetic};
  return std::make_shared<TrafficPort>(kBus.InterfaceType, context.Instance, kBus.Make(options.Bus, options.Load),
                                       options.Traffic, context.SharedClock);
}

template <const SyntheticBus& kBus>
std::vector<std::string> ExpandSynthetic(const SourceText& source) {
  TakeSynthetic(source, kBus.UsualLoad);
  return {ToText(source)};
}

std::shared_ptr<Port> MakeVehicle(const SourceText&, const PortContext&) {
  throw SourceError("A vehicle has four buses: expand the source, or open can, lin, flexray and ethernet.");
}

/// What its buses have in common can be said for all of them at once.
std::vector<std::string> ExpandVehicle(const SourceText& source) {
  TakeSynthetic(source, {});
  std::vector<std::string> sources;
  for (const char* bus : {"can", "lin", "flexray", "ethernet"}) {
    SourceText one = source;
    one.Kind = bus;
    sources.push_back(ToText(one));
  }
  return sources;
}

struct CandumpOptions {
  CandumpSettings Candump;
  TrafficSettings Traffic;
};

CandumpOptions TakeCandump(const SourceText& source) {
  NeedPath(source);
  OptionReader options(source);
  CandumpOptions taken;
  taken.Candump.Interface = options.TakeText("interface");
  taken.Candump.Origin = TakeOrigin(options);
  taken.Candump.Fallback = TakeDirection(options);
  taken.Candump.Bad = TakeBadLines(options);
  taken.Traffic = TakeTrafficSettings(options);
  options.Finish();
  return taken;
}

std::shared_ptr<Port> MakeCandump(const SourceText& source, const PortContext& context) {
  CandumpOptions options = TakeCandump(source);
  options.Traffic.Bus = {0, 0, options.Candump.Interface.value_or(""), kReplay};
  return std::make_shared<TrafficPort>(QOR_INTERFACE_CAN, context.Instance,
                                       MakeCandumpSource(source.Path, options.Candump), options.Traffic,
                                       context.SharedClock);
}

std::vector<std::string> ExpandCandump(const SourceText& source) {
  const CandumpSettings settings = TakeCandump(source).Candump;
  if (settings.Interface) return {ToText(source)};
  const auto interfaces = CandumpInterfaces(source.Path, settings.Bad);
  if (interfaces.size() == 1) return {ToText(source)};
  std::vector<std::string> sources;
  for (const auto& name : interfaces) {
    SourceText one = source;
    one.Options.emplace_back("interface", name);
    sources.push_back(ToText(one));
  }
  return sources;
}

struct PcapOptions {
  PcapSettings Pcap;
  TrafficSettings Traffic;
};

PcapOptions TakePcap(const SourceText& source) {
  NeedPath(source);
  OptionReader options(source);
  PcapOptions taken;
  taken.Pcap.Origin = TakeOrigin(options);
  taken.Pcap.Way = TakeDirection(options);
  taken.Traffic = TakeTrafficSettings(options);
  options.Finish();
  return taken;
}

std::shared_ptr<Port> MakePcap(const SourceText& source, const PortContext& context) {
  PcapOptions options = TakePcap(source);
  options.Traffic.Bus = {0, 0, "", kReplay};
  return std::make_shared<TrafficPort>(QOR_INTERFACE_ETHERNET, context.Instance,
                                       MakePcapSource(source.Path, options.Pcap), options.Traffic, context.SharedClock);
}

std::vector<std::string> ExpandPcap(const SourceText& source) {
  TakePcap(source);
  CheckRecording(source.Path);
  return {ToText(source)};
}

struct CsvOptions {
  CsvSettings Csv;
  TrafficSettings Traffic;
};

CsvChoice TakeCsvChoice(OptionReader& options) {
  constexpr size_t kNoBus = 2;
  constexpr uint64_t kNoChannel = kCsvGreatestChannel + 1;
  CsvChoice choice;
  const size_t bus = options.TakeChoice("bus", {"lin", "flexray"}, kNoBus);
  if (bus != kNoBus) choice.Bus = bus == 0 ? CsvBus::Lin : CsvBus::FlexRay;
  const uint64_t channel = options.TakeUnsigned("channel", 0, kCsvGreatestChannel, kNoChannel);
  if (channel == kNoChannel) return choice;
  if (choice.Bus == CsvBus::FlexRay)
    throw SourceError("The option channel chooses among LIN channels, not on FlexRay.");
  choice.LinChannel = channel;
  return choice;
}

CsvOptions TakeCsv(const SourceText& source) {
  NeedPath(source);
  OptionReader options(source);
  CsvOptions taken;
  taken.Csv.Choice = TakeCsvChoice(options);
  taken.Csv.Origin = TakeOrigin(options);
  taken.Csv.Bad = TakeBadLines(options);
  auto& defaults = taken.Csv.Defaults;
  defaults.Fallback = TakeDirection(options);
  defaults.BitRate = static_cast<uint32_t>(options.TakeUnsigned("bitrate", 1'000, 20'000, defaults.BitRate));
  taken.Traffic = TakeTrafficSettings(options);
  options.Finish();
  return taken;
}

std::shared_ptr<Port> MakeCsv(const SourceText& source, const PortContext& context) {
  CsvOptions options = TakeCsv(source);
  CsvSource csv = MakeCsvSource(source.Path, options.Csv);
  const bool lin = csv.Bus == CsvBus::Lin;
  const unsigned char type = lin ? QOR_INTERFACE_LIN : QOR_INTERFACE_FLEXRAY;
  const auto channel = lin ? options.Csv.Choice.LinChannel : std::nullopt;
  options.Traffic.Bus = {lin ? options.Csv.Defaults.BitRate : kFlexRayBitRate, 0,
                         channel ? std::to_string(*channel) : "", kReplay};
  return std::make_shared<TrafficPort>(type, context.Instance, std::move(csv.Items), options.Traffic,
                                       context.SharedClock);
}

std::vector<std::string> ExpandCsv(const SourceText& source) {
  const CsvSettings settings = TakeCsv(source).Csv;
  const CsvChoice& choice = settings.Choice;
  const CsvContents contents = ListCsv(source.Path, choice, settings.Bad);
  if (contents.Parts.size() == 1) return {ToText(source)};
  std::vector<std::string> sources;
  for (const CsvPart& part : contents.Parts) {
    SourceText one = source;
    const bool lin = part.Bus == CsvBus::Lin;
    if (contents.HoldsBoth && !choice.Bus) one.Options.emplace_back("bus", lin ? "lin" : "flexray");
    if (lin) one.Options.emplace_back("channel", std::to_string(part.Channel));
    sources.push_back(ToText(one));
  }
  return sources;
}

struct ScriptOptions {
  unsigned char Type;
  unsigned char Instance;
};

ScriptOptions TakeScript(const SourceText& source) {
  RefusePath(source);
  OptionReader options(source);
  const ScriptOptions taken{static_cast<unsigned char>(options.TakeUnsigned("type", 1, 255, QOR_INTERFACE_CAN)),
                            static_cast<unsigned char>(options.TakeUnsigned("instance", 0, 255, 1))};
  options.Finish();
  return taken;
}

std::shared_ptr<Port> MakeScript(const SourceText& source, const PortContext&) {
  const ScriptOptions options = TakeScript(source);
  return std::make_shared<ScriptedPort>(options.Type, options.Instance);
}

std::vector<std::string> ExpandScript(const SourceText& source) {
  TakeScript(source);
  return {ToText(source)};
}

std::shared_ptr<Port> MakeSocketCan(const SourceText& source, const PortContext& context) {
  return qor_linux::MakeSocketCan(source, context.Instance);
}

std::shared_ptr<Port> MakePacket(const SourceText& source, const PortContext& context) {
  return qor_linux::MakePacket(source, context.Instance);
}

struct Kind {
  std::string_view Name;
  std::shared_ptr<Port> (*Make)(const SourceText&, const PortContext&);
  std::vector<std::string> (*Expand)(const SourceText&);
  bool ForTests = false;  // not offered to those who type
};
constexpr Kind kKinds[] = {
    {"can", MakeSynthetic<kCan>, ExpandSynthetic<kCan>},
    {"candump", MakeCandump, ExpandCandump},
    {"csv", MakeCsv, ExpandCsv},
    {"ethernet", MakeSynthetic<kEthernet>, ExpandSynthetic<kEthernet>},
    {"flexray", MakeSynthetic<kFlexRay>, ExpandSynthetic<kFlexRay>},
    {"lin", MakeSynthetic<kLin>, ExpandSynthetic<kLin>},
    {"packet", MakePacket, qor_linux::ExpandPacket},
    {"pcap", MakePcap, ExpandPcap},
    {"script", MakeScript, ExpandScript, true},
    {"socketcan", MakeSocketCan, qor_linux::ExpandSocketCan},
    {"vehicle", MakeVehicle, ExpandVehicle},
};

const Kind* FindKind(const std::string& name) {
  const auto* const found =
      std::find_if(std::begin(kKinds), std::end(kKinds), [&](const Kind& kind) { return kind.Name == name; });
  return found == std::end(kKinds) ? nullptr : found;
}

Error NoKind(const SourceText& source) {
  std::string known;
  for (const Kind& kind : kKinds)
    if (!kind.ForTests) known += (known.empty() ? "" : ", ") + std::string(kind.Name);
  const char* const what =
      source.Path.empty() ? "There is no kind of source and no interface \"" : "There is no kind of source \"";
  return SourceError(what + source.Kind + "\"; there are " + known + ".");
}

/// A source whose kind is one: a name may be that of an interface.
struct KnownSource {
  SourceText Source;
  const Kind& Of;
};

KnownSource Recognise(std::string_view text) {
  SourceText source = ParseSource(text);
  if (const Kind* const kind = FindKind(source.Kind)) return {std::move(source), *kind};
  auto interface = qor_linux::SourceOfInterface(source);
  if (!interface) throw NoKind(source);
  return {*interface, *FindKind(interface->Kind)};
}

}  // namespace

std::shared_ptr<Port> MakePort(std::string_view text, unsigned char instance, Clock& clock) {
  const KnownSource known = Recognise(text);
  return known.Of.Make(known.Source, {instance, clock});
}

std::vector<std::string> ExpandSource(std::string_view text) {
  const KnownSource known = Recognise(text);
  return known.Of.Expand(known.Source);
}

}  // namespace qor_sim
