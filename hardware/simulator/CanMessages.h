// The messages of a synthetic vehicle bus: which there are, and what each sends next.
#pragma once

#include <cstdint>
#include <vector>

#include "CanItem.h"
#include "Random.h"

namespace qor_sim {

/// A message of the bus: when it wants to be sent next, and its payload.
class CanMessage {
 public:
  /// @param frame   its identifier, flags and lengths
  /// @param period  ns; of an event message the mean time between two events
  CanMessage(const CanItem& frame, uint64_t period, bool event, Random& random);

  /// ns; the current frame waits for the bus from then on.
  uint64_t Ready() const { return ReadyTime; }
  /// The lower value wins the bus.
  uint32_t Priority() const;
  /// The current frame, without timestamp.
  const CanItem& Frame() const { return Current; }
  /// The current frame was sent.
  void Sent(Random& random);

 private:
  void Fill(Random& random);

  CanItem Current;
  uint64_t Period;
  bool Event;
  uint64_t Nominal;  // ns; Ready without its jitter
  uint64_t ReadyTime;
  unsigned int Counter = 0;
};

/// Messages that together load the bus with at most `budget` millionths of its time, and nearly so much. About a fifth
/// of their frames is transmitted, the others received.
std::vector<CanMessage> PlanMessages(uint64_t budget, Random& random);

}  // namespace qor_sim
