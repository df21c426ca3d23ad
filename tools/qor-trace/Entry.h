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

constexpr unsigned int EntryHeaderSize = 28;

/// @param record  at least 28 bytes
EntryHeader ReadHeader(const unsigned char* record);

/// @param length  bytes at `record`, at least 28
/// @return nothing for another bus, or a record too short for its fixed fields
std::optional<CanEntry> ReadCan(const unsigned char* record, unsigned int length);

/// Takes entries one after the other.
class EntrySink {
 public:
  virtual ~EntrySink() = default;
  /// @param record  `length` bytes, at least 28; valid during the call
  /// @return        false: no more, please
  virtual bool Take(const unsigned char* record, unsigned int length) = 0;
  /// There is nothing more right now.
  virtual void Pause() {}
};

}  // namespace client

#endif  // QOR_TRACE_ENTRY_H
