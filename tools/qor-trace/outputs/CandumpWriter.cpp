#include "outputs/CandumpWriter.h"

#include <algorithm>
#include <iterator>
#include <nlohmann/json.hpp>
#include <optional>
#include <span>

#include "outputs/AscText.h"
#include "outputs/PcapngPackets.h"

namespace client {

namespace {

/// Why a record isn't in the log.
enum class CandumpOmission { CanEvent, Lin, FlexRay, Ethernet, Malformed };

// In their order.
constexpr const char* kNames[] = {"CAN log-trigger events", "LIN entries", "FlexRay entries", "Ethernet entries",
                                  "malformed entries"};
static_assert(std::size(kNames) == static_cast<size_t>(CandumpOmission::Malformed) + 1);

constexpr size_t kLineRoom = 512;  // bytes; 64 of data take 128

/// A packet of the capture format's link type for CAN has what a line says: the line is its text.
std::optional<CandumpOmission> MakeCanPacket(const RecordView& record, Packet& packet) {
  if (record.IsCutShort() || record.Bus() > BusType_Ethernet) return CandumpOmission::Malformed;
  if (record.Bus() == BusType_Lin) return CandumpOmission::Lin;
  if (record.Bus() == BusType_FlexRay) return CandumpOmission::FlexRay;
  if (record.Bus() == BusType_Ethernet) return CandumpOmission::Ethernet;
  const auto omission = MakePacket(record, packet);
  if (!omission) {
    // A line has as many bytes as it shows: those that are missing can't be announced.
    const bool whole = packet.OriginalSize == packet.HeadSize + packet.Data.size();
    return whole ? std::nullopt : std::optional(CandumpOmission::Malformed);
  }
  return *omission == PcapngOmission::CanEvent ? CandumpOmission::CanEvent : CandumpOmission::Malformed;
}

constexpr unsigned int kExtended = 0x80000000;
constexpr unsigned int kRemote = 0x40000000;
constexpr unsigned int kError = 0x20000000;
constexpr unsigned int kBusError = 0x80;  // class of every error frame on the bus; readers know one by it
constexpr unsigned int kIdentifierBits = 0x1FFFFFFF;

char* UpperHex(char* out, unsigned int value, int digits) {
  for (int place = digits - 1; place >= 0; --place) *out++ = "0123456789ABCDEF"[value >> 4 * place & 0xF];
  return out;
}

char* UpperHex(char* out, std::span<const unsigned char> bytes) {
  for (const unsigned char byte : bytes) out = UpperHex(out, byte, 2);
  return out;
}

/// "(1436509052.249713) "; ten digits of seconds at least, as candump writes them.
char* AddTime(char* out, unsigned long ns) {
  const unsigned long seconds = ns / 1'000'000'000;
  const auto micros = static_cast<unsigned int>(ns % 1'000'000'000 / 1000);
  *out++ = '(';
  for (unsigned long least = 1'000'000'000; least > 1 && seconds < least; least /= 10) *out++ = '0';
  out = asc::Character(asc::Decimal(out, seconds), '.');
  out = asc::ThreeDigits(asc::ThreeDigits(out, micros / 1000), micros % 1000);
  return asc::Text(out, ") ");
}

char* AddData(char* out, const Packet& packet, unsigned int identifier) {
  const unsigned char length = packet.Head[4], flags = packet.Head[5];
  constexpr size_t kHead = 8;
  if ((identifier & kRemote) != 0) return asc::Decimal(asc::Character(out, 'R'), length);
  if (flags != 0) out = UpperHex(asc::Character(out, '#'), flags & 0x3u, 1);
  out = UpperHex(out, std::span(packet.Head).subspan(kHead, packet.HeadSize - kHead));
  return UpperHex(out, packet.Data);
}

/// "can0 123#0011\n": interfaces count from 0, channels from 1. A frame that the interface sent itself has a mark, as newer
/// loggers write it.
char* AddFrame(char* out, unsigned int channel, const Packet& packet) {
  unsigned int identifier = 0;
  for (size_t byte = 0; byte < 4; ++byte) identifier = identifier << 8 | packet.Head[byte];
  out = asc::Decimal(asc::Text(out, "can"), std::max(channel, 1u) - 1);
  out = asc::Character(out, ' ');
  const bool error = (identifier & kError) != 0;
  if (error)
    out = UpperHex(out, identifier | kBusError, 8);
  else
    out = UpperHex(out, identifier & kIdentifierBits, (identifier & kExtended) != 0 ? 8 : 3);
  out = AddData(asc::Character(out, '#'), packet, identifier);
  if (packet.Outbound && !error) out = asc::Text(out, " T");
  return asc::Character(out, '\n');
}

}  // namespace

CandumpWriter::CandumpWriter(const std::string& path) : File(path), Omitted(kNames) {}

bool CandumpWriter::Take(const RecordView& record) {
  if (!File.Usable()) return false;
  Packet packet;
  if (const auto omission = MakeCanPacket(record, packet)) {
    Omitted.Count(*omission);
    return true;
  }
  char* const out = File.Room(kLineRoom);
  File.Add(AddFrame(AddTime(out, Times.UtcOf(record.Timestamp())), record.ChannelId(), packet));
  return File.Usable();
}

std::string CandumpWriter::ShortfallText() const { return Omitted.Text("candump text has CAN frames only"); }

void CandumpWriter::AddJson(nlohmann::json& json) const { json["omitted"] = Omitted.ByName(); }

}  // namespace client
