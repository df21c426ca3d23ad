// How busy channels are right now.
#pragma once

#include <array>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "stream/Description.h"
#include "views/BusLoad.h"
#include "views/Summary.h"

namespace client {

/// A channel as a live view shows it.
struct LiveChannel {
  unsigned int Number = 1;
  std::optional<unsigned char> BusType = std::nullopt;
  std::string Source = {};
  double FramesPerSecond = 0;
  std::array<std::optional<double>, kMostLanes> Load = {};  // percent; nothing before the first window is over
  unsigned long Errors = 0;                                 // entries, since the counts were reset
  unsigned long Lost = 0;                                   // items
  bool LostUncounted = false;                               // and others that nobody has counted
};

/// Turns what a summary has counted into rates: each over the latest window of the entries' time. Times in ns.
class LiveRates {
 public:
  static constexpr unsigned long kWindow = 1'000'000'000;

  /// Once a window is over.
  void Roll(const Summary& summary, unsigned long now);
  /// Errors count from here on.
  void ResetCounts(const Summary& summary);

  /// By number: every channel that is described or has entries.
  /// @param known  its channels and losses
  [[nodiscard]] std::vector<LiveChannel> Channels(const Summary& summary, const Description& known) const;
  [[nodiscard]] double EntriesPerSecond() const { return Entries; }

 private:
  struct Then {
    unsigned long Frames = 0;
    std::array<double, kMostLanes> Busy{};  // ns
  };
  struct Rate {
    double Frames = 0;  // a second
    std::array<std::optional<double>, kMostLanes> Load;
  };

  std::map<unsigned int, Then> Before;
  std::map<unsigned int, Rate> Rates;
  std::map<unsigned int, unsigned long> ErrorsBefore;
  double Entries = 0;  // a second
  unsigned long EntriesThen = 0;
  unsigned long RolledAt = 0;  // ns
  bool Begun = false;
};

}  // namespace client
