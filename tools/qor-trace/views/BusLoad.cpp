#include "views/BusLoad.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <utility>

#include "views/CanBits.h"

namespace client {

namespace {

constexpr unsigned int kLinHeaderBits = 14 + 10 + 10;  // break with its delimiter, sync byte, identifier byte
constexpr unsigned int kLinByteBits = 10;
constexpr unsigned int kLinWakeUpBits = 5;            // the shortest, of 250 us
constexpr unsigned int kFlexRayEdgeBits = 9 + 1 + 2;  // transmission start, frame start and frame end sequence
constexpr unsigned int kFlexRayByteBits = 10;
constexpr unsigned int kFlexRayFixedBytes = 5 + 3;       // header, frame CRC
constexpr unsigned int kEthernetEdgeBytes = 8 + 4 + 12;  // preamble, CRC, gap
constexpr unsigned int kEthernetSmallestFrame = 60;

/// ns
constexpr double BitTime(unsigned long bitRate) { return 1e9 / static_cast<double>(bitRate); }

unsigned int LinBits(const LinView& lin) {
  switch (lin.Kind()) {
    case RecordKind::LinEvent:
      return 0;
    case RecordKind::LinWakeUp:
      return kLinWakeUpBits;
    default:
      return kLinHeaderBits + kLinByteBits * std::min<unsigned int>(lin.DataLength, LinView::kMostDataBytes + 1);
  }
}

/// Of a channel code; both channels are two lanes.
bool IsOnLane(const FlexRayView& flexRay, size_t lane) { return flexRay.Channel == lane || flexRay.Channel == 2; }

LaneTimes CanTime(const CanView& can, const BitTimes& times) {
  const CanBits bits = CanBitsOf(can);
  return {bits.Nominal * times.CanNominal + bits.Data * times.CanData};
}

LaneTimes LinTime(const LinView& lin) {
  return {LinBits(lin) * (lin.BitTime == 0 ? BitTime(kLinBitRate) : lin.BitTime / 8.0)};
}

LaneTimes FlexRayTime(const FlexRayView& flexRay) {
  if (!flexRay.IsFrame()) return {};
  const unsigned int bits = kFlexRayEdgeBits + kFlexRayByteBits * (kFlexRayFixedBytes + flexRay.PayloadBytes());
  LaneTimes taken = {};
  for (size_t lane = 0; lane < kMostLanes; ++lane)
    if (IsOnLane(flexRay, lane)) taken[lane] = bits * BitTime(kFlexRayBitRate);
  return taken;
}

LaneTimes EthernetTime(const EthernetView& ethernet, const BitTimes& times) {
  if (!IsFrame(ethernet.Kind())) return {};
  const unsigned int bytes = kEthernetEdgeBytes + std::max<unsigned int>(ethernet.FrameLength, kEthernetSmallestFrame);
  LaneTimes taken = {};
  taken[ethernet.Has(QOR_TRACE_ETHERNET_TRANSMITTED) ? 1 : 0] = 8 * bytes * times.Ethernet;
  return taken;
}

}  // namespace

std::optional<unsigned long> ParseBitRate(std::string_view text) {
  double number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, std::chars_format::fixed);
  if (error != std::errc() || text.front() == '-') return std::nullopt;
  const std::string_view unit(end, static_cast<size_t>(text.data() + text.size() - end));
  for (const auto& [name, factor] : {std::pair<std::string_view, double>{"", 1}, {"k", 1e3}, {"M", 1e6}, {"G", 1e9}}) {
    if (unit != name) continue;
    const double rate = std::round(number * factor);
    if (!(rate >= 1 && rate < 1e18)) return std::nullopt;
    return static_cast<unsigned long>(rate);
  }
  return std::nullopt;
}

std::string FormatBitRate(unsigned long bitRate) {
  for (const auto& [name, factor] : {std::pair<const char*, double>{"G", 1e9}, {"M", 1e6}, {"k", 1e3}})
    if (static_cast<double>(bitRate) >= factor)
      return fmt::format("{:.6g}{}", static_cast<double>(bitRate) / factor, name);
  return fmt::format("{}", bitRate);
}

size_t LaneCount(unsigned char busType) { return busType == BusType_FlexRay || busType == BusType_Ethernet ? 2 : 1; }

const char* LaneName(unsigned char busType, size_t lane) {
  if (busType == BusType_FlexRay) return lane == 0 ? "A" : "B";
  if (busType == BusType_Ethernet) return lane == 0 ? "Rx" : "Tx";
  return "bus";
}

BitTimes::BitTimes(const BitRates& rates)
    : CanNominal(BitTime(rates.CanNominal)), CanData(BitTime(rates.CanData)), Ethernet(BitTime(rates.Ethernet)) {}

LaneTimes BusTimeOf(const RecordView& record, const BitTimes& times) {
  if (!record.IsWellFormed()) return {};
  switch (record.Bus()) {
    case BusType_Can:
      return CanTime(record.Can(), times);
    case BusType_Lin:
      return LinTime(record.Lin());
    case BusType_FlexRay:
      return FlexRayTime(record.FlexRay());
    default:
      return EthernetTime(record.Ethernet(), times);
  }
}

void BusLoad::Add(const LaneTimes& taken) {
  for (size_t lane = 0; lane < kMostLanes; ++lane) {
    if (taken[lane] <= 0) continue;
    Lanes[lane].Time += taken[lane];
    ++Lanes[lane].Frames;
  }
}

std::optional<double> BusLoad::Percent(size_t lane, unsigned long span) const {
  const Busy& busy = Lanes[lane];
  if (span == 0) return std::nullopt;
  if (busy.Frames == 0) return 0;
  // The last frame goes on past the end of the span.
  const double observed = static_cast<double>(span) + busy.Time / static_cast<double>(busy.Frames);
  return 100 * busy.Time / observed;
}

}  // namespace client
