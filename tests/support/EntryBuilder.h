// Trace entries for tests, made the way channels make them: a monitor item, then the entry's constructor.
//
//   auto entry = test::CanItem().Channel(1).At(1'500'000'000).Id(0x123).Data({1, 2, 3}).Entry();
//
// Every builder begins as a plain received frame on channel 1 at 0 ns. Records that no item yields (cut short,
// malformed) are made from a copy: test::Record(*entry).CutTo(30).
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <memory>
#include <utility>
#include <vector>

#include "qor_api.h"
#include "qor_api_trace.h"
#include "record/Qor_Trace_Entry.h"

namespace test {

using Bytes = std::vector<unsigned char>;
using EntryPtr = std::shared_ptr<Qor_Trace_Entry>;

/// `count` bytes: first, first + 1, ...
inline Bytes Counting(size_t count, unsigned int first = 1) {
  Bytes bytes(count);
  for (auto& byte : bytes) byte = static_cast<unsigned char>(first++);
  return bytes;
}

/// The data length code of a CAN FD frame of `bytes` data bytes: the smallest that holds them.
inline unsigned char DlcOf(size_t bytes) {
  constexpr unsigned char kBytes[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 12, 16, 20, 24, 32, 48, 64};
  const auto* code = std::find_if(std::begin(kBytes), std::end(kBytes), [&](size_t held) { return held >= bytes; });
  return static_cast<unsigned char>(std::min<std::ptrdiff_t>(code - std::begin(kBytes), 15));
}

/// What all builders share. `Self` is the builder, for chaining.
template <class Self>
class ItemBase {
 public:
  Self& Channel(unsigned int channelId) { return ChannelId = channelId, Me(); }
  /// ns.
  Self& At(unsigned long timestamp) { return Timestamp = timestamp, Me(); }
  /// ns since the previous entry of the same message; an entry of the monitor's list.
  Self& Relative(long nanoseconds) { return RelativeTimestamp = nanoseconds, Me(); }

  [[nodiscard]] EntryPtr Entry() const {
    auto entry = static_cast<const Self&>(*this).Made();
    if (RelativeTimestamp != 0) SetRelative(entry);
    return entry;
  }

 protected:
  unsigned int ChannelId = 1;
  unsigned long Timestamp = 0;

 private:
  Self& Me() { return static_cast<Self&>(*this); }

  void SetRelative(const EntryPtr& entry) const {
    Can_Param_Monitor_Buffer64_LargeItem_t item{};
    const auto previous = std::make_shared<Qor_Trace_Entry>(ChannelId, &item);
    item.Timestamp = static_cast<unsigned long>(RelativeTimestamp);
    entry->SetRelativeTimestamp(std::make_shared<Qor_Trace_Entry>(ChannelId, &item), previous);
  }

  long RelativeTimestamp = 0;
};

/// CAN and CAN FD frames, error frames and trigger events.
class CanItem : public ItemBase<CanItem> {
 public:
  CanItem& Id(unsigned int identifier) { return Identifier = identifier, *this; }
  CanItem& Extended() { return Set(QOR_TRACE_CAN_EXTENDED, QOR_TRACE_CAN_ID_EXTENDED); }
  CanItem& Fd() { return Set(QOR_TRACE_CAN_FD, QOR_TRACE_CAN_ID_FD); }
  CanItem& Brs() { return Set(QOR_TRACE_CAN_BRS); }
  CanItem& Esi() { return Set(QOR_TRACE_CAN_ESI); }
  CanItem& Tx() { return Set(QOR_TRACE_CAN_TRANSMITTED); }
  CanItem& Overrun() { return Set(QOR_TRACE_CAN_OVERRUN); }
  /// Sets the data and the DLC that fits it; at most 255 bytes.
  CanItem& Data(Bytes bytes) {
    Dlc(DlcOf(bytes.size()));
    return Payload = std::move(bytes), *this;
  }
  CanItem& Dlc(unsigned int code) { return DlcCode = static_cast<unsigned char>(code), *this; }
  CanItem& ErrorFrame(unsigned char kind) { return Set(QOR_TRACE_CAN_ERROR).Data({kind}); }
  CanItem& RisingEdge() { return Set(QOR_TRACE_CAN_TRIGGER).Data({0}); }
  CanItem& FallingEdge() { return Set(QOR_TRACE_CAN_TRIGGER).Data({1}); }
  /// The first byte is the event code, 2 to 255.
  CanItem& UserEvent(Bytes bytes) { return Set(QOR_TRACE_CAN_TRIGGER).Data(std::move(bytes)); }
  /// All flags at once; the identifier's marker bits are left as they are.
  CanItem& Flags(unsigned int flags) { return FlagBits = static_cast<unsigned char>(flags), *this; }

