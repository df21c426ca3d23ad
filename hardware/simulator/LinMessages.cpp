#include "LinMessages.h"

#include <array>
#include <iterator>
#include <span>

#include "MessageData.h"

namespace qor_sim {
namespace {

constexpr uint64_t kNsPerBit = 1'000'000'000 / kLinBitRate;
constexpr uint64_t kHeaderBits = 34;         // break 13, its delimiter 1, sync byte 10, identifier byte 10
constexpr uint64_t kResponseSpaceBits = 8;   // at most
constexpr uint64_t kByteBits = 10;           // start bit, 8 data bits, stop bit
constexpr uint64_t kBaseTime = 5'000'000;    // ns, of the schedule
constexpr unsigned char kRequestId = 0x3C;   // of the master
constexpr unsigned char kResponseId = 0x3D;  // of a slave

using enum LinPublisher;
using enum LinChecksumModel;

// Lengths by identifier as usual: 2 bytes below 0x20, 4 below 0x30, 8 above. The slaves with the classic checksum are
// the old ones.
struct MessageRow {
  unsigned char Id;
  unsigned char Length;  // bytes, without checksum
  LinPublisher Publisher;
  LinChecksumModel Model;
};
constexpr MessageRow kMessages[] = {
    {0x01, 2, Master, Enhanced},  // 0
    {0x02, 2, Slave, Enhanced},   // 1
    {0x20, 4, Master, Enhanced},  // 2
    {0x21, 4, Slave, Enhanced},   // 3
    {0x30, 8, Master, Enhanced},  // 4
    {0x31, 8, Slave, Enhanced},   // 5
    {0x10, 2, Master, Classic},   // 6
    {0x11, 2, Slave, Classic},    // 7
    {0x2A, 4, Slave, Classic},    // 8
    {0x35, 8, Slave, Enhanced},   // 9
};

using DiagnosticData = std::array<unsigned char, 8>;

// Read by identifier, the product's: node 0x0A, length, service 0xB2, identifier, any supplier and function.
constexpr DiagnosticData kRequestData = {0x0A, 0x06, 0xB2, 0x00, 0xFF, 0x7F, 0xFF, 0xFF};
// Node, length, service + 0x40, supplier, function, variant.
constexpr DiagnosticData kResponseData = {0x0A, 0x06, 0xF2, 0x2E, 0x00, 0x15, 0x40, 0x03};
constexpr DiagnosticData kSleepData = {0x00, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};

LinItem DiagnosticFrame(unsigned char id, unsigned char flags, const DiagnosticData& data) {
  LinItem frame;
  frame.Identifier = LinProtectedIdentifier(id);
  frame.Flags = flags;
  SetLinData(frame, data, LinChecksum(frame.Identifier, data));
  return frame;
}

}  // namespace

uint64_t LinFrameLength(const LinItem& frame) {
  const uint64_t response = frame.DataLength == 0 ? 0 : kResponseSpaceBits + frame.DataLength * kByteBits;
  return (kHeaderBits + response) * kNsPerBit;
}

LinMessage::LinMessage(unsigned char id, size_t length, LinPublisher publisher, LinChecksumModel model, Random& random)
    : Model(model), Data(length) {
  Current.Identifier = LinProtectedIdentifier(id);
  if (publisher == Master) Current.Flags = kLinTransmitted;
  FillRandomly(Data, random);
  SetData();
}

/// Signals that change slowly; messages of more than two bytes count in the low half of their last byte.
void LinMessage::GoOn(Random& random) {
  std::span<unsigned char> signals(Data);
  if (Data.size() > 2) {
    Data.back() = static_cast<unsigned char>((Data.back() & 0xF0) | ((Data.back() + 1) & 0x0F));
    signals = signals.first(Data.size() - 1);
  }
  WalkSignals(signals, random);
  SetData();
}

/// The classic checksum leaves the identifier out, as the checksum of diagnostic frames always does.
void LinMessage::SetData() {
  const unsigned char summed = Model == Classic ? kRequestId : Current.Identifier;
  SetLinData(Current, Data, LinChecksum(summed, Data));
}

const std::vector<LinSlot>& LinSchedule() {
  constexpr size_t kDiagnosis = LinSlot::kDiagnosis;
  constexpr uint64_t kShort = kBaseTime;
  constexpr uint64_t kLong = 2 * kBaseTime;
  // 100 ms; the first two messages come twice in it.
  static const std::vector<LinSlot> kTable = {
      {0, kShort}, {1, kShort}, {2, kLong},  {3, kLong}, {4, kLong}, {5, kLong},          {0, kShort},
      {1, kShort}, {6, kShort}, {7, kShort}, {8, kLong}, {9, kLong}, {kDiagnosis, kLong},
  };
  return kTable;
}

std::vector<LinMessage> MakeLinMessages(Random& random) {
  std::vector<LinMessage> messages;
  messages.reserve(std::size(kMessages));
  for (const MessageRow& row : kMessages) {
    messages.emplace_back(row.Id, row.Length, row.Publisher, row.Model, random);
  }
  return messages;
}

LinItem LinDiagnosticRequest() { return DiagnosticFrame(kRequestId, kLinTransmitted, kRequestData); }

LinItem LinDiagnosticResponse() { return DiagnosticFrame(kResponseId, 0, kResponseData); }

LinItem LinGoToSleep() { return DiagnosticFrame(kRequestId, kLinTransmitted, kSleepData); }

}  // namespace qor_sim
