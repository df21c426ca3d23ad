#include "export/ExportFile.h"

#include <algorithm>
#include <cstring>
#include <utility>

ExportFile::ExportFile(Qor_Trace_AscTarget* target)
    : Buffer(std::make_unique_for_overwrite<char[]>(kCapacity)), Target(target) {}

ExportFile::~ExportFile() { Close(); }

bool ExportFile::Open(const char* path) {
  if (!Failed()) Name = path;
  Start.reset();
  if (Target != nullptr) {
    Target->Begin(path);
    Start = 0;
    return TargetOpen = true;
  }
  File = FileDescriptor(path, O_WRONLY | O_CREAT | O_TRUNC);
  return IsOpen();
}

void ExportFile::Append(std::string_view text) {
  while (!text.empty()) {
    const size_t piece = std::min(text.size(), kCapacity);
    char* const place = Room(piece);
    std::memcpy(place, text.data(), piece);
    Commit(place + piece);
    text.remove_prefix(piece);
  }
}

std::optional<unsigned long> ExportFile::Position() {
  if (!Start) {
    const off_t place = lseek(File.Get(), 0, SEEK_CUR);
    if (place < 0) return std::nullopt;
    Start = static_cast<unsigned long>(place);
  }
  return *Start + Used;
}

bool ExportFile::Flush() {
  if (Used == 0) return !Failed();
  FirstError = Error();
  if (!Failed() && !WriteUsed()) FirstError = errno;
  Used = 0;
  return !Failed();
}

bool ExportFile::WriteUsed() {
  if (Target != nullptr) {
    Target->Write({Buffer.get(), Used});
    *Start += Used;
    return true;
  }
  Start.reset();
  return WriteAll(File.Get(), reinterpret_cast<const unsigned char*>(Buffer.get()), Used) == Used;
}

void ExportFile::Close() {
  Flush();
  if (std::exchange(TargetOpen, false)) Target->End();
  if (!File.Close() && !Failed()) FirstError = errno;
}
