#include "outputs/PcapngWriter.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "stream/LossText.h"
#include "system/Descriptor.h"
#include "system/Printable.h"

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
constexpr unsigned short kComment = 1;             // opt_comment
constexpr unsigned short kSectionHardware = 2;     // shb_hardware
constexpr unsigned short kSectionSystem = 3;       // shb_os
constexpr unsigned short kUserAppl = 4;            // shb_userappl
constexpr unsigned short kInterfaceName = 2;       // if_name
constexpr unsigned short kInterfaceText = 3;       // if_description
constexpr unsigned short kSpeed = 8;               // if_speed, bit/s
constexpr unsigned short kTimeResolution = 9;      // if_tsresol
constexpr unsigned short kFilter = 11;             // if_filter
constexpr unsigned short kInterfaceHardware = 15;  // if_hardware
constexpr unsigned short kPacketFlags = 2;         // epb_flags
constexpr unsigned short kDropCount = 4;           // epb_dropcount
constexpr unsigned short kStartTime = 2;           // isb_starttime
constexpr unsigned short kEndTime = 3;             // isb_endtime
constexpr unsigned short kReceived = 4;            // isb_ifrecv
constexpr unsigned short kDropped = 5;             // isb_ifdrop

constexpr char kFilterIsText = 0;
constexpr size_t kLongestText = 1000;  // bytes of an option
constexpr size_t kMostDrops = 7;       // that a packet's comment has room for
constexpr size_t kMostUntold = 1000;   // losses that the counts of an interface have room for

constexpr unsigned char kNanoseconds = 9;
constexpr unsigned int kInbound = 1;
constexpr unsigned int kOutbound = 2;

constexpr size_t Padded(size_t size) { return (size + 3) & ~size_t{3}; }

constexpr size_t kBlockFrame = 12;  // type and length in front, length at the end
constexpr size_t kOptionHead = 4;
constexpr size_t kTextOption = kOptionHead + kLongestText;  // at most
constexpr size_t kDropOptions = kOptionHead + 8 + kTextOption;
constexpr size_t kLossOption = kOptionHead + 160;  // at most
static_assert(kMostUntold * kLossOption + kTextOption < kCapacity);
constexpr size_t kPacketBlock = kBlockFrame + 20 + (kOptionHead + 4) + kOptionHead;  // without the packet

/// As much of a UTF-8 text as an option takes.
std::string Shortened(std::string text) {
  if (text.size() <= kLongestText) return text;
  size_t end = kLongestText;
  while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) --end;  // inside of a character
  return text.substr(0, end);
}

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
  /// Text from elsewhere as UTF-8, cut if it is too long; nothing for an empty one.
  BlockComposer& TextIfAny(unsigned short code, const std::string& text) {
    return text.empty() ? *this : Option(code, Shortened(Printable(text, "\n")));
  }
  BlockComposer& TimeOption(unsigned short code, unsigned long time) {
    return Number(code).Number(static_cast<unsigned short>(sizeof time)).Time(time);
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

/// "recorded by qor-trace 2.0.0 on bench-7", after the title if there is one.
std::string SectionComment(const Description& description) {
  std::string text = description.Title;
  if (description.Tool.empty()) return text;
  text += fmt::format("{}recorded by {}", text.empty() ? "" : "\n", description.Tool);
  return description.Host.empty() ? text : text + " on " + description.Host;
}

std::string CommentOn(const Loss& loss, const TimeBase& times) {
  return LossText(loss.Cause, loss.Count, times.UtcOf(loss.First), times.UtcOf(loss.Last));
}

unsigned int NumberAt(const unsigned char* place) {
  return place[0] | static_cast<unsigned int>(place[1]) << 8 | static_cast<unsigned int>(place[2]) << 16 |
         static_cast<unsigned int>(place[3]) << 24;
}

}  // namespace

size_t DescriptorSink::Write(const unsigned char* bytes, size_t size) { return WriteAll(File, bytes, size); }

PcapngWriter::PcapngWriter(ByteSink& sink, const PcapngOptions& options)
    : Sink(sink),
      Application(options.Application),
      EthernetOnly(options.EthernetOnly),
      Latest(Interfaces.end()),
      Buffer(new unsigned char[kCapacity]) {}

