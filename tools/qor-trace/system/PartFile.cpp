#include "system/PartFile.h"

#include <fcntl.h>
#include <fmt/format.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <utility>

#include "system/Failure.h"
#include "system/FileLock.h"

namespace client {

namespace {

Descriptor OpenToLook(const std::string& name) {
  return Descriptor(open(name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
}

Failure InUse(const std::string& name, int file) {
  return Failure(fmt::format("Cannot write \"{}\": {} is writing it; wait for it to end, or choose another name", name,
                             HolderOf(file)));
}

Failure PartExists(const std::string& name, const std::string& partName) {
  const Descriptor part = OpenToLook(partName);
  if (part.IsOpen() && IsLocked(part.Get())) return InUse(name, part.Get());
  if (!part.IsOpen() && errno == ELOOP)
    return Failure(fmt::format("Cannot write \"{}\": \"{}\" is a symbolic link; remove it", name, partName));
  return Failure(
      fmt::format("Cannot write \"{}\": \"{}\" is left over from a run that was cut off; rename it to keep what it "
                  "holds, or remove it",
                  name, partName));
}

/// The file is on its way no longer, but its series may be.
void RefuseIfLocked(const std::string& name) {
  const Descriptor file = OpenToLook(name);
  if (file.IsOpen() && IsLocked(file.Get())) throw InUse(name, file.Get());
}

/// Where the file system can't rename without replacing, a second name does it.
int RenameWithoutReplacing(const std::string& from, const std::string& to) {
  if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return 0;
  if (errno != EINVAL && errno != ENOSYS) return -1;
  if (link(from.c_str(), to.c_str()) != 0) return -1;
  return unlink(from.c_str());
}

/// A disk may report only now that it could not keep what it accepted.
int Synchronize(int file) {
  if (fsync(file) == 0 || errno == EINVAL || errno == EROFS) return 0;
  return errno;
}

}  // namespace

PartFile::PartFile(std::string name, std::string partName)
    : CompleteName(std::move(name)), TemporaryName(std::move(partName)) {
  Descriptor made(open(TemporaryName.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666));
  if (!made.IsOpen() && errno == EEXIST) throw PartExists(CompleteName, TemporaryName);
  if (!made.IsOpen()) throw Failure(fmt::format("Cannot write \"{}\": {}", TemporaryName, ErrnoText(errno)));
  Part = std::make_shared<const Descriptor>(std::move(made));
  LockWithName(File());
  try {
    RefuseIfLocked(CompleteName);
  } catch (const Failure&) {
    Discard();
    throw;
  }
}

WrittenFile PartFile::Written() const {
  const std::filesystem::path folder = std::filesystem::path(TemporaryName).parent_path();
  return {Part, folder.empty() ? "." : folder.string(), {}};
}

std::string PartFile::WhyNot(const char* action, int error) const {
  return fmt::format("Cannot {} \"{}\": {}. Its contents are in \"{}\"", action, CompleteName, ErrnoText(error),
                     TemporaryName);
}

std::string PartFile::Complete(Existing existing, const std::function<std::string()>& beforeNaming) {
  if (const int error = Synchronize(File()); error != 0) return WhyNot("complete", error);
  if (!IsNamed(TemporaryName, File()))
    return fmt::format("Cannot name \"{}\": somebody has removed or replaced \"{}\"", CompleteName, TemporaryName);
  if (std::string why = beforeNaming(); !why.empty()) return why;
  const int renamed = existing == Existing::Kept ? RenameWithoutReplacing(TemporaryName, CompleteName)
                                                 : std::rename(TemporaryName.c_str(), CompleteName.c_str());
  if (renamed != 0) return WhyNot("name", errno);
  LockWithName(File());  // a writer that closed its own descriptor of the file has released the lock with the name
  return "";
}

void PartFile::Discard() {
  if (Part && IsNamed(TemporaryName, File())) std::remove(TemporaryName.c_str());
  Part.reset();
}

}  // namespace client
