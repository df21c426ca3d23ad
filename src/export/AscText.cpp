#include "export/AscText.h"

namespace asc {

namespace {

constexpr auto MakeHexBytes() {
  constexpr char kDigits[] = "0123456789abcdef";
  std::array<std::array<char, 4>, 256> bytes{};
  for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = {' ', kDigits[i / 16], kDigits[i % 16], ' '};
  return bytes;
}

constexpr auto MakeFourDigits() {
  std::array<std::array<char, 4>, 10000> numbers{};
  const auto digit = [](size_t value) { return static_cast<char>('0' + value % 10); };
  for (size_t i = 0; i < numbers.size(); ++i) numbers[i] = {digit(i / 1000), digit(i / 100), digit(i / 10), digit(i)};
  return numbers;
}

}  // namespace

constexpr std::array<std::array<char, 4>, 256> kHexBytes = MakeHexBytes();
constexpr std::array<std::array<char, 4>, 10000> kFourDigits = MakeFourDigits();

char* Decimal(char* out, uint64_t value) {
  if (value < 10000) return SmallDecimal(out, static_cast<uint32_t>(value));
  out = Decimal(out, value / 10000);
  return FourDigits(out, static_cast<uint32_t>(value % 10000));
}

char* PaddedByte(const AscLineState& state, char* out, unsigned char byte, int width) {
  if (state.Hex) {
    if (width == 3) out = Character(out, '0');
    return HexByte(out, byte);
  }
  if (width == 2 && byte >= 100) return SmallDecimal(out, byte);
  std::memcpy(out, kFourDigits[byte].data() + 4 - width, static_cast<size_t>(width));
  return out + width;
}

// The double is mantissa * 2^-shift. A 128-bit product scales its fraction to a whole number of 1e-9 or 1e-6, so that
// nothing is lost before the one rounding, half to even.
char* RoundedSeconds(char* out, uint64_t nanoseconds, int decimals) {
  __extension__ using Wide = unsigned __int128;
  const uint64_t scale = decimals == 9 ? 1'000'000'000 : 1'000'000;
  uint64_t whole = 0;
  uint64_t fraction = 0;
  if (nanoseconds != 0) {
    const auto bits = std::bit_cast<uint64_t>(static_cast<double>(nanoseconds) / 1e9);
    const uint64_t mantissa = (bits & ((uint64_t{1} << 52) - 1)) | uint64_t{1} << 52;
    const int shift = 1075 - static_cast<int>(bits >> 52);  // 18 (u64's end) to 82 (1 ns)
    whole = shift < 64 ? mantissa >> shift : 0;
    const uint64_t part = shift < 64 ? mantissa & ((uint64_t{1} << shift) - 1) : mantissa;
    const Wide product = static_cast<Wide>(part) * scale;
    fraction = static_cast<uint64_t>(product >> shift);
    const Wide rest = product - (static_cast<Wide>(fraction) << shift);
    const Wide half = static_cast<Wide>(1) << (shift - 1);
    if (rest > half || (rest == half && fraction % 2 != 0)) ++fraction;
    if (fraction == scale) {
      ++whole;
      fraction = 0;
    }
  }
  out = Character(Decimal(out, whole), '.');
  if (decimals == 9) {
    out = FourDigits(out, static_cast<uint32_t>(fraction / 100'000));
    out = Character(out, static_cast<char>('0' + fraction / 10'000 % 10));
  } else {
    std::memcpy(out, kFourDigits[fraction / 10'000].data() + 2, 2);
    out += 2;
  }
  return FourDigits(out, static_cast<uint32_t>(fraction % 10'000));
}

}  // namespace asc
