// Reads pcap files, the older format of network tools: packets of one link type, times in microseconds or nanoseconds.
#pragma once

#include <utility>

#include "inputs/InputBytes.h"
#include "inputs/OrderedBytes.h"
#include "inputs/PacketRecords.h"
#include "inputs/Reader.h"

namespace client {

/// All packets are of channel 1. Those of a link type that is none of CAN, LIN, FlexRay and Ethernet are left out and
/// counted.
///
/// Threads: one. Memory: that of InputBytes, and the longest packet.
class PcapReader : public Reader {
 public:
  static constexpr size_t kLongest = size_t{16} << 20;  // bytes of a packet; sound files have none that are longer

  /// @param bytes  begins with a magic number of pcap files
  explicit PcapReader(InputBytes bytes) : Bytes(std::move(bytes)) {}

  /// Failure: Failure when the file can't be read, or states a packet longer than any is.
  [[nodiscard]] const RecordView* Next() override;

  void Attend(Attendance attendance) override { Bytes.Attend(std::move(attendance)); }
  [[nodiscard]] bool Stopped() const override { return Bytes.Stopped(); }
  [[nodiscard]] Description Describe() const override { return Known; }
  [[nodiscard]] unsigned long Position() const override { return Bytes.Taken(); }
  [[nodiscard]] unsigned long Size() const override { return Bytes.Size(); }
  [[nodiscard]] const Findings& Found() const override { return Passed; }
  [[nodiscard]] unsigned long Records() const override { return Count; }

  /// Does a file that begins like this have this format? Of fewer than 4 bytes none is known.
  [[nodiscard]] static bool Knows(std::span<const unsigned char> front);

 private:
  [[nodiscard]] bool ReadHeader();
  [[nodiscard]] bool NextPacket(CapturedPacket& packet);
  [[nodiscard]] OrderedBytes Ready() const { return {Bytes.Ready(), Order}; }
  void NoteIfCut();

  InputBytes Bytes;
  Description Known{.Complete = true};
  Findings Passed;
  PacketRecords Packets{Passed};
  ByteOrder Order = ByteOrder::Little;
  bool Begun = false;              // the header is read
  unsigned long FractionUnit = 1;  // ns
  unsigned int Link = 0;
  unsigned int CheckSequence = 0;  // bytes at the end of each packet
  size_t Length = 0;               // bytes of the latest packet, header included
  unsigned long Count = 0;
};

}  // namespace client
