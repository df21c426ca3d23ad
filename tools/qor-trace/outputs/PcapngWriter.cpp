#include "outputs/PcapngWriter.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <tuple>

#include "system/Descriptor.h"

namespace client {

namespace {

constexpr size_t kCapacity = size_t{256} * 1024;  // bytes of the buffer; the longest block has some 64 KiB

//  block                   type          body
//  section header          0x0A0D0D0A    magic, version 1.0, section length, options
//  interface description   1             link type, 0, greatest packet (0: any), options
//  interface statistics    5             interface, time (upper, lower half), options
//  enhanced packet         6             interface, time (upper, lower half), captured and original length, packet, options
// Each begins with its type and its length and ends with its length again; an option is its code, its length, and its
// value padded to a multiple of 4; a code of 0 ends them.
constexpr unsigned int kSectionHeader = 0x0A0D0D0A;
constexpr unsigned int kInterfaceDescription = 1;
constexpr unsigned int kInterfaceStatistics = 5;
constexpr unsigned int kEnhancedPacket = 6;
constexpr unsigned int kByteOrderMagic = 0x1A2B3C4D;
constexpr unsigned long kUnknownLength = ~0ul;

constexpr unsigned short kEndOfOptions = 0;
constexpr unsigned short kUserAppl = 4;        // shb_userappl
constexpr unsigned short kInterfaceName = 2;   // if_name
constexpr unsigned short kTimeResolution = 9;  // if_tsresol
constexpr unsigned short kPacketFlags = 2;     // epb_flags
constexpr unsigned short kReceived = 4;        // isb_ifrecv
constexpr unsigned short kDropped = 5;         // isb_ifdrop

constexpr unsigned char kNanoseconds = 9;
constexpr unsigned int kInbound = 1;
constexpr unsigned int kOutbound = 2;
constexpr unsigned int kCrcError = 1u << 24;

constexpr size_t Padded(size_t size) { return (size + 3) & ~size_t{3}; }

constexpr size_t kBlockFrame = 12;  // type and length in front, length at the end
constexpr size_t kOptionHead = 4;
constexpr size_t kPacketBlock = kBlockFrame + 20 + (kOptionHead + 4) + kOptionHead;  // without the packet

/// Composes one block at a place with room for it. Numbers are stored low byte first.
class BlockComposer {
 public:
  BlockComposer(unsigned char* begin, unsigned int type) : Begin(begin), End(begin) {
    Number(type);
    Number(0u);  // the length, known once the block is complete
  }

  template <class Value>
  BlockComposer& Number(Value value) {
    for (size_t index = 0; index < sizeof value; ++index)
      *End++ = static_cast<unsigned char>(static_cast<unsigned long>(value) >> 8 * index);
    return *this;
  }

  /// The upper half comes first.
  BlockComposer& Time(unsigned long time) {
    return Number(static_cast<unsigned int>(time >> 32)).Number(static_cast<unsigned int>(time));
  }

  BlockComposer& Bytes(const void* bytes, size_t size) {
    if (size != 0) std::memcpy(End, bytes, size);
    End += size;
    return *this;
  }

  /// Zeros up to a multiple of 4 from the start of the block.
  BlockComposer& Pad() {
    while ((End - Begin) % 4 != 0) *End++ = 0;
    return *this;
  }

  template <class Value>
  BlockComposer& Option(unsigned short code, Value value) {
    return Number(code).Number(static_cast<unsigned short>(sizeof value)).Number(value).Pad();
  }
  BlockComposer& Option(unsigned short code, const std::string& text) {
    return Number(code).Number(static_cast<unsigned short>(text.size())).Bytes(text.data(), text.size()).Pad();
  }

  /// Ends options and block; returns the block's size.
  size_t Close() {
    Number(kEndOfOptions).Number(static_cast<unsigned short>(0));
    const auto length = static_cast<unsigned int>(End - Begin + 4);
    Number(length);
    End = Begin + 4;
    Number(length);
    return length;
  }