  [[nodiscard]] EntryPtr Made() const {
    // Room for the longest item that its DataLength can announce.
    struct {
      Can_Param_Monitor_Buffer64_LargeItem_t Head;
      unsigned char Rest[255 - sizeof(Can_Param_Monitor_Buffer64_LargeItem_t::Data)];
    } room{};
    room.Head.Timestamp = Timestamp;
    room.Head.Identifier = Identifier | MarkerBits;
    room.Head.Flags = FlagBits;
    room.Head.Dlc = DlcCode;
    room.Head.DataLength = static_cast<unsigned char>(Payload.size());
    std::copy(Payload.begin(), Payload.end(), reinterpret_cast<unsigned char*>(&room) + 16);
    return std::make_shared<Qor_Trace_Entry>(ChannelId, &room.Head);
  }

 private:
  CanItem& Set(unsigned int flag, unsigned int marker = 0) {
    FlagBits = static_cast<unsigned char>(FlagBits | flag);
    MarkerBits |= marker;
    return *this;
  }

  unsigned int Identifier = 0;
  unsigned int MarkerBits = 0;
  unsigned char FlagBits = 0;
  unsigned char DlcCode = 0;
  Bytes Payload;
};

/// LIN frames, errors and events.
class LinItem : public ItemBase<LinItem> {
 public:
  LinItem& Id(unsigned int identifier) { return Identifier = static_cast<unsigned char>(identifier), *this; }
  /// Data bytes and checksum; at most 8 data bytes. DataLength is their number plus one.
  LinItem& Data(Bytes bytes, unsigned int checksum) {
    Payload = std::move(bytes);
    Payload.push_back(static_cast<unsigned char>(checksum));
    return DataLength(Payload.size());
  }
  /// DataLength by itself, whatever the data.
  LinItem& DataLength(size_t length) { return Length = static_cast<unsigned char>(length), *this; }
  LinItem& Tx() { return Set(QOR_TRACE_LIN_TRANSMITTED); }
  LinItem& ParityError() { return Set(QOR_TRACE_LIN_PARITY_ERROR); }
  LinItem& ChecksumError() { return Set(QOR_TRACE_LIN_CHECKSUM_ERROR); }
  LinItem& SyncError() { return Set(QOR_TRACE_LIN_SYNC_ERROR); }
  LinItem& TransmitError() { return Set(QOR_TRACE_LIN_TRANSMIT_ERROR | QOR_TRACE_LIN_TRANSMITTED); }
  LinItem& Event() { return Set(QOR_TRACE_LIN_EVENT); }
  LinItem& WakeUp() { return Set(QOR_TRACE_LIN_WAKEUP); }
  LinItem& Flags(unsigned int flags) { return FlagBits = static_cast<unsigned char>(flags), *this; }
  /// Eighths of a ns; 416667 is 19200 bit/s.
  LinItem& BitTime(unsigned int eighths) { return BitTimeEighths = eighths, *this; }

