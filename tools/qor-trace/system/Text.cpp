#include "system/Text.h"

#include <algorithm>
#include <cctype>

namespace client {

namespace {

/// Calls `use` for each line, without its newline; `use` appends.
template <class Use>
std::string ByLine(std::string_view text, Use use) {
  std::string result;
  while (!text.empty()) {
    const size_t end = std::min(text.find('\n'), text.size());
    use(result, text.substr(0, end));
    if (end < text.size()) result += '\n';
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return result;
}

struct Layout {
  size_t First;  // where the text that may be broken begins
  size_t Rest;   // where further lines begin
};

Layout LayoutOf(std::string_view line, size_t columns) {
  const size_t indent = std::min(line.find_first_not_of(' '), line.size());
  const size_t gap = line.find("  ", indent);
  const size_t second = gap == std::string_view::npos ? gap : line.find_first_not_of(' ', gap);
  if (second == std::string_view::npos) return {indent, indent + 2};
  return {second, second <= columns / 2 ? second : indent + 4};
}

void AppendWrapped(std::string& result, std::string_view line, size_t columns) {
  const Layout layout = LayoutOf(line, columns);
  size_t width = layout.First;
  std::string_view head = line.substr(0, layout.First);
  std::string_view rest = line.substr(layout.First);
  const auto breakLine = [&] {
    result.erase(result.find_last_not_of(' ') + 1);
    result.append("\n").append(layout.Rest, ' ');
    width = layout.Rest;
  };
  result += head;
  if (layout.First > layout.Rest) breakLine();
  for (bool first = true; !rest.empty(); first = false) {
    const size_t end = std::min(rest.find(' '), rest.size());
    const std::string_view word = rest.substr(0, end);
    if (!first && width + 1 + word.size() > columns)
      breakLine();
    else if (!first)
      result += ' ', ++width;
    result += word;
    width += word.size();
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
}

}  // namespace

std::string Wrapped(std::string_view text, size_t columns) {
  return ByLine(text, [&](std::string& result, std::string_view line) {
    if (line.size() <= columns)
      result += line;
    else
      AppendWrapped(result, line, columns);
  });
}

std::string CutLines(std::string_view text, size_t columns) {
  return ByLine(text, [&](std::string& result, std::string_view line) {
    if (line.size() <= columns)
      result += line;
    else
      result.append(line.substr(0, columns - 3)).append("...");
  });
}

std::string ExtensionOf(std::string_view path) {
  const size_t name = path.rfind('/') + 1;  // 0 without a folder
  const size_t dot = path.rfind('.');
  if (dot == std::string_view::npos || dot <= name) return "";
  std::string extension(path.substr(dot));
  for (char& c : extension) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return extension;
}

}  // namespace client
