#include "support/HangingCalls.h"

#include <dlfcn.h>
#include <sys/mman.h>

#include <condition_variable>
#include <cstddef>
#include <mutex>

#include "qor_api.h"
#include "support/WaitUntil.h"

namespace {

constexpr unsigned int kPollCapacity = 65535;  // bytes; that of other commands is smaller

std::mutex Guard;
std::condition_variable Changed;
int Wanted = -1;  // test::HangingCall::Kind; -1: none has to hang
bool Hangs = false;

thread_local unsigned long UnmapsLeft = 0;  // until the one that counts; 0: the thread doesn't count

void HangIfWanted(test::HangingCall::Kind kind) {
  std::unique_lock lock(Guard);
  if (Wanted != kind || Hangs) return;
  Hangs = true;
  Changed.notify_all();
  Changed.wait(lock, [] { return Wanted == -1; });
  Hangs = false;
}

/// The function of the same name in the next library.
template <class Function>
Function* Next(Function*, const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

test::HangingCall::HangingCall(Kind kind) {
  const std::lock_guard lock(Guard);
  Wanted = kind;
}

test::HangingCall::~HangingCall() { Release(); }

bool test::HangingCall::WaitUntilItHangs() {
  std::unique_lock lock(Guard);
  return Changed.wait_for(lock, kWaitLimit, [] { return Hangs; });
}

void test::HangingCall::Release() {
  const std::lock_guard lock(Guard);
  Wanted = -1;
  Changed.notify_all();
}

void test::HangingCall::CountUnmaps(unsigned long number) { UnmapsLeft = number; }

// ---- What is taken over

extern "C" int munmap(void* memory, size_t size) noexcept {
  static const auto next = Next(&munmap, "munmap");
  if (UnmapsLeft != 0 && --UnmapsLeft == 0) HangIfWanted(test::HangingCall::Unmap);
  return next(memory, size);
}

extern "C" unsigned int Qor_CloseInterface(unsigned int handle) {
  static const auto next = Next(&Qor_CloseInterface, "Qor_CloseInterface");
  HangIfWanted(test::HangingCall::Close);
  return next(handle);
}

extern "C" unsigned int Qor_CommandWithResponseEx(unsigned int handle, unsigned int zero, unsigned int command,
                                                  unsigned int mode, const unsigned char* request,
                                                  unsigned int requestLength, unsigned char* response,
                                                  unsigned int* responseLength) {
  static const auto next = Next(&Qor_CommandWithResponseEx, "Qor_CommandWithResponseEx");
  HangIfWanted(*responseLength == kPollCapacity ? test::HangingCall::Poll : test::HangingCall::Command);
  return next(handle, zero, command, mode, request, requestLength, response, responseLength);
}
