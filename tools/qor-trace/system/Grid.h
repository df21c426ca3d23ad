// A screenful of characters, wherever it is shown.
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace client {

/// What a colour is for. A terminal without colours, or a person who wants none, gets the other attributes alone.
enum class Ink : unsigned char { Plain, Error, Changed, Active, Faint };

struct Style {
  Ink Colour = Ink::Plain;
  bool Bold = false;
  bool Reversed = false;
  bool Underlined = false;

  bool operator==(const Style&) const = default;
};

/// Of a character that takes two columns, the second cell has no glyph.
struct GridCell {
  char32_t Glyph = U' ';
  Style Look = {};

  bool operator==(const GridCell&) const = default;
};

struct ScreenSize {
  size_t Lines = 0;
  size_t Columns = 0;

  bool operator==(const ScreenSize&) const = default;
};

/// Lines of cells; blank at first. What is written beyond its edges is dropped. How wide a character is, the locale says
/// (LC_CTYPE): one that it doesn't have is shown as "?".
class Grid {
 public:
  struct Place {
    size_t Line;
    size_t Column;
  };

  static constexpr char kCut = '+';  // in the last column of a text that goes on

  explicit Grid(ScreenSize size = {}) : Extent(size), Cells(size.Lines * size.Columns) {}

  [[nodiscard]] ScreenSize Size() const { return Extent; }
  [[nodiscard]] std::span<const GridCell> Line(size_t line) const {
    return {Cells.data() + line * Extent.Columns, Extent.Columns};
  }

  /// Writes text in UTF-8 into at most `width` columns; a mark shows where it was cut.
  /// @return the column after it
  size_t Put(size_t line, size_t column, std::string_view text, Style look = {}, size_t width = kToTheEdge);
  /// Likewise, ending with the last of `width` columns.
  void PutRight(size_t line, size_t column, size_t width, std::string_view text, Style look = {});
  /// Gives a whole line another style; its glyphs stay.
  void Paint(size_t line, Style look);
  /// Reverses a whole line; its colours stay.
  void Reverse(size_t line);
  void Clear(size_t line);

  /// Where the cursor stands; nowhere unless something is being typed.
  std::optional<Place> Cursor;

  /// The characters of a line in UTF-8, without blanks at its end.
  [[nodiscard]] std::string Text(size_t line) const;
  /// All lines, each closed by a newline.
  [[nodiscard]] std::string Text() const;

 private:
  static constexpr size_t kToTheEdge = ~size_t{0};

  ScreenSize Extent;
  std::vector<GridCell> Cells;
};

/// Columns that a text in UTF-8 takes.
[[nodiscard]] size_t WidthOf(std::string_view text);

/// The characters of a text in UTF-8; control characters and what isn't UTF-8 are shown as escapes.
[[nodiscard]] std::u32string CharactersOf(std::string_view text);
[[nodiscard]] std::string Utf8Of(std::u32string_view characters);

}  // namespace client
