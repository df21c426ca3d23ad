#include "CanMessages.h"

#include <iterator>
#include <set>
#include <span>

#include "CanBusTiming.h"
#include "MessageData.h"

namespace qor_sim {
namespace {

constexpr uint64_t kMs = 1'000'000;            // ns
constexpr uint64_t kSecond = 1'000'000'000;    // ns
constexpr uint64_t kGreatestJitter = 200'000;  // ns; of a cyclic message
constexpr size_t kGreatestMessageCount = 400;

enum Format : unsigned char {
  Standard = 0,
  Extended = kCanExtended,
  Fd = kCanFd,
  FdBrs = kCanFd | kCanBrs,
  FdExtended = kCanFd | kCanExtended,
  FdExtendedBrs = kCanFd | kCanBrs | kCanExtended
};
enum Cause { Cyclic, Event };

// The pattern of the messages, repeated until the bus has its load. The cheap rows come first, so that a bus with little
// load has all kinds of frames too. The identifiers begin at the one of the row: shorter periods, higher priority.
struct Row {
  unsigned int PeriodMs;
  Cause Why;
  Format Kind;
  unsigned char Length;  // bytes
  uint32_t FirstId;
};
constexpr Row kRows[] = {
    // period cause   kind           length first identifier
    {1000, Cyclic, Standard, 8, 0x500},
    {1000, Cyclic, Extended, 8, 0x18FEF100},
    {1000, Cyclic, FdBrs, 64, 0x520},
    {1000, Cyclic, Fd, 12, 0x540},
    {1000, Cyclic, FdExtendedBrs, 24, 0x18FEE500},
    {1000, Cyclic, Fd, 64, 0x560},
    {1000, Event, Standard, 4, 0x600},
    {1000, Event, FdBrs, 20, 0x640},
    {500, Cyclic, Standard, 2, 0x480},
    {500, Event, Extended, 8, 0x18DAF100},
    {100, Cyclic, Standard, 8, 0x300},
    {100, Cyclic, FdBrs, 32, 0x340},
    {100, Cyclic, Extended, 8, 0x18F00400},
    {50, Cyclic, Standard, 6, 0x200},
    {50, Cyclic, FdExtended, 8, 0x18F00900},
    {20, Cyclic, FdBrs, 48, 0x180},
    {20, Cyclic, Standard, 8, 0x140},
    {10, Cyclic, Standard, 8, 0x0A0},
    {10, Cyclic, FdBrs, 16, 0x0C0},
};

uint64_t PeriodOf(const Row& row) { return row.PeriodMs * kMs; }

/// Frames per second.
uint64_t RateOf(const Row& row) { return kSecond / PeriodOf(row); }

/// The share of the bus that a message takes, in millionths.
uint64_t ShareOf(const CanItem& frame, uint64_t period) { return CanFrameLength(frame) * 1'000'000 / period + 1; }

CanItem FrameOf(const Row& row, uint32_t id) {
  CanItem frame{};
  frame.Identifier = id;
  frame.Flags = row.Kind;
  if ((frame.Flags & kCanExtended) != 0) frame.Identifier |= kCanIdExtended;
  if ((frame.Flags & kCanFd) != 0) frame.Identifier |= kCanIdFd;
  frame.DataLength = row.Length;
  frame.Dlc = *CanFdDlc(row.Length);
  return frame;
}

/// Chooses the messages one by one.
class Planner {
 public:
  Planner(uint64_t budget, Random& random) : Budget(budget), Numbers(random) {}

  std::vector<CanMessage> Plan() {
    while (AddRows()) {
    }
    ChooseTransmitted();
    std::vector<CanMessage> messages;
    for (const Planned& plan : Plans) {
      messages.emplace_back(plan.Frame, PeriodOf(*plan.Source), plan.Source->Why == Event, Numbers);
    }
    return messages;
  }

 private:
  struct Planned {
    CanItem Frame;
    const Row* Source;
  };

  /// Once through the pattern; false when no row had room.
  bool AddRows() {
    const size_t before = Plans.size();
    for (const Row& row : kRows) AddIfRoom(row);
    return Plans.size() > before;
  }

  void AddIfRoom(const Row& row) {
    const uint64_t share = ShareOf(FrameOf(row, 0), PeriodOf(row));
    if (share > Budget || Plans.size() == kGreatestMessageCount) return;
    Plans.push_back({FrameOf(row, FreeId(row.FirstId)), &row});
    Budget -= share;
  }

  uint32_t FreeId(uint32_t first) {
    uint32_t id = first + static_cast<uint32_t>(Numbers.Below(4));
    while (!UsedIds.insert(id).second) ++id;
    return id;
  }

  /// Gives messages to this interface until it sends a fifth of all frames, the fastest messages that still fit first.
  void ChooseTransmitted() {
    uint64_t free = 0;  // frames per second
    for (const Planned& plan : Plans) free += RateOf(*plan.Source);
    free /= 5;
    for (const unsigned int period : {10u, 20u, 50u, 100u, 500u, 1000u}) {
      for (Planned& plan : Plans) {
        if (plan.Source->PeriodMs != period || RateOf(*plan.Source) > free) continue;
        plan.Frame.Flags = static_cast<unsigned char>(plan.Frame.Flags | kCanTransmitted);
        free -= RateOf(*plan.Source);
      }
    }
  }

  uint64_t Budget;  // millionths of the bus that are free
  Random& Numbers;
  std::vector<Planned> Plans;
  std::set<uint32_t> UsedIds;
};

}  // namespace

CanMessage::CanMessage(const CanItem& frame, uint64_t period, bool event, Random& random)
    : Current(frame), Period(period), Event(event), Nominal(random.Below(period)), ReadyTime(Nominal) {
  FillRandomly({Current.Data, Current.DataLength}, random);
  Fill(random);
}

uint32_t CanMessage::Priority() const {
  const uint32_t id = Current.Identifier & kCanGreatestExtendedId;
  if ((Current.Flags & kCanExtended) == 0) return id << 19;
  return (id >> 18) << 19 | 1u << 18 | (id & 0x3FFFF);
}

void CanMessage::Sent(Random& random) {
  ++Counter;
  Nominal += Event ? random.Around(Period) : Period;
  ReadyTime = Event ? Nominal : Nominal + random.Below(kGreatestJitter);
  Fill(random);
}

void CanMessage::Fill(Random& random) {
  const std::span data(Current.Data, Current.DataLength);
  Event ? FillEventData(data, Counter, random) : UpdateCyclicData(data, Counter, random);
}

std::vector<CanMessage> PlanMessages(uint64_t budget, Random& random) { return Planner(budget, random).Plan(); }

}  // namespace qor_sim
