#include "Hex.h"

#include "Error.h"

namespace qor_sim {

std::optional<unsigned char> HexDigit(char c) {
  if (c >= '0' && c <= '9') return static_cast<unsigned char>(c - '0');
  if (c >= 'A' && c <= 'F') return static_cast<unsigned char>(c - 'A' + 10);
  if (c >= 'a' && c <= 'f') return static_cast<unsigned char>(c - 'a' + 10);
  return std::nullopt;
}

size_t ParseHexData(std::string_view digits, std::span<unsigned char> data) {
  if (digits.size() % 2 != 0) throw SourceError("the data end in half a byte");
  if (digits.size() / 2 > data.size()) throw SourceError("the frame has too many data bytes");
  for (size_t i = 0; i < digits.size(); i += 2) {
    const auto high = HexDigit(digits[i]);
    const auto low = HexDigit(digits[i + 1]);
    if (!high || !low) throw SourceError("the data are not hexadecimal");
    data[i / 2] = static_cast<unsigned char>(*high << 4 | *low);
  }
  return digits.size() / 2;
}

}  // namespace qor_sim
