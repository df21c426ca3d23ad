// Numbers to text, for the lines of an ASC log.
//
// Every function writes at `out` and returns the new end. Some store whole words: kSlack bytes past the end must be
// writable, and what they held is lost.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace client::asc {

constexpr size_t kSlack = 8;  // bytes

/// A byte in each base with a blank in front of it: " ff" and a spare byte, " 255". One store of four bytes each.
using ByteTexts = std::array<std::array<char, 4>, 256>;
inline constexpr ByteTexts kHexBytes = [] {
  constexpr char kDigits[] = "0123456789abcdef";
  ByteTexts texts{};
  for (size_t byte = 0; byte < texts.size(); ++byte) texts[byte] = {' ', kDigits[byte / 16], kDigits[byte % 16]};
  return texts;
}();
inline constexpr ByteTexts kDecimalBytes = [] {
  const auto digit = [](size_t value) { return static_cast<char>('0' + value % 10); };
  ByteTexts texts{};
  for (size_t byte = 0; byte < texts.size(); ++byte)
    texts[byte] = {' ', digit(byte / 100), digit(byte / 10), digit(byte)};
  return texts;
}();

/// "000" to "999" and a spare byte each.
inline constexpr std::array<std::array<char, 4>, 1000> kThreeDigits = [] {
  const auto digit = [](size_t value) { return static_cast<char>('0' + value % 10); };
  std::array<std::array<char, 4>, 1000> texts{};
  for (size_t value = 0; value < texts.size(); ++value)
    texts[value] = {digit(value / 100), digit(value / 10), digit(value)};
  return texts;
}();

/// A literal, whose length the compiler knows.
template <size_t kSize>
inline char* Text(char* out, const char (&text)[kSize]) {
  std::memcpy(out, text, kSize - 1);
  return out + kSize - 1;
}

inline char* Text(char* out, std::string_view text) { return std::copy(text.begin(), text.end(), out); }

inline char* Character(char* out, char character) {
  *out = character;
  return out + 1;
}

/// Below 1000, in three digits.
inline char* ThreeDigits(char* out, size_t value) {
  std::memcpy(out, kThreeDigits[value].data(), 4);
  return out + 3;
}

/// Without leading zeros.
inline char* Decimal(char* out, uint64_t value) {
  if (value >= 1000) return ThreeDigits(Decimal(out, value / 1000), value % 1000);
  const size_t leadingZeros = (value < 100) + (value < 10);
  std::memcpy(out, kThreeDigits[value].data() + leadingZeros, 3 - leadingZeros);
  return out + 3 - leadingZeros;
}

/// Without leading zeros, in small letters.
inline char* Hex(char* out, uint32_t value) {
  char digits[8];
  for (size_t byte = 0; byte < 4; ++byte)
    std::memcpy(digits + 2 * byte, kHexBytes[value >> (24 - 8 * byte) & 0xFF].data() + 1, 2);
  const auto leadingZeros = static_cast<size_t>(std::countl_zero(value | 1) / 4);
  std::memcpy(out, digits + leadingZeros, 8 - leadingZeros);
  return out + 8 - leadingZeros;
}

/// A time as seconds: 1500 with 6 decimals -> "0.001500".
/// @param ticks  units of the last decimal
/// @param kDecimals  6 or 9
template <int kDecimals>
inline char* Seconds(char* out, uint64_t ticks) {
  static_assert(kDecimals == 6 || kDecimals == 9);
  constexpr uint64_t kTicksPerSecond = kDecimals == 6 ? 1'000'000 : 1'000'000'000;
  const uint64_t whole = ticks / kTicksPerSecond;
  const auto fraction = static_cast<uint32_t>(ticks - whole * kTicksPerSecond);
  out = Character(Decimal(out, whole), '.');
  if constexpr (kDecimals == 9) out = ThreeDigits(out, fraction / 1'000'000);
  return ThreeDigits(ThreeDigits(out, fraction / 1000 % 1000), fraction % 1000);
}

inline char* Seconds(char* out, uint64_t ticks, int decimals) {
  return decimals == 9 ? Seconds<9>(out, ticks) : Seconds<6>(out, ticks);
}

}  // namespace client::asc
