// Who speaks on a synthetic vehicle network, seen from this interface's link to its switch.
#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <span>
#include <vector>

#include "EthernetFrames.h"
#include "Random.h"

namespace qor_sim {

// The nodes of the network; the first is this interface.
constexpr EthernetNode kTester = {{0x02, 0x00, 0x00, 0x00, 0x00, 0x0A}, 0xC0A8140A};   // 192.168.20.10
constexpr EthernetNode kGateway = {{0x02, 0x00, 0x00, 0x00, 0x00, 0x01}, 0xC0A81401};  // 192.168.20.1
constexpr EthernetNode kRadar = {{0x02, 0x00, 0x00, 0x00, 0x00, 0x14}, 0xC0A81414};    // 192.168.20.20
constexpr EthernetNode kCamera = {{0x02, 0x00, 0x00, 0x00, 0x00, 0x15}, 0xC0A81415};   // 192.168.20.21

/// A frame that waits for the link.
struct WaitingFrame {
  uint64_t Ready = 0;  // ns
  bool Transmitted = false;
  bool Expendable = false;  // nobody asks for it again when it gets lost
  FrameBytes Bytes;
};

/// One purpose of the network, as an endless sequence of frames.
class EthernetTalker {
 public:
  virtual ~EthernetTalker() = default;

  /// ns; the next frame waits for the link from then on. Never goes back.
  uint64_t Ready();
  /// The next frame.
  WaitingFrame Take();

 protected:
  explicit EthernetTalker(Random& numbers) : Numbers(numbers), Identification(static_cast<uint16_t>(numbers.Next())) {}

  /// Appends at least one frame to those that were taken.
  virtual void Refill() = 0;

  void Add(uint64_t time, const EthernetNode& from, FrameBytes frame);
  void AddUdp(uint64_t time, const EthernetRoute& route, std::span<const unsigned char> payload);
  void AddTcp(uint64_t time, const EthernetRoute& route, const TcpHead& head, std::span<const unsigned char> payload);
  /// The frame that was added last may get lost.
  void MakeExpendable() { Queue.back().Expendable = true; }

  Random& Numbers;

 private:
  std::deque<WaitingFrame> Queue;
  uint16_t Identification;
};

/// All talkers of the network, which together load the link with at most `budget` millionths of its time, and nearly so
/// much; 9000 at least.
std::vector<std::unique_ptr<EthernetTalker>> MakeEthernetTalkers(uint64_t budget, Random& numbers);

}  // namespace qor_sim
