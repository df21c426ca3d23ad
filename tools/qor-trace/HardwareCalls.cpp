#include "HardwareCalls.h"

#include <dlfcn.h>

#include <cstdarg>
#include <cstdio>

#include "qor_api.h"
#include "recording/Connections.h"
#include "recording/Reports.h"

// The loader looks here first for what the trace library calls: the program comes before the libraries that it needs.
#pragma GCC visibility push(default)

namespace {

struct {
  decltype(&Qor_ErrorHandler) ErrorHandler;
  decltype(&Qor_GetInterfaceInfo) GetInterfaceInfo;
  decltype(&Qor_OpenInterface2) OpenInterface2;
  decltype(&Qor_CommandWithResponseEx) CommandWithResponseEx;
} Hardware;  // written once, before the calls

template <class Call>
void Find(void* hardware, const char* name, Call& call) {
  call = reinterpret_cast<Call>(dlsym(hardware, name));
}

/// The mode in which settings, starts and stops are sent; everything else is a poll.
constexpr unsigned int kControlMode = 1;

}  // namespace

void client::PassHardwareCalls(void* hardware) {
  Find(hardware, "Qor_ErrorHandler", Hardware.ErrorHandler);
  Find(hardware, "Qor_GetInterfaceInfo", Hardware.GetInterfaceInfo);
  Find(hardware, "Qor_OpenInterface2", Hardware.OpenInterface2);
  Find(hardware, "Qor_CommandWithResponseEx", Hardware.CommandWithResponseEx);
}

unsigned int Qor_ErrorHandler(unsigned int level, unsigned int code, const char* format, ...) {
  char text[1000];
  va_list values;
  va_start(values, format);
  std::vsnprintf(text, sizeof text, format, values);
  va_end(values);
  client::Reports::Note(code, text);
  return Hardware.ErrorHandler(level, code, "%s", text);
}

unsigned int Qor_GetInterfaceInfo(unsigned int portHandle, Qor_InterfaceInfo_t* info) {
  client::Connections::NextIsOf(portHandle);
  return Hardware.GetInterfaceInfo(portHandle, info);
}

unsigned int Qor_OpenInterface2(unsigned int mode, Qor_InterfaceInfo_t* info, unsigned int* handle) {
  const unsigned int status = Hardware.OpenInterface2(mode, info, handle);
  if (status == 0) client::Connections::NoteOpened(*handle);
  return status;
}

unsigned int Qor_CommandWithResponseEx(unsigned int handle, unsigned int zero, unsigned int command, unsigned int mode,
                                       const unsigned char* request, unsigned int requestLength,
                                       unsigned char* response, unsigned int* responseLength) {
  const unsigned int status =
      Hardware.CommandWithResponseEx(handle, zero, command, mode, request, requestLength, response, responseLength);
  if (status != 0) client::Connections::NoteRefusal(handle, status, mode != kControlMode);
  return status;
}

#pragma GCC visibility pop