void PcapngWriter::Describe(const Description& description) {
  Described = description;
  Times = TimesOf(description);
  Untold.Describe(description.Losses);
}

/// Composes what stands in front of the first packet.
bool PcapngWriter::Begin() {
  if (Begun) return true;
  Begun = true;
  if (!WriteSectionHeader()) return false;
  for (const ChannelDescription& channel : Described.Channels) {
    const auto bus = channel.BusType ? CaptureBusOf(*channel.BusType) : std::nullopt;
    if (!bus || (EthernetOnly && *channel.BusType != BusType_Ethernet)) continue;
    AddInterface({channel.Number, *channel.BusType}, *bus);
  }
  return FailedWith == 0;
}

bool PcapngWriter::Take(const RecordView& record) {
  if (FailedWith != 0) {
    errno = FailedWith;
    return false;
  }
  if (!Begin()) return false;
  const auto bus = CaptureBusOf(record.Bus());
  if (EthernetOnly && bus && record.Bus() != BusType_Ethernet) {
    ++OtherBuses;
    return true;
  }
  Interface* interface = nullptr;
  if (bus) {
    interface = &InterfaceOf(record, *bus);
    ++interface->Entries;
    LatestTime = std::max(LatestTime, record.Timestamp());
  }
  Packet packet;
  if (const auto omission = MakePacket(record, packet)) {
    LeftOutEntries.Count(*omission);
    return FailedWith == 0;
  }
  const unsigned long time = record.Timestamp();
  const DropNote drops = TakeDrops(record);
  if (!WritePacket(interface->Number, Times.UtcOf(time), packet, drops)) return false;
  if (!packet.AlsoOnChannelB) return true;
  MoveToChannelB(packet);
  return WritePacket(interface->Number, Times.UtcOf(time), packet, {});
}

/// The interface of an entry's channel, which is described first if the file doesn't know it.
PcapngWriter::Interface& PcapngWriter::InterfaceOf(const RecordView& record, const CaptureBus& bus) {
  const InterfaceKey key(record.ChannelId(), record.Bus());
  if (Latest != Interfaces.end() && Latest->first == key) return Latest->second;
  Latest = Interfaces.find(key);
  return Latest != Interfaces.end() ? Latest->second : AddInterface(key, bus);
}

PcapngWriter::Interface& PcapngWriter::AddInterface(const InterfaceKey& key, const CaptureBus& bus) {
  const auto number = static_cast<unsigned int>(Interfaces.size());
  Latest = Interfaces.try_emplace(key, Interface{.Number = number}).first;
  WriteInterface(key, bus);
  return Latest->second;
}

bool PcapngWriter::WriteSectionHeader() {
  if (!Reserve(kBlockFrame + 16 + 4 * kTextOption + kOptionHead)) return false;
  Used += BlockComposer(Buffer.get() + Used, kSectionHeader)
              .Number(kByteOrderMagic)
              .Number(static_cast<unsigned short>(1))
              .Number(static_cast<unsigned short>(0))
              .Number(kUnknownLength)
              .TextIfAny(kComment, SectionComment(Described))
              .TextIfAny(kSectionHardware, Described.Machine)
              .TextIfAny(kSectionSystem, Described.System)
              .TextIfAny(kUserAppl, Application)
              .Close();
  return true;
}

bool PcapngWriter::WriteInterface(const InterfaceKey& key, const CaptureBus& bus) {
  if (!Reserve(kBlockFrame + 8 + 4 * kTextOption + (kOptionHead + 8) + (kOptionHead + 4) + kOptionHead)) return false;
  const ChannelDescription* const known = FindChannel(Described, key.first);
  const ChannelDescription channel = known != nullptr ? *known : ChannelDescription();
  BlockComposer block(Buffer.get() + Used, kInterfaceDescription);
  block.Number(static_cast<unsigned short>(bus.Link))
      .Number(static_cast<unsigned short>(0))
      .Number(0u)
      .Option(kInterfaceName, fmt::format("{}-{}", bus.Name, key.first))
      .TextIfAny(kInterfaceText, channel.Source);
  if (channel.BitRate != 0) block.Option(kSpeed, channel.BitRate);
  block.Option(kTimeResolution, kNanoseconds);
  if (!channel.Filter.empty()) block.Option(kFilter, kFilterIsText + Shortened(Printable(channel.Filter)));
  Used += block.TextIfAny(kInterfaceHardware, channel.Hardware).Close();
  return true;
}