  [[nodiscard]] EntryPtr Made() const {
    struct {
      Lin_Param_Monitor_Buffer64_ItemHeader_t Header;
      Lin_Param_Monitor_Buffer64_Item_Small_t Small;
      unsigned char Rest[255];  // the entry is free to believe DataLength
    } item{};
    item.Header.ItemSize = static_cast<unsigned short>(20 + Payload.size());
    item.Header.TimestampLow = static_cast<unsigned int>(Timestamp);
    item.Header.TimestampHigh = static_cast<unsigned int>(Timestamp >> 32);
    item.Small.Flags = FlagBits;
    item.Small.DataLength = Length;
    item.Small.Identifier = Identifier;
    item.Small.BitTime = BitTimeEighths;
    std::copy(Payload.begin(), Payload.end(), reinterpret_cast<unsigned char*>(&item) + 20);
    return std::make_shared<Qor_Trace_Entry>(ChannelId, &item.Header, &item.Small);
  }

 private:
  LinItem& Set(unsigned int flags) { return FlagBits = static_cast<unsigned char>(FlagBits | flags), *this; }

  unsigned char FlagBits = 0;
  unsigned char Length = 1;
  unsigned char Identifier = 0;
  unsigned int BitTimeEighths = 416667;
  Bytes Payload{0};
};

/// FlexRay frames (kinds 1 and 2) and events (0, 3 to 10).
class FlexRayItem : public ItemBase<FlexRayItem> {
 public:
  FlexRayItem& Kind(unsigned int kind) { return ItemType = static_cast<unsigned short>(kind), *this; }
  FlexRayItem& Tx() { return Kind(QOR_TRACE_FLEXRAY_TRANSMITTED); }
  /// Byte 40 of the entry: frames 0 A, 1 B, 2 both; events: a sub-kind.
  FlexRayItem& Code(unsigned int code) { return ChannelCode = static_cast<unsigned char>(code), *this; }
  FlexRayItem& FrameFlags(unsigned int flags) { return FlagBits = static_cast<unsigned char>(flags), *this; }
  FlexRayItem& Slot(unsigned int slot) { return SlotId = static_cast<unsigned short>(slot), *this; }
  /// Byte 43 of the entry, the channel code of kinds 7 to 10: the upper byte of the slot.
  FlexRayItem& EventCode(unsigned int code) { return Slot((SlotId & 0xFFu) | code << 8); }
  FlexRayItem& Cycle(unsigned int cycle) { return CycleCounter = static_cast<unsigned char>(cycle), *this; }
  FlexRayItem& HeaderCrc(unsigned int crc) { return Crc = static_cast<unsigned short>(crc), *this; }
  /// Payload; sets PayloadLength to the words that hold it.
  FlexRayItem& Data(Bytes bytes) {
    Words = static_cast<unsigned char>((bytes.size() + 1) / 2);
    return Payload = std::move(bytes), *this;
  }
  /// PayloadLength by itself, 16-bit words.
  FlexRayItem& PayloadWords(unsigned int words) { return Words = static_cast<unsigned char>(words), *this; }

  [[nodiscard]] EntryPtr Made() const {
    Qor_Trace_Entry_FlexRay_t head{};
    head.ItemSize = static_cast<unsigned short>(kHead + Payload.size());
    head.ItemType = ItemType;
    head.ItemTimestamp = Timestamp;
    head.Channel = ChannelCode;
    head.FrameFlags = FlagBits;
    head.SlotId = SlotId;
    head.Cycle = CycleCounter;
    head.PayloadLength = Words;
    head.HeaderCrc = Crc;
    Bytes item(kHead);
    std::memcpy(item.data(), &head, kHead);
    item.insert(item.end(), Payload.begin(), Payload.end());
    return std::make_shared<Qor_Trace_Entry>(ChannelId,
                                             reinterpret_cast<const FlexRay_Param_Monitor_Entry_t*>(item.data()));
  }

 private:
  static constexpr size_t kHead = offsetof(Qor_Trace_Entry_FlexRay_t, Data);

