#include "inputs/PcapngReader.h"

#include <fmt/format.h>

#include <algorithm>

namespace client {

namespace {

//  block               type  body
//  packet (obsolete)   2     2 interface, 2 dropped packets, then as an enhanced one from its time on
//  simple packet       3     4 original length, packet; of interface 0, without a time
//  interface counts    5     see PcapngInterfaces
//  enhanced packet     6     4 interface, 4 + 4 time, 4 captured length, 4 original length, packet, options
//  custom              0x40000BAD, 0xBAD   4 enterprise number, whatever it likes
constexpr unsigned int kObsoletePacketBlock = 2;
constexpr unsigned int kSimplePacketBlock = 3;
constexpr unsigned int kStatisticsBlock = 5;
constexpr unsigned int kEnhancedPacketBlock = 6;
constexpr unsigned int kCustomBlock = 0x40000BAD;
constexpr unsigned int kUncopiedCustomBlock = 0x00000BAD;
// Names, secrets and journals: nothing of a bus.
constexpr unsigned int kNameResolutionBlock = 4;
constexpr unsigned int kJournalBlock = 9;
constexpr unsigned int kSecretsBlock = 10;

constexpr size_t kPacketHead = 20;
constexpr size_t kSimplePacketHead = 4;
constexpr unsigned short kUnknownDrops = 0xFFFF;

constexpr unsigned short kComment = 1;
constexpr unsigned short kFlags = 2;
constexpr unsigned short kDropCount = 4;
constexpr unsigned int kDirection = 3;  // 2: outbound
constexpr unsigned int kOutbound = 2;
constexpr unsigned int kLinkErrors = 0xFFFF0000;

bool IsPacketBlock(unsigned int type) {
  return type == kEnhancedPacketBlock || type == kObsoletePacketBlock || type == kSimplePacketBlock;
}

/// Bytes of the check sequence; 0 where the flags don't say.
unsigned int CheckSequenceIn(unsigned int flags) { return flags >> 5 & 0x0F; }

}  // namespace

const RecordView* PcapngReader::Next() {
  while (const auto block = Blocks.Next()) {
    if (std::exchange(TwinTaken, false)) continue;
    if (const RecordView* record = Take(*block)) {
      ++Count;
      return record;
    }
  }
  if (!Stopped()) NoteEnd();
  return nullptr;
}

const RecordView* PcapngReader::Take(const PcapngBlock& block) {
  switch (block.Type) {
    case kSectionHeaderBlock:
      Expect(Interfaces.BeginSection(block.Body), block);
      return nullptr;
    case kInterfaceDescriptionBlock:
      Expect(Interfaces.AddInterface(block.Body), block);
      return nullptr;
    case kStatisticsBlock:
      Expect(Interfaces.TakeStatistics(block.Body), block);
      return nullptr;
    case kEnhancedPacketBlock:
    case kObsoletePacketBlock:
    case kSimplePacketBlock:
      return TakePacket(block);
    case kCustomBlock:
    case kUncopiedCustomBlock:
      return TakeCustom(block);
    case kNameResolutionBlock:
    case kJournalBlock:
    case kSecretsBlock:
      return nullptr;
    default:
      Passed.AtByte(FindingKind::LeftOut, fmt::format("a block of type 0x{:X}", block.Type), block.Byte);
      return nullptr;
  }
}

const RecordView* PcapngReader::TakePacket(const PcapngBlock& block) {
  const auto found = PacketIn(block);
  if (!found) {
    Passed.AtByte(FindingKind::Unread, "a packet block that contradicts itself", block.Byte);
    return nullptr;
  }
  if (block.Type == kSimplePacketBlock)
    Passed.AtByte(FindingKind::Odd, "a packet without a time, which gets that of the packet before", block.Byte);
  const CapturedPacket& packet = found->Packet;
  LatestTime = packet.Time;
  Interfaces.TakePacket(packet.Channel, packet.Time, found->Dropped, found->Comments);
  if (!PacketRecords::IsFlexRayFrameOfChannelA(packet)) return Packets.Make(packet);
  TwinTaken = TwinFollows();
  const CapturedPacket again = PacketIn(Blocks.Current())->Packet;  // looking ahead may have moved its bytes
  return TwinTaken ? Packets.MakeOfBothChannels(again) : Packets.Make(again);
}

/// Is the block after it the same frame on FlexRay's other channel?
bool PcapngReader::TwinFollows() {
  const auto next = Blocks.Peek();
  if (!next || !IsPacketBlock(next->Type) || next->Type == kSimplePacketBlock) return false;
  const auto first = PacketIn(Blocks.Current());
  const auto second = PacketIn(*next);
  return first && second && second->Dropped == 0 && PacketRecords::AreOneFrame(first->Packet, second->Packet);
}

const PcapngInterface* PcapngReader::InterfaceOf(const PcapngBlock& block) const {
  if (block.Type == kSimplePacketBlock) return Interfaces.Find(0);
  if (block.Type == kObsoletePacketBlock) return Interfaces.Find(block.Body.At<unsigned short>(0));
  return Interfaces.Find(block.Body.At<unsigned int>(0));
}

/// Nothing where the block doesn't hold what it says, or is of an interface that isn't described.
std::optional<PcapngReader::PacketBlock> PcapngReader::PacketIn(const PcapngBlock& block) {
  const PcapngInterface* const interface = InterfaceOf(block);
  if (interface == nullptr) return std::nullopt;
  const OrderedBytes& body = block.Body;
  PacketBlock found;
  CapturedPacket& packet = found.Packet;
  packet = {.Byte = block.Byte,
            .Channel = interface->Channel,
            .Link = interface->Link,
            .CheckSequence = interface->CheckSequence,
            .BitRate = interface->BitRate};
  if (block.Type == kSimplePacketBlock) {
    packet.Time = LatestTime;
    packet.OriginalSize = body.At<unsigned int>(0);
    const size_t limit =
        interface->SnapLength == 0 ? packet.OriginalSize : std::min(interface->SnapLength, packet.OriginalSize);
    packet.Data = body.From(kSimplePacketHead, limit).All();
    if (packet.Data.size() < limit) return std::nullopt;
    return found;
  }
  const size_t captured = body.At<unsigned int>(12);
  if (body.Size() < kPacketHead || captured > body.Size() - kPacketHead) return std::nullopt;
  packet.Time = interface->Clock.NanosecondsOf(StampAt(body, 4));
  packet.OriginalSize = body.At<unsigned int>(16);
  packet.Data = body.From(kPacketHead, captured).All();
  if (block.Type == kObsoletePacketBlock && body.At<unsigned short>(2) != kUnknownDrops)
    found.Dropped = body.At<unsigned short>(2);
  ForEachOption(body.From(kPacketHead + ((captured + 3) & ~size_t{3})),
                [&](unsigned short code, const OrderedBytes& value) {
                  if (code == kComment) found.Comments += std::string(value.Text()) + "\n";
                  if (code == kDropCount && block.Type == kEnhancedPacketBlock)
                    found.Dropped = value.At<unsigned long>(0);
                  if (code != kFlags) return;
                  const auto flags = value.At<unsigned int>(0);
                  packet.Outbound = (flags & kDirection) == kOutbound;
                  packet.Errors = flags & kLinkErrors;
                  if (CheckSequenceIn(flags) != 0) packet.CheckSequence = CheckSequenceIn(flags);
                });
  return found;
}

/// Only those of the library's own export are records: they follow the packets of their time, without a channel.
const RecordView* PcapngReader::TakeCustom(const PcapngBlock& block) {
  const auto enterprise = block.Body.At<unsigned int>(0);
  const PcapngInterface* const interface = Interfaces.Newest();
  if (Interfaces.IsExport() && enterprise == 0 && interface != nullptr)
    return Packets.MakeCustom({interface->Channel, LatestTime}, block.Body.From(4).All());
  Passed.AtByte(FindingKind::LeftOut, fmt::format("a custom block of enterprise {}", enterprise), block.Byte);
  return nullptr;
}

void PcapngReader::Expect(bool sound, const PcapngBlock& block) {
  if (!sound) Passed.AtByte(FindingKind::Odd, "a block with options that run past its end", block.Byte);
}

void PcapngReader::NoteEnd() {
  if (std::exchange(Ended, true)) return;
  if (Blocks.IsCutOff())
    Passed.AtByte(FindingKind::CutOff, "the file ends in the middle of a block", Blocks.Bytes().Position());
  if (Blocks.Excessive() > 0)
    Passed.Add(FindingKind::Odd, "an interface description that declares four bytes more than it has",
               "its section header", Blocks.Excessive());
}

Description PcapngReader::Describe() const {
  Description known = Interfaces.Known();
  if (CountsSince1970(LatestTime)) known.Epoch = ClockEpoch::Since1970;
  known.Complete = !Blocks.IsCutOff() && !(Ended && Interfaces.EndIsMissing());
  return known;
}

}  // namespace client
