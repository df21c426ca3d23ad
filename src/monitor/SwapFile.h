// The file that takes the entries of a full store.
#pragma once

#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "internal/FileDescriptor.h"
#include "record/Qor_Trace_EntryStore.h"
#include "record/RecordFileReader.h"

/// What a swap file held at one moment, for a reader that continues after the owner's lock is released: the file only grows,
/// and emptying it begins a new one, so the descriptor keeps the records of that moment whatever becomes of the names.
struct SwapSnapshot {
  FileDescriptor File;  // open for reading; not open if the swap file couldn't be opened
  off_t Size = 0;       // of the file at that moment, bytes

  /// Makes the copy of the swap file, replacing what has that name: a second name of the same file or, where the file system
  /// has no such thing, its bytes. Nobody reads the copy, so a failure doesn't matter.
  /// To be called without a lock: a busy disk or a large file may take its time.
  void MakeCopy(const std::string& name) const;

 private:
  void CopyBytes(const std::string& name) const;
};

/// Records one after the other, Length bytes each, without padding, header or index.
///
/// The place of every 64th record is kept in memory, so that reading costs the same from any record on. If somebody else
/// has touched the file, reading walks it from its beginning instead.
///
/// The folder may be shared with other users, and the name can be foreseen: the file is made for its owner alone (0600),
/// a symbolic link in its place is not followed, and a file there that belongs to another user, or isn't a regular one (a
/// FIFO), is not opened.
///
/// Threads: the owner locks.
class SwapFile {
 public:
  explicit SwapFile(const std::string& name) : FileName(name), BackupName(name + ".bak") {}

  /// Of the copy that exists while an export runs.
  [[nodiscard]] const std::string& CopyName() const { return BackupName; }

  /// Appends entries, oldest first; the file is made if it is missing.
  ///
  /// @param first, count  which ones
  /// @param written  counted up by each record that is in the file whole, also when the call fails; a record that was
  ///                 cut short is removed from the file again
  /// @throws Qor_Trace_Exception QOR_TRACE_STATUS_FILE_ERROR if the file can't be opened or written; std::bad_alloc
  void Append(const Qor_Trace_EntryStore& entries, size_t first, size_t count, unsigned int& written);

  /// Puts a new, empty file in the place of this one, whose snapshots keep what they have.
  /// @return the old file, for the caller to close where nobody waits: that may have to free a large file
  /// @throws Qor_Trace_Exception QOR_TRACE_STATUS_FILE_ERROR; std::bad_alloc; the old file is then still there
  [[nodiscard]] FileDescriptor BeginAnew();

  /// Opens the file as it stands. Takes the same short time whatever the size, writes nothing to disk and needs no memory.
  [[nodiscard]] SwapSnapshot Snapshot() const;

  /// Deletes the file; a failure doesn't matter.
  void Remove() const;

  /// A reader of this file that stands in front of record number `index`, counted from 0. One at a time.
  /// @param count  records that are going to be read, about
  [[nodiscard]] RecordFileReader ReadFrom(unsigned int index, unsigned int count);

 private:
  [[nodiscard]] FileDescriptor Open(int flags) const;
  [[nodiscard]] FileDescriptor OpenOrMake();
  [[nodiscard]] bool IsOurs(const struct stat& file) const;

  std::string FileName;
  std::string BackupName;
  std::vector<unsigned long> Places;  // place of the records 0, 64, 128, ..., bytes
  unsigned long Records = 0;          // records that Places stands for
  struct stat Left {};                // the file as the last append left it; all 0 before the first one
  uid_t Owner = geteuid();            // of the files that we make; NFS assigns the superuser's to somebody else
  RecordFileReader::Memory Block;     // what is being read or written
  bool Indexed = true;                // nobody else has written between the appends
};