 private:
  unsigned char* const Begin;
  unsigned char* End;
};

unsigned int NumberAt(const unsigned char* place) {
  return place[0] | static_cast<unsigned int>(place[1]) << 8 | static_cast<unsigned int>(place[2]) << 16 |
         static_cast<unsigned int>(place[3]) << 24;
}

}  // namespace

size_t DescriptorSink::Write(const unsigned char* bytes, size_t size) { return WriteAll(File, bytes, size); }

PcapngWriter::PcapngWriter(ByteSink& sink, const PcapngOptions& options)
    : Sink(sink), EthernetOnly(options.EthernetOnly), Latest(Interfaces.end()), Buffer(new unsigned char[kCapacity]) {
  WriteSectionHeader(options.Application.substr(0, 1000));
}

bool PcapngWriter::Take(const RecordView& record) {
  if (FailedWith != 0) {
    errno = FailedWith;
    return false;
  }
  const auto bus = CaptureBusOf(record.Bus());
  if (EthernetOnly && bus && record.Bus() != BusType_Ethernet) {
    ++OtherBuses;
    return true;
  }
  unsigned int interface = 0;
  if (bus) {
    Interface& of = InterfaceOf(record, *bus);
    ++of.Entries;
    interface = of.Number;
    LatestTime = std::max(LatestTime, record.Timestamp());
  }
  Packet packet;
  if (const auto omission = MakePacket(record, packet)) {
    LeftOutEntries.Count(*omission);
    return FailedWith == 0;
  }
  if (!WritePacket(interface, record.Timestamp(), packet)) return false;
  if (!packet.AlsoOnChannelB) return true;
  MoveToChannelB(packet);
  return WritePacket(interface, record.Timestamp(), packet);
}

/// The interface of an entry's channel, which is described first if the file doesn't know it.
PcapngWriter::Interface& PcapngWriter::InterfaceOf(const RecordView& record, const CaptureBus& bus) {
  const InterfaceKey key(record.ChannelId(), record.Bus());
  if (Latest != Interfaces.end() && Latest->first == key) return Latest->second;
  bool isNew = false;
  const auto number = static_cast<unsigned int>(Interfaces.size());
  std::tie(Latest, isNew) = Interfaces.try_emplace(key, Interface{number, 0});
  if (isNew) WriteInterface(std::string(bus.Name) + "-" + std::to_string(key.first), bus.Link);
  return Latest->second;
}

bool PcapngWriter::WriteSectionHeader(const std::string& application) {
  if (!Reserve(kBlockFrame + 16 + kOptionHead + Padded(application.size()) + kOptionHead)) return false;
  Used += BlockComposer(Buffer.get() + Used, kSectionHeader)
              .Number(kByteOrderMagic)
              .Number(static_cast<unsigned short>(1))
              .Number(static_cast<unsigned short>(0))
              .Number(kUnknownLength)
              .Option(kUserAppl, application)
              .Close();
  return true;
}

bool PcapngWriter::WriteInterface(const std::string& name, LinkType link) {
  if (!Reserve(kBlockFrame + 8 + kOptionHead + Padded(name.size()) + (kOptionHead + 4) + kOptionHead)) return false;
  Used += BlockComposer(Buffer.get() + Used, kInterfaceDescription)
              .Number(static_cast<unsigned short>(link))
              .Number(static_cast<unsigned short>(0))
              .Number(0u)
              .Option(kInterfaceName, name)
              .Option(kTimeResolution, kNanoseconds)
              .Close();
  return true;
}

bool PcapngWriter::WritePacket(unsigned int interface, unsigned long time, const Packet& packet) {
  const size_t captured = packet.HeadSize + packet.Data.size();
  if (!Reserve(kPacketBlock + Padded(captured))) return false;
  Used += BlockComposer(Buffer.get() + Used, kEnhancedPacket)
              .Number(interface)
              .Time(time)
              .Number(static_cast<unsigned int>(captured))
              .Number(static_cast<unsigned int>(packet.OriginalSize))
              .Bytes(packet.Head.data(), packet.HeadSize)
              .Bytes(packet.Data.data(), packet.Data.size())
              .Pad()
              .Option(kPacketFlags, (packet.Outbound ? kOutbound : kInbound) | (packet.CrcError ? kCrcError : 0))
              .Close();
  ++PacketCount;
  ++BufferedPackets;
  return true;
}

bool PcapngWriter::WriteStatistics(const InterfaceKey& key, const Interface& interface) {
  if (!Reserve(kBlockFrame + 12 + 2 * (kOptionHead + 8) + kOptionHead)) return false;
  const auto lost = Lost.find(key.first);
  Used += BlockComposer(Buffer.get() + Used, kInterfaceStatistics)
              .Number(interface.Number)
              .Time(LatestTime)
              .Option(kReceived, interface.Entries)
              .Option(kDropped, lost == Lost.end() ? 0ul : lost->second)
              .Close();
  return true;
}

bool PcapngWriter::Finish() {
  for (const auto& [key, interface] : Interfaces)
    if (!WriteStatistics(key, interface)) return false;
  return Flush();
}

/// Makes room for a block.
bool PcapngWriter::Reserve(size_t size) { return (FailedWith == 0 && kCapacity - Used >= size) || Flush(); }

bool PcapngWriter::Flush() {
  if (FailedWith != 0) {
    errno = FailedWith;
    return false;
  }
  const size_t done = Sink.Write(Buffer.get(), Used);
  if (done < Used) {
    FailedWith = errno != 0 ? errno : EIO;
    KeepWholeBlocks(done);
    errno = FailedWith;
    return false;
  }
  Written += Used;
  Used = 0;
  BufferedPackets = 0;
  return true;
}

/// Counts what a failed write left of the buffer: the whole blocks among its first `limit` bytes.
void PcapngWriter::KeepWholeBlocks(size_t limit) {
  PacketCount -= BufferedPackets;
  size_t place = 0;
  while (place < Used && place + NumberAt(Buffer.get() + place + 4) <= limit) {
    if (NumberAt(Buffer.get() + place) == kEnhancedPacket) ++PacketCount;
    place += NumberAt(Buffer.get() + place + 4);
  }
  Written += place;
  Used = 0;
  BufferedPackets = 0;
}

}  // namespace client
