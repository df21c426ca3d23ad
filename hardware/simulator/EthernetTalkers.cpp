#include "EthernetTalkers.h"

#include <string>
#include <utility>

#include "DiagnosisTalker.h"
#include "MessageData.h"
#include "SomeIp.h"

namespace qor_sim {
namespace {

constexpr uint64_t kUs = 1000;  // ns
constexpr uint64_t kMs = 1000 * kUs;
constexpr uint64_t kSecond = 1000 * kMs;

constexpr uint16_t kControlVlan = 10;  // SOME/IP
constexpr unsigned char kControlPriority = 4;
constexpr uint16_t kStreamVlan = 20;
constexpr unsigned char kStreamPriority = 5;
constexpr uint32_t kEventGroup = 0xEFC0FF01;      // 239.192.255.1
constexpr uint32_t kDiscoveryGroup = 0xE0F4E0F5;  // 224.244.224.245
constexpr uint16_t kEventPort = 30510;            // where events go

EthernetRoute ControlRoute(const EthernetNode& from, const EthernetNode& to, uint16_t fromPort, uint16_t toPort) {
  return {from, to, kControlVlan, kControlPriority, fromPort, toPort};
}

/// Counts from 1; 0 is left out.
class SessionCounter {
 public:
  uint16_t Next() {
    if (++Value == 0) Value = 1, First = false;
    return Value;
  }
  /// Whether it has not yet begun anew.
  bool IsFirstRound() const { return First; }

 private:
  uint16_t Value = 0;
  bool First = true;
};

// ---- SOME/IP ---------------------------------------------------------------------------------------------------------

/// An event that a node sends at equal intervals.
struct EventRow {
  uint16_t Service;
  uint16_t Event;
  const EthernetNode& From;
  bool Multicast;  // else to the tester
  uint16_t Port;   // of the service
  unsigned int PeriodMs;
  size_t Length;  // bytes
};
constexpr EventRow kEvents[] = {
    {0x1001, 0x8001, kGateway, true, 30501, 10, 24},    {0x1001, 0x8002, kGateway, true, 30501, 50, 200},
    {0x1101, 0x8001, kRadar, false, 30502, 20, 48},     {0x1101, 0x8002, kRadar, false, 30502, 50, 232},
    {0x1101, 0x8003, kRadar, false, 30502, 1000, 1200}, {0x1201, 0x8001, kCamera, false, 30503, 100, 400},
    {0x1201, 0x8002, kCamera, true, 30503, 1000, 8},    {0x1301, 0x8001, kTester, true, 30504, 20, 40},
    {0x1301, 0x8002, kTester, true, 30504, 100, 64},    {0x1301, 0x8003, kTester, true, 30504, 1000, 1000},
};

class EventTalker final : public EthernetTalker {
 public:
  EventTalker(const EventRow& row, Random& numbers)
      : EthernetTalker(numbers), Row(row), Data(row.Length), Nominal(numbers.Below(row.PeriodMs * kMs)) {
    FillRandomly(Data, Numbers);
  }

 private:
  void Refill() override {
    constexpr uint64_t kGreatestJitter = 200 * kUs;
    UpdateCyclicData(Data, Counter++, Numbers);
    const EthernetNode to = Row.Multicast ? MulticastGroup(kEventGroup) : kTester;
    const SomeIpHead head{Row.Service, Row.Event, 0, Session.Next(), SomeIpType::Notification};
    AddUdp(Nominal + Numbers.Below(kGreatestJitter), ControlRoute(Row.From, to, Row.Port, kEventPort),
           SomeIpMessage(head, Data));
    MakeExpendable();
    Nominal += Row.PeriodMs * kMs;
  }

  const EventRow& Row;
  FrameBytes Data;
  uint64_t Nominal;  // ns; without jitter
  unsigned int Counter = 0;
  SessionCounter Session;
};

/// A method of the gateway that the tester calls, and its response.
class MethodTalker final : public EthernetTalker {
 public:
  explicit MethodTalker(Random& numbers) : EthernetTalker(numbers) {}

