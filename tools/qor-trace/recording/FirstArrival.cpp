#include "recording/FirstArrival.h"

namespace client {

namespace {

constexpr unsigned long kMicrosecond = 1000;  // ns
constexpr unsigned long kMillisecond = 1000 * kMicrosecond;

/// Can a clock that showed 0 at the start show `First` by now?
bool CanHaveBegunWithRecording(const FirstArrival& arrival) {
  if (arrival.Speed <= 0) return true;
  return static_cast<double>(arrival.First) <= static_cast<double>(arrival.Drained) * arrival.Speed;
}

ClockAnchor BegunWithRecording(const FirstArrival& arrival) {
  const unsigned long late = arrival.Started % kMillisecond;
  return {0, arrival.Started - late, arrival.StartTook + late, AnchorOrigin::RecordingStart};
}

/// What the clock lags behind UTC is at least Started + Earliest - First, at most Started + Drained - Last.
ClockAnchor RunningBefore(const FirstArrival& arrival) {
  const unsigned long least = arrival.Started + arrival.Earliest - arrival.First;
  const unsigned long open = arrival.Drained - arrival.Earliest;
  const unsigned long passed = arrival.Last - arrival.First;
  const unsigned long half = passed < open ? (open - passed) / 2 : 0;
  const unsigned long lag = (least + half) - (least + half) % kMicrosecond;
  const unsigned long start = arrival.Started - arrival.Started % kMillisecond;
  return {start - lag, start, half + kMicrosecond, AnchorOrigin::FirstEntries};
}

}  // namespace

void SetClock(Description& description, const FirstArrival& arrival) {
  SetFirstTime(description, arrival.First);
  if (description.Anchor) return;
  description.Epoch = ClockEpoch::Own;
  description.Anchor = CanHaveBegunWithRecording(arrival) ? BegunWithRecording(arrival) : RunningBefore(arrival);
}

}  // namespace client
