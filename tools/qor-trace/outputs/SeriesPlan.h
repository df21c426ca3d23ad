// How outputs are divided into files, and how many of these are kept.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "outputs/SplitTimes.h"

namespace client {

struct SeriesPlan {
  std::optional<unsigned long> Size = std::nullopt;  // bytes of a file, reached by its last entry
  std::optional<unsigned long> Time = std::nullopt;  // ns of a file
  SplitGrid Grid = SplitGrid::FirstEntry;
  std::optional<unsigned long> KeepFiles = std::nullopt;  // complete ones
  std::optional<unsigned long> KeepSize = std::nullopt;   // bytes of the series, with the file that is written

  [[nodiscard]] bool Splits() const { return Size || Time; }
  [[nodiscard]] bool Keeps() const { return KeepFiles || KeepSize; }
};

/// Failure: UsageError for numbers that make no sense, alone or together.
void CheckSeriesPlan(const SeriesPlan& plan);

/// A complete file of a series.
struct SeriesFile {
  std::string Path;
  unsigned long Index = 0;  // in the series, from 1
  unsigned long Size = 0;   // bytes
  unsigned long Entries = 0;
  unsigned long FirstTime = 0;  // ns, clock of the entries
  unsigned long LastTime = 0;
  std::optional<unsigned long> FirstUtc = std::nullopt;  // ns since 1970, where that is known
  std::optional<unsigned long> LastUtc = std::nullopt;
};

/// What becomes of a file of a series.
struct SeriesEvent {
  enum class Kind {
    Complete,   // it has its name
    Deleted,    // for newer ones
    Gone,       // somebody else had removed or replaced it when it was to be deleted
    Undeleted,  // it couldn't be deleted: see Why
  };

  Kind What;
  const SeriesFile& File;
  std::string Why = {};
};
using SeriesNews = std::function<void(const SeriesEvent& event)>;

}  // namespace client
