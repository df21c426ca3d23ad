// Ethernet part of a trace as a PCAPNG file.
#pragma once

#include <array>
#include <cstddef>
#include <map>

#include "export/ExportFile.h"
#include "internal/Visibility.h"
#include "record/Qor_Trace_Entry.h"
#include "record/Qor_Trace_EntryStore.h"

/// Writes the Ethernet entries of a trace as one little-endian PCAPNG section: a section header block, one interface
/// description block per channel at its first entry, and a block per entry. Entries of other buses are left out.
///
/// The bytes are a contract of their own, quirks included: the section length is always 44, and the interface
/// description blocks declare four bytes more than they hold. Readers that go by the declared lengths refuse such a
/// file; the C interface says how to repair it.
///
/// Blocks are built whole in one buffer and reach the file in large writes. Writing is not checked: after a failed
/// write nothing more is written, so that the file is what was composed up to there.
///
/// Threads: one at a time.
class QOR_EXPORT Qor_Trace_Export_PCAP {
 public:
  /// Opens the file; an existing one is replaced.
  ///
  /// @param flags      QOR_TRACE_PCAP_START_OFFSET or 0
  /// @param fileName   path
  /// @param startTime  ns, clock of the entries; used with QOR_TRACE_PCAP_START_OFFSET only
  /// @throws Qor_Trace_Exception QOR_TRACE_STATUS_FILE_ERROR if the file can't be opened; std::bad_alloc
  Qor_Trace_Export_PCAP(unsigned int flags, const char* fileName, unsigned long startTime);
  /// Writes what the buffer holds and closes the file.
  ~Qor_Trace_Export_PCAP();
  Qor_Trace_Export_PCAP(const Qor_Trace_Export_PCAP&) = delete;
  Qor_Trace_Export_PCAP& operator=(const Qor_Trace_Export_PCAP&) = delete;

  void WriteSectionHeaderBlock();

  /// Writes the section header block and the blocks of all entries, in their order, and flushes them to the file.
  /// Nothing is read past an entry's Length: a frame is at most as long as its record has bytes for it.
  /// @throws std::bad_alloc
  void Export(const Qor_Trace_EntryStore& entries);

 private:
  void WriteEntry(const Qor_Trace_Entry_t& entry);
  [[nodiscard]] unsigned int InterfaceOf(unsigned int channelId);
  void WriteInterfaceDescriptionBlock(unsigned int channelId);

  unsigned int Flags;
  unsigned long StartTime;  // ns
  ExportFile File;          // whole blocks
  // Channel number -> interface of the file + 1; 0: none yet. Most channels have low numbers, which are looked up for each entry.
  std::array<unsigned int, 64> LowChannels{};
  std::map<unsigned int, unsigned int> HighChannels;
  unsigned int InterfaceCount = 0;  // interfaces described so far
};
