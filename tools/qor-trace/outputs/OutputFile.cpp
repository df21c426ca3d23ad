#include "outputs/OutputFile.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>

#include "system/Failure.h"

namespace client {

namespace {

std::optional<PartFile> Claim(const std::string& path) {
  if (path.empty()) return std::nullopt;
  return PartFile(path);
}

}  // namespace

OutputFile::OutputFile(const std::string& path)
    : Name(path), Part(Claim(path)), File(Part ? Part->File() : STDOUT_FILENO) {
  const Compression kind = CompressionOf(path);
  if (kind != Compression::None) Packed = std::make_unique<PackedFile>(File, kind);
}

OutputFile::~OutputFile() {
  Packed.reset();  // writes what it has
  if (Part && !Worth) Part->Discard();
}

size_t OutputFile::Write(const unsigned char* bytes, size_t size) {
  const size_t done = Packed ? Packed->Write(bytes, size) : WriteAll(File, bytes, size);
  Worth = Worth || done > 0;
  WrittenBytes += done;
  return done;
}

void OutputFile::Fail(int error, unsigned long wholeBytes, unsigned long count, const std::string& whole) {
  Gone = Name.empty() && error == EPIPE;
  if (Gone) return;
  if (Name.empty()) {
    Sentence = fmt::format("Cannot write to standard output: {}", ErrnoText(error));
    return;
  }
  if (Packed) {
    Packed.reset();
    Sentence = fmt::format("Cannot write \"{}\": {}. What was packed before that is in \"{}\"", Name, ErrnoText(error),
                           Part->PartName());
    return;
  }
  if (wholeBytes == 0) {
    Sentence = fmt::format("Cannot write \"{}\": {}", Name, ErrnoText(error));
    Worth = false;
    return;
  }
  const bool cut = ftruncate(File, static_cast<off_t>(wholeBytes)) == 0;
  Sentence =
      fmt::format("Cannot write \"{}\": {}. The {} before that {} in \"{}\"{}", Name, ErrnoText(error), whole,
                  count == 1 ? "is" : "are", Part->PartName(), cut ? "" : ", followed by a part of the next one");
}

void OutputFile::AddTo(std::vector<WrittenFile>& files) {
  if (!Part || !Usable()) return;
  files.push_back(Part->Written());
  if (Packed) files.back().HandedOver = Packed->Flush();
}

void OutputFile::FailToKeep(int error) {
  Packed.reset();
  Sentence = fmt::format("Cannot put \"{}\" on the disk: {}. What the disk has kept is in \"{}\"", Name,
                         ErrnoText(error), Part->PartName());
}

bool OutputFile::Complete(const std::function<std::string()>& beforeNaming) {
  if (!Usable()) return false;
  if (!Part) return true;
  Worth = true;  // even as an empty recording
  if (Packed && !Packed->End()) {
    Fail(errno, 0, 0, "");
    return false;
  }
  Sentence = Part->Complete(Previous, beforeNaming);
  return Sentence.empty();
}

}  // namespace client
