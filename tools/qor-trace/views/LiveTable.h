// The messages of a stream while it runs: what a list shows, and what only time shows.
#pragma once

#include <array>
#include <cstddef>
#include <deque>
#include <map>
#include <optional>
#include <vector>

#include "stream/Filter.h"
#include "stream/RecordSink.h"
#include "views/CycleWindow.h"
#include "views/MessageTable.h"

namespace client {

/// What is known of a message beside its row.
struct LiveFigures {
  static constexpr size_t kMarked = 64;  // bytes of the data that are compared with those before

  unsigned long CountThen = 0;  // entries at the latest Roll
  double Rate = 0;              // entries a second
  CycleWindow Cycles;
  std::array<unsigned long, kMarked> ChangedAt{};  // ns; 0: never
  bool Shown = true;                               // the filter has matched one of its entries
};

enum class RowOrder : unsigned char { Message, Count, Rate, Cycle, Jitter, Newest };
inline constexpr size_t kRowOrderCount = 6;

/// A row as it is shown. References hold until the table changes.
struct LiveRow {
  const MessageKey& Key;
  const MessageRow& Row;
  const LiveFigures& Figures;
  unsigned long Now;  // ns, the moment that it shows
  bool Frozen;

  /// Whether a byte of its data differs from that of the entry before, or has done so in the last second.
  [[nodiscard]] bool IsMarked(size_t byte) const;
  /// It used to come in cycles and hasn't for three of them, nor for a second.
  [[nodiscard]] bool IsOverdue() const;
};

/// Counts every entry, whatever is shown. Times are those of the entries, ns. May be copied, to be looked at while the
/// original goes on.
///
/// Memory: bounded by kMostRows messages; entries of further ones are only counted.
class LiveTable : public RecordSink {
 public:
  static constexpr size_t kMostRows = 20'000;
  static constexpr unsigned long kWindow = 1'000'000'000;  // ns over which rates are taken

  explicit LiveTable(size_t mostRows = kMostRows) : Messages(mostRows) {}

  [[nodiscard]] bool Take(const RecordView& record) override;

  /// Works out the rates once a window of them is over.
  void Roll(unsigned long now);

  /// Only messages are shown of which an entry matches: the newest one when this is called, or any after it. What they show
  /// is still that of all their entries.
  void SetFilter(std::optional<Filter> wanted);
  /// Counts, rates and cycles begin anew; losses are none of its business.
  void ResetCounts();

  /// A frozen message shows what it did at that moment; it is counted all the same.
  /// @param number  of its row
  void ToggleFrozen(size_t number, unsigned long now);
  [[nodiscard]] bool IsFrozen(size_t number) const { return Frozen.contains(number); }

  /// What is shown, in an order: the greatest first, of messages the smallest.
  [[nodiscard]] std::vector<LiveRow> Rows(RowOrder order, bool reversed, unsigned long now) const;
  [[nodiscard]] size_t MessageCount() const { return Messages.All().size(); }
  /// Entries of messages that found no row.
  [[nodiscard]] unsigned long Unlisted() const { return UnlistedCount; }

 private:
  struct Still {
    MessageRow Row;
    LiveFigures Figures;
    unsigned long Now;
  };

  static void MarkChanges(const RecordView& record, const MessageRow& row, LiveFigures& figures);
  [[nodiscard]] static double RateOf(const MessageRow& row, const LiveFigures& figures, unsigned long now,
                                     unsigned long elapsed);

  MessageTable Messages;
  std::deque<LiveFigures> Figures;  // by number of the row
  std::map<size_t, Still> Frozen;
  std::optional<Filter> Wanted;
  unsigned long RolledAt = 0;  // ns
  bool Rolled = false;
  unsigned long UnlistedCount = 0;
};

}  // namespace client
