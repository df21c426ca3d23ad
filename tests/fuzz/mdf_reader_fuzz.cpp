// The client's reader of measurement files: whatever the file says, it comes to an end, its records are well formed and can
// be written, and the same file gives the same records. What can't be read is a failure with a sentence.
#include "Input.h"
#include "inputs/MdfReader.h"
#include "outputs/BinFile.h"
#include "support/TemporaryDirectory.h"
#include "system/Failure.h"
#include "tools/ClientEntries.h"
#include "tools/ReadBin.h"

namespace {

using fuzz::Require;
using test::Bytes;

constexpr std::size_t kMostRecords = 20000;  // a packed block of the longest inputs may hold millions of them

std::vector<Bytes> RecordsOf(const char* path) {
  client::Collector records;
  records.Limit = kMostRecords;
  try {
    client::MdfReader reader(path);
    (void)client::ReadAll(reader, records);
    Require(reader.Records() == records.Records.size(), "the reader counts its records");
    for (const auto& channel : reader.Describe().Channels) Require(channel.Number != 0, "channels count from 1");
  } catch (const client::Failure& failure) {
    Require(*failure.what() != '\0', "a failure has a sentence");
  }
  return records.Records;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const test::TemporaryDirectory directory;
  test::WriteFile("in.mf4", Bytes(data, data + size));
  const std::vector<Bytes> records = RecordsOf("in.mf4");
  for (const Bytes& record : records) {
    Require(client::ViewOf(record).IsWellFormed(), "a record is well formed");
    Require(client::ViewOf(record).Kind() != RecordKind::Unknown, "a record is of a known kind");
  }
  Require(RecordsOf("in.mf4") == records, "the same file gives the same records");
  client::BinWriter writer("out.bin");
  for (const Bytes& record : records) Require(client::Put(writer, record), "a record is written");
  Require(writer.Finish(), "the file is finished");
  client::Collector again;
  Require(client::ReadBin("out.bin", again) == records.size(), "what was written can be read");
  Require(again.Records == records, "records written again are the same");
  return 0;
}
