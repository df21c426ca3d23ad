#include "commands/ReadingProgress.h"

#include <fmt/format.h>

namespace client {

std::string ReadingProgress::Text() const {
  constexpr double kMib = 1u << 20;
  const double read = static_cast<double>(Input.Position());
  std::string entries = fmt::format("{} entries  {:.0f} MiB", Input.Records(), read / kMib);
  if (Input.Size() == 0) return entries;
  const double size = static_cast<double>(Input.Size());
  return fmt::format("{:3.0f} %  {} of {:.0f} MiB", 100 * read / size, entries, size / kMib);
}

}  // namespace client
