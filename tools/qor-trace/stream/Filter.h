// An expression that records are tested with: --filter, and everything else that asks for records of a kind.
#pragma once

#include <string_view>
#include <vector>

#include "record/RecordView.h"
#include "stream/FilterTree.h"

namespace client {

/// A compiled expression. docs/filter.md has the language.
///
///     const Filter filter("bus == can and id in 0x100..0x1ff");
///     if (filter.Matches(record)) ...
///
/// Threads: any number may match with the same filter. Matching allocates nothing.
class Filter {
 public:
  /// Failure: FilterError, which marks the first mistake.
  explicit Filter(std::string_view expression) : Filter(ParseFilter(expression)) {}
  /// @param tree  of tests of records alone
  explicit Filter(const FilterTree& tree) : Begin(Emit(tree, kMatch, kNoMatch)) {}

  /// Malformed records too: they have but few fields.
  [[nodiscard]] bool Matches(const RecordView& record) const;

 private:
  using Target = unsigned int;  // the index of a step, or one of the ends

  static constexpr Target kMatch = ~0u;
  static constexpr Target kNoMatch = ~0u - 1;

  /// One test, and where to go on.
  struct Step {
    FieldPlace Place;
    bool Inverted;
    unsigned int FirstRange;  // in Ranges
    unsigned int RangeCount;
    unsigned long Mask;
    NumberRange Hull;  // of all ranges
    Target IfHolds;
    Target IfNot;
  };

  Target Emit(const FilterTree& tree, Target ifHolds, Target ifNot);
  Target EmitTest(const FieldTest& test, Target ifHolds, Target ifNot);
  [[nodiscard]] bool Holds(const Step& step, const RecordFields& fields) const;
  [[nodiscard]] bool IsInRanges(const Step& step, unsigned long value) const;

  std::vector<Step> Steps;  // each one goes on with steps before it
  std::vector<NumberRange> Ranges;
  Target Begin;
};

}  // namespace client
