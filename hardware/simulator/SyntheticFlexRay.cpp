#include "SyntheticFlexRay.h"

#include <algorithm>
#include <span>
#include <utility>

#include "FlexRayMessages.h"

namespace qor_sim {
namespace {

constexpr uint64_t kStream = 0x464C455852;  // another for each bus

constexpr uint64_t kUs = 1000;  // ns
constexpr uint64_t kMs = 1000 * kUs;
constexpr uint64_t kSecond = 1000 * kMs;
constexpr uint64_t kGreatestDeviation = 200;  // ns, of a frame from its action point
constexpr uint64_t kErrorInterval = kSecond;  // the means
constexpr uint64_t kStatusInterval = 5 * kSecond;
constexpr uint64_t kSymbolInterval = 10 * kSecond;
constexpr uint64_t kPassiveInterval = 20 * kSecond;
constexpr uint64_t kHaltInterval = 60 * kSecond;

// Within the network idle time.
constexpr uint64_t kErrorOffset = kFlexRayIdleTime + 10 * kUs;
constexpr uint64_t kStateOffset = kFlexRayIdleTime + 50 * kUs;
constexpr uint64_t kStatusOffset = kFlexRayIdleTime + 100 * kUs;

/// What the interface's controller is doing.
enum Phase { Starting, Active, Passive, Halted };

// A phase other than Active is a sequence of cycles, in some of which the state changes.
struct StateStep {
  Phase During;
  unsigned int Cycle;  // of the phase
  uint64_t Offset;     // ns in the cycle
  FlexRayState State;
};
constexpr StateStep kStateSteps[] = {
    {Starting, 0, 500 * kUs, kFlexRayDefaultConfig},
    {Starting, 0, 1 * kMs, kFlexRayConfig},
    {Starting, 0, 3 * kMs, kFlexRayReady},
    {Starting, 1, 500 * kUs, kFlexRayWakingUp},
    {Starting, 2, 2 * kMs, kFlexRayReady},
    {Starting, 3, 0, kFlexRayStartingUp},
    {Starting, 11, kStateOffset, kFlexRayNormalActive},
    {Passive, 0, kStateOffset, kFlexRayNormalPassive},
    {Passive, 5, kStateOffset, kFlexRayNormalActive},
    {Halted, 0, kStateOffset, kFlexRayHalt},
    {Halted, 2, 1 * kMs, kFlexRayDefaultConfig},
    {Halted, 3, 1 * kMs, kFlexRayConfig},
    {Halted, 5, 1 * kMs, kFlexRayReady},
    {Halted, 6, 0, kFlexRayStartingUp},
    {Halted, 9, kStateOffset, kFlexRayNormalActive},
};
constexpr unsigned int kPhaseLengths[] = {12, 0, 6, 10};  // cycles, by Phase; Active lasts until another is due
// Of the start, cycles:
constexpr unsigned int kWakeUp = 1;     // wake-up symbols
constexpr unsigned int kFirstNode = 4;  // the first node sends startup frames, the cluster counts its cycles from here
constexpr unsigned int kAllNodes = 8;   // all nodes of the start do

constexpr FlexRayKind kErrorKinds[] = {kFlexRayNitSyntaxError, kFlexRaySyntaxError, kFlexRayNitBoundaryViolation,
                                       kFlexRayContentError};
constexpr FlexRayChannel kChannels[] = {kFlexRayA, kFlexRayB, kFlexRayBoth};

class SyntheticFlexRay final : public SyntheticSource {
 public:
  explicit SyntheticFlexRay(const SyntheticSettings& settings)
      : SyntheticSource(settings, kStream),
        StaticMessages(MakeFlexRayStaticMessages(Numbers)),
        DynamicMessages(MakeFlexRayDynamicMessages(Numbers)),
        ErrorTimes(kErrorInterval, Numbers),
        StatusTimes(kStatusInterval, Numbers),
        SymbolTimes(kSymbolInterval, Numbers),
        PassiveTimes(kPassiveInterval, Numbers),
        HaltTimes(kHaltInterval, Numbers) {
    Advance();
  }

  void Advance() override {
    while (Position == Count) MakeCycle();
    std::swap(Current, Items[Position++]);
  }

