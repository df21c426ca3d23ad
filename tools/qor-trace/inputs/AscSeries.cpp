#include "inputs/AscSeries.h"

#include <array>
#include <filesystem>
#include <fstream>

#include "inputs/TextScan.h"
#include "system/PartSeries.h"

namespace client {

namespace {

/// "// 12.345678 previous log file: /there/x.asc", within the head.
std::string PreviousFileOf(const std::string& path) {
  std::array<char, 16384> head{};  // a path has 4095 bytes at most
  std::ifstream file(path, std::ios::binary);
  file.read(head.data(), head.size());
  TextScan text(std::string_view(head.data(), static_cast<size_t>(file.gcount())));
  if (!text.TakeTo(" previous log file: ")) return "";
  std::string_view name = text.Rest();
  name = name.substr(0, name.find('\n'));
  if (name.ends_with('\r')) name.remove_suffix(1);
  return std::string(name);
}

/// Files may have been moved together.
bool Follows(const std::string& path, const std::string& before) {
  const std::filesystem::path previous = PreviousFileOf(path);
  return previous.filename() == std::filesystem::path(before).filename();
}

}  // namespace

std::vector<std::string> LaterAscFiles(const std::string& path) {
  SeriesName series{path.substr(0, path.rfind('.')), ""};
  series.Ending = path.substr(series.Stem.size());
  std::vector<std::string> later;
  std::string before = path;
  for (unsigned long number = 1;; ++number) {
    const std::string next = series.Of(number);
    std::error_code ignored;
    if (!std::filesystem::is_regular_file(next, ignored) || !Follows(next, before)) return later;
    later.push_back(next);
    before = next;
  }
}

}  // namespace client
