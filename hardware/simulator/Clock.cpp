#include "Clock.h"

#include <chrono>

namespace qor_sim {

namespace {

template <class Clock>
uint64_t Nanoseconds(std::chrono::time_point<Clock> time) {
  return static_cast<uint64_t>(std::chrono::duration_cast<std::chrono::nanoseconds>(time.time_since_epoch()).count());
}

}  // namespace

TimeSource& SteadyTime() {
  class Steady final : public TimeSource {
    uint64_t Now() override { return Nanoseconds(std::chrono::steady_clock::now()); }
    uint64_t Utc() override { return Nanoseconds(std::chrono::system_clock::now()); }
  };
  static Steady steady;
  return steady;
}

uint64_t Clock::Elapsed() {
  const Lock lock(Guard);
  return RunningUsers == 0 ? Gathered : Gathered + (Time.Now() - RunningSince);
}

void Clock::Enter() {
  const Lock lock(Guard);
  ++Users;
}

void Clock::Leave() {
  const Lock lock(Guard);
  if (--Users == 0) Gathered = 0;
}

void Clock::Run() {
  const Lock lock(Guard);
  if (RunningUsers++ == 0) RunningSince = Time.Now();
}

void Clock::Halt() {
  const Lock lock(Guard);
  if (--RunningUsers == 0) Gathered += Time.Now() - RunningSince;
}

void ClockUser::Start() {
  if (!Entered) Shared.Enter();
  Entered = true;
  if (!Running) Shared.Run();
  Running = true;
}

void ClockUser::Stop() {
  if (Running) Shared.Halt();
  Running = false;
}

void ClockUser::Leave() {
  Stop();
  if (Entered) Shared.Leave();
  Entered = false;
}

}  // namespace qor_sim
