// The file that takes the entries of a full store.
#pragma once

#include <sys/stat.h>

#include <string>
#include <vector>

#include "record/Qor_Trace_EntryStore.h"
#include "record/RecordFileReader.h"

/// Records one after the other, Length bytes each, without padding, header or index.
///
/// Beside the file, in memory, the place of every 1024th record is remembered, so that reading from any record on
/// costs the same. If somebody else has touched the file, reading walks it from its beginning instead.
///
/// Threads: the owner locks.
class SwapFile {
 public:
  explicit SwapFile(std::string name) : FileName(std::move(name)) {}

  [[nodiscard]] const std::string& Name() const { return FileName; }

  /// Appends all entries, oldest first; the file is made if it is missing.
  ///
  /// @param written  counted up by each record that is in the file whole, also when the call fails; a record that was
  ///                 cut short is taken off the file again
  /// @throws Qor_Trace_Exception 0x02140007 if the file can't be opened or written; std::bad_alloc
  void Append(const Qor_Trace_EntryStore& entries, unsigned int& written);

  /// Empties the file; one is made if it is missing.
  /// @throws Qor_Trace_Exception 0x02140007
  void Truncate();

  /// Copies the file's bytes to another, which is replaced. Returns false if that fails; the other then holds what could
  /// be copied, or doesn't exist.
  [[nodiscard]] bool CopyTo(const std::string& name) const;

  /// Deletes the file; a failure doesn't matter.
  void Remove() const;

  /// A reader of this file that stands in front of record number `index`, counted from 0. One at a time.
  [[nodiscard]] RecordFileReader ReadFrom(unsigned int index);

 private:
  std::string FileName;
  std::vector<unsigned long> Places;  // place of the records 0, 1024, 2048, ..., bytes
  unsigned long Records = 0;          // records that Places stands for
  struct stat Left {};                // the file as the last append left it; all 0 before the first one
  RecordFileReader::Memory ReadMemory;
  bool Indexed = true;  // nobody else has written between the appends
};