 private:
  /// All items of the next cycle, in order of their times.
  void MakeCycle() {
    Position = Count = 0;
    AddStates();
    if (Now == Starting && PhaseCycle == kWakeUp) AddWakeUp();
    if (Listens()) {
      AddEvent(FlexRayStartOfCycle(Begin, Cycle()));
      AddStaticSegment();
      if (Now != Starting) AddUsualTraffic();
    }
    std::stable_sort(Items.begin(), Items.begin() + static_cast<std::ptrdiff_t>(Count),
                     [](const Item& a, const Item& b) { return a.Timestamp < b.Timestamp; });
    EndCycle();
  }

  void AddUsualTraffic() {
    AddDynamicSegment(kFlexRayA);
    AddDynamicSegment(kFlexRayB);
    AddIdleTimeError();
    if (TakeIfDue(SymbolTimes)) {
      AddEvent(FlexRaySymbolSeen(Begin + kFlexRaySymbolWindow + 5 * kUs, kChannels[Symbols++ % 3]));
    }
    if (TakeIfDue(StatusTimes)) AddEvent({.Timestamp = Begin + kStatusOffset, .Kind = kFlexRayStatus});
  }

  void EndCycle() {
    Begin += kFlexRayCycleLength;
    ++CycleCount;
    ++PhaseCycle;
    if (Now != Active && PhaseCycle == kPhaseLengths[Now]) Enter(Active);
    if (Now != Active) return;
    if (TakeIfDue(HaltTimes)) {
      Enter(Halted);
    } else if (TakeIfDue(PassiveTimes)) {
      Enter(Passive);
    }
  }

  void Enter(Phase phase) {
    Now = phase;
    PhaseCycle = 0;
  }

  bool TakeIfDue(IrregularTimes& times) {
    if (times.Next() > Begin) return false;
    times.GoOn(Begin);
    return true;
  }

  /// The cluster goes on counting while this interface's controller is halted.
  unsigned char Cycle() const { return static_cast<unsigned char>((CycleCount - kFirstNode) % kFlexRayCycles); }

  /// Whether the controller follows the cluster; a halt comes at the end of the first cycle of its phase.
  bool Listens() const {
    if (Now == Starting) return PhaseCycle >= kFirstNode;
    return Now != Halted || PhaseCycle == 0;
  }

  /// Whether a message is sent in this phase of the cluster and of the controller.
  bool MaySend(const FlexRayMessage& message) const {
    const auto& plan = message.Planned();
    if (Now == Starting) {
      return (plan.Flags & kFlexRayStartup) != 0 && (plan.Slot == 1 || PhaseCycle >= kAllNodes);
    }
    return !(Now == Passive && PhaseCycle > 0 && plan.Transmitted);
  }

  bool IsSent(const FlexRayMessage& message) const { return message.HasTurn(Cycle()) && MaySend(message); }

  void AddStates() {
    for (const StateStep& step : kStateSteps) {
      if (step.During != Now || step.Cycle != PhaseCycle) continue;
      AddEvent(FlexRayStateChange(Begin + step.Offset, step.State));
    }
  }

  void AddWakeUp() {
    AddEvent(FlexRaySymbolSeen(Begin + 2 * kMs, kFlexRayA));
    AddEvent(FlexRaySymbolSeen(Begin + 4 * kMs, kFlexRayB));
  }

  /// While the cluster starts, all frames are null frames.
  void AddStaticSegment() {
    const FlexRayMessage* victim = Victim();
    for (FlexRayMessage& message : StaticMessages) {
      if (!IsSent(message)) continue;
      const uint64_t slot = (message.Planned().Slot - 1u) * kFlexRayStaticSlotLength;
      const uint64_t start = Begin + slot + kFlexRayActionPoint + Deviation();
      if (&message == victim) {
        AddError(start + FlexRayFrameLength(message.Frame()), message.Planned().Slot);
      } else if (Now == Starting) {
        AddFrame(message.NullFrame(), start);
      } else {
        AddFrame(message.Frame(), start);
      }
      message.Sent(Numbers);
    }
  }

