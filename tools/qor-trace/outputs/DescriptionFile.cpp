#include "outputs/DescriptionFile.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>

#include "stream/DescriptionJson.h"
#include "system/Failure.h"

namespace client {

namespace {

/// @return false, with errno, unless all was written
bool WriteAtFront(int file, const std::string& text) {
  size_t done = 0;
  while (done < text.size()) {
    const ssize_t written = pwrite(file, text.data() + done, text.size() - done, static_cast<off_t>(done));
    if (written < 0 && errno == EINTR) continue;
    if (written == 0) errno = ENOSPC;
    if (written <= 0) return false;
    done += static_cast<size_t>(written);
  }
  return true;
}

}  // namespace

DescriptionFile::DescriptionFile(const std::string& records) : Part(records + ".json") {}

void DescriptionFile::Write(const Description& description) {
  if (!Sentence.empty()) return;
  std::string text = ToJson(description);
  // One that is shorter than the one before is filled up with blanks: cutting the file would be a second step, and the
  // process may end between the two.
  if (text.size() < Written.size()) text.insert(text.size() - 1, Written.size() - text.size(), ' ');
  if (text == Written) return;
  if (!WriteAtFront(Part.File(), text)) Fail(errno);
  Written = std::move(text);
}

void DescriptionFile::Synchronize() {
  if (Sentence.empty() && fsync(Part.File()) != 0 && errno != EINVAL && errno != EROFS) Fail(errno);
}

std::string DescriptionFile::RemovePrevious() const {
  if (unlink(Part.Name().c_str()) == 0 || errno == ENOENT) return "";
  return Part.WhyNot("replace", errno);
}

void DescriptionFile::Complete() {
  if (Sentence.empty())
    Sentence = Part.Complete();
  else
    Part.Discard();
}

void DescriptionFile::Fail(int error) {
  Sentence = fmt::format("Cannot write \"{}\": {}. When \"{}\" was recorded is not kept", Part.Name(), ErrnoText(error),
                         Part.Name().substr(0, Part.Name().size() - std::string(".json").size()));
}

}  // namespace client
