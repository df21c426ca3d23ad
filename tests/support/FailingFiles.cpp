#include "support/FailingFiles.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

std::atomic<bool> Armed = false;
std::atomic<bool> ForEver = false;
std::atomic<bool> Halved = false;
std::atomic<bool> Emptied = false;
std::atomic<bool> Ending = false;
std::atomic<unsigned long> Count = 0;
std::atomic<unsigned long> FailAt = 0;
std::atomic<const char*> FailOnly = nullptr;  // calls of this name
std::atomic<const char*> FirstFailed = nullptr;
std::atomic<void (*)(int)> Watcher = nullptr;  // of files that are synchronized

/// Whether this call, one more of them, is to fail.
bool MustFail(const char* call) {
  if (!Armed) return false;
  const char* only = FailOnly;
  if (only != nullptr && std::strcmp(only, call) != 0) return false;
  const unsigned long number = ++Count;
  if (number < FailAt || (number > FailAt && !ForEver)) return false;
  if (Ending) _exit(test::FailingFiles::kEnded);
  const char* none = nullptr;
  FirstFailed.compare_exchange_strong(none, call);
  return true;
}

/// Must this call be refused? Then errno says why.
bool Refuses(const char* call) {
  if (!MustFail(call) || Halved || Emptied) return false;
  errno = ENOSPC;
  return true;
}

/// The function of the same name in the next library.
template <class Function>
Function* Next(Function*, const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

void TellWatcher(int file) {
  if (void (*const watcher)(int) = Watcher; watcher != nullptr) watcher(file);
}

bool IsStandard(int file) { return file <= STDERR_FILENO; }

/// What a read or write of `size` bytes may do: all, half, or, refused, nothing.
struct Share {
  bool Refused;
  size_t Size;
};
Share ShareOf(const char* call, int file, size_t size) {
  if (IsStandard(file) || !MustFail(call)) return {false, size};
  if (Halved) return {false, (size + 1) / 2};
  if (Emptied) return {false, 0};
  errno = ENOSPC;
  return {true, 0};
}

}  // namespace

test::FailingFiles::FailingFiles(const char* call, Duration duration) : FailingFiles(call, 1, Refused, duration) {}

test::FailingFiles::FailingFiles(unsigned long number, How how, Duration duration)
    : FailingFiles(nullptr, number, how, duration) {}

test::FailingFiles::FailingFiles(const char* call, unsigned long number, How how, Duration duration) {
  Halved = how == Short;
  Emptied = how == Empty;
  Ending = how == Ends;
  ForEver = duration == FromThenOn;
  FailOnly = call;
  Count = 0;
  FailAt = number;
  FirstFailed = nullptr;
  Armed = true;
}

test::FailingFiles::~FailingFiles() {
  Armed = false;
  FailOnly = nullptr;
}

void test::FailingFiles::WatchSynchronizing(void (*watcher)(int file)) { Watcher = watcher; }

bool test::FailingFiles::HasFailed() const { return FirstFailed != nullptr; }

std::string test::FailingFiles::What() const { return HasFailed() ? FirstFailed.load() : ""; }

// ---- What is taken over. Each passes on to the function that it replaces.

#pragma GCC visibility push(default)  // the C++ library has to find them as well

