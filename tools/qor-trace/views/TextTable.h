// A table for people: columns as wide as their contents.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace client {

struct Column {
  std::string Heading;
  bool Right = false;  // right-aligned, for numbers
  size_t Width = 0;
};

class TextTable {
 public:
  explicit TextTable(std::vector<Column> columns);

  /// @param cells  one for each column
  void Add(std::vector<std::string> cells);

  /// The headings, then one line per row, without trailing blanks.
  [[nodiscard]] std::string Text() const;

 private:
  std::vector<Column> Columns;
  std::vector<std::vector<std::string>> Rows;
};

}  // namespace client