 private:
  void Refill() override {
    Next += Numbers.Around(400 * kMs);
    SomeIpHead head{0x1001, 0x0021, 0x0101, Session.Next(), SomeIpType::Request};
    const auto route = ControlRoute(kTester, kGateway, 30600, 30501);
    AddUdp(Next, route, SomeIpMessage(head, RandomData(12)));
    head.Type = SomeIpType::Response;
    AddUdp(Next + Numbers.Around(2 * kMs), Reversed(route), SomeIpMessage(head, RandomData(32)));
  }

  FrameBytes RandomData(size_t length) {
    FrameBytes data(length);
    FillRandomly(data, Numbers);
    return data;
  }

  uint64_t Next = 0;  // ns
  SessionCounter Session;
};

/// Every second all nodes offer their services, and those who use them subscribe anew.
class DiscoveryTalker final : public EthernetTalker {
 public:
  explicit DiscoveryTalker(Random& numbers) : EthernetTalker(numbers) {}

 private:
  struct Speaker {
    const EthernetNode& Node;
    SessionCounter ToAll{};
    SessionCounter ToOne{};
  };

  void Refill() override {
    if (Second == 0) Find(20 * kMs, kRadarService);
    const uint64_t begin = Second++ * kSecond + 50 * kMs;
    Offer(begin, Gateway, kGatewayService);
    Offer(begin + 137 * kMs, Radar, kRadarService);
    Subscribe(begin + 139 * kMs, Tester, Radar, kRadarService);
    Offer(begin + 311 * kMs, Camera, kCameraService);
    Subscribe(begin + 313 * kMs, Tester, Camera, kCameraService);
    Offer(begin + 500 * kMs, Tester, kTesterService);
    Subscribe(begin + 501 * kMs, Gateway, Tester, kTesterService);
  }

  static EthernetRoute RouteTo(const EthernetNode& from, const EthernetNode& to) {
    return ControlRoute(from, to, kServiceDiscoveryPort, kServiceDiscoveryPort);
  }

  void Find(uint64_t time, const SomeIpService& service) {
    const uint16_t session = Tester.ToAll.Next();
    AddUdp(time, RouteTo(kTester, MulticastGroup(kDiscoveryGroup)),
           FindService(service.Service, session, Tester.ToAll.IsFirstRound()));
  }

  void Offer(uint64_t time, Speaker& from, const SomeIpService& service) {
    const uint16_t session = from.ToAll.Next();
    AddUdp(time + Numbers.Below(kMs), RouteTo(from.Node, MulticastGroup(kDiscoveryGroup)),
           OfferService(service, session, from.ToAll.IsFirstRound()));
  }

  /// And its acknowledgement.
  void Subscribe(uint64_t time, Speaker& client, Speaker& server, SomeIpService service) {
    service.Address = client.Node.Address;
    service.Port = kEventPort;
    const uint16_t session = client.ToOne.Next();
    const auto route = RouteTo(client.Node, server.Node);
    AddUdp(time, route, SubscribeEventgroup(service, session, client.ToOne.IsFirstRound()));
    const uint16_t answer = server.ToOne.Next();
    AddUdp(time + Numbers.Around(800 * kUs), Reversed(route),
           SubscribeEventgroupAck(service, answer, server.ToOne.IsFirstRound()));
  }

  static constexpr SomeIpService kGatewayService = {0x1001, 1, kGateway.Address, 30501};
  static constexpr SomeIpService kRadarService = {0x1101, 1, kRadar.Address, 30502};
  static constexpr SomeIpService kCameraService = {0x1201, 1, kCamera.Address, 30503};
  static constexpr SomeIpService kTesterService = {0x1301, 1, kTester.Address, 30504};

  Speaker Tester{kTester};
  Speaker Gateway{kGateway};
  Speaker Radar{kRadar};
  Speaker Camera{kCamera};
  uint64_t Second = 0;
};

// ---- Other traffic ---------------------------------------------------------------------------------------------------

/// Short texts of many lengths.
class StatusTalker final : public EthernetTalker {
 public:
  explicit StatusTalker(Random& numbers) : EthernetTalker(numbers) {}

