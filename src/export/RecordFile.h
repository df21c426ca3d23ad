// Trace records one after the other in a file: the copy of a swap file.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "channel/Qor_Trace_Entry.h"

/// Reads records in large blocks. Memory stays below about twice the greater of one block and the bytes that the file
/// really holds for one record, whatever lengths stand in it.
///
/// Threads: one at a time.
class RecordFile {
 public:
  /// A file that can't be opened reads as an empty one.
  /// @throws std::bad_alloc
  explicit RecordFile(const std::string& path);
  ~RecordFile();
  RecordFile(const RecordFile&) = delete;
  RecordFile& operator=(const RecordFile&) = delete;

  /// The next record, all Length bytes of it; null at the end of the file, at a record that the file doesn't hold whole, and
  /// at one shorter than the common header. Valid until the next call; at any address.
  /// @throws std::bad_alloc
  const Qor_Trace_Entry_t* Next();

 private:
  bool Fill(size_t bytes);
  bool ReadMore();

  int File;
  std::vector<unsigned char> Block;
  size_t Begin = 0;  // of the bytes in Block that were read and not yet handed out
  size_t End = 0;
};
