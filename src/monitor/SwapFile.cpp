#include "monitor/SwapFile.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "internal/Qor_Trace_Exception.h"
#include "internal/qor_internal.h"
#include "qor_api.h"
#include "record/Qor_Trace_Entry.h"

namespace {

constexpr unsigned int kRecordsPerPlace = 64;
constexpr unsigned long kTypicalRecord = 64;  // bytes
constexpr size_t kWriteBlock = 256 * 1024;    // bytes

[[noreturn]] void Fail(const char* action, const std::string& name, int error) {
  throw Qor_Trace_Exception(QOR_ERROR_LEVEL_GENERAL, QOR_TRACE_STATUS_FILE_ERROR,
                            std::string("Cannot ") + action + " swap file: path=\"" + name + "\", errno=" +
                                std::to_string(error) + " (" + Qor_Internal_GetWindowsErrorDescription(error) + ")");
}

/// Without O_NONBLOCK, opening a FIFO would wait for its other end.
constexpr int kNoTraps = O_NOFOLLOW | O_NONBLOCK;

/// Is the file as it was left? An empty one always is.
bool Untouched(const struct stat& file, const struct stat& left) {
  if (file.st_size == 0 && left.st_size == 0) return true;
  return file.st_size == left.st_size && file.st_dev == left.st_dev && file.st_ino == left.st_ino &&
         file.st_mtim.tv_sec == left.st_mtim.tv_sec && file.st_mtim.tv_nsec == left.st_mtim.tv_nsec;
}

/// Copies records from `next` on into an emptied block until it is full; at least one. Leaves `next` after the last one.
void Gather(Qor_Trace_EntryStore::const_iterator& next, const Qor_Trace_EntryStore::const_iterator& end,
            std::vector<unsigned char>& block) {
  for (block.clear(); next != end && (block.empty() || block.size() + next->Length <= kWriteBlock); ++next) {
    const auto* const record = reinterpret_cast<const unsigned char*>(&*next);
    block.insert(block.end(), record, record + next->Length);
  }
}

}  // namespace

/// Opens the file, which may be another user's, put there under our name.
FileDescriptor SwapFile::Open(int flags) const {
  FileDescriptor file(FileName, flags | kNoTraps, S_IRUSR | S_IWUSR);
  struct stat found {};
  if (!file.IsOpen() || (fstat(file.Get(), &found) == 0 && S_ISREG(found.st_mode) && IsOurs(found))) return file;
  file = FileDescriptor();
  errno = EPERM;
  return file;
}

/// The superuser's files count as ours: on file systems without owners, often all files are.
bool SwapFile::IsOurs(const struct stat& file) const {
  return file.st_uid == geteuid() || file.st_uid == Owner || file.st_uid == 0;
}

FileDescriptor SwapFile::OpenOrMake() {
  FileDescriptor file(FileName, O_WRONLY | O_APPEND | O_CREAT | O_EXCL, S_IRUSR | S_IWUSR);
  if (!file.IsOpen()) return errno == EEXIST ? Open(O_WRONLY | O_APPEND | O_CREAT) : std::move(file);
  struct stat made {};
  if (fstat(file.Get(), &made) == 0) Owner = made.st_uid;
  return file;
}

