// Numbers to text, for the lines of an ASC log.
//
// Every function writes at `out` and returns the new end. Stores are made in whole words, so up to kSlack bytes past the
// end may be overwritten: the caller provides that room.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "export/AscLineState.h"

namespace asc {

/// Bytes past the end of a text that a function may overwrite.
constexpr size_t kSlack = 8;

/// Below this a number of ns, divided by 1e9 as a double, has exactly its own digits at nine decimals.
constexpr unsigned long kExactSecondsEnd = 8'388'608'000'000'000;

/// " 00" to " ff" and a spare byte each: a data byte is one four-byte store.
extern const std::array<std::array<char, 4>, 256> kHexBytes;
/// "0000" to "9999".
extern const std::array<std::array<char, 4>, 10000> kFourDigits;

/// A text of known length.
template <size_t kSize>
inline char* Text(char* out, const char (&text)[kSize]) {
  std::memcpy(out, text, kSize - 1);
  return out + kSize - 1;
}

inline char* Character(char* out, char character) {
  *out = character;
  return out + 1;
}

/// 0x1a2b -> "1a2b".
inline char* Hex(char* out, uint32_t value) {
  uint64_t digits = value;  // spread to one nibble per byte in three steps; the swap below puts the highest first
  digits = (digits | digits << 16) & 0x0000FFFF0000FFFF;
  digits = (digits | digits << 8) & 0x00FF00FF00FF00FF;
  digits = (digits | digits << 4) & 0x0F0F0F0F0F0F0F0F;
  // 1 in each byte above 9, to which the distance from '9' + 1 to 'a' is added.
  const uint64_t letters = (digits + 0x0606060606060606) >> 4 & 0x0101010101010101;
  digits = __builtin_bswap64(digits + 0x3030303030303030 + letters * ('a' - '0' - 10));
  const int count = value < 16 ? 1 : (35 - std::countl_zero(value)) / 4;
  digits >>= 8 * (8 - count);  // drops the leading zeros, which are in the lowest bytes
  std::memcpy(out, &digits, sizeof digits);
  return out + count;
}

/// Below 10000, without leading zeros.
inline char* SmallDecimal(char* out, uint32_t value) {
  const int count = 1 + (value >= 10) + (value >= 100) + (value >= 1000);
  uint32_t digits;
  std::memcpy(&digits, kFourDigits[value].data(), sizeof digits);
  digits >>= 8 * (4 - count);  // drops the leading zeros
  std::memcpy(out, &digits, sizeof digits);
  return out + count;
}

inline char* FourDigits(char* out, uint32_t value) {
  std::memcpy(out, kFourDigits[value].data(), 4);
  return out + 4;
}

/// Any value, without leading zeros.
char* Decimal(char* out, uint64_t value);

/// In the base that the lines are at.
inline char* Integer(const AscLineState& state, char* out, uint32_t value) {
  if (state.Hex) return Hex(out, value);
  return value < 10000 ? SmallDecimal(out, value) : Decimal(out, value);
}

/// 0x0a -> " 0a".
inline char* BlankAndHexByte(char* out, unsigned char byte) {
  std::memcpy(out, kHexBytes[byte].data(), 4);
  return out + 3;
}

/// 0x0a -> "0a".
inline char* HexByte(char* out, unsigned char byte) {
  std::memcpy(out, kHexBytes[byte].data() + 1, 2);
  return out + 2;
}

/// A byte in the base that the lines are at, with leading zeros up to `width` (2 or 3).
char* PaddedByte(const AscLineState& state, char* out, unsigned char byte, int width);

/// Seconds where the plain digits won't do: six decimals, or more than kExactSecondsEnd.
char* RoundedSeconds(char* out, uint64_t nanoseconds, int decimals);

/// 1'500'000 -> "0.001500000": the double nanoseconds / 1e9 with 9 or 6 decimals, correctly rounded.
inline char* Seconds(char* out, uint64_t nanoseconds, int decimals) {
  if (decimals != 9 || nanoseconds >= kExactSecondsEnd) return RoundedSeconds(out, nanoseconds, decimals);
  const uint64_t whole = nanoseconds / 1'000'000'000;
  const auto fraction = static_cast<uint32_t>(nanoseconds - whole * 1'000'000'000);
  out = whole < 10000 ? SmallDecimal(out, static_cast<uint32_t>(whole)) : Decimal(out, whole);
  out = Character(out, '.');
  // Nine digits: four, one, four.
  out = FourDigits(out, fraction / 100'000);
  out = Character(out, static_cast<char>('0' + fraction / 10'000 % 10));
  return FourDigits(out, fraction % 10'000);
}

inline char* Seconds(char* out, AscTime time, int decimals) {
  if (time.Negative) out = Character(out, '-');
  return Seconds(out, time.Nanoseconds, decimals);
}

}  // namespace asc
