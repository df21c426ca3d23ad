// Which losses of a recording stand in which file of its series.
#pragma once

#include <optional>
#include <vector>

#include "stream/Description.h"

namespace client {

/// Gives each file the losses of its time. One that lies across a seam stands in both files; of one that has grown since the
/// file before was closed, the next one has what was added. So each item that was lost is counted in one file, or in two
/// whose losses are the same.
///
/// Threads: one. Memory: the losses of the recording.
class SeriesLosses {
 public:
  /// @param first  ns, time of the file's first entry
  void BeginFile(unsigned long first) { First = first; }
  /// Those of the open file.
  /// @param known  all of the recording, so far
  /// @param seam   ns, time of the next file's first entry, once that is known
  [[nodiscard]] std::vector<Loss> Of(const std::vector<Loss>& known,
                                     std::optional<unsigned long> seam = std::nullopt) const;
  /// The file was closed with those.
  void EndFile(const std::vector<Loss>& known, unsigned long seam);

 private:
  [[nodiscard]] std::optional<Loss> Untold(const Loss& loss) const;

  unsigned long First = 0;
  std::vector<Loss> Told;  // in the files before, as they were then
};

}  // namespace client