 private:
  void Refill() override {
    Next += Numbers.Around(60 * kMs);
    const std::string report = "gateway report " + std::to_string(Counter++) + ": all well. ";
    const size_t length = 1 + Numbers.Below(256);
    FrameBytes text;
    while (text.size() < length) text.insert(text.end(), report.begin(), report.end());
    text.resize(length);
    AddUdp(Next, {kGateway, kTester, 0, 0, 42001, 42001}, text);
  }

  uint64_t Next = 0;  // ns
  unsigned int Counter = 0;
};

/// Frames of the greatest length, at a rate that takes a share of the link.
class StreamTalker final : public EthernetTalker {
 public:
  StreamTalker(uint64_t share, Random& numbers) : EthernetTalker(numbers), Interval(IntervalFor(share)) {}

 private:
  /// @param share  millionths
  static uint64_t IntervalFor(uint64_t share) {
    constexpr size_t kFrame = 18 + 28 + kGreatestUdpPayload;  // addresses, tag, type; IPv4 and UDP
    return EthernetFrameLength(kFrame) * 1'000'000 / share;
  }

  void Refill() override {
    FrameBytes data;
    Put32(data, Counter++);
    data.resize(kGreatestUdpPayload);
    FillRandomly(std::span(data).subspan(4), Numbers);
    AddUdp(Next, {kCamera, kTester, kStreamVlan, kStreamPriority, 42000, 42000}, data);
    MakeExpendable();
    Next += Interval;
  }

  const uint64_t Interval;  // ns
  uint64_t Next = 0;        // ns
  uint32_t Counter = 0;
};

/// The tester asks for the gateway, the gateway for the tester, in turn.
class AddressTalker final : public EthernetTalker {
 public:
  explicit AddressTalker(Random& numbers) : EthernetTalker(numbers) {}

 private:
  void Refill() override {
    const bool ofTester = Requests++ % 2 == 0;
    const EthernetNode& asking = ofTester ? kTester : kGateway;
    const EthernetNode& asked = ofTester ? kGateway : kTester;
    Add(Next, asking, ArpRequest(asking, asked.Address));
    Add(Next + Numbers.Around(100 * kUs), asked, ArpReply(asked, asking));
    Next += Numbers.Around(10 * kSecond);
  }

  uint64_t Next = kMs;  // ns
  unsigned int Requests = 0;
};

}  // namespace

uint64_t EthernetTalker::Ready() {
  if (Queue.empty()) Refill();
  return Queue.front().Ready;
}

WaitingFrame EthernetTalker::Take() {
  if (Queue.empty()) Refill();
  WaitingFrame frame = std::move(Queue.front());
  Queue.pop_front();
  return frame;
}

void EthernetTalker::Add(uint64_t time, const EthernetNode& from, FrameBytes frame) {
  Queue.push_back({time, from.Address == kTester.Address, false, std::move(frame)});
}

void EthernetTalker::AddUdp(uint64_t time, const EthernetRoute& route, std::span<const unsigned char> payload) {
  Add(time, route.From, UdpFrame(route, Identification++, payload));
}

void EthernetTalker::AddTcp(uint64_t time, const EthernetRoute& route, const TcpHead& head,
                            std::span<const unsigned char> payload) {
  Add(time, route.From, TcpFrame(route, Identification++, head, payload));
}

std::vector<std::unique_ptr<EthernetTalker>> MakeEthernetTalkers(uint64_t budget, Random& numbers) {
  constexpr uint64_t kShareOfOthers = 4'300;  // millionths, of all talkers but the stream
  std::vector<std::unique_ptr<EthernetTalker>> talkers;
  for (const EventRow& row : kEvents) talkers.push_back(std::make_unique<EventTalker>(row, numbers));
  talkers.push_back(std::make_unique<MethodTalker>(numbers));
  talkers.push_back(std::make_unique<DiscoveryTalker>(numbers));
  talkers.push_back(MakeDiagnosisTalker(numbers));
  talkers.push_back(std::make_unique<StatusTalker>(numbers));
  talkers.push_back(std::make_unique<AddressTalker>(numbers));
  talkers.push_back(std::make_unique<StreamTalker>(budget - kShareOfOthers, numbers));
  return talkers;
}

}  // namespace qor_sim
