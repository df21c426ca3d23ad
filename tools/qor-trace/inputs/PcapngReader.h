// Reads PCAPNG files: what this program writes, the library's own export, and recordings of network tools.
#pragma once

#include <optional>
#include <string>
#include <utility>

#include "inputs/PacketRecords.h"
#include "inputs/PcapngBlocks.h"
#include "inputs/PcapngInterfaces.h"
#include "inputs/Reader.h"

namespace client {

/// Packets of the link types for CAN, LIN, FlexRay and Ethernet are records; packets of others are left out and counted.
/// See PcapngInterfaces for channels and PacketRecords for what becomes of a packet. Two packets of a FlexRay frame, one of
/// each channel at the same time, are one record.
///
/// Threads: one. Memory: that of PcapngBlocks and PcapngInterfaces.
class PcapngReader : public Reader {
 public:
  explicit PcapngReader(InputBytes bytes) : Blocks(std::move(bytes)) {}

  /// Failure: Failure when the file can't be read, or there is no whole block where one should begin.
  [[nodiscard]] const RecordView* Next() override;

  void Attend(Attendance attendance) override { Blocks.Bytes().Attend(std::move(attendance)); }
  [[nodiscard]] bool Stopped() const override { return Blocks.Bytes().Stopped(); }
  [[nodiscard]] Description Describe() const override;
  [[nodiscard]] unsigned long LossesKnown() const override { return Interfaces.LossesKnown(); }
  [[nodiscard]] unsigned long Position() const override { return Blocks.Bytes().Taken(); }
  [[nodiscard]] unsigned long Size() const override { return Blocks.Bytes().Size(); }
  [[nodiscard]] const Findings& Found() const override { return Passed; }
  [[nodiscard]] unsigned long Records() const override { return Count; }

 private:
  /// A packet block, whichever of the three.
  struct PacketBlock {
    CapturedPacket Packet = {};
    unsigned long Dropped = 0;  // items, before it
    std::string Comments = {};
  };

  [[nodiscard]] const RecordView* Take(const PcapngBlock& block);
  [[nodiscard]] const RecordView* TakePacket(const PcapngBlock& block);
  [[nodiscard]] const RecordView* TakeCustom(const PcapngBlock& block);
  [[nodiscard]] std::optional<PacketBlock> PacketIn(const PcapngBlock& block);
  [[nodiscard]] bool TwinFollows();
  [[nodiscard]] const PcapngInterface* InterfaceOf(const PcapngBlock& block) const;
  void Expect(bool sound, const PcapngBlock& block);
  void NoteEnd();

  PcapngBlocks Blocks;
  PcapngInterfaces Interfaces;
  Findings Passed;
  PacketRecords Packets{Passed};
  unsigned long LatestTime = 0;  // ns; of the packet before
  unsigned long Count = 0;
  bool TwinTaken = false;  // the block that comes next is part of the record before
  bool Ended = false;
};

}  // namespace client
