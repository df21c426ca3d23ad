// A trace of any buses as a PCAPNG file that capture tools read.
#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <utility>

#include "outputs/Omissions.h"
#include "outputs/PcapngPackets.h"
#include "record/RecordView.h"

namespace client {

/// Takes the bytes of a file.
class ByteSink {
 public:
  virtual ~ByteSink() = default;
  /// @return how many of the bytes were taken; fewer than `size` is a failure; errno says which
  [[nodiscard]] virtual size_t Write(const unsigned char* bytes, size_t size) = 0;
};

/// An open file or standard output; it is the caller's, and not closed here.
class DescriptorSink : public ByteSink {
 public:
  explicit DescriptorSink(int file) : File(file) {}
  [[nodiscard]] size_t Write(const unsigned char* bytes, size_t size) override;

 private:
  int File;
};

struct PcapngOptions {
  std::string Application = "qor-trace";  // named in the file
  bool EthernetOnly = false;              // for readers that refuse several link types: other buses are left out
};

/// Writes entries as they come to one little-endian section of unknown length: an interface for each channel from its
/// first entry on ("CAN-1", "LIN-2", "FR-3", "ETH-4", times in ns), a packet for each frame, and at the end each
/// interface's counts.
///
/// CAN error frames and LIN wake-ups are packets as well. A FlexRay frame of both channels becomes two packets. A frame
/// that announces more bytes than its record holds is a packet that was captured only in part. Entries that are no
/// packet of their bus's link type are counted by kind.
///
/// Whole blocks are composed in a buffer and handed on in large pieces. After a failed write nothing more is written.
///
/// Threads: one. Memory: 256 KiB, and some bytes for each channel.
class PcapngWriter {
 public:
  /// Composes the section header; nothing is written yet.
  /// @param sink  must outlive this object
  explicit PcapngWriter(ByteSink& sink, const PcapngOptions& options = {});
  PcapngWriter(const PcapngWriter&) = delete;
  PcapngWriter& operator=(const PcapngWriter&) = delete;

  /// Takes one entry. False, with errno, after a failed write.
  bool Take(const RecordView& record);

  /// Writes what is composed, so that a reader of a pipe sees it. False, with errno, as for Take.
  bool Flush();

  /// Items of a channel that were lost before they came into the trace; for Finish. A channel without entries has no
  /// interface and shows none.
  void SetLost(unsigned int channel, unsigned long items) { Lost[channel] = items; }

  /// Writes the counts of all interfaces and what is left. Once. False, with errno, as for Take.
  bool Finish();

  /// errno of the failed write, 0 without one.
  [[nodiscard]] int Error() const { return FailedWith; }
  /// Bytes that were written; after a failed write those up to the end of the last whole block.
  [[nodiscard]] unsigned long Bytes() const { return Written; }
  /// Packets taken; after a failed write those in the file.
  [[nodiscard]] unsigned long Packets() const { return PacketCount; }
  /// Entries that are no packet, by PcapngOmission.
  [[nodiscard]] const Omissions& Omitted() const { return LeftOutEntries; }
  /// Entries of other buses that EthernetOnly left out.
  [[nodiscard]] unsigned long LeftOut() const { return OtherBuses; }

 private:
  struct Interface {
    unsigned int Number = 0;
    unsigned long Entries = 0;
  };
  using InterfaceKey = std::pair<unsigned int, unsigned char>;  // channel, bus

  [[nodiscard]] Interface& InterfaceOf(const RecordView& record, const CaptureBus& bus);
  bool WriteSectionHeader(const std::string& application);
  bool WriteInterface(const std::string& name, LinkType link);
  [[nodiscard]] bool WritePacket(unsigned int interface, unsigned long time, const Packet& packet);
  [[nodiscard]] bool WriteStatistics(const InterfaceKey& key, const Interface& interface);
  [[nodiscard]] bool Reserve(size_t size);
  void KeepWholeBlocks(size_t limit);

  ByteSink& Sink;
  const bool EthernetOnly;
  std::map<InterfaceKey, Interface> Interfaces;
  std::map<InterfaceKey, Interface>::iterator Latest;  // of the entry before; end() at first
  std::map<unsigned int, unsigned long> Lost;          // items by channel
  Omissions LeftOutEntries{kPcapngOmissions};
  unsigned long OtherBuses = 0;
  unsigned long LatestTime = 0;  // ns; the greatest so far
  unsigned long PacketCount = 0;
  unsigned long Written = 0;
  unsigned int BufferedPackets = 0;
  int FailedWith = 0;
  std::unique_ptr<unsigned char[]> Buffer;  // whole blocks
  size_t Used = 0;                          // bytes of Buffer
};

}  // namespace client
