#include "export/AscOutput.h"

#include <algorithm>
#include <cstring>

AscOutput::AscOutput() : Buffer(std::make_unique_for_overwrite<char[]>(kCapacity)) {}

AscOutput::~AscOutput() { Close(); }

bool AscOutput::Open(const char* path) {
  if (!Failed()) Name = path;
  Start.reset();
  File = FileDescriptor(path, O_WRONLY | O_CREAT | O_TRUNC);
  return IsOpen();
}

void AscOutput::Append(std::string_view text) {
  while (!text.empty()) {
    const size_t piece = std::min(text.size(), kCapacity);
    char* const place = Room(piece);
    std::memcpy(place, text.data(), piece);
    Commit(place + piece);
    text.remove_prefix(piece);
  }
}

std::optional<unsigned long> AscOutput::Position() {
  if (!Start) {
    const off_t place = lseek(File.Get(), 0, SEEK_CUR);
    if (place < 0) return std::nullopt;
    Start = static_cast<unsigned long>(place);
  }
  return *Start + Used;
}

bool AscOutput::Flush() {
  if (Used == 0) return !Failed();
  FirstError = Error();
  if (!Failed() && WriteAll(File.Get(), reinterpret_cast<const unsigned char*>(Buffer.get()), Used) < Used) {
    FirstError = errno;
  }
  Start.reset();
  Used = 0;
  return !Failed();
}

void AscOutput::Close() {
  Flush();
  if (!File.Close() && !Failed()) FirstError = errno;
}