  unsigned short ItemType = QOR_TRACE_FLEXRAY_RECEIVED;
  unsigned char ChannelCode = 0;
  unsigned char FlagBits = 0;
  unsigned short SlotId = 0;
  unsigned char CycleCounter = 0;
  unsigned char Words = 0;
  unsigned short Crc = 0;
  Bytes Payload;
};

/// Ethernet frames.
class EthernetItem : public ItemBase<EthernetItem> {
 public:
  EthernetItem& Kind(unsigned int kind) { return ItemType = static_cast<unsigned short>(kind), *this; }
  EthernetItem& Tx() { return FlagBits |= QOR_TRACE_ETHERNET_TRANSMITTED, *this; }
  EthernetItem& CrcError() { return FlagBits |= QOR_TRACE_ETHERNET_CRC_ERROR, *this; }
  /// The frame from the destination address on; sets FrameLength. At most 65519 bytes.
  EthernetItem& Frame(Bytes bytes) {
    FrameBytes = static_cast<unsigned short>(bytes.size());
    return Payload = std::move(bytes), *this;
  }
  /// FrameLength by itself, whatever the frame.
  EthernetItem& FrameLength(unsigned int length) { return FrameBytes = static_cast<unsigned short>(length), *this; }

  [[nodiscard]] EntryPtr Made() const {
    Qor_Trace_Entry_Ethernet_t head{};
    head.ItemSize = static_cast<unsigned short>(kHead + Payload.size());
    head.ItemType = ItemType;
    head.ItemTimestamp = Timestamp;
    head.Flags = FlagBits;
    head.FrameLength = FrameBytes;
    Bytes item(kHead);
    std::memcpy(item.data(), &head, kHead);
    item.insert(item.end(), Payload.begin(), Payload.end());
    return std::make_shared<Qor_Trace_Entry>(ChannelId,
                                             reinterpret_cast<const Ethernet_Param_Monitor_Item_t*>(item.data()));
  }

 private:
  static constexpr size_t kHead = offsetof(Qor_Trace_Entry_Ethernet_t, Frame);

  unsigned short ItemType = QOR_TRACE_ETHERNET_FRAME;
  unsigned char FlagBits = 0;
  unsigned short FrameBytes = 0;
  Bytes Payload;
};

/// A copy of a record, to be changed into what no item yields. It lies in a heap block of exactly its size, so that
/// AddressSanitizer sees a read past it.
class Record {
 public:
  explicit Record(const Qor_Trace_Entry& entry) : Size(entry.GetLength()), Block(new unsigned char[Size]) {
    entry.CopyTo(Block.get(), static_cast<unsigned long>(entry.GetRelativeTimestamp()));
  }
  Record(const Record& other) : Size(other.Size), Block(new unsigned char[Size]) {
    std::memcpy(Block.get(), other.Block.get(), Size);
  }
  Record(Record&&) = default;
  Record& operator=(Record&&) = default;
  ~Record() = default;
  /// Any bytes at all, the first four being overwritten with their number (at least 4).
  explicit Record(const Bytes& bytes) : Size(std::max<size_t>(bytes.size(), 4)), Block(new unsigned char[Size]()) {
    std::copy(bytes.begin(), bytes.end(), Block.get());
    PutLength();
  }

  /// Shortens the record to `size` bytes, at least 4, its Length field included.
  Record& CutTo(size_t size) {
    Size = std::clamp<size_t>(size, 4, Size);
    std::unique_ptr<unsigned char[]> kept(new unsigned char[Size]);
    std::memcpy(kept.get(), Block.get(), Size);
    Block = std::move(kept);
    PutLength();
    return *this;
  }
  /// Stores `value` at `offset`, low byte first.
  template <class Value>
  Record& Put(size_t offset, Value value) {
    std::memcpy(Block.get() + offset, &value, sizeof value);
    return *this;
  }

  /// Stays valid as long as the record is neither cut nor destroyed.
  [[nodiscard]] const Qor_Trace_Entry_t& Get() const {
    return *reinterpret_cast<const Qor_Trace_Entry_t*>(Block.get());
  }
  [[nodiscard]] const unsigned char* Data() const { return Block.get(); }
  [[nodiscard]] size_t Length() const { return Size; }

 private:
  void PutLength() { Put(0, static_cast<unsigned int>(Size)); }

  size_t Size;
  std::unique_ptr<unsigned char[]> Block;
};

}  // namespace test
