#include "system/Signals.h"

#include <pthread.h>

#include <csignal>
#include <utility>

#include "system/Screen.h"

namespace client {

namespace {

constexpr int kWakeUp = SIGUSR1;  // of the signal thread, at the end; before that it is for the user
constexpr std::chrono::seconds kOneRequest{1};

bool IsIgnored(int signal) {
  struct sigaction action {};
  return sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

sigset_t WatchedSignals() {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGINT);
  sigaddset(&set, SIGTERM);
  if (!IsIgnored(SIGHUP)) sigaddset(&set, SIGHUP);
  if (!IsIgnored(SIGTSTP)) sigaddset(&set, SIGTSTP);
  sigaddset(&set, kWakeUp);
  return set;
}

[[noreturn]] void EndBy(int signal) {
  sigset_t set = WatchedSignals();
  std::signal(signal, SIG_DFL);
  pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
  std::raise(signal);
  std::_Exit(128 + signal);
}

}  // namespace

Signals::Signals() {
  const sigset_t set = WatchedSignals();
  pthread_sigmask(SIG_BLOCK, &set, nullptr);
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
  Thread = std::thread([this] { Run(); });
}

Signals::~Signals() {
  {
    const MutexLock lock(Guard);
    Ending = true;
  }
  pthread_kill(Thread.native_handle(), kWakeUp);
  Thread.join();
}

void Signals::Run() {
  const sigset_t set = WatchedSignals();
  for (;;) {
    int signal = 0;
    if (sigwait(&set, &signal) != 0) continue;
    const MutexLock lock(Guard);
    if (!Heed(signal)) return;
  }
}

/// False when the thread is to end.
bool Signals::Heed(int signal) {
  if (signal == kWakeUp) {
    if (!Ending && UserCall) UserCall();
    return !Ending;
  }
  if (signal == SIGTSTP) {
    if (Suspension)
      Suspension();
    else
      StopProcess();
    return true;
  }
  if (signal == SIGHUP && HangUp && HangUp()) return true;
  const auto now = std::chrono::steady_clock::now();
  if (!Requested) {
    Requested = now;
    Changed.NotifyAll();
  } else if (now - *Requested > kOneRequest) {
    LeaveScreenAtOnce();
    if (LastWish) LastWish();
    EndBy(signal);
  }
  return true;
}

bool Signals::StopRequested() const {
  const MutexLock lock(Guard);
  return Requested.has_value();
}

void Signals::RequestStop() {
  const MutexLock lock(Guard);
  if (!Requested) Requested = std::chrono::steady_clock::now();
  Changed.NotifyAll();
}

void Signals::SetSuspension(std::function<void()> suspend) {
  const MutexLock lock(Guard);
  Suspension = std::move(suspend);
}

void Signals::SetHangUp(std::function<bool()> goesOn) {
  const MutexLock lock(Guard);
  HangUp = std::move(goesOn);
}

void Signals::StopProcess() {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGTSTP);
  pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
  std::raise(SIGTSTP);
  pthread_sigmask(SIG_BLOCK, &set, nullptr);
}

void Signals::Wait(std::chrono::milliseconds time) {
  const auto end = std::chrono::steady_clock::now() + time;
  const MutexLock lock(Guard);
  while (!Requested && Changed.WaitUntil(Guard, end)) {
  }
}

void Signals::SetUserCall(std::function<void()> call) {
  const MutexLock lock(Guard);
  UserCall = std::move(call);
}

void Signals::SetLastWish(std::function<void()> wish) {
  const MutexLock lock(Guard);
  LastWish = std::move(wish);
}

}  // namespace client
