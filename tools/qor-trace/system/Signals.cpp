#include "system/Signals.h"

#include <pthread.h>

#include <csignal>
#include <utility>

namespace client {

namespace {

constexpr int WakeUp = SIGUSR1;  // of the signal thread, at the end
constexpr std::chrono::seconds OneRequest{1};

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
  sigaddset(&set, WakeUp);
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
    const std::lock_guard lock(Mutex);
    Ending = true;
  }
  pthread_kill(Thread.native_handle(), WakeUp);
  Thread.join();
}

void Signals::Run() {
  const sigset_t set = WatchedSignals();
  for (;;) {
    int signal = 0;
    if (sigwait(&set, &signal) != 0) continue;
    std::unique_lock lock(Mutex);
    if (signal == WakeUp && Ending) return;
    if (signal == WakeUp) continue;
    const auto now = std::chrono::steady_clock::now();
    if (!Requested) {
      Requested = now;
      Changed.notify_all();
    } else if (now - *Requested > OneRequest) {
      if (LastWish) LastWish();
      EndBy(signal);
    }
  }
}

bool Signals::StopRequested() const {
  const std::lock_guard lock(Mutex);
  return Requested.has_value();
}

void Signals::Wait(std::chrono::milliseconds time) {
  std::unique_lock lock(Mutex);
  Changed.wait_for(lock, time, [this] { return Requested.has_value(); });
}

void Signals::SetLastWish(std::function<void()> wish) {
  const std::lock_guard lock(Mutex);
  LastWish = std::move(wish);
}

}  // namespace client
