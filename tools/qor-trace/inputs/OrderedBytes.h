// Bytes whose numbers are stored in either order.
#pragma once

#include <algorithm>
#include <cstddef>
#include <span>
#include <string_view>

namespace client {

enum class ByteOrder { Little, Big };

/// A bounded look at bytes. What lies past the end reads as 0.
class OrderedBytes {
 public:
  OrderedBytes() = default;
  OrderedBytes(std::span<const unsigned char> bytes, ByteOrder order) : Bytes(bytes), Order(order) {}

  /// An unsigned number.
  template <class Number>
  [[nodiscard]] Number At(size_t offset) const {
    unsigned long number = 0;
    for (size_t index = 0; index < sizeof(Number); ++index) {
      const size_t place = Order == ByteOrder::Little ? sizeof(Number) - 1 - index : index;
      number = number << 8 | (offset + place < Bytes.size() ? Bytes[offset + place] : 0u);
    }
    return static_cast<Number>(number);
  }

  [[nodiscard]] size_t Size() const { return Bytes.size(); }
  [[nodiscard]] std::span<const unsigned char> All() const { return Bytes; }
  /// From an offset on, at most so many of them.
  [[nodiscard]] OrderedBytes From(size_t offset, size_t most = std::dynamic_extent) const {
    const auto rest = Bytes.subspan(std::min(offset, Bytes.size()));
    return {rest.first(std::min(most, rest.size())), Order};
  }
  [[nodiscard]] std::string_view Text() const { return {reinterpret_cast<const char*>(Bytes.data()), Bytes.size()}; }

 private:
  std::span<const unsigned char> Bytes;
  ByteOrder Order = ByteOrder::Little;
};

}  // namespace client
