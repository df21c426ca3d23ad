#include "system/Grid.h"

#include <cwchar>

#include <algorithm>

#include "system/Printable.h"

namespace client {

namespace {

static_assert(sizeof(wchar_t) == sizeof(char32_t));

/// 0 for a mark that is drawn over the character before it; nothing for what the locale doesn't have.
std::optional<size_t> WidthOf(char32_t glyph) {
  if (glyph < 0x7F) return 1;
  const int width = wcwidth(static_cast<wchar_t>(glyph));
  return width < 0 ? std::nullopt : std::optional(static_cast<size_t>(width));
}

void Append(std::string& text, char32_t code) {
  if (code < 0x80) {
    text += static_cast<char>(code);
    return;
  }
  const int following = code < 0x800 ? 1 : code < 0x10000 ? 2 : 3;
  constexpr unsigned char kLeads[] = {0, 0xC0, 0xE0, 0xF0};
  text += static_cast<char>(kLeads[following] | code >> 6 * following);
  for (int rest = following - 1; rest >= 0; --rest) text += static_cast<char>(0x80 | (code >> 6 * rest & 0x3F));
}

}  // namespace

std::u32string CharactersOf(std::string_view text) {
  const std::string sound = Printable(text);  // UTF-8 from here on
  std::u32string characters;
  for (const char byte : sound) {
    const auto bits = static_cast<unsigned char>(byte);
    if ((bits & 0xC0) == 0x80) {
      characters.back() = characters.back() << 6 | (bits & 0x3F);
    } else {
      const int length = bits < 0x80 ? 0 : bits < 0xE0 ? 0x1F : bits < 0xF0 ? 0x0F : 0x07;
      characters += length == 0 ? char32_t{bits} : static_cast<char32_t>(bits & length);
    }
  }
  return characters;
}

std::string Utf8Of(std::u32string_view characters) {
  std::string text;
  for (const char32_t code : characters) Append(text, code);
  return text;
}

size_t WidthOf(std::string_view text) {
  size_t width = 0;
  for (const char32_t glyph : CharactersOf(text)) width += WidthOf(glyph).value_or(1);
  return width;
}

size_t Grid::Put(size_t line, size_t column, std::string_view text, Style look, size_t width) {
  if (line >= Extent.Lines || column >= Extent.Columns) return column;
  const size_t end = column + std::min(width, Extent.Columns - column);
  GridCell* const cells = Cells.data() + line * Extent.Columns;
  for (const char32_t character : CharactersOf(text)) {
    const auto known = WidthOf(character);
    const size_t wide = known.value_or(1);
    if (wide == 0) continue;  // a mark over the character before it: left out
    if (column + wide > end) {
      if (column > 0 && end > 0) cells[end - 1] = {static_cast<char32_t>(kCut), look};
      return end;
    }
    cells[column++] = {known ? character : U'?', look};
    if (wide == 2) cells[column++] = {0, look};
  }
  return column;
}

void Grid::PutRight(size_t line, size_t column, size_t width, std::string_view text, Style look) {
  const size_t taken = std::min(WidthOf(text), width);
  Put(line, column + width - taken, text, look, taken);
}

void Grid::Paint(size_t line, Style look) {
  for (size_t column = 0; line < Extent.Lines && column < Extent.Columns; ++column)
    Cells[line * Extent.Columns + column].Look = look;
}

void Grid::Reverse(size_t line) {
  for (size_t column = 0; line < Extent.Lines && column < Extent.Columns; ++column)
    Cells[line * Extent.Columns + column].Look.Reversed = true;
}

void Grid::Clear(size_t line) {
  for (size_t column = 0; line < Extent.Lines && column < Extent.Columns; ++column)
    Cells[line * Extent.Columns + column] = {};
}

std::string Grid::Text(size_t line) const {
  std::string text;
  for (const GridCell& cell : Line(line))
    if (cell.Glyph != 0) Append(text, cell.Glyph);
  text.erase(text.find_last_not_of(' ') + 1);
  return text;
}

std::string Grid::Text() const {
  std::string text;
  for (size_t line = 0; line < Extent.Lines; ++line) text += Text(line) + "\n";
  return text;
}

}  // namespace client
