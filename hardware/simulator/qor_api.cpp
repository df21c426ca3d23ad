// The calls of hardware/qor_api.h.
#include "qor_api.h"

#include <algorithm>
#include <cstdarg>
#include <cstring>

#include "EntryPoint.h"
#include "Simulator.h"

using qor_sim::Require;
using qor_sim::ResultOf;
using qor_sim::Simulator;

namespace {

/// A connection's last error, in the caller's buffer; a text that is too long is cut.
void CopyText(const std::string& text, unsigned int* capacity, char* target) {
  if (*capacity == 0) throw qor_sim::Error(QOR_SIM_ERROR_CAPACITY, "The text buffer has no room.");
  const size_t length = std::min<size_t>(text.size(), *capacity - 1);
  std::memcpy(target, text.data(), length);
  target[length] = '\0';
  *capacity = static_cast<unsigned int>(length);
}

}  // namespace

unsigned int Qor_ErrorHandler(unsigned int level, unsigned int code, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const Qor_Sim_Report_t report = qor_sim::FormatReport(level, code, format, arguments);
  va_end(arguments);
  return Simulator::Process().ErrorReports.Add(report);
}

unsigned char Qor_GetInterfaceType(unsigned int portHandle) {
  unsigned char type = 0;
  ResultOf([&] { type = Simulator::Process().FindPort(portHandle)->InterfaceType(); });
  return type;
}

unsigned int Qor_GetInterfaceInfo(unsigned int portHandle, Qor_InterfaceInfo_t* info) {
  return ResultOf([&] {
    Require(info, "info");
    Simulator::Process().Describe(portHandle, *info);
  });
}

unsigned int Qor_OpenInterface2(unsigned int mode, Qor_InterfaceInfo_t* info, unsigned int* handle) {
  return ResultOf([&] {
    Require(info, "info");
    Require(handle, "handle");
    *handle = Simulator::Process().Connect(mode, *info);
  });
}

unsigned char Qor_Monitor_InstanceId_Get(unsigned int portHandle) {
  unsigned char instance = 0;
  ResultOf([&] { instance = Simulator::Process().FindPort(portHandle)->InstanceId(); });
  return instance;
}

unsigned int Qor_CloseInterface(unsigned int handle) {
  return ResultOf([&] { Simulator::Process().Disconnect(handle); });
}

unsigned int Qor_CommandWithResponseEx(unsigned int handle, unsigned int zero, unsigned int command, unsigned int mode,
                                       const unsigned char* request, unsigned int requestLength,
                                       unsigned char* response, unsigned int* responseLength) {
  return ResultOf([&] {
    Require(request, "request");
    Require(response, "response");
    Require(responseLength, "responseLength");
    qor_sim::ResponseBuffer buffer{{response, *responseLength}};
    Simulator::Process().Execute({handle, zero, command, mode, {request, requestLength}}, buffer);
    *responseLength = buffer.Length;
  });
}

unsigned int Qor_GetLastErrorByPortHandle(unsigned int handle, unsigned int* code, unsigned int* textLength,
                                          char* text) {
  unsigned int result = 0;
  const unsigned int own = ResultOf([&] {
    Require(code, "code");
    Require(textLength, "textLength");
    Require(text, "text");
    const auto answer = Simulator::Process().LastError(handle);
    result = answer.Result;
    if (result != 0) return;
    CopyText(answer.Text, textLength, text);
    *code = answer.Code;
  });
  return own != 0 ? own : result;
}
