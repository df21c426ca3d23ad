#include "inputs/BinReader.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "stream/Description.h"

namespace client {

namespace {

constexpr size_t kBlockSize = 1u << 20;
constexpr int kLongestWait = 50;  // ms between two looks at whether to go on

// No interface delivers longer ones: an item is at most 65535 bytes.
constexpr unsigned int kLongestRecord = RecordView::kHeader + 65535;

}  // namespace

BinReader::BinReader(const std::string& path) : Shown(path == "-" ? "standard input" : fmt::format("\"{}\"", path)) {
  if (path != "-") Opened = Descriptor(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  File = path == "-" ? STDIN_FILENO : Opened.Get();
  if (File < 0) throw Failure(fmt::format("Cannot open {}: {}", Shown, ErrnoText(errno)));
  struct stat status {};
  Waits = fstat(File, &status) != 0 || !S_ISREG(status.st_mode);
  if (Waits) return;
  FileSize = static_cast<unsigned long>(status.st_size);
  if (!Fill(RecordView::kHeader, nullptr, {})) return;
  const unsigned int length = NextLength();
  if (Fill(length, nullptr, {})) Digest = DigestOf(Buffer.data() + Begin, length);
}

BinReader::End BinReader::ReadAll(RecordSink& sink, const GoOn& goOn) {
  while (Fill(RecordView::kHeader, &sink, goOn)) {
    const unsigned int length = NextLength();
    if (!Fill(length, &sink, goOn)) break;
    ++Count;
    if (!sink.Take(RecordView(Buffer.data() + Begin, length))) return End::Declined;
    Begin += length;
  }
  if (Stopped) return End::Stopped;
  if (Begin < Buffer.size()) throw Damaged();
  return End::Whole;
}

/// Makes `length` bytes ready from Begin on. False if the file ends before, or reading is to end.
bool BinReader::Fill(size_t length, RecordSink* sink, const GoOn& goOn) {
  while (Buffer.size() - Begin < length) {
    if (!WaitForBytes(sink, goOn)) return false;
    Buffer.erase(Buffer.begin(), Buffer.begin() + static_cast<std::ptrdiff_t>(Begin));
    Offset += std::exchange(Begin, 0);
    const size_t kept = Buffer.size();
    Buffer.resize(kept + kBlockSize);
    const size_t got = ReadSome(Buffer.data() + kept);
    Buffer.resize(kept + got);
    if (got == 0) return false;
  }
  return true;
}

bool BinReader::WaitForBytes(RecordSink* sink, const GoOn& goOn) {
  for (;;) {
    if (goOn && !goOn()) Stopped = true;
    if (Stopped) return false;
    pollfd input{File, POLLIN, 0};
    if (!Waits || poll(&input, 1, kLongestWait) != 0) return true;  // a failure shows at the read
    if (sink != nullptr) sink->Pause();
  }
}

size_t BinReader::ReadSome(unsigned char* target) {
  for (;;) {
    const ssize_t got = read(File, target, kBlockSize);
    if (got >= 0) return static_cast<size_t>(got);
    if (errno != EINTR) throw Failure(fmt::format("Cannot read {}: {}", Shown, ErrnoText(errno)));
  }
}

unsigned int BinReader::NextLength() const {
  const unsigned int length = RecordView::LengthAt(Buffer.data() + Begin);
  if (length < RecordView::kHeader || length > kLongestRecord) throw Damaged();
  return length;
}

Failure BinReader::Damaged() const {
  return Failure(fmt::format("There is no whole record at byte {} of {}: is it a .bin file of this program?",
                             Offset + Begin, Shown));
}

void RefuseWithoutRecords(const BinReader& reader, const std::string& path) {
  if (reader.Records() == 0 && path != "-") throw Failure(fmt::format("There are no records in \"{}\"", path));
}

}  // namespace client
