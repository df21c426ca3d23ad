#include "record/RecordFileReader.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace {

constexpr unsigned long kFirstBlock = 64 * 1024;
constexpr unsigned long kLargestBlock = 256 * 1024;
constexpr unsigned int kShortestRecord = 28;  // an entry's header

}  // namespace

RecordFileReader::RecordFileReader(const std::string& name, Memory& memory)
    : RecordFileReader(FileDescriptor(name, O_RDONLY), memory) {}

RecordFileReader::RecordFileReader(FileDescriptor file, Memory& memory) : RecordFileReader(file.Get(), memory) {
  Owned = std::move(file);
}

RecordFileReader::RecordFileReader(int file, Memory& memory) : File(file), Block(memory), NextBlock(kFirstBlock) {
  if (IsOpen() && fstat(File, &OpenStatus) == 0) Size = static_cast<unsigned long>(OpenStatus.st_size);
}

void RecordFileReader::Skip(unsigned long count) {
  for (; count > 0; --count) {
    const unsigned int length = NextLength();
    if (length == 0) return;
    Position += length;
  }
}

unsigned int RecordFileReader::NextLength() {
  unsigned int length = 0;
  if (Size < Position + sizeof length) return 0;
  if (Buffered() < sizeof length && (!Fill() || Buffered() < sizeof length)) return 0;
  std::memcpy(&length, Block.data() + (Position - BlockStart), sizeof length);
  return length < kShortestRecord || length > Size - Position ? 0 : length;
}

bool RecordFileReader::Read(unsigned char* out, unsigned int length) {
  while (length > 0) {
    if (Buffered() == 0 && !Fill()) {
      Size = Position;
      return false;
    }
    const auto part = static_cast<unsigned int>(std::min<unsigned long>(length, Buffered()));
    std::memcpy(out, Block.data() + (Position - BlockStart), part);
    out += part;
    length -= part;
    Position += part;
  }
  return true;
}

/// Bytes that the block holds from the position on.
unsigned long RecordFileReader::Buffered() const {
  return Position >= BlockStart && Position < BlockStart + BlockLength ? BlockStart + BlockLength - Position : 0;
}

/// Reads a block from the position on. Returns false at the end of the file and on a read error.
bool RecordFileReader::Fill() {
  if (Block.size() < NextBlock) Block.resize(NextBlock);
  ssize_t got;
  do {
    got = pread(File, Block.data(), NextBlock, static_cast<off_t>(Position));
  } while (got < 0 && errno == EINTR);
  BlockStart = Position;
  BlockLength = got > 0 ? static_cast<unsigned long>(got) : 0;
  NextBlock = std::min(2 * NextBlock, kLargestBlock);
  return BlockLength > 0;
}
