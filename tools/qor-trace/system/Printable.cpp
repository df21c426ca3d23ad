#include "system/Printable.h"

#include <fmt/format.h>

#include <cstddef>

namespace client {

namespace {

/// A character at the front of a text; none for bytes that are no UTF-8.
struct Character {
  char32_t Code = 0;
  size_t Length = 0;  // bytes
};

struct Range {
  char32_t First, Last;
};

bool IsContinuation(char byte) { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; }

Character FrontOf(std::string_view text) {
  // By the length of the encoding: the bits of the first byte that belong to the code, and the smallest code.
  constexpr struct {
    unsigned char Mask, Lead, Bits;
    char32_t Smallest;
  } forms[] = {{0x80, 0x00, 0x7F, 0}, {0xE0, 0xC0, 0x1F, 0x80}, {0xF0, 0xE0, 0x0F, 0x800}, {0xF8, 0xF0, 0x07, 0x10000}};
  const auto first = static_cast<unsigned char>(text.front());
  size_t length = 1;
  for (const auto& form : forms) {
    if ((first & form.Mask) != form.Lead) {
      ++length;
      continue;
    }
    if (text.size() < length) return {};
    auto code = static_cast<char32_t>(first & form.Bits);
    for (size_t index = 1; index < length; ++index) {
      if (!IsContinuation(text[index])) return {};
      code = code << 6 | (static_cast<unsigned char>(text[index]) & 0x3F);
    }
    const bool surrogate = code >= 0xD800 && code <= 0xDFFF;
    if (code < form.Smallest || code > 0x10FFFF || surrogate) return {};
    return {code, length};
  }
  return {};
}

bool Steers(char32_t code) {
  constexpr Range kRanges[] = {
      {0x00, 0x1F},      // C0
      {0x7F, 0x9F},      // DEL, C1
      {0x200E, 0x200F},  // marks of direction
      {0x2028, 0x202E},  // separators of lines, embeddings and overrides of direction
      {0x2066, 0x2069},  // isolates
  };
  for (const Range& range : kRanges)
    if (code >= range.First && code <= range.Last) return true;
  return false;
}

std::string Escaped(char32_t code) {
  if (code == '\n') return "\\n";
  if (code == '\r') return "\\r";
  if (code == '\t') return "\\t";
  const auto number = static_cast<unsigned int>(code);
  return number <= 0xFF ? fmt::format("\\x{:02x}", number) : fmt::format("\\u{:04x}", number);
}

}  // namespace

std::string Printable(std::string_view text, std::string_view kept) {
  std::string shown;
  shown.reserve(text.size());
  while (!text.empty()) {
    const Character front = FrontOf(text);
    const size_t length = front.Length == 0 ? 1 : front.Length;
    if (front.Length == 0)
      shown += fmt::format("\\x{:02x}", static_cast<unsigned char>(text.front()));
    else if (Steers(front.Code) && kept.find(text.substr(0, length)) == std::string_view::npos)
      shown += Escaped(front.Code);
    else
      shown += text.substr(0, length);
    text.remove_prefix(length);
  }
  return shown;
}

}  // namespace client
