#include "views/HtmlText.h"

#include <fmt/format.h>

#include "system/Printable.h"

namespace client {

namespace {

std::string Attribute(const char* name, std::string_view value) { return fmt::format(" {}=\"{}\"", name, value); }

}  // namespace

std::string Html(std::string_view text) {
  std::string html;
  for (const char character : Printable(text)) {
    switch (character) {
      case '&':
        html += "&amp;";
        break;
      case '<':
        html += "&lt;";
        break;
      case '>':
        html += "&gt;";
        break;
      case '"':
        html += "&quot;";
        break;
      case '\'':
        html += "&#39;";
        break;
      default:
        html += character;
    }
  }
  return html;
}

std::string HtmlRow(const std::vector<HtmlCell>& cells) {
  std::string row = "<tr>";
  for (const HtmlCell& cell : cells)
    row += fmt::format("<td{}{}>{}</td>", cell.Class != nullptr ? Attribute("class", cell.Class) : "",
                       cell.Value.empty() ? "" : Attribute("data-v", cell.Value), cell.Text);
  return row + "</tr>\n";
}

std::string HtmlHeads(const std::vector<HtmlHead>& heads) {
  std::string row = "<tr>";
  for (const HtmlHead& head : heads)
    row += fmt::format("<th scope=\"col\"{}{}>{}</th>", head.Class != nullptr ? Attribute("class", head.Class) : "",
                       head.Sort != nullptr ? Attribute("data-s", head.Sort) : "", head.Text);
  return row + "</tr>\n";
}

}  // namespace client