  /// Slots count on from the static ones. An unused slot takes one minislot, a frame as many as it needs; without room
  /// for it, it waits for its next turn.
  void AddDynamicSegment(FlexRayChannel channel) {
    unsigned int slot = kFlexRayStaticSlots + 1;
    unsigned int minislot = 0;
    for (FlexRayMessage& message : DynamicMessages) {
      const auto& plan = message.Planned();
      if (plan.Channel != channel || !IsSent(message) || !message.TakesTurn(Numbers)) continue;
      minislot += plan.Slot - slot;
      const unsigned int needed = MinislotsOf(message.Frame());
      if (minislot + needed > kFlexRayMinislots) return;
      const uint64_t start = kFlexRayDynamicSegment + minislot * kFlexRayMinislotLength + kFlexRayMinislotActionPoint;
      AddFrame(message.Frame(), Begin + start + Deviation());
      message.Sent(Numbers);
      minislot += needed;
      slot = plan.Slot + 1u;
    }
  }

  static unsigned int MinislotsOf(const FlexRayFrame& frame) {
    const uint64_t length = kFlexRayMinislotActionPoint + FlexRayFrameLength(frame) + kGreatestDeviation;
    return static_cast<unsigned int>(length / kFlexRayMinislotLength + 1);
  }

  FlexRayKind ErrorKind() const { return kErrorKinds[Errors % std::size(kErrorKinds)]; }
  FlexRayChannel ErrorChannel() const { return kChannels[Errors / std::size(kErrorKinds) % std::size(kChannels)]; }
  bool IsErrorDue() const { return ErrorTimes.Next() <= Begin; }
  bool IsIdleTimeError() const {
    return ErrorKind() == kFlexRayNitSyntaxError || ErrorKind() == kFlexRayNitBoundaryViolation;
  }

  /// The frame that is lost by the error of now, if any: one that is received on the error's channel.
  const FlexRayMessage* Victim() {
    if (Now != Active || !IsErrorDue() || IsIdleTimeError()) return nullptr;
    const FlexRayMessage* victim = nullptr;
    uint64_t candidates = 0;
    for (const FlexRayMessage& message : StaticMessages) {
      const auto& plan = message.Planned();
      if (plan.Transmitted || plan.Channel != ErrorChannel() || !IsSent(message)) continue;
      if (Numbers.Below(++candidates) == 0) victim = &message;
    }
    return victim;
  }

  void AddIdleTimeError() {
    if (Now == Active && IsErrorDue() && IsIdleTimeError()) AddError(Begin + kErrorOffset, 0);
  }

  /// All kinds in turn, on channel A, then on B, then on both.
  void AddError(uint64_t time, uint16_t slot) {
    AddEvent(FlexRayError(time, ErrorKind(), slot, Cycle(), ErrorChannel()));
    ++Errors;
    ErrorTimes.GoOn(Begin);
  }

  uint64_t Deviation() { return Numbers.Below(kGreatestDeviation); }

  void AddFrame(FlexRayFrame frame, uint64_t time) {
    frame.Timestamp = time;
    frame.Cycle = Cycle();
    EncodeFlexRayFrame(frame, NewItem(time).Bytes);
  }

  void AddEvent(const FlexRayEvent& event) { EncodeFlexRayEvent(event, NewItem(event.Timestamp).Bytes); }

  Item& NewItem(uint64_t time) {
    if (Count == Items.size()) Items.emplace_back();
    Item& item = Items[Count++];
    item.Due = time;
    item.Timestamp = time;
    return item;
  }

  std::vector<FlexRayMessage> StaticMessages;
  std::vector<FlexRayMessage> DynamicMessages;
  IrregularTimes ErrorTimes;
  IrregularTimes StatusTimes;
  IrregularTimes SymbolTimes;
  IrregularTimes PassiveTimes;
  IrregularTimes HaltTimes;
  uint64_t Begin = 0;       // ns, of the cycle
  uint64_t CycleCount = 0;  // since the bus began
  Phase Now = Starting;
  unsigned int PhaseCycle = 0;
  unsigned int Errors = 0;
  unsigned int Symbols = 0;
  std::vector<Item> Items;  // of the cycle; the first Count ones, of which Position are done
  size_t Count = 0;
  size_t Position = 0;
};

}  // namespace

std::unique_ptr<ItemSource> MakeSyntheticFlexRay(const SyntheticSettings& settings) {
  return std::make_unique<SyntheticFlexRay>(settings);
}

}  // namespace qor_sim
