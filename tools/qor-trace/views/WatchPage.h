// A live view as a screenful of characters.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "system/Grid.h"
#include "views/LiveRates.h"
#include "views/LiveTable.h"
#include "views/WatchControl.h"

namespace client {

struct RecordingFacts {
  std::string Name;  // of its first output
  unsigned long Entries = 0;
  unsigned long Span = 0;  // ns of trace time
};

/// A black box beside a view.
struct BoxFacts {
  std::optional<unsigned long> Incident = std::nullopt;  // number of the one that goes on
  unsigned long Span = 0;                                // ns of trace time, of it
  std::optional<unsigned long> ClosesIn =
      std::nullopt;  // ns: nothing comes to it any more, unless something else happens
};

/// What a view tells beside its tables.
struct WatchFacts {
  std::string Title;          // what is watched
  unsigned long Elapsed = 0;  // ns of trace time
  unsigned long Entries = 0;
  double EntriesPerSecond = 0;
  std::optional<std::string> Speed = std::nullopt;  // of a file: "2x", "max"
  bool Paused = false;
  bool Ended = false;  // nothing more comes
  std::optional<RecordingFacts> Recording = std::nullopt;
  std::optional<BoxFacts> Box = std::nullopt;
  std::string Notice = {};  // what was said last
  bool NoticeIsError = false;
};

/// Everything that is shown.
struct WatchScene {
  const LiveTable& Table;
  const std::vector<LiveChannel>& Channels;
  unsigned long Now;  // ns, clock of the entries
  WatchFacts Facts;
  std::string Filter = {};  // as typed; empty without one
};

/// A picture, and what WatchControl::Shown has to know of it.
struct WatchPage {
  Grid Picture;
  std::vector<size_t> Order;
  size_t Lines = 0;  // of rows
  size_t Top = 0;
};

/// Below these sizes there is only a sentence that says so.
inline constexpr ScreenSize kSmallestScreen = {6, 24};

/// From top to bottom: a line about the whole, the channels (at most a third of the screen), the rows with their heading, and
/// a line for what was said or is being typed. In front of a selected row is ">", in front of a frozen one "*". Columns that
/// have no room are left out, the direction first; then what isn't a frame has its kind in front of its data.
[[nodiscard]] WatchPage ComposePage(const WatchScene& scene, const WatchView& view, ScreenSize size);

}  // namespace client
