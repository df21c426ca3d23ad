#include "inputs/DescriptionBeside.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>

#include <cerrno>
#include <filesystem>

#include "stream/DescriptionJson.h"
#include "system/Compression.h"
#include "system/Descriptor.h"
#include "system/Failure.h"

namespace client {

namespace {

constexpr size_t kLongestDescription = 16u << 20;  // bytes
constexpr std::string_view kPartEnding = ".part";

bool IsPacked(const std::string& path) { return CompressionOf(path) != Compression::None; }

/// In the order of preference.
std::vector<std::string> Candidates(const std::string& path) {
  std::vector<std::string> names = {path + ".json"};
  // Of a file that was compressed later, the description still has the name that the file had.
  if (IsPacked(path)) names.push_back(std::string(WithoutCompression(path)) + ".json");
  // While records are on their way to this name, a part of a description is theirs.
  std::error_code ignored;
  if (!std::filesystem::exists(path + ".part", ignored)) names.push_back(path + ".json.part");
  if (path.ends_with(kPartEnding)) names.push_back(path.substr(0, path.size() - kPartEnding.size()) + ".json.part");
  return names;
}

/// Nothing where there is no such file.
/// Failure: Failure.
std::optional<std::string> ReadText(const std::string& name) {
  const Descriptor file(open(name.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  if (!file.IsOpen() && errno == ENOENT) return std::nullopt;
  struct stat status {};
  if (!file.IsOpen() || fstat(file.Get(), &status) != 0)
    throw Failure(fmt::format("can't be read: {}", ErrnoText(errno)));
  if (!S_ISREG(status.st_mode)) throw Failure("is no file");
  if (static_cast<unsigned long>(status.st_size) > kLongestDescription) throw Failure("is too long for a description");
  std::string text(static_cast<size_t>(status.st_size), '\0');
  size_t done = 0;
  while (done < text.size()) {
    const ssize_t got = read(file.Get(), text.data() + done, text.size() - done);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) throw Failure(fmt::format("can't be read: {}", ErrnoText(errno)));
    if (got == 0) break;
    done += static_cast<size_t>(got);
  }
  text.resize(done);
  return text;
}

/// Failure: Failure for a description of other records.
void CheckRecords(const Description& description, const std::string& path, unsigned long firstRecord) {
  const auto& records = description.Records;
  if (!records) return;
  std::error_code unknown;
  const auto bytes = std::filesystem::file_size(path, unknown);
  const bool longer = !unknown && !IsPacked(path) && description.Complete && bytes > records->Bytes;
  if (longer || (records->FirstRecord != 0 && records->FirstRecord != firstRecord))
    throw Failure("describes another recording");
}

}  // namespace

FoundDescription FindDescription(const std::string& path, unsigned long firstRecord) {
  FoundDescription found;
  if (path == "-") return found;
  for (const std::string& name : Candidates(path)) {
    try {
      const auto text = ReadText(name);
      if (!text) continue;
      Description description = DescriptionFromJson(*text);
      CheckRecords(description, path, firstRecord);
      found.Known = std::move(description);
      return found;
    } catch (const Failure& failure) {
      found.Remarks.push_back(fmt::format("\"{}\" {}; it is left aside", name, failure.what()));
    }
  }
  return found;
}

std::string UnknownTimeText(const std::string& path) {
  if (path == "-")
    return "When the records of standard input were recorded isn't known: their times count from 1970. --start-time "
           "says "
           "when the first one was";
  const std::string why = path.ends_with(".bin") ? fmt::format(", as \"{}.json\" doesn't say so", path) : "";
  return fmt::format(
      "When \"{}\" was recorded isn't known{}: its times count from 1970. --start-time says when the first entry was",
      path, why);
}

}  // namespace client
