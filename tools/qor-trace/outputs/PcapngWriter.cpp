#include "outputs/PcapngWriter.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <tuple>

#include "system/Descriptor.h"

namespace client {

namespace {

constexpr std::size_t Capacity = std::size_t{256} * 1024;  // bytes of the buffer; the longest block has some 64 KiB

//  block                   type          body
//  section header          0x0A0D0D0A    magic, version 1.0, section length, options
//  interface description   1             link type, 0, greatest packet (0: any), options
//  interface statistics    5             interface, time (upper, lower half), options
//  enhanced packet         6             interface, time (upper, lower half), captured and original length, packet, options
// Each begins with its type and its length and ends with its length again; an option is its code, its length, and its
// value padded to a multiple of 4; a code of 0 ends them.
constexpr unsigned int SectionHeader = 0x0A0D0D0A;
constexpr unsigned int InterfaceDescription = 1;
constexpr unsigned int InterfaceStatistics = 5;
constexpr unsigned int EnhancedPacket = 6;
constexpr unsigned int ByteOrderMagic = 0x1A2B3C4D;
constexpr unsigned long UnknownLength = ~0ul;

constexpr unsigned short EndOfOptions = 0;
constexpr unsigned short UserAppl = 4;        // shb_userappl
constexpr unsigned short InterfaceName = 2;   // if_name
constexpr unsigned short TimeResolution = 9;  // if_tsresol
constexpr unsigned short PacketFlags = 2;     // epb_flags
constexpr unsigned short Received = 4;        // isb_ifrecv
constexpr unsigned short Dropped = 5;         // isb_ifdrop

constexpr unsigned char Nanoseconds = 9;
constexpr unsigned int Inbound = 1;
constexpr unsigned int Outbound = 2;
constexpr unsigned int CrcError = 1u << 24;

constexpr std::size_t Padded(std::size_t size) { return (size + 3) & ~std::size_t{3}; }

constexpr std::size_t BlockFrame = 12;  // type and length in front, length at the end
constexpr std::size_t OptionHead = 4;
constexpr std::size_t PacketBlock = BlockFrame + 20 + (OptionHead + 4) + OptionHead;  // without the packet

/// Composes one block at a place with room for it. Numbers are stored low byte first.
class BlockComposer {
 public:
  BlockComposer(unsigned char* begin, unsigned int type) : Begin(begin), End(begin) {
    Number(type);
    Number(0u);  // the length, known once the block is complete
  }

  template <class Value>
  BlockComposer& Number(Value value) {
    for (std::size_t index = 0; index < sizeof value; ++index)
      *End++ = static_cast<unsigned char>(static_cast<unsigned long>(value) >> 8 * index);
    return *this;
  }

  /// The upper half comes first.
  BlockComposer& Time(unsigned long time) {
    return Number(static_cast<unsigned int>(time >> 32)).Number(static_cast<unsigned int>(time));
  }

  BlockComposer& Bytes(const void* bytes, std::size_t size) {
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
  std::size_t Close() {
    Number(EndOfOptions).Number(static_cast<unsigned short>(0));
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

std::size_t DescriptorSink::Write(const unsigned char* bytes, std::size_t size) { return WriteAll(File, bytes, size); }

PcapngWriter::PcapngWriter(ByteSink& sink, const PcapngOptions& options)
    : Sink(sink), EthernetOnly(options.EthernetOnly), Latest(Interfaces.end()), Buffer(new unsigned char[Capacity]) {
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
    ++Omissions[static_cast<std::size_t>(*omission)];
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
  if (!Reserve(BlockFrame + 16 + OptionHead + Padded(application.size()) + OptionHead)) return false;
  Used += BlockComposer(Buffer.get() + Used, SectionHeader)
              .Number(ByteOrderMagic)
              .Number(static_cast<unsigned short>(1))
              .Number(static_cast<unsigned short>(0))
              .Number(UnknownLength)
              .Option(UserAppl, application)
              .Close();
  return true;
}

bool PcapngWriter::WriteInterface(const std::string& name, LinkType link) {
  if (!Reserve(BlockFrame + 8 + OptionHead + Padded(name.size()) + (OptionHead + 4) + OptionHead)) return false;
  Used += BlockComposer(Buffer.get() + Used, InterfaceDescription)
              .Number(static_cast<unsigned short>(link))
              .Number(static_cast<unsigned short>(0))
              .Number(0u)
              .Option(InterfaceName, name)
              .Option(TimeResolution, Nanoseconds)
              .Close();
  return true;
}

bool PcapngWriter::WritePacket(unsigned int interface, unsigned long time, const Packet& packet) {
  const std::size_t captured = packet.HeadSize + packet.Data.size();
  if (!Reserve(PacketBlock + Padded(captured))) return false;
  Used += BlockComposer(Buffer.get() + Used, EnhancedPacket)
              .Number(interface)
              .Time(time)
              .Number(static_cast<unsigned int>(captured))
              .Number(static_cast<unsigned int>(packet.OriginalSize))
              .Bytes(packet.Head.data(), packet.HeadSize)
              .Bytes(packet.Data.data(), packet.Data.size())
              .Pad()
              .Option(PacketFlags, (packet.Outbound ? Outbound : Inbound) | (packet.CrcError ? CrcError : 0))
              .Close();
  ++PacketCount;
  ++BufferedPackets;
  return true;
}

bool PcapngWriter::WriteStatistics(const InterfaceKey& key, const Interface& interface) {
  if (!Reserve(BlockFrame + 12 + 2 * (OptionHead + 8) + OptionHead)) return false;
  const auto lost = Lost.find(key.first);
  Used += BlockComposer(Buffer.get() + Used, InterfaceStatistics)
              .Number(interface.Number)
              .Time(LatestTime)
              .Option(Received, interface.Entries)
              .Option(Dropped, lost == Lost.end() ? 0ul : lost->second)
              .Close();
  return true;
}

bool PcapngWriter::Finish() {
  for (const auto& [key, interface] : Interfaces)
    if (!WriteStatistics(key, interface)) return false;
  return Flush();
}

/// Makes room for a block.
bool PcapngWriter::Reserve(std::size_t size) { return (FailedWith == 0 && Capacity - Used >= size) || Flush(); }

bool PcapngWriter::Flush() {
  if (FailedWith != 0) {
    errno = FailedWith;
    return false;
  }
  const std::size_t done = Sink.Write(Buffer.get(), Used);
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
void PcapngWriter::KeepWholeBlocks(std::size_t limit) {
  PacketCount -= BufferedPackets;
  std::size_t place = 0;
  while (place < Used && place + NumberAt(Buffer.get() + place + 4) <= limit) {
    if (NumberAt(Buffer.get() + place) == EnhancedPacket) ++PacketCount;
    place += NumberAt(Buffer.get() + place + 4);
  }
  Written += place;
  Used = 0;
  BufferedPackets = 0;
}

}  // namespace client