bool PcapngWriter::WritePacket(unsigned int interface, unsigned long time, const Packet& packet,
                               const DropNote& drops) {
  const size_t captured = packet.HeadSize + packet.Data.size();
  if (!Reserve(kPacketBlock + Padded(captured) + (drops.Comment.empty() ? 0 : kDropOptions))) return false;
  BlockComposer block(Buffer.get() + Used, kEnhancedPacket);
  block.Number(interface)
      .Time(time)
      .Number(static_cast<unsigned int>(captured))
      .Number(static_cast<unsigned int>(packet.OriginalSize))
      .Bytes(packet.Head.data(), packet.HeadSize)
      .Bytes(packet.Data.data(), packet.Data.size())
      .Pad()
      .Option(kPacketFlags, (packet.Outbound ? kOutbound : kInbound) | (packet.CrcError ? kPacketCrcError : 0));
  if (drops.Count != 0) block.Option(kDropCount, drops.Count);
  Used += block.TextIfAny(kComment, drops.Comment).Close();
  ++PacketCount;
  ++BufferedPackets;
  return true;
}

/// The losses that lie before a record and that no packet has told; as many as a comment holds.
PcapngWriter::DropNote PcapngWriter::TakeDrops(const RecordView& record) {
  DropNote note;
  for (const Loss& loss : Untold.Before(record, kMostDrops)) {
    if (IsMissing(loss.Cause)) note.Count += loss.Count.value_or(0);
    if (!note.Comment.empty()) note.Comment += '\n';
    note.Comment += CommentOn(loss, Times);
  }
  return note;
}

/// Of a channel whose losses aren't all counted it isn't said how much is missing.
/// @param untold  losses that no packet has told
bool PcapngWriter::WriteStatistics(unsigned int channel, const Interface& interface, const std::vector<Loss>& untold) {
  const size_t comments = std::min(untold.size(), kMostUntold);
  if (!Reserve(kBlockFrame + 12 + 4 * (kOptionHead + 8) + comments * kLossOption + kOptionHead)) return false;
  const unsigned long end = Times.UtcOf(std::max(LatestTime, Times.Start));
  unsigned long lost = 0;
  bool allCounted = true;
  for (const Loss& loss : Described.Losses) {
    if (loss.Channel != channel || !IsMissing(loss.Cause)) continue;
    lost += loss.Count.value_or(0);
    allCounted = allCounted && loss.Count;
  }
  BlockComposer block(Buffer.get() + Used, kInterfaceStatistics);
  block.Number(interface.Number).Time(end);
  if (Times.IsKnown()) block.TimeOption(kStartTime, *Times.Utc).TimeOption(kEndTime, end);
  block.Option(kReceived, interface.Entries);
  if (allCounted) block.Option(kDropped, lost);
  for (size_t index = 0; index < comments; ++index) block.Option(kComment, CommentOn(untold[index], Times));
  Used += block.Close();
  return true;
}

bool PcapngWriter::Finish() {
  if (!Begin()) return false;
  std::map<unsigned int, std::vector<Loss>> untold;  // by channel
  for (const Loss& loss : Untold.Rest()) untold[loss.Channel].push_back(loss);
  for (const auto& [key, interface] : Interfaces)
    if (!WriteStatistics(key.first, interface, std::exchange(untold[key.first], {}))) return false;
  return Flush();
}

/// Makes room for a block.
bool PcapngWriter::Reserve(size_t size) { return (FailedWith == 0 && kCapacity - Used >= size) || WriteOut(); }

bool PcapngWriter::Flush() { return Begin() && WriteOut(); }

bool PcapngWriter::WriteOut() {
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
