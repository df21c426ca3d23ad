// The client's reader of raw record files: it must return the records that the file holds whole and refuse any rest;
// written again, they must be the same file.
#include "Input.h"
#include "outputs/BinFile.h"
#include "support/TemporaryDirectory.h"
#include "system/Compression.h"
#include "system/Failure.h"
#include "tools/ClientEntries.h"
#include "tools/ReadBin.h"

namespace {

using fuzz::Require;
using test::Bytes;

constexpr size_t kShortest = 28;
constexpr size_t kLongest = 28 + 65535;

/// The bytes of the whole records that a file begins with.
Bytes WholeRecords(const Bytes& file, size_t& count) {
  size_t place = 0;
  for (count = 0; file.size() - place >= kShortest; ++count) {
    unsigned int length = 0;
    std::memcpy(&length, file.data() + place, sizeof length);
    if (length < kShortest || length > kLongest || length > file.size() - place) break;
    place += length;
  }
  return {file.begin(), file.begin() + static_cast<std::ptrdiff_t>(place)};
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const test::TemporaryDirectory directory;
  const Bytes file(data, data + size);
  if (client::CompressionOfBytes(file, false) != client::Compression::None)
    return 0;  // it is unpacked before it is read
  size_t count = 0;
  const Bytes whole = WholeRecords(file, count);
  test::WriteFile("in.bin", file);
  client::Collector records;
  bool damaged = false;
  try {
    Require(client::ReadBin("in.bin", records) == count, "the reader counts its records");
  } catch (const client::Failure&) {
    damaged = true;
  }
  Require(damaged == (whole.size() < file.size()), "a file is refused exactly when something is left over");
  Require(records.Records.size() == count, "all whole records are read");
  client::BinWriter writer("out.bin");
  for (const Bytes& record : records.Records) Require(client::Put(writer, record), "a record is written");
  Require(writer.Finish(), "the file is finished");
  Require(test::FileBytes("out.bin") == whole, "records written again give the same bytes");
  return 0;
}
