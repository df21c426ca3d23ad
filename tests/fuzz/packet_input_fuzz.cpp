// The client's readers of pcap and pcapng files, over any bytes: they must end, hand out records that views can look at, and
// read back what the client's writer makes of these.
#include <fcntl.h>
#include <unistd.h>

#include "Input.h"
#include "inputs/Inputs.h"
#include "outputs/BinFile.h"
#include "outputs/PcapngWriter.h"
#include "support/TemporaryDirectory.h"
#include "system/Failure.h"
#include "tools/ClientEntries.h"

namespace {

using client::Bytes;
using fuzz::Require;

/// The records of a file, up to where it can't be read.
std::vector<Bytes> RecordsOf(const char* name, bool mayFail) {
  client::Collector records;
  try {
    const auto reader = client::OpenInput(name);
    try {
      (void)ReadAll(*reader, records);
    } catch (const client::Failure&) {
      Require(mayFail, "what was written is read");
    }
    Require(reader->Records() == records.Records.size(), "the reader counts its records");
    (void)reader->Describe();
  } catch (const client::Failure&) {
    Require(mayFail, "what was written is opened");
  }
  return records.Records;
}

void WriteCapture(const std::vector<Bytes>& records) {
  const int file = open("written", O_WRONLY | O_CREAT | O_TRUNC, 0666);
  client::DescriptorSink sink(file);
  client::PcapngWriter writer(sink);
  for (const Bytes& record : records) Require(writer.Take(client::ViewOf(record)), "a record is written");
  Require(writer.Finish(), "the file is finished");
  close(file);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const test::TemporaryDirectory directory;
  test::WriteFile("in", Bytes(data, data + size));
  const auto records = RecordsOf("in", true);
  for (const Bytes& record : records)
    Require(RecordView::LengthAt(record.data()) == record.size(), "a record states its length");
  WriteCapture(records);
  const auto kept = RecordsOf("written", false);
  WriteCapture(kept);
  Require(RecordsOf("written", false) == kept, "what a capture file holds comes back");
  return 0;
}
