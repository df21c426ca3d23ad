#include "CanItem.h"

#include <algorithm>
#include <iterator>

namespace qor_sim {

std::optional<unsigned char> CanFdDlc(size_t length) {
  //                                   0  1  2  3  4  5  6  7  8   9  10  11  12  13  14  15
  static constexpr size_t kLengths[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 12, 16, 20, 24, 32, 48, 64};
  const auto* found = std::find(std::begin(kLengths), std::end(kLengths), length);
  if (found == std::end(kLengths)) return std::nullopt;
  return static_cast<unsigned char>(found - std::begin(kLengths));
}

void EncodeCanItem(const CanItem& item, std::vector<unsigned char>& bytes) {
  const auto* first = reinterpret_cast<const unsigned char*>(&item);
  bytes.assign(first, first + kCanItemHead + item.DataLength);
}

}  // namespace qor_sim
