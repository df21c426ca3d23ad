#include "support/HeldWorkers.h"

#include <dlfcn.h>
#include <pthread.h>
#include <zlib.h>

#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "support/WaitUntil.h"

namespace {

std::mutex Guard;
std::condition_variable Changed;
bool Holding = false;
unsigned int Held = 0;
std::thread::id Free;  // the thread that isn't held

std::atomic<int> ThreadsLeft = -1;  // that may be started; negative: any number

void HangWhileHeld() {
  std::unique_lock lock(Guard);
  if (!Holding || std::this_thread::get_id() == Free) return;
  ++Held;
  Changed.notify_all();
  Changed.wait_for(lock, test::kWaitLimit, [] { return !Holding; });
  --Held;
}

/// The function of the same name in the next library.
template <class Function>
Function* Next(Function*, const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

test::HeldWorkers::HeldWorkers() {
  const std::lock_guard lock(Guard);
  Holding = true;
  Free = std::this_thread::get_id();
}

test::HeldWorkers::~HeldWorkers() { Release(); }

bool test::HeldWorkers::WaitUntilHeld(unsigned int threads) {
  std::unique_lock lock(Guard);
  return Changed.wait_for(lock, kWaitLimit, [threads] { return Held >= threads; });
}

void test::HeldWorkers::Release() {
  const std::lock_guard lock(Guard);
  Holding = false;
  Changed.notify_all();
}

test::NoMoreThreads::NoMoreThreads(unsigned int left) { ThreadsLeft = static_cast<int>(left); }

test::NoMoreThreads::~NoMoreThreads() { ThreadsLeft = -1; }

// ---- What is taken over. Each passes on to the function that it replaces.

#pragma GCC visibility push(default)  // the C++ library has to find them as well

extern "C" {

int compress2(Bytef* packed, uLongf* packedSize, const Bytef* data, uLong size, int level) {
  static const auto next = Next(&compress2, "compress2");
  HangWhileHeld();
  return next(packed, packedSize, data, size, level);
}

int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*body)(void*), void* argument) {
  static const auto next = Next(&pthread_create, "pthread_create");
  if (ThreadsLeft == 0) return EAGAIN;
  if (ThreadsLeft > 0) --ThreadsLeft;
  return next(thread, attributes, body, argument);
}

}  // extern "C"

#pragma GCC visibility pop
