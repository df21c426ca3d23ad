#include "mdf/XmlText.h"

#include <cstddef>
#include <cstdint>

namespace MDF {
namespace {

constexpr uint32_t kMalformed = ~0U;

struct Character {
  uint32_t Code = kMalformed;
  size_t Size = 1;  // bytes
};

/// What a first byte announces: the size of the sequence, its own bits of the code, and the least code of that size.
struct Lead {
  unsigned char Mask;
  unsigned char Value;
  size_t Size;
  uint32_t Least;
};
constexpr Lead kLeads[] = {{0x80, 0x00, 1, 0}, {0xE0, 0xC0, 2, 0x80}, {0xF0, 0xE0, 3, 0x800}, {0xF8, 0xF0, 4, 0x10000}};

bool IsCharacter(uint32_t code) { return code <= 0x10FFFF && (code < 0xD800 || code > 0xDFFF); }

Character Decode(std::string_view text, const Lead& lead) {
  if (text.size() < lead.Size) return {};
  uint32_t code = static_cast<unsigned char>(text[0]) & ~lead.Mask & 0xFFU;
  for (const char next : text.substr(1, lead.Size - 1)) {
    const auto byte = static_cast<unsigned char>(next);
    if ((byte & 0xC0) != 0x80) return {};
    code = code << 6 | (byte & 0x3FU);
  }
  return code >= lead.Least && IsCharacter(code) ? Character{code, lead.Size} : Character{};
}

/// The first character of a text that isn't empty.
Character First(std::string_view text) {
  for (const Lead& lead : kLeads) {
    if ((static_cast<unsigned char>(text[0]) & lead.Mask) == lead.Value) return Decode(text, lead);
  }
  return {};
}

bool IsXml(uint32_t code) {
  if (code < 0x20) return code == '\t' || code == '\n' || code == '\r';
  return code != 0xFFFE && code != 0xFFFF && code != kMalformed;
}

}  // namespace

bool IsUtf8(std::string_view text) {
  while (!text.empty()) {
    const Character at = First(text);
    if (at.Code == kMalformed) return false;
    text.remove_prefix(at.Size);
  }
  return true;
}

std::string Utf8Only(std::string_view text) {
  std::string kept;
  for (Character at; !text.empty(); text.remove_prefix(at.Size)) {
    at = First(text);
    if (at.Code != kMalformed) kept += text.substr(0, at.Size);
  }
  return kept;
}

std::string EscapedForXml(std::string_view text) {
  std::string xml;
  for (Character at; !text.empty(); text.remove_prefix(at.Size)) {
    at = First(text);
    switch (at.Code) {
      case '&':
        xml += "&amp;";
        break;
      case '<':
        xml += "&lt;";
        break;
      case '>':
        xml += "&gt;";
        break;
      default:
        if (IsXml(at.Code)) xml += text.substr(0, at.Size);
    }
  }
  return xml;
}

}  // namespace MDF
