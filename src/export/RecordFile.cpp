#include "export/RecordFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace {

constexpr size_t kBlock = size_t{1} << 20;

}  // namespace

RecordFile::RecordFile(const std::string& path) : File(-1), Block(kBlock) {
  do {
    File = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  } while (File < 0 && errno == EINTR);
}

RecordFile::~RecordFile() {
  if (File >= 0) close(File);
}

const Qor_Trace_Entry_t* RecordFile::Next() {
  unsigned int length = 0;
  if (!Fill(sizeof length)) return nullptr;
  std::memcpy(&length, Block.data() + Begin, sizeof length);
  if (length < kEntryPayload || !Fill(length)) return nullptr;
  const unsigned char* record = Block.data() + Begin;
  Begin += length;
  return reinterpret_cast<const Qor_Trace_Entry_t*>(record);
}

/// Has `bytes` bytes ready from Begin on; false if the file ends before.
bool RecordFile::Fill(size_t bytes) {
  while (End - Begin < bytes) {
    if (!ReadMore()) return false;
  }
  return true;
}

/// Reads into what is free of the block once the bytes that are left have moved to its front; only a block that is full
/// of one unfinished record grows.
bool RecordFile::ReadMore() {
  if (File < 0) return false;
  std::copy(Block.begin() + static_cast<std::ptrdiff_t>(Begin), Block.begin() + static_cast<std::ptrdiff_t>(End),
            Block.begin());
  End -= Begin;
  Begin = 0;
  if (End == Block.size()) Block.resize(2 * Block.size());
  ssize_t count;
  do {
    count = read(File, Block.data() + End, Block.size() - End);
  } while (count < 0 && errno == EINTR);
  if (count <= 0) return false;
  End += static_cast<size_t>(count);
  return true;
}
