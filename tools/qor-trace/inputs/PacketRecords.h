// Records made from the packets of capture files: the inverse of outputs/PcapngPackets.
#pragma once

#include <cstddef>
#include <span>
#include <string>

#include "inputs/MadeRecord.h"
#include "stream/Findings.h"

namespace client {

/// A packet as a capture file has it.
struct CapturedPacket {
  unsigned long Byte = 0;  // where it begins in the file
  unsigned int Channel = 1;
  unsigned long Time = 0;                    // ns
  unsigned int Link = 0;                     // as capture files number link types
  std::span<const unsigned char> Data = {};  // as far as it was captured
  size_t OriginalSize = 0;                   // bytes on the bus, as far as the file says
  unsigned int CheckSequence = 0;            // bytes of the frame check sequence at its end
  bool Outbound = false;                     // sent by who captured it; else received
  unsigned int Errors = 0;                   // the link-dependent half of its flags
  unsigned long BitRate = 0;                 // bit/s; 0 where it isn't known
};

/// Makes one record after the other; see MadeRecord. Packets of which no record can be made are noted.
class PacketRecords {
 public:
  /// @param found  outlives this
  explicit PacketRecords(Findings& found) : Found(found) {}

  /// Null where there is none.
  [[nodiscard]] const RecordView* Make(const CapturedPacket& packet);
  /// The record of a FlexRay frame that came as two packets, one for each channel.
  /// @param packet  of channel A
  [[nodiscard]] const RecordView* MakeOfBothChannels(const CapturedPacket& packet);

  /// A FlexRay frame of channel A: the packet after it may be the same frame on channel B.
  [[nodiscard]] static bool IsFlexRayFrameOfChannelA(const CapturedPacket& packet);
  /// The same frame at the same time, on channels A and B.
  [[nodiscard]] static bool AreOneFrame(const CapturedPacket& channelA, const CapturedPacket& channelB);

  /// A record of the library's own export that is no frame.
  [[nodiscard]] const RecordView* MakeCustom(const RecordHead& head, std::span<const unsigned char> data);

 private:
  const RecordView* MakeCan(const CapturedPacket& packet);
  const RecordView* MakeCanError(const CapturedPacket& packet, unsigned int identifier);
  const RecordView* MakeLin(const CapturedPacket& packet);
  const RecordView* MakeLinFrame(const CapturedPacket& packet);
  const RecordView* MakeFlexRay(const CapturedPacket& packet, bool bothChannels);
  const RecordView* MakeEthernet(const CapturedPacket& packet);
  const RecordView* None(const CapturedPacket& packet, FindingKind kind, const std::string& what);
  void NoteIfCut(const CapturedPacket& packet, bool cut);

  Findings& Found;
  MadeRecord Made;
};

}  // namespace client
