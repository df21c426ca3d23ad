#include "outputs/DescriptionFile.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>

#include "stream/DescriptionJson.h"
#include "system/Failure.h"

namespace client {

namespace {

// Bytes that the file has on the disk from the start, so that it can still say that the disk is full.
constexpr off_t kReserved = 16 * 1024;

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

DescriptionFile::DescriptionFile(const std::string& records) : Part(records + ".json") {
  // Some file systems can't; then it has the room that it happens to get.
  static_cast<void>(fallocate(Part.File(), FALLOC_FL_KEEP_SIZE, 0, kReserved));
}

void DescriptionFile::Write(const Description& description) {
  if (!Sentence.empty()) return;
  std::string text = ToJson(description);
  // One that is shorter than the one before is filled up with blanks: cutting the file would be a second step, and the
  // process may end between the two.
  if (text.size() < Written.size()) text.insert(text.size() - 1, Written.size() - text.size(), ' ');
  if (text == Written) return;
  if (WriteAtFront(Part.File(), text)) {
    Written = std::move(text);
  } else {
    Fail(errno);
    PutBack();
  }
}

/// The one before, for which there was room.
void DescriptionFile::PutBack() {
  if (WriteAtFront(Part.File(), Written)) GiveBackRoom();
}

/// Frees what the file has on the disk past its end.
void DescriptionFile::GiveBackRoom() {
  static_cast<void>(ftruncate(Part.File(), static_cast<off_t>(Written.size())) == 0);
}

void DescriptionFile::Synchronize() {
  GiveBackRoom();
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
