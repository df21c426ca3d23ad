// What brings the traffic of a port: one monitor item after the other, in the layout of the port's bus.
#pragma once

#include <cstdint>
#include <vector>

#include "SkippedLines.h"

namespace qor_sim {

struct Item {
  uint64_t Due = 0;                  // ns since the source began; the clock decides on it when the item is there
  uint64_t Timestamp = 0;            // ns, as in Bytes
  std::vector<unsigned char> Bytes;  // as in a poll response, without padding
};

/// Threads: one at a time; the port's mutex guards it.
class ItemSource {
 public:
  virtual ~ItemSource() = default;
  /// The next item, or null when the source has ended; valid until Advance. Items come in order of Due.
  virtual const Item* Peek() = 0;
  /// Goes on behind the item that Peek gives; Peek must have given one.
  virtual void Advance() = 0;
  /// Lines of its file that were left out. The same from the beginning to the end.
  virtual SkippedLines Skipped() const { return {}; }
};

}  // namespace qor_sim
