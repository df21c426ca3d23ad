#include "SyntheticCan.h"

#include <algorithm>
#include <limits>
#include <vector>

#include "CanBusTiming.h"
#include "CanMessages.h"
#include "MessageData.h"

namespace qor_sim {
namespace {

constexpr uint64_t kErrorInterval = 1'000'000'000;    // ns, the mean
constexpr uint64_t kTriggerInterval = 2'000'000'000;  // ns, the mean
constexpr uint64_t kErrorShare = 200;                 // millionths of the bus, error frames and repeated beginnings
constexpr unsigned char kErrorKinds = 7;
constexpr uint64_t kEsiOneIn = 50;  // CAN FD frames

class SyntheticCan final : public SyntheticSource {
 public:
  SyntheticCan(const SyntheticSettings& settings, unsigned int load)
      : SyntheticSource(settings, 0),
        Messages(PlanMessages(uint64_t{load} * 10'000 - kErrorShare, Numbers)),
        ErrorTimes(kErrorInterval, Numbers),
        TriggerTimes(kTriggerInterval, Numbers) {
    Advance();
  }

  void Advance() override {
    CanMessage& message = NextToSend();
    const uint64_t start = std::max(BusFree, message.Ready());
    if (TriggerTimes.Next() <= start) {
      EmitTrigger();
    } else if (ErrorTimes.Next() <= start) {
      EmitError(message, start);
    } else {
      EmitFrame(message, start);
    }
  }

 private:
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
    ErrorTimes.GoOn(BusFree);
  }

  /// A rising edge, a falling edge and a user event in turn; they take no time on the bus.
  void EmitTrigger() {
    CanItem item{};
    item.Flags = kCanTrigger;
    const auto kind = static_cast<unsigned char>(Triggers++ % 3);
    item.DataLength = kind > kCanFallingEdge ? 4 : 1;
    item.Dlc = item.DataLength;
    FillRandomly({item.Data, item.DataLength}, Numbers);
    item.Data[0] = kind;
    const uint64_t time = TriggerTimes.Next();
    TriggerTimes.GoOn(time);
    Emit(item, time);
  }

  void Emit(CanItem& item, uint64_t time) {
    item.Timestamp = time;
    EncodeCanItem(item, Current.Bytes);
    SetTime(time);
  }

  std::vector<CanMessage> Messages;
  uint64_t BusFree = 0;  // ns; the last frame has left the bus
  IrregularTimes ErrorTimes;
  IrregularTimes TriggerTimes;
  unsigned int Errors = 0;
  unsigned int Triggers = 0;
};

}  // namespace

std::unique_ptr<ItemSource> MakeSyntheticCan(const SyntheticSettings& settings, unsigned int load) {
  return std::make_unique<SyntheticCan>(settings, load);
}

}  // namespace qor_sim
