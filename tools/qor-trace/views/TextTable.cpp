#include "views/TextTable.h"

#include <algorithm>
#include <utility>

namespace client {

namespace {

/// Appends a line; `cell` returns the text of a column by its number.
template <class Cell>
void AppendLine(std::string& text, const std::vector<Column>& columns, Cell cell) {
  std::string line;
  for (size_t column = 0; column < columns.size(); ++column) {
    const std::string& content = cell(column);
    const std::string blanks(columns[column].Width - content.size(), ' ');
    if (column > 0) line += "  ";
    line += columns[column].Right ? blanks + content : content + blanks;
  }
  text.append(line, 0, line.find_last_not_of(' ') + 1) += '\n';
}

}  // namespace

TextTable::TextTable(std::vector<Column> columns) : Columns(std::move(columns)) {
  for (Column& column : Columns) column.Width = std::max(column.Width, column.Heading.size());
}

void TextTable::Add(std::vector<std::string> cells) {
  for (size_t column = 0; column < Columns.size(); ++column)
    Columns[column].Width = std::max(Columns[column].Width, cells[column].size());
  Rows.push_back(std::move(cells));
}

std::string TextTable::Text() const {
  std::string text;
  AppendLine(text, Columns, [&](size_t column) -> const std::string& { return Columns[column].Heading; });
  for (const auto& row : Rows)
    AppendLine(text, Columns, [&](size_t column) -> const std::string& { return row[column]; });
  return text;
}

}  // namespace client
