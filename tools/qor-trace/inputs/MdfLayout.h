// What an MDF 4 file says of its channel groups: which channels their records have, and where.
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "inputs/MdfBlocks.h"
#include "stream/Findings.h"

namespace client {

/// The fields of bus events that records are made of, of whatever bus. The names are those of the format's bus logging.
enum class MdfName : unsigned char {
  Time,
  BusChannel,
  Id,
  Ide,
  Dlc,
  DataLength,
  ReceivedDataByteCount,
  DataBytes,
  Dir,
  Edl,
  Brs,
  Esi,
  ErrorType,
  ErrorFlags,
  Checksum,
  Baudrate,
  IsExternal,
  Cycle,
  FlxChannel,
  FlxChannelMask,
  FrameFlags,
  NullFrameFlag,
  SyncFrameFlag,
  StartUpFrameFlag,
  PayloadPreambleFlag,
  PayloadLength,
  HeaderCrc,
  ErrorData,
  StateData,
  Source,
  Destination,
  EtherType,
  Count
};

/// Where a value is.
enum class MdfPlace : unsigned char {
  Missing,   // the group has no such channel
  InRecord,  // at a place in the record
  Constant,  // nowhere: it is the same for all records, or counts them
  InSignal,  // the record has an offset into the signal data behind a link
  InGroup,   // the record has an offset into the values of another channel group, which are among the records
};

struct MdfField {
  enum class Type : unsigned char { Unsigned, Signed, Float, Bytes };

  MdfPlace Place = MdfPlace::Missing;
  Type Kind = Type::Unsigned;
  bool BigEndian = false;
  unsigned int Byte = 0;  // in the record, without its id
  unsigned int Bit = 0;   // in that byte, 0 to 7
  unsigned int Bits = 0;
  bool IsLinear = false;  // the value is Offset + Factor x the number in the record
  double Offset = 0;
  double Factor = 1;
  unsigned long Link = 0;                                 // of a value outside of the record
  std::optional<unsigned int> InvalidBit = std::nullopt;  // bit in the record that is set where the value means nothing

  [[nodiscard]] bool IsThere() const { return Place != MdfPlace::Missing; }
};

/// A channel group of bus events.
struct MdfGroup {
  unsigned long Position = 0;   // of its block
  unsigned long DataGroup = 0;  // of the block of its data group
  std::string Event = {};       // "CAN_DataFrame"; empty for signals
  std::string BusName = {};     // "CAN1"
  std::string SourceName = {};  // of the interface
  std::string SourcePath = {};  // what was opened
  unsigned int SourceBus = 0;   // bus type of the source: 2 CAN, 3 LIN, 5 FlexRay, 7 Ethernet
  unsigned long RecordId = 0;
  unsigned long Cycles = 0;    // records, as the file says
  unsigned int DataBytes = 0;  // of a record without its id
  bool IsSignalGroup = false;  // its records are values of variable length
  std::array<MdfField, static_cast<size_t>(MdfName::Count)> Fields = {};
  std::string Refusal = {};  // one sentence on why its records can't be read; mostly empty

  [[nodiscard]] const MdfField& Field(MdfName name) const { return Fields[static_cast<size_t>(name)]; }
};

struct MdfDataGroup {
  unsigned int IdSize = 0;  // bytes of the id in front of each record; 0 where there is but one group
  unsigned long Data = 0;   // link to the records
  std::vector<MdfGroup> Groups = {};
};

/// All data groups of a file, in its order. Memory: bounded by the number of blocks that MdfBlocks follows.
[[nodiscard]] std::vector<MdfDataGroup> ReadMdfGroups(MdfBlocks& file, unsigned long firstGroup, Findings& found);

/// The number that a field has; 0 for bytes. A record of less than the group's bytes isn't to be asked.
[[nodiscard]] unsigned long MdfNumber(const MdfField& field, std::span<const unsigned char> record);
/// The time in ns after the file's start; negative before it.
[[nodiscard]] long MdfNanoseconds(const MdfField& field, std::span<const unsigned char> record, unsigned long index);
/// The bytes of a field of bytes in a record.
[[nodiscard]] std::span<const unsigned char> MdfBytes(const MdfField& field, std::span<const unsigned char> record);
/// Is one of the values that records are made of marked as one that means nothing?
[[nodiscard]] bool IsInvalidated(const MdfGroup& group, std::span<const unsigned char> record);

}  // namespace client
