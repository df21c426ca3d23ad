// A table for people: columns as wide as what is in them.
#ifndef QOR_TRACE_TEXTTABLE_H
#define QOR_TRACE_TEXTTABLE_H

#include <cstddef>
#include <string>
#include <vector>

namespace client {

struct Column {
  std::string Heading;
  bool Right = false;  // numbers stand at the right
  std::size_t Width = 0;
};

class TextTable {
 public:
  explicit TextTable(std::vector<Column> columns);

  /// @param cells  one for each column
  void Add(std::vector<std::string> cells);

  /// The headings and a line a row, without blanks at the ends.
  std::string Text() const;

 private:
  std::vector<Column> Columns;
  std::vector<std::vector<std::string>> Rows;
};

}  // namespace client

#endif  // QOR_TRACE_TEXTTABLE_H
