#include "inputs/PcapReader.h"

#include <fmt/format.h>

#include "stream/PacketLayouts.h"
#include "system/Failure.h"

namespace client {

namespace {

//  0   4  magic, which shows the byte order and the unit of times
//  4   4  version 2.4
//  8   8  0
//  16  4  longest packet
//  20  4  bits 0 to 15 link type; bit 26: bits 28 to 31 are the length of the check sequence, in units of 2 bytes
// and for each packet:
//  0   4  seconds since 1970
//  4   4  fraction of a second
//  8   4  captured length
//  12  4  original length
//  16     packet
constexpr unsigned int kMicroseconds = 0xA1B2C3D4;
constexpr unsigned int kNanoseconds = 0xA1B23C4D;
constexpr size_t kHeader = 24;
constexpr size_t kPacketHead = 16;
constexpr unsigned int kCheckSequenceIsKnown = 0x04000000;
constexpr unsigned long kNanosecondsPerSecond = 1'000'000'000;

bool IsMagic(unsigned int number) { return number == kMicroseconds || number == kNanoseconds; }

}  // namespace

bool PcapReader::Knows(std::span<const unsigned char> front) {
  return IsMagic(OrderedBytes(front, ByteOrder::Little).At<unsigned int>(0)) ||
         IsMagic(OrderedBytes(front, ByteOrder::Big).At<unsigned int>(0));
}

const RecordView* PcapReader::Next() {
  Bytes.Skip(std::exchange(Length, 0));
  if (!Begun && !ReadHeader()) return nullptr;
  CapturedPacket packet;
  while (NextPacket(packet)) {
    if (const RecordView* record = Packets.Make(packet)) {
      ++Count;
      return record;
    }
    Bytes.Skip(std::exchange(Length, 0));
  }
  return nullptr;
}

bool PcapReader::ReadHeader() {
  if (!Bytes.Need(kHeader)) {
    NoteIfCut();
    return false;
  }
  if (!IsMagic(Ready().At<unsigned int>(0))) Order = ByteOrder::Big;
  FractionUnit = Ready().At<unsigned int>(0) == kNanoseconds ? 1 : 1000;
  if (Ready().At<unsigned short>(4) != 2)
    throw Failure(
        fmt::format("Version {} of pcap isn't known here; there is only version 2", Ready().At<unsigned short>(4)));
  const auto link = Ready().At<unsigned int>(20);
  Link = link & 0xFFFF;
  if ((link & kCheckSequenceIsKnown) != 0) CheckSequence = link >> 28 << 1;
  if (const auto bus = CaptureBusOfLink(Link)) Known.Channels = {{.Number = 1, .BusType = bus->BusType}};
  Bytes.Skip(kHeader);
  Begun = true;
  return true;
}

bool PcapReader::NextPacket(CapturedPacket& packet) {
  if (!Bytes.Need(kPacketHead)) {
    NoteIfCut();
    return false;
  }
  const size_t captured = Ready().At<unsigned int>(8);
  if (captured > kLongest)
    throw Failure(fmt::format("At byte {} of {} a packet of {} bytes is announced: the file is damaged there",
                              Bytes.Position(), Bytes.Shown(), captured));
  if (!Bytes.Need(kPacketHead + captured)) {
    NoteIfCut();
    return false;
  }
  Length = kPacketHead + captured;
  const unsigned long fraction = Ready().At<unsigned int>(4) * FractionUnit;
  packet = {.Byte = Bytes.Position(), .Link = Link, .CheckSequence = CheckSequence};
  packet.Time = Ready().At<unsigned int>(0) * kNanosecondsPerSecond + fraction;
  packet.Data = Ready().From(kPacketHead, captured).All();
  packet.OriginalSize = Ready().At<unsigned int>(12);
  if (fraction >= kNanosecondsPerSecond)
    Passed.AtByte(FindingKind::Odd, "a time whose fraction is more than a second", packet.Byte);
  if (CountsSince1970(packet.Time)) Known.Epoch = ClockEpoch::Since1970;
  return true;
}

void PcapReader::NoteIfCut() {
  if (Bytes.Stopped() || Bytes.Ready().empty() || !Known.Complete) return;
  Known.Complete = false;
  Passed.AtByte(FindingKind::CutOff, "the file ends in the middle of a packet", Bytes.Position());
}

}  // namespace client
