#include "recording/FirstArrival.h"

namespace client {

namespace {

constexpr unsigned long kMicrosecond = 1000;  // ns

/// Can a clock that showed 0 at the start show `First` by now?
bool CanHaveBegunWithRecording(const FirstArrival& arrival) {
  if (arrival.Speed <= 0) return true;
  return static_cast<double>(arrival.First) <= static_cast<double>(arrival.Drained) * arrival.Speed;
}

ClockAnchor BegunWithRecording(const FirstArrival& arrival) {
  return {0, arrival.Started - arrival.Started % kMicrosecond, arrival.StartTook + kMicrosecond,
          AnchorOrigin::RecordingStart};
}

/// What the clock lags behind UTC is at least Started + Earliest - First, at most Started + Drained - Last.
ClockAnchor RunningBefore(const FirstArrival& arrival) {
  const unsigned long least = arrival.Started + arrival.Earliest - arrival.First;
  const unsigned long open = arrival.Drained - arrival.Earliest;
  const unsigned long passed = arrival.Last - arrival.First;
  const unsigned long half = passed < open ? (open - passed) / 2 : 0;
  const unsigned long lag = (least + half) - (least + half) % kMicrosecond;
  return {arrival.Started - lag, arrival.Started, half + kMicrosecond, AnchorOrigin::FirstEntries};
}

}  // namespace

void SetClock(Description& description, const FirstArrival& arrival) {
  SetFirstTime(description, arrival.First);
  if (description.Anchor) return;
  description.Epoch = ClockEpoch::Own;
  description.Anchor = CanHaveBegunWithRecording(arrival) ? BegunWithRecording(arrival) : RunningBefore(arrival);
}

}  // namespace client
