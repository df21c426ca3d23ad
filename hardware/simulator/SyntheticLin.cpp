#include "SyntheticLin.h"

#include <algorithm>

#include "LinMessages.h"

namespace qor_sim {
namespace {

constexpr uint64_t kStream = 0x4C494E;  // another for each bus

constexpr uint64_t kMs = 1'000'000;  // ns
constexpr uint64_t kSecond = 1000 * kMs;
constexpr uint64_t kGreatestJitter = 100'000;           // ns, of the master's slots
constexpr uint64_t kDisturbanceInterval = 2 * kSecond;  // the means
constexpr uint64_t kTriggerInterval = 3 * kSecond;
constexpr uint64_t kDiagnosisInterval = 5 * kSecond;
constexpr uint64_t kSleepInterval = 40 * kSecond;
constexpr uint64_t kSleepLength = 2 * kSecond;
constexpr uint64_t kSleepSlot = 10 * kMs;
constexpr uint64_t kWakeUpTime = 150 * kMs;  // from a wake-up to the first frame after it
constexpr uint32_t kGreatestDrift = 1000;    // eighths of a ns, of the bit time

/// What goes wrong with a frame, in turn.
enum Disturbance { WrongChecksum, WrongParity, WrongSync, NoResponse, TransmitError };
constexpr unsigned int kDisturbances = 5;

class SyntheticLin final : public SyntheticSource {
 public:
  explicit SyntheticLin(const SyntheticSettings& settings)
      : SyntheticSource(settings, kStream),
        Messages(MakeLinMessages(Numbers)),
        DisturbanceTimes(kDisturbanceInterval, Numbers),
        TriggerTimes(kTriggerInterval, Numbers),
        DiagnosisTimes(kDiagnosisInterval, Numbers),
        SleepTimes(kSleepInterval, Numbers) {
    BeginSlot(0);
    Advance();
  }

  void Advance() override {
    while (!Asleep && NothingToSay()) EndSlot();
    if (TriggerTimes.Next() <= Start) {
      EmitTrigger();
    } else if (Asleep) {
      EmitWakeUp();
    } else if (Place == 0 && SleepTimes.Next() <= Start) {
      EmitGoToSleep();
    } else {
      EmitSlot();
    }
  }

 private:
  const LinSlot& Slot() const { return LinSchedule()[Place]; }
  bool IsDiagnosis() const { return Slot().Message == LinSlot::kDiagnosis; }
  bool NothingToSay() const { return IsDiagnosis() && !ResponseDue && DiagnosisTimes.Next() > Start; }

  void BeginSlot(uint64_t time) {
    SlotBegin = time;
    Start = time + Numbers.Below(kGreatestJitter);
  }

  void EndSlot() {
    const uint64_t end = SlotBegin + Slot().Length;
    Place = (Place + 1) % LinSchedule().size();
    BeginSlot(end);
  }

  void EmitSlot() {
    if (IsDiagnosis()) {
      EmitDiagnosis();
    } else {
      LinMessage& message = Messages[Slot().Message];
      LinItem frame = message.Frame();
      if (DisturbanceTimes.Next() <= Start) Disturb(message, frame);
      Emit(frame, Start);
      message.GoOn(Numbers);
    }
    EndSlot();
  }

  /// A request, and the response to it in the next slot for diagnosis.
  void EmitDiagnosis() {
    LinItem frame = ResponseDue ? LinDiagnosticResponse() : LinDiagnosticRequest();
    if (ResponseDue) DiagnosisTimes.GoOn(Start);
    ResponseDue = !ResponseDue;
    Emit(frame, Start);
  }

  /// Waits for a frame that can be disturbed in the kind whose turn it is.
  void Disturb(const LinMessage& message, LinItem& frame) {
    const auto kind = static_cast<Disturbance>(Disturbances % kDisturbances);
    const bool ofMaster = kind == TransmitError;
    if (message.FromMaster() != ofMaster) return;
    Spoil(frame, kind);
    ++Disturbances;
    DisturbanceTimes.GoOn(Start);
  }

  void Spoil(LinItem& frame, Disturbance kind) {
    switch (kind) {
      case WrongChecksum:
        frame.Flags |= kLinChecksumError;
        frame.Data[0] = static_cast<unsigned char>(frame.Data[0] ^ 1u << Numbers.Below(8));
        break;
      case WrongParity:
        frame.Flags |= kLinParityError;
        frame.Identifier ^= 0x80;
        frame.DataLength = 0;
        break;
      case WrongSync:
        frame.Flags |= kLinSyncError;
        frame.DataLength = 0;
        break;
      case NoResponse:  // a header without effect
        frame.Flags |= kLinTransmitError | kLinTransmitted;
        frame.DataLength = 0;
        break;
      case TransmitError:
        frame.Flags |= kLinTransmitError;
        break;
    }
  }

  void EmitGoToSleep() {
    LinItem frame = LinGoToSleep();
    Emit(frame, Start);
    Asleep = true;
    ResponseDue = false;
    Start = SlotBegin + kSleepSlot + Numbers.Around(kSleepLength);
  }

  /// By a slave or by the master, in turn; the schedule begins anew.
  void EmitWakeUp() {
    LinItem wakeUp;
    wakeUp.Flags = kLinWakeUp;
    if (WakeUps++ % 2 == 1) wakeUp.Flags |= kLinTransmitted;
    Emit(wakeUp, Start);
    Asleep = false;
    BeginSlot(Start + kWakeUpTime);
    SleepTimes.GoOn(Start);
  }

  /// A rising and a falling edge in turn; they take no time on the bus.
  void EmitTrigger() {
    LinItem edge;
    edge.Flags = kLinTrigger;
    edge.Identifier = Triggers++ % 2 == 0 ? kLinRisingEdge : kLinFallingEdge;
    const uint64_t time = TriggerTimes.Next();
    TriggerTimes.GoOn(time);
    Emit(edge, time);
  }

  void Emit(LinItem& item, uint64_t time) {
    item.Timestamp = time;
    item.BitTime = NextBitTime();
    EncodeLinItem(item, Current.Bytes);
    SetTime(time);
  }

  /// The bit time as measured: it drifts slowly around the nominal one.
  uint32_t NextBitTime() {
    const uint64_t moved = Drift + Numbers.Below(41);
    Drift = static_cast<uint32_t>(std::clamp<uint64_t>(moved, 20, 2 * kGreatestDrift + 20) - 20);
    return LinBitTime(kLinBitRate) - kGreatestDrift + Drift;
  }

  std::vector<LinMessage> Messages;
  IrregularTimes DisturbanceTimes;
  IrregularTimes TriggerTimes;
  IrregularTimes DiagnosisTimes;
  IrregularTimes SleepTimes;
  size_t Place = 0;        // in the schedule
  uint64_t SlotBegin = 0;  // ns
  uint64_t Start = 0;      // ns, of the next item on the bus
  bool Asleep = false;
  bool ResponseDue = false;  // of a slave, to a diagnostic request
  uint32_t Drift = kGreatestDrift;
  unsigned int Disturbances = 0;
  unsigned int WakeUps = 0;
  unsigned int Triggers = 0;
};

}  // namespace

std::unique_ptr<ItemSource> MakeSyntheticLin(const SyntheticSettings& settings) {
  return std::make_unique<SyntheticLin>(settings);
}

}  // namespace qor_sim
