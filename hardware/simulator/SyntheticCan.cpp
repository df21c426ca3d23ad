#include "SyntheticCan.h"

#include <algorithm>
#include <limits>
#include <vector>

#include "CanBusTiming.h"
#include "CanMessages.h"
#include "Random.h"

namespace qor_sim {
namespace {

constexpr uint64_t kErrorInterval = 1'000'000'000;    // ns, the mean
constexpr uint64_t kTriggerInterval = 2'000'000'000;  // ns, the mean
constexpr uint64_t kErrorShare = 200;                 // millionths of the bus, error frames and repeated beginnings
constexpr unsigned char kErrorKinds = 7;
constexpr uint64_t kEsiOneIn = 50;  // CAN FD frames

class SyntheticCan final : public ItemSource {
 public:
  explicit SyntheticCan(const SyntheticCanSettings& settings)
      : Numbers(settings.Seed),
        End(settings.Duration.value_or(std::numeric_limits<uint64_t>::max())),
        Messages(PlanMessages(uint64_t{settings.Load} * 10'000 - kErrorShare, Numbers)),
        NextError(Spread(kErrorInterval)),
        NextTrigger(Spread(kTriggerInterval)) {
    Advance();
  }

  const Item* Peek() override { return Current.Timestamp < End ? &Current : nullptr; }

  void Advance() override {
    CanMessage& message = NextToSend();
    const uint64_t start = std::max(BusFree, message.Ready());
    if (NextTrigger <= start) {
      EmitTrigger();
    } else if (NextError <= start) {
      EmitError(message, start);
    } else {
      EmitFrame(message, start);
    }
  }

 private:
  /// Half the mean to one and a half.
  uint64_t Spread(uint64_t mean) { return mean / 2 + Numbers.Below(mean); }

  /// Of the messages that wait when the bus is free, or first after that, the one with the highest priority.
  CanMessage& NextToSend() {
    uint64_t earliest = std::numeric_limits<uint64_t>::max();
    for (const CanMessage& message : Messages) earliest = std::min(earliest, message.Ready());
    const uint64_t decision = std::max(earliest, BusFree);
    CanMessage* winner = nullptr;
    for (CanMessage& message : Messages) {
      if (message.Ready() > decision) continue;
      if (winner == nullptr || message.Priority() < winner->Priority()) winner = &message;
    }
    return *winner;
  }

  void EmitFrame(CanMessage& message, uint64_t start) {
    CanItem item = message.Frame();
    const bool passive = (item.Flags & kCanFd) != 0 && Numbers.Below(kEsiOneIn) == 0;
    if (passive) item.Flags = static_cast<unsigned char>(item.Flags | kCanEsi);
    Emit(item, start);
    BusFree = start + CanFrameLength(item);
    message.Sent(Numbers);
  }

  /// Another error kind every time; the message that was hit tries again.
  void EmitError(const CanMessage& message, uint64_t start) {
    CanItem item{};
    item.Identifier = message.Frame().Identifier & ~kCanIdFd;
    item.Flags = static_cast<unsigned char>(kCanError | (message.Frame().Flags & (kCanTransmitted | kCanExtended)));
    item.DataLength = 1;
    item.Data[0] = static_cast<unsigned char>(1 + Errors++ % kErrorKinds);
    Emit(item, start + kCanErrorDelay);
    BusFree = start + kCanErrorDelay + kCanErrorLength;
    NextError = BusFree + Spread(kErrorInterval);
  }

  /// A rising edge, a falling edge and a user event in turn; they take no time on the bus.
  void EmitTrigger() {
    CanItem item{};
    item.Flags = kCanTrigger;
    const auto kind = static_cast<unsigned char>(Triggers++ % 3);
    item.DataLength = kind > kCanFallingEdge ? 4 : 1;
    item.Dlc = item.DataLength;
    std::generate_n(item.Data, item.DataLength, [this] { return Numbers.Byte(); });
    item.Data[0] = kind;
    const uint64_t time = NextTrigger;
    NextTrigger += Spread(kTriggerInterval);
    Emit(item, time);
  }

  void Emit(CanItem& item, uint64_t time) {
    item.Timestamp = time;
    EncodeCanItem(item, Current.Bytes);
    Current.Due = time;
    Current.Timestamp = time;
  }

  Random Numbers;
  const uint64_t End;  // ns
  std::vector<CanMessage> Messages;
  uint64_t BusFree = 0;  // ns; the last frame has left the bus
  uint64_t NextError;
  uint64_t NextTrigger;
  unsigned int Errors = 0;
  unsigned int Triggers = 0;
  Item Current;
};

}  // namespace

std::unique_ptr<ItemSource> MakeSyntheticCan(const SyntheticCanSettings& settings) {
  return std::make_unique<SyntheticCan>(settings);
}

}  // namespace qor_sim
