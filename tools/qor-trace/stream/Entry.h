// One record of a trace, as the client looks at it.
#ifndef QOR_TRACE_ENTRY_H
#define QOR_TRACE_ENTRY_H

#include <optional>

#include "qor_api_trace.h"

namespace client {

/// What every record has; read from its first 28 bytes.
struct EntryHeader {
  unsigned int Length;
  unsigned int ChannelId;
  unsigned long Timestamp;          // ns
  unsigned long RelativeTimestamp;  // ns
  unsigned char BusType;
};

/// A CAN record. `Data` points into it and has `DataLength` bytes, as far as the record reaches.
struct CanEntry {
  unsigned int Identifier;  // with its marker bits: the key of the message
  unsigned char Flags;
  unsigned char Dlc;
  unsigned char DataLength;
  const unsigned char* Data;

  bool Has(unsigned char flag) const { return (Flags & flag) != 0; }
  unsigned int PlainIdentifier() const { return Identifier & ~(QOR_TRACE_CAN_ID_EXTENDED | QOR_TRACE_CAN_ID_FD); }
};

/// A LIN record. `Data` points into it and has `DataLength` bytes, the checksum not among them.
struct LinEntry {
  unsigned short Flags;
  unsigned char Identifier;
  unsigned char Announced;   // bytes on the bus, the checksum included; 0: no response
  unsigned char DataLength;  // 0 to 8
  const unsigned char* Data;
  std::optional<unsigned char> Checksum;  // nothing where the record doesn't reach it
  unsigned int BitTime;                   // eighths of a ns; 0: not known

  bool Has(unsigned int flag) const { return (Flags & flag) != 0; }
  unsigned char PlainIdentifier() const { return Identifier & 0x3F; }
};

/// A FlexRay record; what it is too short for is 0. `Data` points into it and has `DataLength` bytes.
struct FlexRayEntry {
  unsigned short Kind;    // QOR_TRACE_FLEXRAY_*, or an event
  unsigned char Channel;  // frames: 0 A, 1 B, 2 both
  unsigned char Flags;
  unsigned short Slot;
  unsigned char Cycle;
  unsigned char Words;  // payload on the bus, 16-bit words
  unsigned short HeaderCrc;
  const unsigned char* Data;
  unsigned int DataLength;

  bool Has(unsigned char flag) const { return (Flags & flag) != 0; }
  bool IsFrame() const { return Kind == QOR_TRACE_FLEXRAY_RECEIVED || Kind == QOR_TRACE_FLEXRAY_TRANSMITTED; }
  /// FlexRay channel of an event whose kind has one, coded like that of a frame.
  unsigned char EventChannel() const { return Kind >= 7 ? static_cast<unsigned char>(Slot >> 8) : Channel; }
};

/// An Ethernet record; what it is too short for is 0. `Frame` points into it and has `FrameLength` bytes.
struct EthernetEntry {
  unsigned short Kind;  // QOR_TRACE_ETHERNET_*
  unsigned char Flags;
  unsigned int OnBus;  // bytes of the frame on the bus, without its CRC
  const unsigned char* Frame;
  unsigned int FrameLength;

  bool Has(unsigned char flag) const { return (Flags & flag) != 0; }
};

constexpr unsigned int EntryHeaderSize = 28;

/// @param record  at least 28 bytes
EntryHeader ReadHeader(const unsigned char* record);

/// @param length  bytes at `record`, at least 28
/// @return nothing for another bus, or a record too short for its fixed fields
std::optional<CanEntry> ReadCan(const unsigned char* record, unsigned int length);
/// @return likewise; also nothing for an entry that readers have to skip
std::optional<LinEntry> ReadLin(const unsigned char* record, unsigned int length);

/// @param length  bytes at `record`, at least 28
/// @return nothing for another bus, or a record too short for its kind
std::optional<FlexRayEntry> ReadFlexRay(const unsigned char* record, unsigned int length);
std::optional<EthernetEntry> ReadEthernet(const unsigned char* record, unsigned int length);

/// Takes entries one by one.
class EntrySink {
 public:
  virtual ~EntrySink() = default;
  /// @param record  `length` bytes, at least 28; valid during the call
  /// @return        false: stop
  virtual bool Take(const unsigned char* record, unsigned int length) = 0;
  /// No further entry is available right now.
  virtual void Pause() {}
};

}  // namespace client

#endif  // QOR_TRACE_ENTRY_H
