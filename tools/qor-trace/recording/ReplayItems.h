// Records turned back into what an interface hands out: monitor items, and poll responses full of them.
#ifndef QOR_TRACE_REPLAYITEMS_H
#define QOR_TRACE_REPLAYITEMS_H

#include <cstddef>
#include <vector>

#include "stream/Entry.h"

namespace client {

/// Makes the item that a record was made of, with its time moved.
///
/// @param length  bytes at `record`, at least 28
/// @param shift   ns that are added to its time
/// @param item    out: its bytes; reuses what is there
/// @return        false for a record that no item yields: an unknown bus, lengths that contradict each other, a time beyond
///                64 bits
bool MakeItem(const unsigned char* record, unsigned int length, unsigned long shift, std::vector<unsigned char>& item);

/// Whether a record is the one that the item of another yields.
bool IsReplayOf(const unsigned char* original, const unsigned char* replayed, unsigned int length, unsigned long shift);

/// Type of the interface that has a bus, as a scripted source takes it; 0 for an unknown bus.
unsigned int InterfaceTypeOf(unsigned char busType);

/// A poll response of a bus's interface.
class PollResponse {
 public:
  explicit PollResponse(unsigned char busType);

  /// False, with nothing added, for an item that doesn't fit any more.
  bool Add(const std::vector<unsigned char>& item);

  /// Whether an item fits into a response of its own.
  static bool FitsAlone(const std::vector<unsigned char>& item) { return item.size() <= Capacity - LongestHead - 3; }

  const std::vector<unsigned char>& Bytes() const { return Response; }

 private:
  static constexpr std::size_t Capacity = 65535;  // bytes of any poll
  static constexpr std::size_t LongestHead = 8;

  bool CountsItems;
  bool Aligned;  // items begin at multiples of four behind the head
  std::vector<unsigned char> Response;
};

}  // namespace client

#endif  // QOR_TRACE_REPLAYITEMS_H
