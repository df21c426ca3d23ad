// What an output has yet to say of losses, and where.
#pragma once

#include <cstddef>
#include <map>
#include <set>
#include <vector>

#include "record/RecordView.h"
#include "stream/Description.h"

namespace client {

/// Hands out each loss once: in front of the first record of its channel after it.
///
/// A description comes again and again, and by then losses may have grown, or become one: what was handed out of them stays so,
/// and what was added is handed out as a loss of its own that begins where the part before ended.
///
/// Threads: one. Memory: the losses of the description, and kMostMarks marks for each channel.
class UntoldLosses {
 public:
  static constexpr size_t kMostMarks = 1000;

  void Describe(const std::vector<Loss>& losses);

  /// Those of a record's channel that lie before it; nearly always none.
  /// @param most  the others come with the next record
  [[nodiscard]] std::vector<Loss> Before(const RecordView& record, size_t most = ~size_t{0}) {
    return record.Timestamp() < NextDue ? std::vector<Loss>() : TakeDue(record.ChannelId(), record.Timestamp(), most);
  }
  /// Those that no record has come after.
  [[nodiscard]] std::vector<Loss> Rest();

  /// Says that the output shows a record's overrun mark itself: no loss with this mark is handed out any more.
  void Shown(const RecordView& mark);

 private:
  struct Entry {
    Loss What;
    bool Named = false;       // was handed out, at least in part
    unsigned long Count = 0;  // items of the part that was
    unsigned long Until = 0;  // ns, end of that part

    [[nodiscard]] bool IsDue() const { return !Named || What.Count.value_or(0) > Count; }
    [[nodiscard]] Loss Take();
  };
  using Entries = std::vector<Entry>;  // of a channel

  [[nodiscard]] bool IsShown(const Loss& loss) const;
  [[nodiscard]] std::vector<Loss> TakeDue(unsigned int channel, unsigned long time, size_t most);
  void FindNextDue();

  std::map<unsigned int, Entries> Known;                  // by channel
  std::map<unsigned int, std::set<unsigned long>> Marks;  // ns, the newest of those that are shown; by channel
  unsigned long NextDue = ~0ul;                           // ns; there is nothing for records before it
};

}  // namespace client
