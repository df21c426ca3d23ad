// A table for people: columns as wide as their contents.
#ifndef QOR_TRACE_TEXTTABLE_H
#define QOR_TRACE_TEXTTABLE_H

#include <cstddef>
#include <string>
#include <vector>

namespace client {

struct Column {
  std::string Heading;
  bool Right = false;  // right-aligned, for numbers
  std::size_t Width = 0;
};

class TextTable {
 public:
  explicit TextTable(std::vector<Column> columns);

  /// @param cells  one for each column
  void Add(std::vector<std::string> cells);

  /// The headings, then one line per row, without trailing blanks.
  std::string Text() const;

 private:
  std::vector<Column> Columns;
  std::vector<std::vector<std::string>> Rows;
};

}  // namespace client

#endif  // QOR_TRACE_TEXTTABLE_H
