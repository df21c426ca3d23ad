#include "support/FailingAllocator.h"

#include <dlfcn.h>
#include <zlib.h>

#include <array>
#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <new>

#include "qor_api.h"

namespace {

std::atomic<bool> Armed = false;
std::atomic<bool> OnThisThread = false;
std::atomic<bool> ForEver = false;
std::atomic<unsigned long> Count = 0;
std::atomic<unsigned long> FailAt = 0;
std::atomic<bool> Failed = false;

thread_local bool IsTestThread = false;  // the thread that made the FailingAllocator
thread_local int Hardware = 0;           // depth of calls of the hardware library

bool MustFail() {
  if (!Armed || Hardware > 0 || IsTestThread != OnThisThread) return false;
  const unsigned long number = ++Count;
  if (number < FailAt || (number > FailAt && !ForEver)) return false;
  Failed = true;
  return true;
}

void* Allocate(std::size_t size) noexcept { return MustFail() ? nullptr : std::malloc(size == 0 ? 1 : size); }

struct InHardware {
  InHardware() { ++Hardware; }
  ~InHardware() { --Hardware; }
};

/// The function of the same name in the next library.
template <class Function>
Function* Next(Function*, const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

test::FailingAllocator::FailingAllocator(Threads threads, unsigned long number, Duration duration) {
  IsTestThread = true;
  OnThisThread = threads == ThisThread;
  ForEver = duration == FromThenOn;
  Count = 0;
  FailAt = number;
  Failed = false;
  Armed = true;
}

test::FailingAllocator::~FailingAllocator() {
  Armed = false;
  IsTestThread = false;
}

bool test::FailingAllocator::HasFailed() const { return Failed; }

// ---- What is taken over

void* operator new(std::size_t size) {
  void* memory = Allocate(size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}
void* operator new[](std::size_t size) { return operator new(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return Allocate(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return Allocate(size); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete(void* memory, const std::nothrow_t&) noexcept { std::free(memory); }
void operator delete[](void* memory, const std::nothrow_t&) noexcept { std::free(memory); }

// zlib allocates by itself: each call that begins a compression counts as one allocation.

extern "C" int compress2(Bytef* packed, uLongf* packedSize, const Bytef* data, uLong size, int level) {
  static const auto next = Next(&compress2, "compress2");
  return MustFail() ? Z_MEM_ERROR : next(packed, packedSize, data, size, level);
}

extern "C" int deflateInit2_(z_streamp stream, int level, int method, int windowBits, int memLevel, int strategy,
                             const char* version, int streamSize) {
  static const auto next = Next(&deflateInit2_, "deflateInit2_");
  if (MustFail()) return Z_MEM_ERROR;
  return next(stream, level, method, windowBits, memLevel, strategy, version, streamSize);
}

extern "C" unsigned int Qor_ErrorHandler(unsigned int level, unsigned int code, const char* format, ...) {
  static const auto next = Next(&Qor_ErrorHandler, "Qor_ErrorHandler");
  const InHardware scope;
  std::array<char, 1000> text{};
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text.data(), text.size(), format, arguments);
  va_end(arguments);
  return next(level, code, "%s", text.data());
}

extern "C" unsigned char Qor_GetInterfaceType(unsigned int port) {
  static const auto next = Next(&Qor_GetInterfaceType, "Qor_GetInterfaceType");
  const InHardware scope;
  return next(port);
}

extern "C" unsigned int Qor_GetInterfaceInfo(unsigned int port, Qor_InterfaceInfo_t* info) {
  static const auto next = Next(&Qor_GetInterfaceInfo, "Qor_GetInterfaceInfo");
  const InHardware scope;
  return next(port, info);
}

extern "C" unsigned int Qor_OpenInterface2(unsigned int mode, Qor_InterfaceInfo_t* info, unsigned int* handle) {
  static const auto next = Next(&Qor_OpenInterface2, "Qor_OpenInterface2");
  const InHardware scope;
  return next(mode, info, handle);
}

extern "C" unsigned char Qor_Monitor_InstanceId_Get(unsigned int port) {
  static const auto next = Next(&Qor_Monitor_InstanceId_Get, "Qor_Monitor_InstanceId_Get");
  const InHardware scope;
  return next(port);
}

extern "C" unsigned int Qor_CloseInterface(unsigned int handle) {
  static const auto next = Next(&Qor_CloseInterface, "Qor_CloseInterface");
  const InHardware scope;
  return next(handle);
}

extern "C" unsigned int Qor_CommandWithResponseEx(unsigned int handle, unsigned int zero, unsigned int command,
                                                  unsigned int mode, const unsigned char* request,
                                                  unsigned int requestLength, unsigned char* response,
                                                  unsigned int* responseLength) {
  static const auto next = Next(&Qor_CommandWithResponseEx, "Qor_CommandWithResponseEx");
  const InHardware scope;
  return next(handle, zero, command, mode, request, requestLength, response, responseLength);
}
