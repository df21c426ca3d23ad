// Monitor items and poll responses, byte for byte as interfaces deliver them, and the records that must come of them.
//
//   auto item = test::Frame(0x123).At(200).Data({1, 2});            // CAN
//   auto response = test::Response(BusType_Can, {item});
//   auto record = test::RecordOf(BusType_Can, /*channel=*/1, item);
//
// Everything here is written from the layouts, without the library's own types.
#pragma once

#include <cstddef>
#include <cstring>
#include <utility>
#include <vector>

#include "qor_api_trace.h"
#include "support/EntryBuilder.h"  // Bytes

namespace test {

/// Stores `value` at `offset`, low byte first; the bytes must be there.
template <class Value>
void PutAt(Bytes& bytes, size_t offset, Value value) {
  std::memcpy(bytes.data() + offset, &value, sizeof value);
}

/// Reads a number at `offset`, low byte first; the bytes must be there.
template <class Value>
Value ReadAt(const Bytes& bytes, size_t offset) {
  Value value;
  std::memcpy(&value, bytes.data() + offset, sizeof value);
  return value;
}

/// Appends bytes to others.
void Append(Bytes& to, const Bytes& bytes);

/// CAN:  0 u64 time | 8 u32 identifier | 12 flags | 13 reserved | 14 DLC | 15 data length n | 16 n bytes
class Frame {
 public:
  explicit Frame(unsigned int identifier) : Wire(16) { PutAt(Wire, 8, identifier); }
  Frame& At(unsigned long nanoseconds) { return PutAt(Wire, 0, nanoseconds), *this; }
  Frame& Flags(unsigned int flags) { return PutAt(Wire, 12, static_cast<unsigned char>(flags)), *this; }
  Frame& Reserved(unsigned int value) { return PutAt(Wire, 13, static_cast<unsigned char>(value)), *this; }
  Frame& Data(const Bytes& data) {
    Wire.resize(16);
    Append(Wire, data);
    Wire[14] = DlcOf(data.size());
    return SaysDataLength(data.size());
  }
  /// The data length by itself, whatever the data.
  Frame& SaysDataLength(size_t length) { return PutAt(Wire, 15, static_cast<unsigned char>(length)), *this; }
  operator Bytes() const { return Wire; }

 private:
  Bytes Wire;
};

/// LIN:  0 u16 size | 2 reserved | 4 u64 time || 12 flags | 13 data length | 14 identifier | 15 reserved
///       | 16 u32 bit time | 20 data and checksum
class LinFrame {
 public:
  explicit LinFrame(unsigned int identifier) : Wire(20) {
    PutAt(Wire, 14, static_cast<unsigned char>(identifier));
    SaysSize(Wire.size());
  }
  LinFrame& At(unsigned long nanoseconds) { return PutAt(Wire, 4, nanoseconds), *this; }
  LinFrame& Flags(unsigned int flags) { return PutAt(Wire, 12, static_cast<unsigned char>(flags)), *this; }
  LinFrame& BitTime(unsigned int eighths) { return PutAt(Wire, 16, eighths), *this; }
  /// Data bytes and checksum.
  LinFrame& Data(const Bytes& data) {
    Wire.resize(20);
    Append(Wire, data);
    return SaysSize(Wire.size()).SaysDataLength(data.size());
  }
  LinFrame& SaysDataLength(size_t length) { return PutAt(Wire, 13, static_cast<unsigned char>(length)), *this; }
  LinFrame& SaysSize(size_t size) { return PutAt(Wire, 0, static_cast<unsigned short>(size)), *this; }
  operator Bytes() const { return Wire; }

