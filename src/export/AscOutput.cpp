#include "export/AscOutput.h"

#include <algorithm>
#include <cstring>

AscOutput::AscOutput() : Buffer(std::make_unique_for_overwrite<char[]>(kCapacity)) {}

AscOutput::~AscOutput() { Close(); }

bool AscOutput::Open(const char* path) {
  File = FileDescriptor(path, O_WRONLY | O_CREAT | O_TRUNC);
  Written = 0;
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

bool AscOutput::Flush() {
  if (Used == 0) return !Broken;
  if (!IsOpen()) Broken = true;
  if (!Broken && WriteAll(File.Get(), reinterpret_cast<const unsigned char*>(Buffer.get()), Used) < Used) Broken = true;
  Written += Used;
  Used = 0;
  return !Broken;
}

void AscOutput::Close() {
  Flush();
  if (!File.Close()) Broken = true;
}
