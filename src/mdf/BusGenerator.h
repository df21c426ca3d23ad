// The channel groups of bus events, in the manner of ASAM bus logging. Tables: docs/mdf-bus-logging.md.
#pragma once

#include <string>

#include "internal/Visibility.h"
#include "mdf/Block.h"

class Bus;
class BusRoot;

/// Builds the blocks that describe a bus channel's records: for each kind of event a data group with one channel group,
/// its source, the master channel "t", a structure channel named after the event, and the fields below it.
///
/// The blocks are linked to their parent and belong to its tree. A parent is a header block, whose data groups they are
/// appended to, or a data group, which they are appended after. With any other parent the result is false or null, and
/// nothing is left behind.
///
/// @throws std::bad_alloc; nothing is left behind except the record ids that were drawn
class QOR_EXPORT BusGenerator {
 public:
  /// New buses, with record ids drawn from the root and their groups chained to its latest block. The caller owns the
  /// bus. Null when that block is of the wrong kind.
  [[nodiscard]] static Bus* Get_CAN(unsigned int busChannel, BusRoot& root);
  [[nodiscard]] static Bus* Get_LIN(unsigned int busChannel, BusRoot& root);
  [[nodiscard]] static Bus* Get_FlexRay(unsigned int busChannel, BusRoot& root);
  /// A CAN bus that has data frames only.
  [[nodiscard]] static Bus* Get_Test(unsigned int busChannel, BusRoot& root);

  /// A bus of any type with the groups of the standard convention, Ethernet among them; null for an unknown type as well.
  [[nodiscard]] QOR_HIDDEN static Bus* Get_Standard(unsigned int busChannel, unsigned char busType, BusRoot& root);

  /// A field of a structure: bit position from the record's first byte. Null without a parent.
  static MDF::CNBLOCK* DataField(const std::string& name, unsigned int bitPosition, unsigned int bitCount,
                                 unsigned char channelType, unsigned char dataType, MDF::CNBLOCK* parent);
  /// The master channel "t": ns as 64 bits, converted to s. Null without a group.
  static MDF::CNBLOCK* Channel_Time(MDF::CGBLOCK* group);
  /// What all events have in common. The structure channel has no bits yet.
  static bool Channel_CommonStructure(MDF::DGBLOCK** group, MDF::CNBLOCK** structure, MDF::Block* parent,
                                      const std::string& eventName, unsigned char recordId, const std::string& busName,
                                      unsigned int busChannel);
  /// A constant of a structure. Null without a parent.
  static MDF::CNBLOCK* StaticElement_Add(const std::string& name, MDF::CNBLOCK* parent, double value,
                                         const std::string& comment);

  // One per kind of event. `dataBytes`, where it is asked for, becomes the channel of the data bytes; it may be null.

  static MDF::DGBLOCK* Channel_CAN_Data(MDF::Block* parent, unsigned char recordId, const std::string& busName,
                                        unsigned int busChannel, MDF::CNBLOCK** dataBytes);
  static MDF::DGBLOCK* Channel_CAN_Error(MDF::Block* parent, unsigned char recordId, const std::string& busName,
                                         unsigned int busChannel, MDF::CNBLOCK** dataBytes);
  static MDF::DGBLOCK* Channel_LIN_Data(MDF::Block* parent, unsigned char recordId, const std::string& busName,
                                        unsigned int busChannel);
  static MDF::DGBLOCK* Channel_LIN_ChecksumError(MDF::Block* parent, unsigned char recordId, const std::string& busName,
                                                 unsigned int busChannel);
  static MDF::DGBLOCK* Channel_LIN_ReceiveError(MDF::Block* parent, unsigned char recordId, const std::string& busName,
                                                unsigned int busChannel);
  static MDF::DGBLOCK* Channel_LIN_SyncError(MDF::Block* parent, unsigned char recordId, const std::string& busName,
                                             unsigned int busChannel);
  static MDF::DGBLOCK* Channel_LIN_TransmissionError(MDF::Block* parent, unsigned char recordId,
                                                     const std::string& busName, unsigned int busChannel);
  static MDF::DGBLOCK* Channel_LIN_Wakeup(MDF::Block* parent, unsigned char recordId, const std::string& busName,
                                          unsigned int busChannel);
  static MDF::DGBLOCK* Channel_FlexRay_Data(MDF::Block* parent, unsigned char recordId, const std::string& busName,
                                            unsigned int busChannel, MDF::CNBLOCK** dataBytes);
  static MDF::DGBLOCK* Channel_FlexRay_Error(MDF::Block* parent, unsigned char recordId, const std::string& busName,
                                             unsigned int busChannel);
  static MDF::DGBLOCK* Channel_FlexRay_StartCycle(MDF::Block* parent, unsigned char recordId,
                                                  const std::string& busName, unsigned int busChannel);
  static MDF::DGBLOCK* Channel_FlexRay_State(MDF::Block* parent, unsigned char recordId, const std::string& busName,
                                             unsigned int busChannel);
  static MDF::DGBLOCK* Channel_FlexRay_Symbol(MDF::Block* parent, unsigned char recordId, const std::string& busName,
                                              unsigned int busChannel);
};

namespace MDF {
using ::BusGenerator;
}
