// What is wrong with an expression, and where.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "system/Failure.h"

namespace client {

/// An expression that isn't understood. what() is a sentence without the expression.
class FilterError : public UsageError {
 public:
  /// @param begin   of the place in the expression, at most its size
  /// @param length  of the place; what goes beyond the end of the expression doesn't count
  FilterError(const std::string& sentence, std::string_view expression, size_t begin, size_t length);

  [[nodiscard]] size_t Begin() const { return PlaceBegin; }
  [[nodiscard]] size_t Length() const { return PlaceLength; }

  /// Two lines: the expression, or of a long one the part around the place, and marks under the place.
  ///
  ///     bus == can and idd == 0x123
  ///                    ^^^
  ///
  /// @param columns  that the lines may have, at least 20
  [[nodiscard]] std::string Lines(size_t columns) const;

 private:
  std::string Expression;
  size_t PlaceBegin;
  size_t PlaceLength;
};

}  // namespace client
