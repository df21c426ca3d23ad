#include "DiagnosisTalker.h"

#include <algorithm>
#include <string_view>

#include "MessageData.h"

namespace qor_sim {
namespace {

constexpr uint64_t kUs = 1000;  // ns
constexpr uint64_t kMs = 1000 * kUs;
constexpr uint64_t kInterval = 5'000 * kMs;   // the mean
constexpr uint64_t kSegmentTime = 130 * kUs;  // a little more than the longest segment takes on the link
constexpr uint16_t kPort = 13400;
constexpr uint16_t kFirstOwnPort = 49152;
constexpr uint16_t kTesterAddress = 0x0E80;
constexpr uint16_t kGatewayAddress = 0x1010;
constexpr std::string_view kIdentification = "QORSIM00000000001";  // of the vehicle, 17 characters
constexpr unsigned int kBlocks = 4;                                // of a download
constexpr size_t kBlockLength = 2000;                              // bytes

enum PayloadType : uint16_t {
  RoutingActivationRequest = 0x0005,
  RoutingActivationResponse = 0x0006,
  DiagnosticMessage = 0x8001,
  DiagnosticAcknowledge = 0x8002
};

FrameBytes Message(PayloadType type, const FrameBytes& payload) {
  FrameBytes bytes;
  Put16(bytes, 0x02FD);  // version, and its complement
  Put16(bytes, type);
  Put32(bytes, static_cast<uint32_t>(payload.size()));
  PutBytes(bytes, payload);
  return bytes;
}

FrameBytes Addressed(PayloadType type, uint16_t from, uint16_t to, const FrameBytes& data) {
  FrameBytes payload;
  Put16(payload, from);
  Put16(payload, to);
  PutBytes(payload, data);
  return Message(type, payload);
}

class DiagnosisTalker final : public EthernetTalker {
 public:
  explicit DiagnosisTalker(Random& numbers) : EthernetTalker(numbers) {}

 private:
  enum Side { Tester, Gateway };

  /// One connection. It is over long before the next one begins.
  void Refill() override {
    Begin += Numbers.Around(kInterval);
    Time = Begin;
    Open();
    ActivateRouting();
    Exchange({0x10, 0x03}, {0x50, 0x03, 0x00, 0x32, 0x01, 0xF4});  // extended session
    ReadIdentification();
    Exchange({0x19, 0x02, 0xFF}, {0x59, 0x02, 0xFF, 0xC1, 0x40, 0x00, 0x2F});  // trouble codes
    if (Connections++ % 2 == 0) Download();
    Exchange({0x3E, 0x00}, {0x7E, 0x00});  // tester present
    Close();
  }

  void Open() {
    const auto ownPort = static_cast<uint16_t>(kFirstOwnPort + Connections % 10'000);
    Routes[Tester] = {kTester, kGateway, 0, 0, ownPort, kPort};
    Routes[Gateway] = Reversed(Routes[Tester]);
    for (uint32_t& next : Sequence) next = static_cast<uint32_t>(Numbers.Next());
    Segment(Tester, kTcpSyn, {});
    Segment(Gateway, kTcpSyn | kTcpAck, {});
    Segment(Tester, kTcpAck, {});
  }

  void ActivateRouting() {
    FrameBytes request;
    Put16(request, kTesterAddress);
    Put8(request, 0);  // default activation
    Put32(request, 0);
    Say(Tester, Message(RoutingActivationRequest, request));
    FrameBytes response;
    Put16(response, kTesterAddress);
    Put16(response, kGatewayAddress);
    Put8(response, 0x10);  // activated
    Put32(response, 0);
    Say(Gateway, Message(RoutingActivationResponse, response));
  }

  void ReadIdentification() {
    FrameBytes response;
    Put8(response, 0x62);
    Put16(response, 0xF190);
    for (const char letter : kIdentification) Put8(response, static_cast<unsigned char>(letter));
    Exchange({0x22, 0xF1, 0x90}, response);
  }

  /// In blocks that need more than one segment.
  void Download() {
    Exchange({0x34, 0x00, 0x44, 0x00, 0x10, 0x00, 0x00, 0x00, 0x00, 0x1F, 0x40}, {0x74, 0x20, 0x07, 0xD2});
    for (unsigned int block = 1; block <= kBlocks; ++block) {
      const auto number = static_cast<unsigned char>(block);
      FrameBytes request(2 + kBlockLength);
      FillRandomly(request, Numbers);
      request[0] = 0x36;
      request[1] = number;
      Exchange(request, {0x76, number});
    }
    Exchange({0x37}, {0x77});
  }

  void Close() {
    Segment(Tester, kTcpFin | kTcpAck, {});
    Segment(Gateway, kTcpFin | kTcpAck, {});
    Segment(Tester, kTcpAck, {});
  }

  /// A request, the gateway's acknowledgement of it, and the response.
  void Exchange(const FrameBytes& request, const FrameBytes& response) {
    Say(Tester, Addressed(DiagnosticMessage, kTesterAddress, kGatewayAddress, request));
    Say(Gateway, Addressed(DiagnosticAcknowledge, kGatewayAddress, kTesterAddress, {0x00}));
    Time += Numbers.Around(10 * kMs);
    Say(Gateway, Addressed(DiagnosticMessage, kGatewayAddress, kTesterAddress, response));
    Time += Numbers.Around(5 * kMs);
  }

  /// As many segments as it takes, and their acknowledgement by the other side.
  void Say(Side side, std::span<const unsigned char> message) {
    while (!message.empty()) {
      const auto part = message.first(std::min(message.size(), kGreatestTcpPayload));
      message = message.subspan(part.size());
      Segment(side, message.empty() ? kTcpPush | kTcpAck : kTcpAck, part);
    }
    Time += Numbers.Around(200 * kUs);
    Segment(side == Tester ? Gateway : Tester, kTcpAck, {});
    Time += Numbers.Around(kMs);
  }

  void Segment(Side side, unsigned int flags, std::span<const unsigned char> payload) {
    const Side other = side == Tester ? Gateway : Tester;
    const uint32_t acknowledged = (flags & kTcpAck) != 0 ? Sequence[other] : 0;
    AddTcp(Time, Routes[side], {Sequence[side], acknowledged, static_cast<unsigned char>(flags)}, payload);
    const bool counts = (flags & (kTcpSyn | kTcpFin)) != 0;
    Sequence[side] += static_cast<uint32_t>(payload.size()) + (counts ? 1 : 0);
    Time += kSegmentTime;
  }

  uint64_t Begin = 0;  // ns, of the connection
  uint64_t Time = 0;   // ns, of the next segment
  unsigned int Connections = 0;
  EthernetRoute Routes[2];
  uint32_t Sequence[2] = {0, 0};
};

}  // namespace

std::unique_ptr<EthernetTalker> MakeDiagnosisTalker(Random& numbers) {
  return std::make_unique<DiagnosisTalker>(numbers);
}

}  // namespace qor_sim
