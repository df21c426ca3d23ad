// One bus channel in an MDF file: turns trace entries into the records of its event groups.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <vector>

#include "internal/Visibility.h"
#include "mdf/Block.h"
#include "mdf/RecordingInfo.h"
#include "qor_api_trace.h"
#include "record/RecordView.h"

namespace MDF {
class PackQueue;
}

/// One channel of one bus type. Each kind of event has a channel group of its own (see BusGenerator) with a list of
/// fixed-length records; frames also have a list of variable-length data, which their records point into.
///
/// Records are collected in memory and go to the file in packed blocks of up to 2 MiB. Whenever a block has gone out, the
/// group's cycle count in the file is brought up to date: it counts the records that are in the file with their data.
///
/// Failures are false, and the entry may be tried again (a FlexRay frame of both channels may then have the record of its
/// first channel twice). One case is worse: a block ended in the middle of the record and the next block failed. A part
/// of the record is then in the file, which tears its group: records after it would be read at wrong places. The group
/// therefore refuses all further ones, and Write() fails, until Reset().
///
/// Ownership: owns its groups and their lists. Blocks and stream are the file's; they must outlive all calls but the
/// destructor. Destroy the blocks before the bus (see DLBLOCK).
///
/// Threads: one at a time for all buses of a file.
class QOR_EXPORT Bus {
 public:
  struct QOR_EXPORT Info {
    enum busType_t : unsigned char { Can = 0, Lin = 1, FlexRay = 2, Ethernet = 3 };
  };

  /// One kind of event: its data group and what is collected for it.
  struct QOR_EXPORT ChannelGroup {
    /// `vlsdChannel`: the channel that the variable-length data belong to; may be null.
    /// @throws std::bad_alloc
    ChannelGroup(MDF::DGBLOCK* group, MDF::CNBLOCK* vlsdChannel, FileStream& stream);
    ChannelGroup(ChannelGroup&& other) noexcept;
    ~ChannelGroup();

    /// Looks at what the lists have in the file; true when that changed. Variable-length data that went there since then
    /// belongs to the first `complete` records and maybe a part of the next.
    bool Flushed_Look(uint64_t complete);
    /// Writes the number of records that are in the file with all of their data. False when the stream has failed.
    bool CycleCount_Write(FileStream& stream) const;
    /// Puts what a list has collected into the file or, with workers, into their queue. Data belongs to the first `complete`
    /// records, as for Flushed_Look.
    [[nodiscard]] QOR_HIDDEN bool PutOut(MDF::DLBLOCK& list, uint64_t complete);
    /// Flushes what is collected. False when that failed or the group is torn.
    [[nodiscard]] bool Flush(FileStream& stream);
    void Reset();

    MDF::DGBLOCK* Group;
    std::unique_ptr<MDF::DLBLOCK> Records;
    std::unique_ptr<MDF::DLBLOCK> Vlsd;  // null for groups without variable-length data
    uint64_t CycleCount = 0;             // whole records, with their data, since the last reset
    uint64_t DataBytes = 0;              // bytes of variable-length data since the last reset, with their lengths
    unsigned int RecordSize = 0;         // bytes; 0 for a group without channels
    uint64_t RecordBytesSeen = 0;        // bytes of records that were in the file when last checked
    uint64_t VlsdBytesSeen = 0;          // the same for variable-length data ...
    uint64_t VlsdComplete = 0;           // ... and the number of records whose data were
    bool Torn = false;                   // ends with a part of a record, or of its data
    MDF::PackQueue* Queue = nullptr;     // of the workers, if there are any; not owned
  };

  /// The payload of an entry: the record's bytes past the common header, as far as its Length reaches.
  using Payload = RecordPayload;

  /// @throws std::bad_alloc; so does Channel_New
  Bus(unsigned int busChannel, Info::busType_t busType, MDF::DGBLOCK* group, MDF::CNBLOCK* vlsdChannel,
      FileStream& stream);
  Bus(unsigned int busChannel, Info::busType_t busType, MDF::DGBLOCK* group, FileStream& stream);
  Bus(const Bus&) = delete;
  Bus& operator=(const Bus&) = delete;
  ~Bus();

  /// Appends a group, without variable-length data unless they have a channel.
  void Channel_New(MDF::DGBLOCK* group, FileStream& stream);
  void Channel_New(MDF::DGBLOCK* group, MDF::CNBLOCK* vlsdChannel, FileStream& stream);

  /// By which convention the groups were built, and entries become records. Standard groups have plain data blocks where
  /// packing saves nothing.
  QOR_HIDDEN void Convention_Set(BusConvention convention);
  /// Full blocks are handed to this queue from now on; null for none. Not owned.
  QOR_HIDDEN void Queue_Set(MDF::PackQueue* queue);

  /// Writes the record of one entry, which is read by this bus's type. `timestamp`: ns. True also for an entry that needs
  /// no record; false when the entry is of a kind that isn't recorded, is shorter than the common header, or is refused.
  /// Bytes that the entry's lengths promise but its Length doesn't hold are recorded as zeros.
  /// @throws std::out_of_range when the bus lacks the group for this kind of event
  [[nodiscard]] bool Data_Insert(Qor_Trace_Entry_t& entry, unsigned long& timestamp);