extern "C" {

int open(const char* path, int flags, ...) {
  static const auto next = Next(&open, "open");
  va_list arguments;
  va_start(arguments, flags);
  const auto mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : mode_t{0};
  va_end(arguments);
  return Refuses("open") ? -1 : next(path, flags, mode);
}

FILE* fopen64(const char* path, const char* mode) {
  static const auto next = Next(&fopen64, "fopen64");
  return Refuses("fopen") ? nullptr : next(path, mode);
}

int close(int file) {
  static const auto next = Next(&close, "close");
  const bool refused = !IsStandard(file) && Refuses("close");
  const int result = next(file);
  if (!refused) return result;
  errno = ENOSPC;
  return -1;
}

int fclose(FILE* file) {
  static const auto next = Next(&fclose, "fclose");
  const bool refused = Refuses("fclose");
  const int result = next(file);
  if (!refused) return result;
  errno = ENOSPC;
  return EOF;
}

ssize_t write(int file, const void* bytes, size_t size) {
  static const auto next = Next(&write, "write");
  const auto share = ShareOf("write", file, size);
  return share.Refused ? -1 : next(file, bytes, share.Size);
}

ssize_t pwrite(int file, const void* bytes, size_t size, off_t offset) {
  static const auto next = Next(&pwrite, "pwrite");
  const auto share = ShareOf("pwrite", file, size);
  return share.Refused ? -1 : next(file, bytes, share.Size, offset);
}

ssize_t writev(int file, const iovec* parts, int count) {
  static const auto next = Next(&writev, "writev");
  const auto share = ShareOf("writev", file, parts[0].iov_len);
  if (share.Refused) return -1;
  return share.Size < parts[0].iov_len ? write(file, parts[0].iov_base, share.Size) : next(file, parts, count);
}

ssize_t read(int file, void* bytes, size_t size) {
  static const auto next = Next(&read, "read");
  const auto share = ShareOf("read", file, size);
  return share.Refused ? -1 : next(file, bytes, share.Size);
}

ssize_t pread(int file, void* bytes, size_t size, off_t offset) {
  static const auto next = Next(&pread, "pread");
  const auto share = ShareOf("pread", file, size);
  return share.Refused ? -1 : next(file, bytes, share.Size, offset);
}

ssize_t sendfile(int out, int in, off_t* offset, size_t size) {
  static const auto next = Next(&sendfile, "sendfile");
  const auto share = ShareOf("sendfile", out, size);
  return share.Refused ? -1 : next(out, in, offset, share.Size);
}

off64_t lseek64(int file, off64_t offset, int from) noexcept {
  static const auto next = Next(&lseek64, "lseek64");
  return Refuses("lseek") ? -1 : next(file, offset, from);
}

off_t lseek(int file, off_t offset, int from) noexcept {
  static const auto next = Next(&lseek, "lseek");
  return Refuses("lseek") ? -1 : next(file, offset, from);
}

int fstat(int file, struct stat* status) noexcept {
  static const auto next = Next(&fstat, "fstat");
  return !IsStandard(file) && Refuses("fstat") ? -1 : next(file, status);
}

int ftruncate(int file, off_t size) noexcept {
  static const auto next = Next(&ftruncate, "ftruncate");
  return Refuses("ftruncate") ? -1 : next(file, size);
}

int rename(const char* from, const char* to) noexcept {
  static const auto next = Next(&rename, "rename");
  return Refuses("rename") ? -1 : next(from, to);
}

int linkat(int fromFolder, const char* from, int toFolder, const char* to, int flags) noexcept {
  static const auto next = Next(&linkat, "linkat");
  return Refuses("linkat") ? -1 : next(fromFolder, from, toFolder, to, flags);
}

int mkostemp64(char* path, int flags) {
  static const auto next = Next(&mkostemp64, "mkostemp64");
  return Refuses("mkostemp") ? -1 : next(path, flags);
}

int mkostemp(char* path, int flags) {
  static const auto next = Next(&mkostemp, "mkostemp");
  return Refuses("mkostemp") ? -1 : next(path, flags);
}

int renameat2(int fromFolder, const char* from, int toFolder, const char* to, unsigned int flags) noexcept {
  static const auto next = Next(&renameat2, "renameat2");
  return Refuses("renameat2") ? -1 : next(fromFolder, from, toFolder, to, flags);
}

int fsync(int file) {
  static const auto next = Next(&fsync, "fsync");
  TellWatcher(file);
  return Refuses("fsync") ? -1 : next(file);
}

int fdatasync(int file) {
  static const auto next = Next(&fdatasync, "fdatasync");
  TellWatcher(file);
  return Refuses("fdatasync") ? -1 : next(file);
}

int flock(int file, int operation) noexcept {
  static const auto next = Next(&flock, "flock");
  return Refuses("flock") ? -1 : next(file, operation);
}

int unlink(const char* path) noexcept {
  static const auto next = Next(&unlink, "unlink");
  return Refuses("unlink") ? -1 : next(path);
}

int remove(const char* path) noexcept {
  static const auto next = Next(&remove, "remove");
  return Refuses("remove") ? -1 : next(path);
}

}  // extern "C"

#pragma GCC visibility pop
