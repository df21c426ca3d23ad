#include "stream/Filter.h"

#include <algorithm>

namespace client {

namespace {

/// In order, and none that overlap or touch.
std::vector<NumberRange> Merged(std::vector<NumberRange> ranges) {
  std::sort(ranges.begin(), ranges.end(),
            [](const NumberRange& one, const NumberRange& other) { return one.First < other.First; });
  std::vector<NumberRange> merged;
  for (const NumberRange& range : ranges) {
    const bool apart = merged.empty() || (range.First > merged.back().Last && range.First - merged.back().Last > 1);
    if (apart)
      merged.push_back(range);
    else
      merged.back().Last = std::max(merged.back().Last, range.Last);
  }
  return merged;
}

bool IsIn(const NumberRange& range, unsigned long value) { return value >= range.First && value <= range.Last; }

/// Emits the last part first, so that each one knows where the next one is. @return the first part
template <class Emit>
unsigned int EmitParts(const std::vector<FilterTree>& parts, unsigned int afterLast, Emit emit) {
  unsigned int next = afterLast;
  for (size_t left = parts.size(); left > 0; --left) next = emit(parts[left - 1], next);
  return next;
}

}  // namespace

Filter::Target Filter::Emit(const FilterTree& tree, Target ifHolds, Target ifNot) {
  switch (tree.Is) {
    case FilterTree::Kind::Test:
      return EmitTest(tree.Test, ifHolds, ifNot);
    case FilterTree::Kind::Not:
      return Emit(tree.Parts.front(), ifNot, ifHolds);
    case FilterTree::Kind::All:
      return EmitParts(tree.Parts, ifHolds,
                       [&](const FilterTree& part, Target next) { return Emit(part, next, ifNot); });
    case FilterTree::Kind::Any:
      return EmitParts(tree.Parts, ifNot,
                       [&](const FilterTree& part, Target next) { return Emit(part, ifHolds, next); });
    case FilterTree::Kind::Missing:  // of conditions, which are no filters
    case FilterTree::Kind::Loss:
      break;
  }
  return ifNot;
}

Filter::Target Filter::EmitTest(const FieldTest& test, Target ifHolds, Target ifNot) {
  const auto ranges = Merged(test.Ranges);
  Steps.push_back({test.Place,
                   test.Inverted,
                   static_cast<unsigned int>(Ranges.size()),
                   static_cast<unsigned int>(ranges.size()),
                   test.Mask,
                   {ranges.front().First, ranges.back().Last},
                   ifHolds,
                   ifNot});
  Ranges.insert(Ranges.end(), ranges.begin(), ranges.end());
  return static_cast<Target>(Steps.size() - 1);
}

bool Filter::Matches(const RecordView& record) const {
  const RecordFields fields(record);
  Target at = Begin;
  while (at < kNoMatch) {
    const Step& step = Steps[at];
    at = Holds(step, fields) ? step.IfHolds : step.IfNot;
  }
  return at == kMatch;
}

bool Filter::Holds(const Step& step, const RecordFields& fields) const {
  const FieldValues values = fields.Read(step.Place);
  if (values.empty()) return false;
  const bool any = std::any_of(values.begin(), values.end(),
                               [&](unsigned long value) { return IsInRanges(step, value & step.Mask); });
  return any != step.Inverted;
}

bool Filter::IsInRanges(const Step& step, unsigned long value) const {
  if (!IsIn(step.Hull, value)) return false;
  if (step.RangeCount == 1) return true;
  const auto begin = Ranges.begin() + step.FirstRange;
  const auto end = begin + step.RangeCount;
  // The first range that doesn't end before the value.
  const auto range = std::lower_bound(
      begin, end, value, [](const NumberRange& candidate, unsigned long sought) { return candidate.Last < sought; });
  return range != end && IsIn(*range, value);
}

}  // namespace client
