// The first entries of a recording, until each channel has some.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <functional>
#include <set>
#include <utility>
#include <vector>

#include "record/RecordView.h"

namespace client {

/// Holds the first entries back until the earliest of them is known, which is when the recording began. Channels get going one
/// after the other: on a machine with much to do, the first batch of one can come after several of another, with earlier entries.
///
/// A channel may be silent, so it is waited for only so long.
///
/// Threads: one. Memory: that of the entries.
class FirstEntries {
 public:
  using Clock = std::function<std::chrono::steady_clock::time_point()>;

  static constexpr std::chrono::milliseconds kLongestWait{500};  // from the first entry on

  /// @param channels  how many there are
  explicit FirstEntries(size_t channels, Clock now = std::chrono::steady_clock::now)
      : Channels(channels), Now(std::move(now)) {}

  void Take(const RecordView& record) {
    if (empty()) Since = Now();
    Records.insert(Records.end(), record.Bytes().begin(), record.Bytes().end());
    Seen.insert(record.ChannelId());
    First = std::min(First, record.Timestamp());
    Last = std::max(Last, record.Timestamp());
  }

  [[nodiscard]] bool empty() const { return Records.empty(); }
  /// ns, of those held; not when empty.
  [[nodiscard]] unsigned long Earliest() const { return First; }
  [[nodiscard]] unsigned long Latest() const { return Last; }

  /// There are some, and none is waited for any more.
  [[nodiscard]] bool AreComplete() const {
    return !empty() && (NoneWaitedFor || Seen.size() >= Channels || Now() - Since >= kLongestWait);
  }
  /// The recording ends: what is there is all.
  void WaitNoMore() { NoneWaitedFor = true; }

  /// Hands all of them over, in the order in which they came, and holds none any more.
  ///
  /// @param take  bool(const RecordView&); false ends it, the rest is dropped
  template <class TakeRecord>
  void HandOver(TakeRecord&& take) {
    const std::vector<unsigned char> records = std::exchange(Records, {});
    for (size_t place = 0; place < records.size();) {
      const unsigned int length = RecordView::LengthAt(records.data() + place);
      if (!take(RecordView(records.data() + place, length))) return;
      place += length;
    }
  }

 private:
  const size_t Channels;
  const Clock Now;
  std::vector<unsigned char> Records;  // back to back
  std::set<unsigned int> Seen;         // channels
  unsigned long First = ~0ul;
  unsigned long Last = 0;
  std::chrono::steady_clock::time_point Since;
  bool NoneWaitedFor = false;
};

}  // namespace client
