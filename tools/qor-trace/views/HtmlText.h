// Text as it stands in a page.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace client {

/// Text from elsewhere, as text or as the value of an attribute in quotes: nothing in it is markup, and what would steer a reader
/// is shown (Printable).
[[nodiscard]] std::string Html(std::string_view text);

/// A cell of a table, its text as it stands in the page.
struct HtmlCell {
  std::string Text = {};
  const char* Class = nullptr;  // null: none
  std::string Value = {};       // what it is sorted by; empty: its text
};
[[nodiscard]] std::string HtmlRow(const std::vector<HtmlCell>& cells);

/// A heading of a column.
struct HtmlHead {
  const char* Text = "";
  const char* Class = nullptr;
  const char* Sort = nullptr;  // "value", "order" (that of the rows); null: not sorted by
};
/// A row of headings.
[[nodiscard]] std::string HtmlHeads(const std::vector<HtmlHead>& heads);

}  // namespace client
