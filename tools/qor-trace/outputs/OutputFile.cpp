#include "outputs/OutputFile.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <utility>

#include "system/Failure.h"

namespace client {

OutputFile::OutputFile(std::string path) : Name(std::move(path)), PartName(Name + ".part") {
  if (Name.empty()) {
    File = STDOUT_FILENO;
    return;
  }
  File = open(PartName.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  if (File < 0) throw Failure(fmt::format("Cannot write \"{}\": {}", PartName, ErrnoText(errno)));
}

OutputFile::~OutputFile() {
  if (File >= 0 && !Name.empty()) close(File);
}

std::size_t OutputFile::Write(const unsigned char* bytes, std::size_t size) {
  std::size_t done = 0;
  while (done < size) {
    const ssize_t written = write(File, bytes + done, size - done);
    if (written < 0 && errno == EINTR) continue;
    if (written == 0) errno = ENOSPC;  // a file that takes nothing more
    if (written <= 0) break;
    done += static_cast<std::size_t>(written);
  }
  return done;
}

void OutputFile::Fail(int error, unsigned long wholeBytes, unsigned long count, const std::string& whole) {
  Gone = Name.empty() && error == EPIPE;
  if (Gone) return;
  if (Name.empty()) {
    Sentence = fmt::format("Cannot write to standard output: {}", ErrnoText(error));
    return;
  }
  const bool cut = ftruncate(File, static_cast<off_t>(wholeBytes)) == 0;
  Sentence = fmt::format("Cannot write \"{}\": {}. The {} before that {} in \"{}\"{}", Name, ErrnoText(error), whole,
                         count == 1 ? "is" : "are", PartName, cut ? "" : ", followed by a part of the next one");
}

void OutputFile::FailToComplete(const char* what, int error) {
  Sentence = fmt::format("Cannot {} \"{}\": {}. Its contents are in \"{}\"", what, Name, ErrnoText(error), PartName);
}

bool OutputFile::Complete() {
  if (!Usable()) return false;
  if (Name.empty()) return true;
  // A disk may say only now that it could not keep what it took.
  int error = 0;
  if (fsync(File) != 0 && errno != EINVAL && errno != EROFS) error = errno;
  if (close(std::exchange(File, -1)) != 0 && error == 0) error = errno;
  if (error != 0)
    FailToComplete("complete", error);
  else if (std::rename(PartName.c_str(), Name.c_str()) != 0)
    FailToComplete("name", errno);
  return Sentence.empty();
}

}  // namespace client
