#include "outputs/KeptFiles.h"

#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "system/Failure.h"

namespace client {

namespace {

enum class Fate { Deleted, Gone, Failed };

/// @return what became of it; errno after Failed
Fate DeleteIf(const std::string& path, unsigned long device, unsigned long inode) {
  struct stat status {};
  if (lstat(path.c_str(), &status) != 0) return errno == ENOENT ? Fate::Gone : Fate::Failed;
  if (status.st_dev != device || status.st_ino != inode) return Fate::Gone;
  if (unlink(path.c_str()) == 0) return Fate::Deleted;
  return errno == ENOENT ? Fate::Gone : Fate::Failed;
}

}  // namespace

unsigned long KeptFiles::Add(SeriesFile file, const std::vector<std::string>& beside) {
  Member member;
  const auto add = [&](const std::string& path) {
    struct stat status {};
    if (lstat(path.c_str(), &status) != 0) return;  // taken away already
    member.Parts.push_back({path, status.st_dev, status.st_ino});
    member.Bytes += static_cast<unsigned long>(status.st_size);
  };
  add(file.Path);
  if (!member.Parts.empty()) file.Size = member.Bytes;
  for (const std::string& path : beside) add(path);
  member.File = std::move(file);
  KeptBytes += member.Bytes;
  Files.push_back(std::move(member));
  Tell(SeriesEvent::Kind::Complete, Files.back().File);
  return Files.back().Bytes;
}

void KeptFiles::MakeRoom(unsigned long more) {
  if (Plan.KeepFiles)
    while (Files.size() > *Plan.KeepFiles) DeleteOldest();
  if (Plan.KeepSize)
    while (!Files.empty() && KeptBytes + more > *Plan.KeepSize) DeleteOldest();
}

/// The records go first: a description without them does no harm.
void KeptFiles::DeleteOldest() {
  const Member oldest = std::move(Files.front());
  Files.pop_front();
  KeptBytes -= oldest.Bytes;
  Fate fate = Fate::Gone;
  int error = 0;
  for (const Identity& part : oldest.Parts) {
    const Fate one = DeleteIf(part.Path, part.Device, part.Inode);
    if (one == Fate::Failed) error = errno;
    if (part.Path == oldest.File.Path) fate = one;
    if (fate != Fate::Deleted) break;  // what lies beside a file that stays, stays
  }
  if (fate == Fate::Deleted) {
    ++DeletedCount;
    BytesDeleted += oldest.Bytes;
    Tell(SeriesEvent::Kind::Deleted, oldest.File);
  } else if (fate == Fate::Gone) {
    Tell(SeriesEvent::Kind::Gone, oldest.File);
  } else {
    Sentence = fmt::format("\"{}\" should have been deleted for newer files: {}", oldest.File.Path, ErrnoText(error));
    Tell(SeriesEvent::Kind::Undeleted, oldest.File, ErrnoText(error));
  }
}

void KeptFiles::Tell(SeriesEvent::Kind what, const SeriesFile& file, const std::string& why) const {
  if (News) News({what, file, why});
}

std::vector<std::string> KeptFiles::Names() const {
  std::vector<std::string> names;
  names.reserve(Files.size());
  for (const Member& member : Files) names.push_back(member.File.Path);
  return names;
}

}  // namespace client
