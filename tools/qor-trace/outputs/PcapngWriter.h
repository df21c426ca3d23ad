// A trace of any buses as a PCAPNG file that capture tools read.
#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "outputs/Omissions.h"
#include "outputs/PcapngPackets.h"
#include "outputs/UntoldLosses.h"
#include "record/RecordView.h"
#include "stream/Description.h"

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

/// Writes entries as they come to one little-endian section of unknown length: an interface for each channel ("CAN-1",
/// "LIN-2", "FR-3", "ETH-4"), a packet for each frame, and at the end each interface's counts. Channels that are
/// described come first, in the order of their numbers; others follow with their first entries.
///
/// Times are ns since 1970. Where it isn't known when the recording was made, they are those of the entries.
///
/// The first packet of a channel after a loss has the number of items that are missing there, and says why. What no packet
/// comes after is said with the counts of the interface. These are told once only, at the end: readers show no others.
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
  /// @param sink  must outlive this object
  explicit PcapngWriter(ByteSink& sink, const PcapngOptions& options = {});
  PcapngWriter(const PcapngWriter&) = delete;
  PcapngWriter& operator=(const PcapngWriter&) = delete;

  /// What is known of the recording. Its tool, host and channels are written as they are when something is written for the first
  /// time, its times hold from the first entry on; losses that are new are told with the next packets.
  void Describe(const Description& description);

  /// Takes one entry. False, with errno, after a failed write.
  bool Take(const RecordView& record);

  /// Writes what is composed, so that a reader of a pipe sees it. False, with errno, as for Take.
  bool Flush();

  /// Writes the counts of all interfaces and what is left. Once. False, with errno, as for Take.
  bool Finish();

  /// errno of the failed write, 0 without one.
  [[nodiscard]] int Error() const { return FailedWith; }
  /// Bytes that were written; after a failed write those up to the end of the last whole block.
  [[nodiscard]] unsigned long Bytes() const { return Written; }
  /// Bytes that are composed and not written yet.
  [[nodiscard]] size_t Composed() const { return Used; }
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
  /// What a packet tells of losses before it.
  struct DropNote {
    unsigned long Count = 0;
    std::string Comment = {};
  };
  using InterfaceKey = std::pair<unsigned int, unsigned char>;  // channel, bus

  Interface& InterfaceOf(const RecordView& record, const CaptureBus& bus);
  Interface& AddInterface(const InterfaceKey& key, const CaptureBus& bus);
  bool Begin();
  bool WriteSectionHeader();
  bool WriteInterface(const InterfaceKey& key, const CaptureBus& bus);
  bool WritePacket(unsigned int interface, unsigned long time, const Packet& packet, const DropNote& drops);
  bool WriteStatistics(unsigned int channel, const Interface& interface, const std::vector<Loss>& untold);
  DropNote TakeDrops(const RecordView& record);
  bool Reserve(size_t size);
  bool WriteOut();
  void KeepWholeBlocks(size_t limit);

  ByteSink& Sink;
  const std::string Application;
  const bool EthernetOnly;
  Description Described;
  UntoldLosses Untold;
  TimeBase Times;
  bool Begun = false;  // section header and described interfaces are composed
  std::map<InterfaceKey, Interface> Interfaces;
  std::map<InterfaceKey, Interface>::iterator Latest;  // of the entry before; end() at first
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
