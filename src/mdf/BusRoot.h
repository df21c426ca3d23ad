// The buses of an MDF file, and which of them an entry belongs to.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <utility>
#include <vector>

#include "internal/Visibility.h"
#include "mdf/Block.h"
#include "mdf/Bus.h"
#include "mdf/RecordingInfo.h"
#include "qor_api_trace.h"

/// Keeps the buses by bus channel and bus type.
///
/// Ownership: owns its buses. Header block and stream are the file's and must outlive all calls but the destructor.
/// Threads: one at a time for all of a file.
class QOR_EXPORT BusRoot {
 public:
  /// Bus channel in bits 0 to 31, bus type in bits 32 to 39.
  struct QOR_EXPORT channelKey_t {
    channelKey_t(unsigned int busChannel, unsigned char busType)
        : Value(static_cast<uint64_t>(busType) << 32 | busChannel) {}
    friend bool operator<(const channelKey_t& left, const channelKey_t& right) { return left.Value < right.Value; }

    uint64_t Value;
  };

  BusRoot(MDF::HDBLOCK* header, FileStream& stream);
  BusRoot(const BusRoot&) = delete;
  BusRoot& operator=(const BusRoot&) = delete;
  ~BusRoot();

  /// Builds a bus: type 0 CAN, 1 LIN, 2 FlexRay, 'c' a CAN bus with data frames only. False for another type or a bus
  /// that is there already.
  /// @throws std::bad_alloc
  [[nodiscard]] bool Bus_Add(unsigned int busChannel, unsigned char busType);
  /// Takes a bus over. False, and it stays the caller's, for null or one whose channel and type are there already.
  [[nodiscard]] bool Bus_Add(Bus* bus);
  /// What buses added from now on are like.
  QOR_HIDDEN void Convention_Set(BusConvention convention) { Convention = convention; }
  [[nodiscard]] QOR_HIDDEN BusConvention Convention_Get() const { return Convention; }
  /// Full blocks of all buses, those that are added later too, are handed to this queue; null for none. Not owned.
  QOR_HIDDEN void Queue_Set(MDF::PackQueue* queue);
  /// What is known of the channels; for their source blocks in the standard convention.
  QOR_HIDDEN void ChannelInfo_Set(std::vector<RecordingInfo::Channel> channels) { Channels = std::move(channels); }
  /// Null for a channel that nothing is known of.
  [[nodiscard]] QOR_HIDDEN const RecordingInfo::Channel* ChannelInfo_Get(unsigned int busChannel,
                                                                         unsigned char busType) const;
  /// The bus that an entry of this channel and type goes to; null when there is none.
  [[nodiscard]] QOR_HIDDEN Bus* FindBus(unsigned int busChannel, unsigned char busType) const;
  [[nodiscard]] QOR_HIDDEN bool Empty() const { return Buses.empty(); }

  /// Null when there is none.
  [[nodiscard]] Bus* Bus_Get(unsigned int busChannel, unsigned char busType) const;
  /// True while no bus has this key.
  [[nodiscard]] bool BusChannel_Available(const channelKey_t& key) const;

  /// Hands the entry to the first bus, in the order of the keys, of its channel and type. False when there is none or it
  /// doesn't record the entry (see Bus::Data_Insert, also for what is thrown).
  [[nodiscard]] bool Data_Insert(Qor_Trace_Entry_t& entry);
  /// Hands the entry to this bus, whatever its channel and type; false for null.
  [[nodiscard]] bool Data_Insert(Bus* bus, Qor_Trace_Entry_t& entry);

  // On every bus, what Bus does under the same name. With workers, what waits in their queue counts as collected.

  void Bus_Reset();
  [[nodiscard]] bool Bus_Write();
  bool Data_NewBlock();
  [[nodiscard]] bool Data_Waiting() const;
  [[nodiscard]] unsigned long DataBytes_Est() const;
  /// As Bus_Write.
  [[nodiscard]] bool Write();

  /// The next record id: 1, 2, ... 255, 0, 1, ...
  unsigned char NextID();
  /// The latest record id, as the result and in `id`.
  unsigned char Mod_RecId(unsigned char& id) const;
  FileStream& Get_FileStream();
  /// The block that the next bus's groups are chained to: the header block, later the last data group. ("Hierarchie": sic,
  /// part of the interface.)
  [[nodiscard]] MDF::Block* LatestHierarchieElement() const;
  void LatestHierarchieElement(MDF::Block* block);

 private:
  [[nodiscard]] QOR_HIDDEN Bus* Generate(unsigned int busChannel, unsigned char busType);

  FileStream& Stream;
  MDF::PackQueue* Queue = nullptr;
  BusConvention Convention = BusConvention::kExported;
  std::vector<RecordingInfo::Channel> Channels;
  std::map<channelKey_t, std::unique_ptr<Bus>> Buses;
  unsigned char RecordId = 0;
  MDF::Block* Latest;
};

namespace MDF {
using ::BusRoot;
}
