#include "mdf/FileStream.h"

FileStream::FileStream() = default;

FileStream::FileStream(const std::string& path, openmode mode) : std::ofstream(path, mode) {}

FileStream::~FileStream() {
  try {
    if (is_open()) close();
  } catch (const std::ios_base::failure&) {
    // Asked for by the caller's exceptions(); failbit is set, and a destructor throws nothing.
  }
}
