#include "outputs/BinFile.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "system/Failure.h"
#include "system/Units.h"

namespace client {

namespace {

constexpr std::size_t FlushSize = 1u << 20;

unsigned int LengthAt(const unsigned char* record) {
  unsigned int length = 0;
  std::memcpy(&length, record, sizeof length);
  return length;
}

struct Whole {
  std::size_t Bytes = 0;
  unsigned int Records = 0;
};

/// The whole records among the first `limit` bytes.
Whole WholeRecords(const std::vector<unsigned char>& buffer, std::size_t limit) {
  Whole whole;
  while (whole.Bytes < buffer.size()) {
    const std::size_t end = whole.Bytes + LengthAt(buffer.data() + whole.Bytes);
    if (end > limit) break;
    whole.Bytes = end;
    ++whole.Records;
  }
  return whole;
}

}  // namespace

BinWriter::BinWriter(const std::string& path) : File(path) { Buffer.reserve(FlushSize + 4096); }

BinWriter::~BinWriter() {
  if (!File.IsStandardOutput() && File.Usable()) Flush();
}

bool BinWriter::Take(const unsigned char* record, unsigned int length) {
  if (!File.Usable()) return false;
  Buffer.insert(Buffer.end(), record, record + length);
  ++Records;
  ++BufferedRecords;
  return Buffer.size() < FlushSize || Flush();
}

void BinWriter::Pause() {
  if (!File.Usable() || Buffer.empty()) return;
  const auto now = std::chrono::steady_clock::now();
  if (!File.IsStandardOutput() && now - Flushed < std::chrono::seconds(1)) return;
  Flush();
  Flushed = now;
}

bool BinWriter::Flush() {
  const std::size_t done = File.Write(Buffer.data(), Buffer.size());
  if (done < Buffer.size()) {
    Fail(errno, done);
    return false;
  }
  Written += Buffer.size();
  Buffer.clear();
  BufferedRecords = 0;
  return true;
}

void BinWriter::Fail(int error, std::size_t writtenOfBuffer) {
  const Whole whole = WholeRecords(Buffer, writtenOfBuffer);
  Records = Records - BufferedRecords + whole.Records;
  Written += whole.Bytes;
  Buffer.clear();
  BufferedRecords = 0;
  File.Fail(error, Written, Records, FormatCount(Records, "entry", "entries"));
}

bool BinWriter::Finish() { return File.Usable() && Flush() && File.Complete(); }

namespace {

/// Reads blocks of a file and cuts them into records.
class BinReader {
 public:
  explicit BinReader(const std::string& path) : Shown(path == "-" ? "standard input" : fmt::format("\"{}\"", path)) {
    File = path == "-" ? STDIN_FILENO : open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (File < 0) throw Failure(fmt::format("Cannot open {}: {}", Shown, ErrnoText(errno)));
  }
  ~BinReader() {
    if (File != STDIN_FILENO) close(File);
  }
  BinReader(const BinReader&) = delete;
  BinReader& operator=(const BinReader&) = delete;

  unsigned long ReadAll(EntrySink& sink) {
    unsigned long records = 0;
    while (Fill(EntryHeaderSize)) {
      const unsigned int length = LengthAt(Buffer.data() + Begin);
      if (length < EntryHeaderSize || length > LongestRecord) throw Damaged();
      if (!Fill(length)) throw Damaged();
      ++records;
      if (!sink.Take(Buffer.data() + Begin, length)) return records;
      Begin += length;
    }
    if (Begin < Buffer.size()) throw Damaged();
    return records;
  }

 private:
  // No interface gives longer ones: an item is at most 65535 bytes.
  static constexpr unsigned int LongestRecord = 28 + 65535;

  /// Makes `length` bytes ready from Begin on. False if the file ends before.
  bool Fill(std::size_t length) {
    while (Buffer.size() - Begin < length) {
      Buffer.erase(Buffer.begin(), Buffer.begin() + static_cast<std::ptrdiff_t>(Begin));
      Offset += std::exchange(Begin, 0);
      const std::size_t kept = Buffer.size();
      Buffer.resize(kept + FlushSize);
      const ssize_t got = ReadSome(Buffer.data() + kept);
      Buffer.resize(kept + static_cast<std::size_t>(got));
      if (got == 0) return false;
    }
    return true;
  }

  ssize_t ReadSome(unsigned char* target) {
    for (;;) {
      const ssize_t got = read(File, target, FlushSize);
      if (got >= 0) return got;
      if (errno != EINTR) throw Failure(fmt::format("Cannot read {}: {}", Shown, ErrnoText(errno)));
    }
  }

  Failure Damaged() const {
    return Failure(fmt::format("There is no whole record at byte {} of {}: is it a .bin file of this program?",
                               Offset + Begin, Shown));
  }

  const std::string Shown;
  int File = -1;
  std::vector<unsigned char> Buffer;
  std::size_t Begin = 0;     // of the next record in the buffer
  unsigned long Offset = 0;  // of the buffer in the file
};

}  // namespace

unsigned long ReadBin(const std::string& path, EntrySink& sink) { return BinReader(path).ReadAll(sink); }

}  // namespace client
