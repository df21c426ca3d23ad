// When something happens in a stream: what --start-on, --stop-on and --trigger wait for.
#pragma once

#include <cstddef>
#include <optional>
#include <set>
#include <string_view>
#include <tuple>
#include <vector>

#include "stream/Description.h"
#include "stream/Filter.h"
#include "stream/FilterTree.h"

namespace client {

/// A compiled condition: a filter, or what happens between the records as well. docs/filter.md has the language.
///
///     StreamCondition silence("missing(id == 0x123) for 200ms or error");
///     while (const auto moment = silence.NextMoment(record.Timestamp())) ...  // it came to hold before the record
///     if (silence.Take(record)) ...                                           // it holds with the record
///
/// What depends on a record holds with each record that it matches. What doesn't holds from the moment at which it comes to hold:
/// it happens once, and again only after it has ceased to. Either side of an outermost `or` happens by itself.
///
/// Threads: one. Memory: a few words for each missing(...), and the losses that lie ahead.
class StreamCondition {
 public:
  /// Failure: FilterError, which marks the first mistake.
  explicit StreamCondition(std::string_view expression);

  /// Time passes without a record. The first call of this or of Take is the beginning, from which on something can be missing.
  /// @param time  ns; all records before it have come
  /// @return      when the condition has happened by then; ask again for the next time. Nothing: it hasn't happened again
  [[nodiscard]] std::optional<unsigned long> NextMoment(unsigned long time);
  /// A record comes. NextMoment has returned nothing for its time.
  /// @return  the condition happens with this record
  [[nodiscard]] bool Take(const RecordView& record);
  /// Those that are known by now, all of them each time. One happens when the time of the stream reaches it, and only
  /// when it begins; one that has begun before the beginning doesn't. Entries that came too late are none.
  void NoteLosses(const std::vector<Loss>& losses);

 private:
  enum class Truth : unsigned char { No, Open, Yes };  // Open: it depends on the record

  struct Node {
    FilterTree::Kind Is = FilterTree::Kind::Test;
    std::optional<Filter> Tests =
        std::nullopt;  // of Test: the whole part of the expression that only looks at the record
    std::vector<Node> Parts = {};
    size_t Absence = 0;  // of Missing
  };
  struct Alternative {
    Node What;
    bool Held = false;  // without a record
  };
  struct Absence {
    Filter Wanted;
    unsigned long Longest;    // ns
    unsigned long Since = 0;  // ns, of the latest record that it wants
    bool TooLong = false;

    /// The last time at which one may come.
    [[nodiscard]] unsigned long Deadline() const;
  };
  using LossKey = std::tuple<unsigned int, LossCause, unsigned long>;  // channel, cause, first time

  void AddAlternatives(const FilterTree& tree);
  [[nodiscard]] Node Compiled(const FilterTree& tree);
  void Begin(unsigned long time);
  void NoteMark(const RecordView& record);
  [[nodiscard]] Absence* NextAbsence(unsigned long before);
  [[nodiscard]] Truth Holds(const Node& node, const RecordView* record, bool atLoss) const;
  [[nodiscard]] Truth HoldTogether(const Node& node, const RecordView* record, bool atLoss) const;
  [[nodiscard]] bool ComesToHold(bool atLoss = false);
  [[nodiscard]] bool HappensWith(Alternative& alternative, const RecordView& record) const;

  std::vector<Alternative> Alternatives;
  std::vector<Absence> Absences;
  std::set<LossKey> Noted;                // losses, of the latest call
  std::set<unsigned int> Marked;          // channels whose latest record has an overrun mark
  std::multiset<unsigned long> Upcoming;  // ns, begins of losses that the stream hasn't reached
  unsigned long Beginning = 0;            // ns
  unsigned long Now = 0;                  // ns
  bool Begun = false;
};

}  // namespace client
