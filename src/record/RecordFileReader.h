// Reads files of raw records: a monitor's swap file and its copies.
//
// The format. Records lie back to back, each exactly as long as its Length says: no file header, no padding, no index, no
// end mark. Numbers are little-endian.
//
//   offset | bytes  | field
//   -------+--------+------------------------------------------------------------------------------
//        0 | 4      | Length: bytes of this record, these four included; at least 28, the common header
//        4 |        | the rest of a Qor_Trace_Entry_t (qor_api_trace.h; RecordView.h reads it)
//   Length | 4      | Length of the next record, or the end of the file
//
// An empty file holds no records. To find record n, walk over the n records before it. A file whose writer was cut off may
// end within a record: everything before that one is whole.
#pragma once

#include <sys/stat.h>

#include <string>
#include <vector>

#include "internal/FileDescriptor.h"
#include "qor_api_trace.h"
#include "record/RecordView.h"

/// Walks a file of records. A Length is trusted only as far as the file reaches: a record that the file doesn't hold whole,
/// or that is too short to be one, ends the walk.
///
/// Reads in blocks that grow from 64 KiB, or what is expected, to 128 KiB, so that a short walk reads little and a long one reads
/// fast. Threads: one at a time.
class RecordFileReader {
 public:
  /// Memory for the blocks of one reader after the other.
  using Memory = std::vector<unsigned char>;

  /// Opens a file; see IsOpen. `memory` must outlive the reader.
  RecordFileReader(const std::string& name, Memory& memory);
  /// Takes an open file over.
  RecordFileReader(FileDescriptor file, Memory& memory);
  /// Reads a file that the caller keeps open, from its first byte, without moving the caller's position in it.
  RecordFileReader(int file, Memory& memory);

  [[nodiscard]] bool IsOpen() const { return File >= 0; }
  /// The file's status at opening; all 0 if it isn't open.
  [[nodiscard]] const struct stat& Status() const { return OpenStatus; }

  /// Says about how many bytes the walk is going to be long, to begin with a block that suits it.
  void Expect(unsigned long bytes);
  /// Goes to a record that is known to begin at `offset` (bytes).
  void Seek(unsigned long offset) { Position = offset; }
  /// Goes past `count` records, or to where the walk ends before.
  void Skip(unsigned long count);
  /// The record at the position where it lies in the block, unaligned, until the next call but Pass. Null where the walk ends or,
  /// if NextLength says that it doesn't, for a record that no block holds.
  [[nodiscard]] const Qor_Trace_Entry_t* Peek() {
    if (const auto* const record = InBlock()) return record;
    return Fill() ? InBlock() : nullptr;
  }
  /// Goes past the record that Peek has just returned.
  void Pass(const Qor_Trace_Entry_t& record) { Position += record.Length; }

  /// Length of the record at the position, bytes; 0 where the walk ends.
  [[nodiscard]] unsigned int NextLength();
  /// Copies the record at the position, whose length NextLength has just returned, and goes past it.
  /// Returns false if the file became shorter meanwhile; `out` is then undefined and the walk has ended.
  [[nodiscard]] bool Read(unsigned char* out, unsigned int length);

 private:
  [[nodiscard]] const Qor_Trace_Entry_t* InBlock() const;
  [[nodiscard]] unsigned long Buffered() const;
  bool Fill();

  FileDescriptor Owned;
  int File;  // Owned, or the caller's
  struct stat OpenStatus {};
  unsigned long Size = 0;      // bytes that the file held when last checked
  unsigned long Position = 0;  // in the file
  Memory& Block;
  unsigned long BlockStart = 0;  // place of Block in the file
  unsigned long BlockLength = 0;
  unsigned long NextBlock;  // bytes of the next block
};

/// The record at the position, if the block has it whole.
inline const Qor_Trace_Entry_t* RecordFileReader::InBlock() const {
  const unsigned long held = Buffered();
  if (held < RecordView::kHeader) return nullptr;
  const unsigned char* const record = Block.data() + (Position - BlockStart);
  const unsigned int length = RecordView::LengthAt(record);
  if (length < RecordView::kHeader || length > held) return nullptr;
  return reinterpret_cast<const Qor_Trace_Entry_t*>(record);
}

/// Bytes that the block holds from the position on.
inline unsigned long RecordFileReader::Buffered() const {
  const unsigned long place = Position - BlockStart;  // far beyond any block when the position is before this one
  return place < BlockLength ? BlockLength - place : 0;
}
