#include "monitor/SwapFile.h"

#include <cstdio>
#include <cstring>
#include <filesystem>

#include "internal/FileDescriptor.h"
#include "internal/Qor_Trace_Exception.h"
#include "internal/qor_internal.h"
#include "qor_api.h"
#include "record/Qor_Trace_Entry.h"

namespace {

constexpr unsigned int kRecordsPerPlace = 1024;
constexpr size_t kWriteBlock = 1024 * 1024;  // bytes

[[noreturn]] void Fail(const char* action, const std::string& name, int error) {
  throw Qor_Trace_Exception(QOR_ERROR_LEVEL_GENERAL, QOR_TRACE_STATUS_FILE_ERROR,
                            std::string("Cannot ") + action + " swap file: path=\"" + name + "\", errno=" +
                                std::to_string(error) + " (" + Qor_Internal_GetWindowsErrorDescription(error) + ")");
}

/// Whether a file is as it was left. An empty one always is.
bool Untouched(const struct stat& file, const struct stat& left) {
  if (file.st_size == 0 && left.st_size == 0) return true;
  return file.st_size == left.st_size && file.st_dev == left.st_dev && file.st_ino == left.st_ino &&
         file.st_mtim.tv_sec == left.st_mtim.tv_sec && file.st_mtim.tv_nsec == left.st_mtim.tv_nsec;
}

/// Copies the records of entries from number `first` on into an emptied block until it is full; at least one.
/// Returns the number behind the last one copied.
size_t Gather(const Qor_Trace_EntryStore& entries, size_t first, std::vector<unsigned char>& block) {
  block.clear();
  size_t next = first;
  while (next < entries.size()) {
    const auto& entry = *entries[next];
    const size_t place = block.size();
    if (place > 0 && place + entry.GetLength() > kWriteBlock) break;
    block.resize(place + entry.GetLength());
    entry.CopyTo(block.data() + place, static_cast<unsigned long>(entry.GetRelativeTimestamp()));
    ++next;
  }
  return next;
}

}  // namespace

void SwapFile::Append(const Qor_Trace_EntryStore& entries, unsigned int& written) {
  std::vector<unsigned char> block;
  block.reserve(kWriteBlock);
  // All memory is taken before the first byte is written: nothing may come between a record and its being counted.
  Places.reserve(Places.size() + entries.size() / kRecordsPerPlace + 1);
  FileDescriptor file(FileName, O_WRONLY | O_CREAT | O_APPEND);
  struct stat found {};
  if (!file.IsOpen() || fstat(file.Get(), &found) != 0) Fail("open", FileName, errno);
  Indexed = Indexed && Untouched(found, Left);

  auto end = static_cast<unsigned long>(found.st_size);  // of the last whole record
  int error = 0;
  for (size_t next = 0; next < entries.size() && error == 0;) {
    const size_t behind = Gather(entries, next, block);
    size_t reached = WriteAll(file.Get(), block.data(), block.size());
    if (reached < block.size()) error = errno;
    for (; next < behind && entries[next]->GetLength() <= reached; ++next) {
      if (Records % kRecordsPerPlace == 0) Places.push_back(end);
      const unsigned int length = entries[next]->GetLength();
      end += length;
      reached -= length;
      ++Records;
      ++written;
    }
  }
  // Should taking a cut record off fail as well, walks over the file end there.
  if (error != 0 && ftruncate(file.Get(), static_cast<off_t>(end)) != 0) Indexed = false;
  if (fstat(file.Get(), &Left) != 0) Indexed = false;
  if (!file.Close() && error == 0) error = errno;
  if (error != 0) Fail("write", FileName, error);
}

void SwapFile::Truncate() {
  FileDescriptor file(FileName, O_WRONLY | O_CREAT | O_TRUNC);
  if (!file.IsOpen() || !file.Close()) Fail("empty", FileName, errno);
  Places.clear();
  Records = 0;
  Left = {};
  Indexed = true;
}

bool SwapFile::CopyTo(const std::string& name) const {
  std::error_code error;
  std::filesystem::remove(name, error);  // an old copy must not pass for this one
  return std::filesystem::copy_file(FileName, name, error);
}

void SwapFile::Remove() const { std::remove(FileName.c_str()); }

RecordFileReader SwapFile::ReadFrom(unsigned int index) {
  RecordFileReader reader(FileName, ReadMemory);
  unsigned long known = 0;
  if (Indexed && Untouched(reader.Status(), Left) && index / kRecordsPerPlace < Places.size()) {
    known = index / kRecordsPerPlace;
    reader.Seek(Places[known]);
  }
  reader.Skip(index - known * kRecordsPerPlace);
  return reader;
}