void SwapFile::Append(const Qor_Trace_EntryStore& entries, size_t first, size_t count, unsigned int& written) {
  Block.reserve(kWriteBlock);
  // All memory is taken before the first byte is written: nothing may come between a record and its being counted.
  const size_t places = Places.size() + count / kRecordsPerPlace + 1;
  if (places > Places.capacity()) Places.reserve(std::max(places, 2 * Places.capacity()));
  FileDescriptor file = OpenOrMake();
  struct stat found {};
  if (!file.IsOpen() || fstat(file.Get(), &found) != 0) Fail("open", FileName, errno);
  Indexed = Indexed && Untouched(found, Left);

  auto end = static_cast<unsigned long>(found.st_size);  // of the last whole record
  int error = 0;
  const auto last = entries.From(first + count);
  for (auto next = entries.From(first); next != last && error == 0;) {
    auto counted = next;
    Gather(next, last, Block);
    size_t reached = WriteAll(file.Get(), Block.data(), Block.size());
    if (reached < Block.size()) error = errno;
    for (; counted != next && counted->Length <= reached; ++counted) {
      if (Records % kRecordsPerPlace == 0) Places.push_back(end);
      end += counted->Length;
      reached -= counted->Length;
      ++Records;
      ++written;
    }
  }
  // If a record that was cut short can't be removed either, walks over the file end there.
  if (error != 0 && ftruncate(file.Get(), static_cast<off_t>(end)) != 0) Indexed = false;
  if (fstat(file.Get(), &Left) != 0) Indexed = false;
  if (!file.Close() && error == 0) error = errno;
  if (error != 0) Fail("write", FileName, error);
}

FileDescriptor SwapFile::BeginAnew() {
  FileDescriptor old = Open(O_RDONLY);
  std::string newName = FileName + ".XXXXXX";
  FileDescriptor made(mkostemp(newName.data(), O_CLOEXEC));  // 0600
  struct stat status {};
  if (!made.IsOpen()) Fail("empty", FileName, errno);
  if (fstat(made.Get(), &status) != 0 || !made.Close() || std::rename(newName.c_str(), FileName.c_str()) != 0) {
    const int error = errno;
    std::remove(newName.c_str());
    Fail("empty", FileName, error);
  }
  Owner = status.st_uid;
  Places.clear();
  Records = 0;
  Left = {};
  Indexed = true;
  return old;
}

SwapSnapshot SwapFile::Snapshot() const {
  SwapSnapshot snapshot{Open(O_RDONLY)};
  struct stat found {};
  if (snapshot.File.IsOpen() && fstat(snapshot.File.Get(), &found) == 0) snapshot.Size = found.st_size;
  return snapshot;
}

void SwapSnapshot::MakeCopy(const std::string& name) const {
  std::remove(name.c_str());
  if (!File.IsOpen()) return;
  // By its descriptor: the swap file's name may stand for a newer file by now.
  const std::string self = "/proc/self/fd/" + std::to_string(File.Get());
  if (linkat(AT_FDCWD, self.c_str(), AT_FDCWD, name.c_str(), AT_SYMLINK_FOLLOW) == 0) return;
  if (errno != EEXIST) CopyBytes(name);  // else another export has been quicker
}

void SwapSnapshot::CopyBytes(const std::string& name) const {
  const FileDescriptor copy(name, O_WRONLY | O_CREAT | O_EXCL, S_IRUSR | S_IWUSR);  // O_EXCL follows no link
  std::vector<unsigned char> block(kWriteBlock);
  for (off_t done = 0; copy.IsOpen() && done < Size;) {
    const size_t wanted = std::min(kWriteBlock, static_cast<size_t>(Size - done));
    const ssize_t got = pread(File.Get(), block.data(), wanted, done);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0 || WriteAll(copy.Get(), block.data(), static_cast<size_t>(got)) < static_cast<size_t>(got)) return;
    done += got;
  }
}

void SwapFile::Remove() const { std::remove(FileName.c_str()); }

RecordFileReader SwapFile::ReadFrom(unsigned int index, unsigned int count) {
  RecordFileReader reader(Open(O_RDONLY), Block);
  unsigned long known = 0;
  reader.Expect((kRecordsPerPlace + static_cast<unsigned long>(count)) * kTypicalRecord);
  if (Indexed && Untouched(reader.Status(), Left) && index / kRecordsPerPlace < Places.size()) {
    known = index / kRecordsPerPlace;
    reader.Seek(Places[known]);
  }
  reader.Skip(index - known * kRecordsPerPlace);
  return reader;
}
