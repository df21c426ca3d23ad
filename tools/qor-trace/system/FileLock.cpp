#include "system/FileLock.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>

namespace client {

namespace {

int Flock(int file, int operation) {
  int result = 0;
  do result = flock(file, operation);
  while (result != 0 && errno == EINTR);
  return result;
}

struct flock WholeFile() {
  struct flock lock {};
  lock.l_type = F_WRLCK;
  lock.l_whence = SEEK_SET;
  return lock;
}

}  // namespace

LockState TryLock(int file) {
  if (Flock(file, LOCK_EX | LOCK_NB) == 0) return LockState::Taken;
  return errno == EWOULDBLOCK ? LockState::Held : LockState::Unknown;
}

void LockWithName(int file) {
  if (Flock(file, LOCK_EX) != 0) return;
  // This one is released as soon as the process closes any descriptor of the file; but unlike the other, it names its
  // owner.
  struct flock name = WholeFile();
  fcntl(file, F_SETLK, &name);
}

bool IsLocked(int file) {
  if (Flock(file, LOCK_SH | LOCK_NB) != 0) return errno == EWOULDBLOCK;
  Flock(file, LOCK_UN);
  return false;
}

std::string HolderOf(int file) {
  struct flock lock = WholeFile();
  if (fcntl(file, F_GETLK, &lock) != 0 || lock.l_type == F_UNLCK || lock.l_pid <= 0) return "another process";
  return fmt::format("process {}", lock.l_pid);
}

}  // namespace client
