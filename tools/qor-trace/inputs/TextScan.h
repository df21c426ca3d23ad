// A line of text, taken apart from left to right.
#pragma once

#include <algorithm>
#include <array>
#include <charconv>
#include <concepts>
#include <cstddef>
#include <optional>
#include <span>
#include <string_view>
#include <system_error>

namespace client {

/// The value of each hexadecimal digit; kNoDigit for all other characters.
constexpr unsigned char kNoDigit = 0xFF;
inline constexpr std::array<unsigned char, 256> kDigitValues = [] {
  std::array<unsigned char, 256> values{};
  values.fill(kNoDigit);
  for (unsigned char digit = 0; digit < 10; ++digit) values[static_cast<size_t>('0' + digit)] = digit;
  for (unsigned char digit = 10; digit < 16; ++digit) {
    values[static_cast<size_t>('a' + digit - 10)] = digit;
    values[static_cast<size_t>('A' + digit - 10)] = digit;
  }
  return values;
}();
[[nodiscard]] inline unsigned char DigitValue(char digit) { return kDigitValues[static_cast<unsigned char>(digit)]; }

/// A whole word as a number without sign or prefix; nothing for anything else, and for what the type can't hold.
template <std::unsigned_integral Number>
[[nodiscard]] inline std::optional<Number> NumberOf(std::string_view word, int base) {
  Number number{};
  const char* const end = word.data() + word.size();
  const auto result = std::from_chars(word.data(), end, number, base);
  if (result.ec != std::errc{} || result.ptr != end) return std::nullopt;
  return number;
}

/// Takes words and numbers from the front of a text, without memory of its own. Words are separated by blanks and tabs. What
/// fails takes nothing, unless it says so.
class TextScan {
 public:
  explicit TextScan(std::string_view text) : At(text.data()), End(text.data() + text.size()) {}

  /// What hasn't been taken.
  [[nodiscard]] std::string_view Rest() const { return {At, static_cast<size_t>(End - At)}; }
  void SkipBlanks() {
    while (At != End && IsBlank(*At)) ++At;
  }
  /// Nothing but blanks is left.
  [[nodiscard]] bool AtEnd() {
    SkipBlanks();
    return At == End;
  }

  /// The next word; empty at the end.
  [[nodiscard]] std::string_view Word() {
    SkipBlanks();
    const char* const begin = At;
    while (At != End && !IsBlank(*At)) ++At;
    return {begin, static_cast<size_t>(At - begin)};
  }
  /// The next word, which stays.
  [[nodiscard]] std::string_view Peek() const { return TextScan(*this).Word(); }
  void SkipWords(int count) {
    for (; count > 0; --count) (void)Word();
  }
  /// Takes the text if it comes next, after blanks.
  [[nodiscard]] bool Take(std::string_view text) {
    TextScan next = *this;
    next.SkipBlanks();
    if (!next.Rest().starts_with(text)) return false;
    At = next.At + text.size();
    return true;
  }
  /// Takes everything up to the text, and the text.
  [[nodiscard]] bool TakeTo(std::string_view text) {
    const size_t place = Rest().find(text);
    if (place == std::string_view::npos) return false;
    At += place + text.size();
    return true;
  }

  /// The next word as a number.
  template <std::unsigned_integral Number = unsigned int>
  [[nodiscard]] std::optional<Number> TakeNumber(int base, Number greatest = static_cast<Number>(-1)) {
    TextScan next = *this;
    const auto number = NumberOf<Number>(next.Word(), base);
    if (!number || *number > greatest) return std::nullopt;
    At = next.At;
    return number;
  }

  /// Seconds with any number of decimals, in ns; what is less than one is dropped. Up to 584 years, without a sign.
  [[nodiscard]] std::optional<unsigned long> TakeSeconds() {
    constexpr unsigned long kMost = ~0ul / kSecond - 1;
    SkipBlanks();
    const char* at = At;
    unsigned long whole = 0;
    for (; at != End && IsDecimal(*at); ++at) {
      whole = 10 * whole + DigitValue(*at);
      if (whole > kMost) return std::nullopt;
    }
    if (at == At) return std::nullopt;
    unsigned long fraction = 0;
    unsigned long unit = kSecond;
    if (at != End && *at == '.') {
      for (++at; at != End && IsDecimal(*at); ++at) {
        unit /= 10;
        fraction += unit * DigitValue(*at);
      }
    }
    At = at;
    return whole * kSecond + fraction;
  }

  /// Bytes that are words of their own, as many as `bytes` has room for; takes some in any case. False unless all are there.
  [[nodiscard]] bool TakeBytes(std::span<unsigned char> bytes, int base) {
    const auto others = bytes.subspan(base == 16 ? TakePlainBytes(bytes) : 0);
    return std::all_of(others.begin(), others.end(), [&](unsigned char& byte) { return TakeByte(byte, base); });
  }

 private:
  static constexpr unsigned long kSecond = 1'000'000'000;  // ns

  [[nodiscard]] static bool IsBlank(char character) { return character == ' ' || character == '\t'; }
  [[nodiscard]] static bool IsDecimal(char character) { return DigitValue(character) < 10; }

  /// Those that are a blank and two digits, as nearly all bytes of nearly all logs are. @return how many
  [[nodiscard]] size_t TakePlainBytes(std::span<unsigned char> bytes) {
    constexpr std::ptrdiff_t kWidth = 3;
    const char* at = At;
    size_t taken = 0;
    for (; taken < bytes.size() && End - at >= kWidth && *at == ' '; ++taken) {
      const unsigned int high = DigitValue(at[1]);
      const unsigned int low = DigitValue(at[2]);
      if ((high | low) > 15) break;
      bytes[taken] = static_cast<unsigned char>(high << 4 | low);
      at += kWidth;
    }
    if (taken > 0 && at != End && !IsBlank(*at)) {  // the last one has more digits
      --taken;
      at -= kWidth;
    }
    At = at;
    return taken;
  }
  [[nodiscard]] bool TakeByte(unsigned char& byte, int base) {
    const auto number = TakeNumber<unsigned char>(base);
    byte = number.value_or(0);
    return number.has_value();
  }

  const char* At;
  const char* End;
};

/// Digits without blanks between them, two for each byte. False unless there are as many as fill the bytes, and nothing else.
[[nodiscard]] inline bool DecodeHex(std::string_view digits, std::span<unsigned char> bytes) {
  if (digits.size() != 2 * bytes.size()) return false;
  unsigned int seen = 0;
  const char* digit = digits.data();
  for (unsigned char& byte : bytes) {
    const unsigned int high = DigitValue(digit[0]);
    const unsigned int low = DigitValue(digit[1]);
    seen |= high | low;
    byte = static_cast<unsigned char>(high << 4 | low);
    digit += 2;
  }
  return seen < 16;
}

}  // namespace client
