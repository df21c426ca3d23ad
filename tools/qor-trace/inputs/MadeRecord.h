// Records made from what a file of another format says.
#pragma once

#include <optional>
#include <span>
#include <vector>

#include "record/RecordKind.h"
#include "record/RecordView.h"

namespace client {

/// Of every record.
struct RecordHead {
  unsigned int Channel = 1;
  unsigned long Time = 0;  // ns
};

struct CanParts {
  unsigned int Identifier = 0;  // 11 or 29 bits, without marks
  unsigned char Flags = 0;      // QOR_TRACE_CAN_*; the extended and FD marks of the identifier follow from them
  unsigned char Dlc = 0;        // 0 to 15
  std::span<const unsigned char> Data =
      {};                       // at most 64 bytes; without any, a classic frame with a DLC is a remote one
  unsigned char Announced = 0;  // data bytes on the bus, where there were more than these
};

struct LinParts {
  unsigned char Identifier = 0;                          // 6 bits
  unsigned short Flags = 0;                              // QOR_TRACE_LIN_*
  std::span<const unsigned char> Data = {};              // at most 8 bytes, without the checksum
  std::optional<unsigned char> Checksum = std::nullopt;  // nothing with no data: a header that nobody answered
  unsigned int BitTime = 0;                              // eighths of a nanosecond
};

struct FlexRayParts {
  FlexRayItemType Type = FlexRayItemType::ReceivedFrame;
  unsigned char Channel = 0;     // 0 A, 1 B, 2 both; of a start of a cycle, its number; of a state, its code
  unsigned char FrameFlags = 0;  // QOR_TRACE_FLEXRAY_*
  unsigned short SlotId = 0;     // of an error: the cycle in the low byte, the channel in the high one
  unsigned char Cycle = 0;
  unsigned char PayloadWords = 0;  // of 16 bits, as the frame's header says
  unsigned short HeaderCrc = 0;
  std::span<const unsigned char> Data = {};  // at most 254 bytes
};

struct EthernetParts {
  EthernetItemType Type = EthernetItemType::Frame;
  unsigned char Flags = 0;  // QOR_TRACE_ETHERNET_*
  std::span<const unsigned char> Frame =
      {};                        // from the destination address on, without the CRC; cut to what a record holds
  unsigned short Announced = 0;  // bytes on the bus, where there were more than these
};

/// Makes one record after the other in its own memory. A view is valid until the next call. What a record has no room for is
/// cut off: see kMostEthernet and the parts.
class MadeRecord {
 public:
  /// Bytes of the longest Ethernet frame that a record holds.
  static constexpr size_t kMostEthernet = 65535 - 16;

  MadeRecord() = default;
  MadeRecord(const MadeRecord&) = delete;  // its view looks at its own memory
  MadeRecord& operator=(const MadeRecord&) = delete;

  const RecordView* Can(const RecordHead& head, const CanParts& parts);
  const RecordView* Lin(const RecordHead& head, const LinParts& parts);
  const RecordView* FlexRay(const RecordHead& head, const FlexRayParts& parts);
  const RecordView* Ethernet(const RecordHead& head, const EthernetParts& parts);

 private:
  Qor_Trace_Entry_t& Begin(const RecordHead& head, unsigned char bus, size_t payload);
  const RecordView* View();

  std::vector<unsigned char> Bytes;
  std::optional<RecordView> Made;
};

}  // namespace client
