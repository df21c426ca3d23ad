// A port with traffic on its bus: the items of a source, as the clock makes them available.
#pragma once

#include <memory>
#include <optional>

#include "CaptureBuffer.h"
#include "Clock.h"
#include "Port.h"

namespace qor_sim {

/// How fast a source plays, as an exact fraction of the clock's speed.
struct Speed {
  uint64_t Numerator = 1;
  uint64_t Denominator = 1;

  /// ns of the source for ns of the clock, rounded down; the greatest u64 when there are more.
  uint64_t SourceTime(uint64_t clockTime) const;
};

enum class StampClock {
  Own,  // timestamps are those of the source
  Utc   // ns since 1970: when the item was due
};

struct TrafficSettings {
  std::optional<Speed> Pace = Speed{};  // none: as fast as polls drain the source
  size_t BufferItems = 100000;
  std::optional<uint64_t> GoneAt = std::nullopt;  // ns of the source; none: never
  BusFacts Bus = {};
  StampClock Stamps = StampClock::Own;
};

class TrafficPort final : public Port {
 public:
  TrafficPort(unsigned char interfaceType, unsigned char instance, std::unique_ptr<ItemSource> source,
              const TrafficSettings& settings, Clock& clock);

  BusFacts Bus() const override { return Facts; }
  SkippedLines Skipped() const override { return LeftOut; }

 private:
  void OnStart() override SIM_REQUIRES(Guard);
  void OnStop() override SIM_REQUIRES(Guard);
  void OnClose() override SIM_REQUIRES(Guard);
  bool IsGone() override SIM_REQUIRES(Guard);
  void Poll(const ResponseLayout& layout, ResponseBuffer& response) override SIM_REQUIRES(Guard);
  Qor_Sim_Status_t TrafficStatus() override SIM_REQUIRES(Guard);

  void Offer(const Item& item, uint64_t utcOffset) SIM_REQUIRES(Guard);
  /// Moves what is due by now from the source to the capture buffer.
  void Capture() SIM_REQUIRES(Guard);
  /// The interface is still there when the item is due.
  bool ComesThrough(const Item& item) const { return !GoneAt || item.Due < *GoneAt; }
  /// The next item for a poll, or null, and its removal.
  const Item* Next() SIM_REQUIRES(Guard);
  void Remove() SIM_REQUIRES(Guard);

  const BusFacts Facts;
  const SkippedLines LeftOut;  // of the source
  const std::unique_ptr<ItemSource> Source;
  const std::optional<Speed> Pace;
  const std::optional<uint64_t> GoneAt;
  const StampClock Stamps;
  const size_t TimeOffset;  // of the timestamp in an item
  CaptureBuffer Buffer SIM_GUARDED_BY(Guard);
  ClockUser Time SIM_GUARDED_BY(Guard);
  bool Started SIM_GUARDED_BY(Guard) = false;
  uint64_t Offered SIM_GUARDED_BY(Guard) = 0;    // items
  uint64_t Delivered SIM_GUARDED_BY(Guard) = 0;  // items
};

}  // namespace qor_sim
