// Where the traffic of a port comes from: one monitor item after another, in the layout of the port's bus.
#pragma once

#include <cstdint>
#include <vector>

#include "SkippedLines.h"

namespace qor_sim {

struct Item {
  uint64_t Due = 0;                  // ns since the source began; the clock decides by it when the item is available
  uint64_t Timestamp = 0;            // ns, as in Bytes
  std::vector<unsigned char> Bytes;  // as in a poll response, without padding
};

/// Threads: one at a time; the port's mutex guards it.
class ItemSource {
 public:
  virtual ~ItemSource() = default;
  /// The next item, or null when the source has ended; valid until Advance. Items come in order of Due.
  virtual const Item* Peek() = 0;
  /// Goes on to the item after the one that Peek returns; Peek must have returned one.
  virtual void Advance() = 0;
  /// Lines of its file that were left out. The same from the beginning to the end.
  virtual SkippedLines Skipped() const { return {}; }
};

}  // namespace qor_sim
