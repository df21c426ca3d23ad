// How busy a bus was, over time.
#pragma once

#include <optional>

#include "views/TimeBins.h"

namespace client {

/// Adds up how long frames took by when that was. A frame that reaches beyond its bin counts in each for its part of it, so no bin
/// is busier than it is long, unless the bit rate is wrong.
///
/// Threads: one. Memory: that of TimeBins.
class LoadCurve {
 public:
  /// Peaks are the load of a tenth of a second; tenths begin at multiples of their length.
  static constexpr unsigned long kWindow = 100 * kMillisecond;

  struct Bin {
    double Busy = 0;  // ns
    double Peak = 0;  // ns, of the busiest window in it; only where bins are wider than that

    Bin& operator+=(const Bin& other) {
      Busy += other.Busy;
      Peak = std::max(Peak, other.Peak);
      return *this;
    }
  };
  struct PeakWindow {
    unsigned long Begin = 0;  // ns
    double Busy = 0;          // ns
  };

  /// @param start  ns
  /// @param busy   ns from there on
  void Add(unsigned long start, double busy);
  /// The last window has come to its end too.
  void Finish() { CloseWindow(); }

  [[nodiscard]] const TimeBins<Bin>& Bins() const { return Curve; }
  void Widen(unsigned long width) { Curve.Widen(width); }
  /// The busiest of all windows; nothing without a frame. Of frames that came too late to be in order none counts.
  [[nodiscard]] const std::optional<PeakWindow>& Peak() const { return Busiest; }
  /// ns, when the last frame was over.
  [[nodiscard]] unsigned long End() const { return LatestEnd; }

 private:
  void AddToWindow(unsigned long start, unsigned long busy);
  void CloseWindow();

  TimeBins<Bin> Curve;
  PeakWindow Window;  // that frames come in now
  std::optional<PeakWindow> Busiest;
  unsigned long LatestEnd = 0;
};

}  // namespace client
