// How busy a bus was.
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "record/RecordView.h"

namespace client {

inline constexpr unsigned long kLinBitRate = 19200;
inline constexpr unsigned long kFlexRayBitRate = 10000000;

/// Bit rates that records don't contain, bit/s. LIN records contain theirs; FlexRay has only one.
struct BitRates {
  unsigned long CanNominal = 500000;
  unsigned long CanData = 2000000;  // of FD frames with bit-rate switch
  unsigned long Ethernet = 100000000;
};

/// How long a bit takes at these rates, ns.
struct BitTimes {
  explicit BitTimes(const BitRates& rates);

  double CanNominal;
  double CanData;
  double Ethernet;
};

/// "500k" -> 500000. Digits, perhaps a fraction, then nothing or one of k, M, G (powers of 1000).
/// @return bit/s, at least 1; nothing for another text or more than 64 bits
[[nodiscard]] std::optional<unsigned long> ParseBitRate(std::string_view text);

/// 500000 -> "500k", 19200 -> "19.2k"
[[nodiscard]] std::string FormatBitRate(unsigned long bitRate);

/// What can be busy by itself: each of the two channels of FlexRay, each direction of Ethernet.
inline constexpr size_t kMostLanes = 2;

[[nodiscard]] size_t LaneCount(unsigned char busType);
/// "A", "B", "Rx", "Tx", or "bus" for the only one of a bus.
[[nodiscard]] const char* LaneName(unsigned char busType, size_t lane);

/// ns for each lane.
using LaneTimes = std::array<double, kMostLanes>;

/// How long a record took on its bus, from its start to where the next one could begin.
///
/// CAN: every bit of a frame. LIN: header and response without pauses between bytes; a wake-up as five bits. FlexRay: frames with
/// a start sequence of nine bits. Ethernet: with preamble, CRC and gap.
[[nodiscard]] LaneTimes BusTimeOf(const RecordView& record, const BitTimes& times);

/// Adds up how long the frames of one channel took on their bus.
class BusLoad {
 public:
  void Add(const RecordView& record, const BitTimes& times) { Add(BusTimeOf(record, times)); }
  void Add(const LaneTimes& taken);

  /// ns of all frames so far.
  [[nodiscard]] double BusyTime(size_t lane) const { return Lanes[lane].Time; }
  /// @param span  ns, from the start of the first frame to that of the last one
  /// @return      percent; nothing without a frame or for one at a single moment. More than 100 when the bit rate is wrong.
  [[nodiscard]] std::optional<double> Percent(size_t lane, unsigned long span) const;

 private:
  struct Busy {
    double Time = 0;  // ns
    unsigned long Frames = 0;
  };
  std::array<Busy, kMostLanes> Lanes;
};

}  // namespace client