 private:
  Bytes Wire;
};

/// FlexRay:  0 u16 size | 2 u16 kind | 4 u64 time | 12 channel | 13 flags | 14 u16 slot | 16 cycle | 17 words
///           | 18 u16 header CRC | 20 payload.  Kinds 7 to 10 have their key at 12, u16.
class FlexRayFrame {
 public:
  explicit FlexRayFrame(unsigned int slot) : Wire(20) {
    PutAt(Wire, 14, static_cast<unsigned short>(slot));
    Kind(QOR_TRACE_FLEXRAY_RECEIVED).SaysSize(Wire.size());
  }
  FlexRayFrame& Kind(unsigned int kind) { return PutAt(Wire, 2, static_cast<unsigned short>(kind)), *this; }
  FlexRayFrame& At(unsigned long nanoseconds) { return PutAt(Wire, 4, nanoseconds), *this; }
  FlexRayFrame& Key(unsigned int key) { return PutAt(Wire, 12, static_cast<unsigned short>(key)), *this; }
  FlexRayFrame& Data(const Bytes& data) {
    Wire.resize(20);
    Append(Wire, data);
    Wire[17] = static_cast<unsigned char>((data.size() + 1) / 2);
    return SaysSize(Wire.size());
  }
  /// Cuts the item to its first `size` bytes.
  FlexRayFrame& CutTo(size_t size) { return Wire.resize(size), SaysSize(size); }
  FlexRayFrame& SaysSize(size_t size) { return PutAt(Wire, 0, static_cast<unsigned short>(size)), *this; }
  operator Bytes() const { return Wire; }

 private:
  Bytes Wire;
};

/// Ethernet:  0 u16 size | 2 u16 kind | 4 u64 time | 12 flags | 13 reserved | 14 u16 frame length | 16 frame
class EthernetFrame {
 public:
  explicit EthernetFrame(const Bytes& frame) : Wire(16) {
    PutAt(Wire, 14, static_cast<unsigned short>(frame.size()));
    Append(Wire, frame);
    Kind(QOR_TRACE_ETHERNET_FRAME).SaysSize(Wire.size());
  }
  EthernetFrame& Kind(unsigned int kind) { return PutAt(Wire, 2, static_cast<unsigned short>(kind)), *this; }
  EthernetFrame& At(unsigned long nanoseconds) { return PutAt(Wire, 4, nanoseconds), *this; }
  EthernetFrame& Flags(unsigned int flags) { return PutAt(Wire, 12, static_cast<unsigned char>(flags)), *this; }
  EthernetFrame& SaysSize(size_t size) { return PutAt(Wire, 0, static_cast<unsigned short>(size)), *this; }
  operator Bytes() const { return Wire; }

 private:
  Bytes Wire;
};

using Items = std::vector<Bytes>;

/// A poll response of a bus with these items: CAN has a head of 4 bytes, the others one of 8, in which LIN and Ethernet
/// count their items at 4 (u16); CAN and FlexRay items begin at multiples of 4 after the head.
Bytes Response(Qor_Trace_BusType bus, const Items& items);

/// Time of an item of a bus, ns.
inline unsigned long TimeOf(Qor_Trace_BusType bus, const Bytes& item) {
  return ReadAt<unsigned long>(item, bus == BusType_Can ? 0 : 4);
}

/// The record that an item becomes: 28 bytes of header, then the item as it is; only LIN items are rebuilt.
/// 0 u32 length | 4 u32 channel | 8 u64 time | 16 u64 relative time | 24 bus | 25 0 0 0 | 28 payload
Bytes RecordOf(Qor_Trace_BusType bus, unsigned int channel, const Bytes& item, unsigned long relativeTime = 0);

/// A record's bytes.
inline Bytes BytesOf(const Qor_Trace_Entry_t& record) {
  const auto* const bytes = reinterpret_cast<const unsigned char*>(&record);
  return {bytes, bytes + record.Length};
}
inline Bytes BytesOf(const Qor_Trace_Entry& entry) { return BytesOf(*entry.GetEntry()); }

/// The interface type of the hardware library for a bus.
inline unsigned int InterfaceType(Qor_Trace_BusType bus) {
  constexpr unsigned int kTypes[] = {QOR_INTERFACE_CAN, QOR_INTERFACE_LIN, QOR_INTERFACE_FLEXRAY,
                                     QOR_INTERFACE_ETHERNET};
  return kTypes[bus];
}

}  // namespace test
