// What the fuzz targets share: the input as numbers and bytes, and claims that must hold.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "support/EntryBuilder.h"  // Bytes

namespace fuzz {

/// Ends the process, for the fuzzer to see, unless the claim holds.
inline void Require(bool holds, const char* claim) {
  if (holds) return;
  std::fprintf(stderr, "doesn't hold: %s\n", claim);
  std::abort();
}

/// An input, taken from its beginning; past its end all numbers are 0.
class Input {
 public:
  Input(const std::uint8_t* data, std::size_t size) : Next(data), End(data + size) {}

  [[nodiscard]] std::size_t Left() const { return static_cast<std::size_t>(End - Next); }

  /// Low byte first.
  template <class Number>
  Number Take() {
    Number number{};
    const std::size_t held = std::min(sizeof number, Left());
    if (held > 0) std::memcpy(&number, Next, held);
    Next += held;
    return number;
  }
  /// 0 to `end` - 1, from one byte or two.
  unsigned int Below(unsigned int end) { return (end <= 256 ? Take<std::uint8_t>() : Take<std::uint16_t>()) % end; }
  bool OneIn(unsigned int times) { return Below(times) == 1 % times; }

  /// The next bytes, fewer at the end.
  test::Bytes TakeBytes(std::size_t count) {
    const std::uint8_t* const first = Next;
    Next += std::min(count, Left());
    return {first, Next};
  }
  std::string TakeText(std::size_t count) {
    const test::Bytes bytes = TakeBytes(count);
    return {bytes.begin(), bytes.end()};
  }

 private:
  const std::uint8_t* Next;
  const std::uint8_t* End;
};

}  // namespace fuzz
