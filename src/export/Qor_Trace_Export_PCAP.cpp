#include "export/Qor_Trace_Export_PCAP.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cstring>

#include "internal/Qor_Trace_Exception.h"
#include "record/RecordView.h"

namespace {

static_assert(std::endian::native == std::endian::little, "blocks are stored as they lie in memory");

constexpr unsigned int kGeneral = 255;  // level of an error that concerns no particular interface

constexpr unsigned short kLinkTypeEthernet = 1;
constexpr unsigned short kOptionUserAppl = 4;  // shb_userappl
constexpr unsigned short kOptionName = 2;      // if_name
constexpr unsigned short kOptionTsResol = 9;   // if_tsresol
constexpr unsigned short kOptionFlags = 2;     // epb_flags
constexpr unsigned int kInbound = 1;
constexpr unsigned int kOutbound = 2;
constexpr unsigned int kCrcError = 0x01000000;

constexpr size_t Padded(size_t size) { return (size + 3) & ~size_t{3}; }

#pragma pack(push, 1)

struct EndOfOptions {
  unsigned short Code = 0;
  unsigned short Length = 0;
};

struct SectionHeaderBlock {
  unsigned int Type = 0x0A0D0D0A;
  unsigned int Length = 72;
  unsigned int ByteOrderMagic = 0x1A2B3C4D;
  unsigned short Major = 1;
  unsigned short Minor = 0;
  unsigned long SectionLength = 44;  // whatever the section's real length is: part of the interface
  unsigned short OptionCode = kOptionUserAppl;
  unsigned short OptionLength = 35;
  char Application[36] = "Norvik electronic Qor-API Trace Dll";
  EndOfOptions End;
  unsigned int LengthAgain = 72;
};
static_assert(sizeof(SectionHeaderBlock) == 72);
static_assert(offsetof(SectionHeaderBlock, Application) == 28);

// Head, the channel number in decimal padded to a multiple of 4, tail.
struct InterfaceDescriptionHead {
  unsigned int Type = 1;
  unsigned int Length;
  unsigned short LinkType = kLinkTypeEthernet;
  unsigned short Reserved = 0;
  unsigned int SnapLength = 1522;
  unsigned short OptionCode = kOptionName;
  unsigned short OptionLength;
};
static_assert(sizeof(InterfaceDescriptionHead) == 20);

struct InterfaceDescriptionTail {
  unsigned short OptionCode = kOptionTsResol;
  unsigned short OptionLength = 1;
  unsigned char Resolution[4] = {9, 0, 0, 0};  // 10^-9 s, padding
  EndOfOptions End;
  unsigned int Length;
};
static_assert(sizeof(InterfaceDescriptionTail) == 16);

// Head, the frame padded to a multiple of 4, tail.
struct EnhancedPacketHead {
  unsigned int Type = 6;
  unsigned int Length;
  unsigned int Interface;
  unsigned int TimestampHigh;
  unsigned int TimestampLow;
  unsigned int CapturedLength;
  unsigned int OriginalLength;
};
static_assert(sizeof(EnhancedPacketHead) == 28);

struct EnhancedPacketTail {
  unsigned short OptionCode = kOptionFlags;
  unsigned short OptionLength = 4;
  unsigned int Flags;
  EndOfOptions End;
  unsigned int Length;
};
static_assert(sizeof(EnhancedPacketTail) == 16);

// Head, the data padded to a multiple of 4, the length again.
struct CustomHead {
  unsigned int Type = 0x40000BAD;
  unsigned int Length;
  unsigned int EnterpriseNumber = 0;
};
static_assert(sizeof(CustomHead) == 12);

#pragma pack(pop)

constexpr size_t kEnhancedPacketFrame = sizeof(EnhancedPacketHead) + sizeof(EnhancedPacketTail);
constexpr size_t kCustomFrame = sizeof(CustomHead) + sizeof(unsigned int);
// The block has 36 bytes around the name; it declares 4 more, which is part of the interface.
constexpr size_t kInterfaceFrame = sizeof(InterfaceDescriptionHead) + sizeof(InterfaceDescriptionTail);
constexpr size_t kInterfaceExcess = 4;

/// Stores a piece of a block; returns the place after it.
template <class Piece>
char* Put(char* out, const Piece& piece) {
  std::memcpy(out, &piece, sizeof piece);
  return out + sizeof piece;
}

/// Stores bytes and zeros up to a multiple of 4.
char* PutPadded(char* out, const void* bytes, size_t size) {
  if (size == 0) return out;
  char* const end = out + Padded(size);
  // The last word is zeroed whole; the bytes then overwrite all of it but the padding.
  std::memset(end - 4, 0, 4);
  std::memcpy(out, bytes, size);
  return end;
}

unsigned int PacketFlags(const EthernetView& ethernet) {
  const unsigned int direction = ethernet.Has(QOR_TRACE_ETHERNET_TRANSMITTED) ? kOutbound : kInbound;
  return direction | (ethernet.Has(QOR_TRACE_ETHERNET_CRC_ERROR) ? kCrcError : 0);
}

/// A frame that its record doesn't hold whole is as long as the bytes that are present.
char* PutEnhancedPacketBlock(char* out, unsigned int interface, unsigned long timestamp, const EthernetView& ethernet) {
  const RecordPayload frame = ethernet.Frame();
  const auto length = static_cast<unsigned int>(Padded(frame.size()) + kEnhancedPacketFrame);
  EnhancedPacketHead head;
  head.Length = length;
  head.Interface = interface;
  head.TimestampHigh = static_cast<unsigned int>(timestamp >> 32);
  head.TimestampLow = static_cast<unsigned int>(timestamp);
  head.CapturedLength = static_cast<unsigned int>(frame.size());
  head.OriginalLength = head.CapturedLength;
  EnhancedPacketTail tail;
  tail.Flags = PacketFlags(ethernet);
  tail.Length = length;
  return Put(PutPadded(Put(out, head), frame.data(), frame.size()), tail);
}

char* PutCustomBlock(char* out, RecordPayload data) {
  CustomHead head;
  head.Length = static_cast<unsigned int>(Padded(data.size()) + kCustomFrame);
  return Put(PutPadded(Put(out, head), data.data(), data.size()), head.Length);
}

}  // namespace

