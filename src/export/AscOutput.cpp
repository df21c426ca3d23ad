#include "export/AscOutput.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

AscOutput::AscOutput() : Buffer(std::make_unique_for_overwrite<char[]>(kCapacity)) {}

AscOutput::~AscOutput() { Close(); }

bool AscOutput::Open(const char* path) {
  do {
    File = open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  } while (File < 0 && errno == EINTR);
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
  if (!Broken && !WriteAll(Buffer.get(), Used)) Broken = true;
  Written += Used;
  Used = 0;
  return !Broken;
}

bool AscOutput::WriteAll(const char* text, size_t bytes) {
  while (bytes != 0) {
    const ssize_t count = write(File, text, bytes);
    if (count < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    text += count;
    bytes -= static_cast<size_t>(count);
  }
  return true;
}

void AscOutput::Close() {
  Flush();
  if (!IsOpen()) return;
  // An interrupted close has closed the file all the same.
  if (close(File) != 0 && errno != EINTR) Broken = true;
  File = -1;
}
