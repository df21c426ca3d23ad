// What every reader of the client must keep to, whatever is in its file.
#pragma once

#include <algorithm>
#include <string>

#include "Input.h"
#include "inputs/Inputs.h"
#include "outputs/BinFile.h"
#include "support/TemporaryDirectory.h"
#include "system/Compression.h"
#include "system/Failure.h"
#include "tools/ClientEntries.h"
#include "tools/ReadBin.h"

namespace fuzz {

/// Reads a file to its end, or up to where it is refused.
inline client::Collector ReadInput(const std::string& name) {
  client::Collector records;
  try {
    const auto reader = client::OpenInput(name);
    (void)client::ReadAll(*reader, records);
    Require(reader->Records() == records.Records.size(), "the reader counts its records");
    Require(reader->Position() <= reader->Size(), "no more is read than there is");
    (void)reader->Describe();
  } catch (const client::Failure& failure) {
    Require(*failure.what() != '\0', "a refusal says why");
  }
  return records;
}

/// Whether it is what the name says: what begins like another format, or compressed, is read as that, and raw records may be
/// anything.
inline bool IsTextInput(const std::string& name, const std::uint8_t* data, std::size_t size) {
  using client::InputFormat;
  if (client::CompressionOfBytes({data, size}, false) != client::Compression::None) return false;
  const auto format = client::FormatOfInput({data, std::min(size, client::kFront)}, name);
  return format == InputFormat::Asc || format == InputFormat::Candump || format == InputFormat::Csv;
}

/// The records of an input under a name: the same each time, each of them sound, and the same when they come back from a
/// .bin file.
inline void CheckInput(const std::string& name, const std::uint8_t* data, std::size_t size) {
  static const test::TemporaryDirectory directory;
  if (size == 0) return;  // refused by its size
  if (!IsTextInput(name, data, size)) return;
  test::WriteFile(name, test::Bytes(data, data + size));
  const auto records = ReadInput(name).Records;
  Require(ReadInput(name).Records == records, "the same file has the same records");
  client::BinWriter writer("out.bin");
  for (const test::Bytes& record : records) {
    Require(record.size() >= RecordView::kHeader && RecordView::LengthAt(record.data()) == record.size(),
            "a record is as long as it says");
    Require(client::ViewOf(record).IsWellFormed(), "a record has all that its bus needs");
    Require(client::Put(writer, record), "a record is written");
  }
  Require(writer.Finish(), "the file is finished");
  client::Collector again;
  if (!records.empty()) (void)client::ReadBin("out.bin", again);
  Require(again.Records == records, "records survive a .bin file");
}

}  // namespace fuzz
