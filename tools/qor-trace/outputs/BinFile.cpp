#include "outputs/BinFile.h"

#include <cerrno>
#include <utility>

#include "system/Failure.h"
#include "system/Units.h"

namespace client {

namespace {

constexpr size_t kFlushSize = 1u << 20;

struct Whole {
  size_t Bytes = 0;
  unsigned int Records = 0;
};

/// The whole records among the first `limit` bytes.
Whole WholeRecords(const std::vector<unsigned char>& buffer, size_t limit) {
  Whole whole;
  while (whole.Bytes < buffer.size()) {
    const size_t end = whole.Bytes + RecordView::LengthAt(buffer.data() + whole.Bytes);
    if (end > limit) break;
    whole.Bytes = end;
    ++whole.Records;
  }
  return whole;
}

}  // namespace

BinWriter::BinWriter(const std::string& path) : File(path) { Buffer.reserve(kFlushSize + 4096); }

BinWriter::~BinWriter() {
  if (!File.IsStandardOutput() && File.Usable()) Flush();
}

bool BinWriter::Take(const RecordView& record) {
  if (!File.Usable()) return false;
  Buffer.insert(Buffer.end(), record.Bytes().begin(), record.Bytes().end());
  ++Records;
  ++BufferedRecords;
  return Buffer.size() < kFlushSize || Flush();
}

void BinWriter::Pause() {
  if (!File.Usable() || Buffer.empty()) return;
  if (File.IsStandardOutput() || FlushPace.IsDue()) Flush();
}

bool BinWriter::Flush() {
  const size_t done = File.Write(Buffer.data(), Buffer.size());
  if (done < Buffer.size()) {
    Fail(errno, done);
    return false;
  }
  Written += Buffer.size();
  Buffer.clear();
  BufferedRecords = 0;
  return true;
}

void BinWriter::Fail(int error, size_t writtenOfBuffer) {
  const Whole whole = WholeRecords(Buffer, writtenOfBuffer);
  Records = Records - BufferedRecords + whole.Records;
  Written += whole.Bytes;
  Buffer.clear();
  BufferedRecords = 0;
  File.Fail(error, Written, Records, FormatCount(Records, "entry", "entries"));
}

bool BinWriter::Finish() { return File.Usable() && Flush() && File.Complete(); }

}  // namespace client
