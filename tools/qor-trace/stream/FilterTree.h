// What an expression says, as a tree.
#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

#include "stream/RecordFields.h"

namespace client {

struct NumberRange {
  unsigned long First;
  unsigned long Last;  // included
};

/// A claim about one field. It holds for a record that has the field if one of its values, masked, is in one of the ranges; an
/// inverted one, if none is. It never holds for a record without the field.
struct FieldTest {
  FieldPlace Place = {};
  unsigned long Mask = ~0ul;
  std::vector<NumberRange> Ranges = {};
  bool Inverted = false;
};

struct FilterTree {
  enum class Kind : unsigned char {
    Test,
    All,  // of the parts hold
    Any,  // of the parts holds
    Not,  // the only part doesn't hold
    // Of conditions only.
    Missing,  // no record that the only part matches has come for the duration
    Loss,     // it was found that something is missing
  };

  Kind Is = Kind::Test;
  FieldTest Test = {};
  std::vector<FilterTree> Parts = {};
  unsigned long Duration = 0;  // ns
};

constexpr size_t kMostFilterLetters = 65536;
constexpr size_t kMostFilterDepth = 100;  // parentheses and negations inside each other

/// Reads an expression; docs/filter.md has the language.
/// Failure: FilterError at the first mistake.
[[nodiscard]] FilterTree ParseFilter(std::string_view expression);

/// Reads a condition: a filter, or one that looks at what happens between the records as well.
/// Failure: likewise.
[[nodiscard]] FilterTree ParseCondition(std::string_view expression);

}  // namespace client
