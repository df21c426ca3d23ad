#include "outputs/LineFile.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "system/Units.h"

namespace client {

LineFile::LineFile(const std::string& path) : File(path), Buffer(new char[kCapacity]) {}

LineFile::~LineFile() {
  if (!File.IsStandardOutput() && Lines() > 0) Flush();
}

void LineFile::AddHeader(std::string_view text) {
  std::memcpy(Room(text.size()), text.data(), text.size());
  Used += text.size();
  HeaderIsBuffered = true;
}

void LineFile::Pause() {
  if (BufferedLines > 0 && (File.IsStandardOutput() || FlushPace.IsDue())) Flush();
}

void LineFile::WriteOut(std::vector<WrittenFile>& files) {
  if (BufferedLines > 0) Flush();
  FlushPace.Restart();
  File.AddTo(files);
}

bool LineFile::Finish() {
  Flush();
  return File.Complete();
}

void LineFile::Flush() {
  if (File.Usable()) {
    const size_t done = File.Write(reinterpret_cast<const unsigned char*>(Buffer.get()), Used);
    if (done < Used) return Fail(errno, done);
    Written += Used;
    WrittenLines += BufferedLines;
    HeaderIsBuffered = false;
  }
  Used = 0;
  BufferedLines = 0;
}

void LineFile::Fail(int error, size_t writtenOfBuffer) {
  const std::string_view text(Buffer.get(), writtenOfBuffer);
  const std::string_view whole = text.substr(0, text.rfind('\n') + 1);  // nothing without a newline
  auto lines = static_cast<unsigned long>(std::count(whole.begin(), whole.end(), '\n'));
  if (HeaderIsBuffered && lines > 0) --lines;
  WrittenLines += lines;
  Written = WrittenLines == 0 ? 0 : Written + whole.size();
  Used = 0;
  BufferedLines = 0;
  File.Fail(error, Written, WrittenLines, FormatCount(WrittenLines, "line", "lines"));
}

}  // namespace client
