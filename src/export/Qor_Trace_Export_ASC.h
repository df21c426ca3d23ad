// Vector ASC text log, dialect "// version 8.1.0".
#pragma once

#include <string>

#include "export/AscLineState.h"
#include "export/ExportFile.h"
#include "export/Qor_Trace_AscTarget.h"
#include "internal/Visibility.h"
#include "record/Qor_Trace_Entry.h"
#include "record/Qor_Trace_EntryStore.h"

/// Writes trace entries as lines of an ASC log: one file, or a numbered series of files of limited size.
///
/// The export flags are QOR_TRACE_ASC_* of the C interface. Lines are composed in one buffer and reach the
/// file in large writes: when the buffer is full, with Flush, and at the end of a file.
///
/// Threads: one at a time.
class QOR_EXPORT Qor_Trace_Export_ASC {
 public:
  /// Opens the first file (an existing one is replaced) and composes its header.
  ///
  /// @param flags      QOR_TRACE_ASC_*
  /// @param fileName   path of the first file; the later ones of a series get _1, _2, ... before the last '.'
  /// @param startTime  ns, clock of the entries
  /// @param maxSize    bytes; with QOR_TRACE_ASC_SPLIT a file is ended after the entry that takes it beyond this
  /// @throws Qor_Trace_Exception QOR_TRACE_STATUS_FILE_ERROR if the file can't be opened
  Qor_Trace_Export_ASC(unsigned int flags, const char* fileName, unsigned long startTime, unsigned int maxSize);
  /// The same text, byte for byte, but to a target in place of files: no file is opened, and only memory can fail.
  ///
  /// @param target  outlives this object
  Qor_Trace_Export_ASC(unsigned int flags, const char* fileName, unsigned long startTime, unsigned int maxSize,
                       Qor_Trace_AscTarget& target);
  /// Ends the file (EndFile). An exception here ends the process.
  ~Qor_Trace_Export_ASC();
  Qor_Trace_Export_ASC(const Qor_Trace_Export_ASC&) = delete;
  Qor_Trace_Export_ASC& operator=(const Qor_Trace_Export_ASC&) = delete;

  /// Writes the first `count` records of the swap file copy `swapName`, then `entries`, in their order, up to the first write
  /// that fails (Failed). Records that the file doesn't hold whole are left out.
  /// @return how many of the `count` records were left out; 0 if it was a write that failed
  /// @throws Qor_Trace_Exception as WriteEntry
  unsigned int Export(const std::string& swapName, unsigned int count, const Qor_Trace_EntryStore& entries);
  /// The same from a swap file that is open for reading, whatever has become of its name. It stays the caller's and keeps
  /// its position; one that isn't open (-1) holds no records.
  unsigned int Export(int swapFile, unsigned int count, const Qor_Trace_EntryStore& entries);

  /// Ends the open file, if any, without a trailer, opens the next one (an existing one is replaced) and composes its
  /// header.
  /// @throws Qor_Trace_Exception QOR_TRACE_STATUS_FILE_ERROR if it can't be opened
  void StartNewFile();

  /// Composes the header of the current file. A time that has no date text leaves it out, its line feed included.
  void WriteHeader();

  /// Writes one entry, and with QOR_TRACE_ASC_SPLIT continues in the next file if this one is now beyond its size. Once a write
  /// has failed, entries are no longer looked at. Nothing is read past entry.Length.
  /// @throws Qor_Trace_Exception QOR_TRACE_STATUS_FILE_ERROR if, while splitting, the file can't be written, its position
  ///         can't be read (a pipe, or no file is open), or the next one can't be opened
  void WriteEntry(const Qor_Trace_Entry_t& entry);

  /// Composes the line of an entry taken as a LIN or a FlexRay one, whatever its bus type. No filter, no split.
  void WriteEntry_Lin(const Qor_Trace_Entry_t& entry);
  void WriteEntry_FlexRay(const Qor_Trace_Entry_t& entry);

  /// Flushes all lines composed so far to the file.
  /// @throws Qor_Trace_Exception QOR_TRACE_STATUS_FILE_ERROR in a series, if that fails
  void Flush();

  /// Writes the trailer and closes the file; nothing if none is open. Throws nothing: see Failed.
  void EndFile();

  /// True once a write or a close has failed; what was written before it is in the file.
  [[nodiscard]] bool Failed() const;
  /// Which file of a series failed, and why, as a sentence with the system's text; empty if nothing has failed.
  [[nodiscard]] std::string FailureText() const;

 private:
  std::string NextFileName();
  unsigned int ExportSwapped(int swapFile, unsigned int count);
  [[nodiscard]] bool IsBeforeStart(const Qor_Trace_Entry_t& entry) const;
  void WriteLine(const Qor_Trace_Entry_t& entry);
  template <class Line>
  void Compose(const Qor_Trace_Entry_t& entry, Line line);
  void GoOnInNextFile();
  [[noreturn]] void GiveUp();
  [[noreturn]] void LosePosition();

  AscLineState State;
  std::string BaseFileName;      // as given
  std::string CurrentFileName;   // the open file
  std::string PreviousFileName;  // the one before it
  unsigned int SizeLimit;        // bytes
  unsigned int FileCounter = 0;  // files of a series begun so far
  ExportFile File;
};
