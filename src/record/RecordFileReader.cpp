#include "record/RecordFileReader.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace {

constexpr unsigned long kSmallestBlock = 4 * 1024;
constexpr unsigned long kFirstBlock = 64 * 1024;
constexpr unsigned long kLargestBlock = 128 * 1024;  // longer ones leave the caches nearest to the processor

}  // namespace

RecordFileReader::RecordFileReader(const std::string& name, Memory& memory)
    : RecordFileReader(FileDescriptor(name, O_RDONLY), memory) {}

RecordFileReader::RecordFileReader(FileDescriptor file, Memory& memory) : RecordFileReader(file.Get(), memory) {
  Owned = std::move(file);
}

RecordFileReader::RecordFileReader(int file, Memory& memory) : File(file), Block(memory), NextBlock(kFirstBlock) {
  if (IsOpen() && fstat(File, &OpenStatus) == 0) Size = static_cast<unsigned long>(OpenStatus.st_size);
}

void RecordFileReader::Expect(unsigned long bytes) { NextBlock = std::clamp(bytes, kSmallestBlock, kLargestBlock); }

void RecordFileReader::Skip(unsigned long count) {
  for (; count > 0; --count) {
    const unsigned int length = NextLength();
    if (length == 0) return;
    Position += length;
  }
}

unsigned int RecordFileReader::NextLength() {
  constexpr size_t kLengthField = sizeof(Qor_Trace_Entry_t::Length);
  if (Size < Position + kLengthField) return 0;
  if (Buffered() < kLengthField && (!Fill() || Buffered() < kLengthField)) return 0;
  const unsigned int length = RecordView::LengthAt(Block.data() + (Position - BlockStart));
  return length < RecordView::kHeader || length > Size - Position ? 0 : length;
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

/// Reads a block from the position on, of the file as it was at opening. Returns false at its end and on a read error.
bool RecordFileReader::Fill() {
  if (Block.size() < NextBlock) Block.resize(NextBlock);
  ssize_t got;
  do {
    got = pread(File, Block.data(), NextBlock, static_cast<off_t>(Position));
  } while (got < 0 && errno == EINTR);
  BlockStart = Position;
  BlockLength = got > 0 ? std::min(static_cast<unsigned long>(got), Size - std::min(Size, Position)) : 0;
  NextBlock = std::min(2 * NextBlock, kLargestBlock);
  return BlockLength > 0;
}