Qor_Trace_Export_PCAP::Qor_Trace_Export_PCAP(unsigned int flags, const char* fileName, unsigned long startTime)
    : Flags(flags), StartTime(startTime) {
  if (!File.Open(fileName)) {
    throw Qor_Trace_Exception(kGeneral, QOR_TRACE_STATUS_FILE_ERROR, "error opening file");
  }
}

Qor_Trace_Export_PCAP::~Qor_Trace_Export_PCAP() = default;

void Qor_Trace_Export_PCAP::WriteSectionHeaderBlock() {
  File.Commit(Put(File.Room(sizeof(SectionHeaderBlock)), SectionHeaderBlock()));
}

void Qor_Trace_Export_PCAP::Export(const Qor_Trace_EntryStore& entries) {
  WriteSectionHeaderBlock();
  const auto end = entries.end();
  for (auto entry = entries.begin(); entry != end; ++entry) {
    entry.Prefetch();
    WriteEntry(*entry);
  }
  File.Flush();
}

void Qor_Trace_Export_PCAP::WriteEntry(const Qor_Trace_Entry_t& entry) {
  const RecordView record(entry);
  const bool relative = (Flags & QOR_TRACE_PCAP_START_OFFSET) != 0;
  if (relative && record.Timestamp() < StartTime) return;
  if (record.Bus() != BusType_Ethernet) return;
  const unsigned int interface = InterfaceOf(record.ChannelId());  // even for a record that yields no block

  const EthernetView ethernet = record.Ethernet();
  if (ethernet.Type == EthernetItemType::Frame) {
    char* const place = File.Room(Padded(ethernet.Frame().size()) + kEnhancedPacketFrame);
    const unsigned long time = record.Timestamp() - (relative ? StartTime : 0);
    File.Commit(PutEnhancedPacketBlock(place, interface, time, ethernet));
  } else if (ethernet.Type == EthernetItemType::Custom) {
    // Only the low byte of the length counts: part of the interface.
    const RecordPayload data = ethernet.Held.first(std::min<size_t>(ethernet.FrameLength & 0xFF, ethernet.Held.size()));
    File.Commit(PutCustomBlock(File.Room(Padded(data.size()) + kCustomFrame), data));
  }
}

/// The number of a channel's interface, which is described first if the file doesn't know it.
unsigned int Qor_Trace_Export_PCAP::InterfaceOf(unsigned int channelId) {
  unsigned int& next = channelId < LowChannels.size() ? LowChannels[channelId] : HighChannels[channelId];
  if (next == 0) {
    WriteInterfaceDescriptionBlock(channelId);
    next = ++InterfaceCount;
  }
  return next - 1;
}

void Qor_Trace_Export_PCAP::WriteInterfaceDescriptionBlock(unsigned int channelId) {
  std::array<char, 10> name;
  const char* const end = std::to_chars(name.data(), name.data() + name.size(), channelId).ptr;
  const auto size = static_cast<size_t>(end - name.data());
  const size_t held = Padded(size) + kInterfaceFrame;
  InterfaceDescriptionHead head;
  head.Length = static_cast<unsigned int>(held + kInterfaceExcess);
  head.OptionLength = static_cast<unsigned short>(size);
  InterfaceDescriptionTail tail;
  tail.Length = head.Length;
  File.Commit(Put(PutPadded(Put(File.Room(held), head), name.data(), size), tail));
}