  /// One event of a known kind into its group.
  [[nodiscard]] bool Data_Insert_CAN_DataFrame(ChannelGroup& group, Payload payload, unsigned long& timestamp);
  [[nodiscard]] bool Data_Insert_CAN_ErrorFrame(ChannelGroup& group, Payload payload, unsigned long& timestamp);
  /// `kind`: 0 frame, 1 checksum error, 2 receive error, 3 sync error, 4 transmission error, 5 wake-up; false for others.
  [[nodiscard]] bool Data_Insert_LIN(ChannelGroup& group, unsigned int kind, Payload payload, unsigned long& timestamp);
  /// Two records for a frame of both channels; none, and true, for a channel that doesn't exist.
  [[nodiscard]] bool Data_Insert_Flexray_Frame(ChannelGroup& group, Payload payload, unsigned long& timestamp);
  [[nodiscard]] bool Data_Insert_Flexray_Error(ChannelGroup& group, Payload payload, unsigned long& timestamp);
  [[nodiscard]] bool Data_Insert_Flexray_StartCycle(ChannelGroup& group, Payload payload, unsigned long& timestamp);
  [[nodiscard]] bool Data_Insert_Flexray_State(ChannelGroup& group, Payload payload, unsigned long& timestamp);
  [[nodiscard]] bool Data_Insert_Flexray_Symbol(ChannelGroup& group, Payload payload, unsigned long& timestamp);

  [[nodiscard]] unsigned int BusChannel_Get() const;
  [[nodiscard]] unsigned char BusType_Get() const;
  [[nodiscard]] Info::busType_t Type() const;

  // Groups are numbered from 0 in the order in which they were added; a number beyond them throws std::out_of_range.

  [[nodiscard]] MDF::DGBLOCK* Block_Get(unsigned int index) const;
  /// Brings the cycle counts in the channel groups up to date and writes those that are placed and changed. False when
  /// the stream is closed or has failed.
  bool Block_Refresh(FileStream& stream);
  [[nodiscard]] unsigned long CycleCount_Get(unsigned int index) const;
  /// Of all groups.
  [[nodiscard]] unsigned long CycleCount_Get() const;
  void CycleCount_Increment(unsigned int index);
  void DataBytes_Add(unsigned int index, unsigned long bytes);
  /// Bytes of variable-length data of a group, the four of each length included.
  [[nodiscard]] unsigned long DataBytes_Get(unsigned int index) const;
  /// The same without the lengths.
  [[nodiscard]] unsigned long DataBytes_VLSD(unsigned int index = 0) const;
  /// Roughly the bytes that what is collected in all groups will take in the file.
  [[nodiscard]] unsigned long DataBytes_Est() const;
  /// The group for a kind of event; a number beyond all groups for one that isn't recorded. `kind` is the LIN kind (see
  /// Data_Insert_LIN) or the FlexRay ItemType, and doesn't matter for CAN; `error`, for CAN only, chooses the error frames.
  [[nodiscard]] unsigned int ChannelNum_Get(unsigned int kind, bool error) const;

  /// Always true.
  bool Data_NewBlock();
  /// True when Write has something to put into the file.
  [[nodiscard]] bool Data_Waiting() const;
  /// Makes all groups scopes of an event that isn't placed yet: the data groups or, in the standard convention, their
  /// channel groups, which are what the format allows.
  void Event_ScopeAdd(MDF::EVBLOCK* event);
  /// Flushes everything that is collected to the file. True when nothing was left to write.
  [[nodiscard]] bool Write();
  /// Sets cycle counts and data bytes to 0 for the next file of a series. What couldn't be written is dropped.
  void Reset();

  /// Data bytes by CAN data length code: as a map, and as a table for the code that runs for each frame.
  static const std::map<unsigned char, unsigned char> _canDlcBytes;
  static std::map<unsigned char, unsigned char> CreateMap_CanDlc();
  static constexpr unsigned char kCanDlcBytes[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 12, 16, 20, 24, 32, 48, 64};

 private:
  [[nodiscard]] QOR_HIDDEN bool DispatchCan(Payload payload, unsigned long& timestamp);
  [[nodiscard]] QOR_HIDDEN bool DispatchLin(Payload payload, unsigned long& timestamp);
  [[nodiscard]] QOR_HIDDEN bool DispatchFlexRay(Payload payload, unsigned long& timestamp);
  [[nodiscard]] QOR_HIDDEN unsigned char LinFrameFlags(const LinView& lin) const;

  [[nodiscard]] QOR_HIDDEN bool IsStandard() const { return Convention == BusConvention::kStandard; }
  [[nodiscard]] QOR_HIDDEN bool InsertStandard(Payload payload, unsigned long& timestamp);
  [[nodiscard]] QOR_HIDDEN bool InsertStandardCan(Payload payload, unsigned long& timestamp);
  [[nodiscard]] QOR_HIDDEN bool InsertStandardLin(Payload payload, unsigned long& timestamp);
  [[nodiscard]] QOR_HIDDEN bool InsertStandardFlexRay(Payload payload, unsigned long& timestamp);
  [[nodiscard]] QOR_HIDDEN bool InsertStandardEthernet(Payload payload, unsigned long& timestamp);
  [[nodiscard]] QOR_HIDDEN bool InsertCanRemoteFrame(ChannelGroup& group, const CanView& can, unsigned long timestamp);
  [[nodiscard]] QOR_HIDDEN bool InsertFlxNullFrame(ChannelGroup& group, const FlexRayView& frame,
                                                   unsigned long timestamp);
  [[nodiscard]] QOR_HIDDEN bool InsertEthernetFrame(ChannelGroup& group, const EthernetView& ethernet,
                                                    unsigned long timestamp);

  unsigned int BusChannel;
  Info::busType_t BusType;
  BusConvention Convention = BusConvention::kExported;
  FileStream& Stream;
  std::vector<ChannelGroup> Groups;
};

namespace MDF {
using ::Bus;
}
