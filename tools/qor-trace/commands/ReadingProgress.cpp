#include "commands/ReadingProgress.h"

#include <fmt/format.h>
#include <unistd.h>

#include "inputs/DescriptionBeside.h"
#include "system/Failure.h"
#include "system/InputFile.h"

namespace client {

std::string ReadingProgress::Text() const {
  constexpr double kMib = 1u << 20;
  const double read = static_cast<double>(Reader.Position());
  std::string entries = fmt::format("{} entries  {:.0f} MiB", Reader.Records(), read / kMib);
  if (Reader.Size() == 0) return entries;
  const double size = static_cast<double>(Reader.Size());
  return fmt::format("{:3.0f} %  {} of {:.0f} MiB", 100 * read / size, entries, size / kMib);
}

Description DescriptionOf(BinReader& reader, const std::string& path) {
  FoundDescription found = FindDescription(path, reader.FirstDigest());
  for (const std::string& remark : found.Remarks) Say(remark);
  if (found.Known) return *std::move(found.Known);
  Description none;
  none.Complete = true;
  return none;
}

void CheckInput(const std::string& input) {
  if (input != "-") return CheckInputFile(input);
  if (isatty(STDIN_FILENO) == 1)
    throw UsageError("Records are not read from a terminal; pipe the contents of a .bin file in, or name one");
}

}  // namespace client
