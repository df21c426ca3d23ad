// The calls of qor_sim.h.
#include "qor_sim.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "EntryPoint.h"
#include "Simulator.h"
#include "Sources.h"
#include "linux/InterfaceList.h"

using qor_sim::Require;
using qor_sim::ResultOf;
using qor_sim::Simulator;

namespace {

std::string Lines(const std::vector<std::string>& sources) {
  std::string text;
  for (const auto& source : sources) text += source + '\n';
  return text;
}

void CopyLines(const std::string& lines, char* text, unsigned int* length) {
  const auto needed = static_cast<unsigned int>(lines.size() + 1);
  const unsigned int capacity = *length;
  *length = needed;
  if (needed > capacity) {
    throw qor_sim::Error(QOR_SIM_ERROR_CAPACITY, "The sources need " + std::to_string(needed) + " bytes.");
  }
  Require(text, "text");
  std::memcpy(text, lines.c_str(), needed);
}

}  // namespace

const char* Qor_Sim_ErrorText(void) { return qor_sim::ErrorText(); }

unsigned int Qor_Sim_OpenPort(const char* source, unsigned int* portHandle) {
  return ResultOf([&] {
    Require(source, "source");
    Require(portHandle, "portHandle");
    *portHandle = Simulator::Process().OpenPort(source);
  });
}

unsigned int Qor_Sim_ClosePort(unsigned int portHandle) {
  return ResultOf([&] { Simulator::Process().ClosePort(portHandle); });
}

unsigned int Qor_Sim_ExpandSource(const char* source, char* text, unsigned int* length) {
  return ResultOf([&] {
    Require(source, "source");
    Require(length, "length");
    CopyLines(Lines(qor_sim::ExpandSource(source)), text, length);
  });
}

unsigned int Qor_Sim_GetStatus(unsigned int portHandle, Qor_Sim_Status_t* status) {
  return ResultOf([&] {
    Require(status, "status");
    *status = Simulator::Process().FindPort(portHandle)->Status();
  });
}

unsigned int Qor_Sim_GetInterface(unsigned int portHandle, Qor_Sim_Interface_t* interface) {
  return ResultOf([&] {
    Require(interface, "interface");
    const auto port = Simulator::Process().FindPort(portHandle);
    const qor_sim::BusFacts facts = port->Bus();
    *interface = {port->InterfaceType(), facts.BitRate, facts.DataBitRate, {}, {}};
    facts.Name.copy(interface->Name, sizeof interface->Name - 1);
    facts.Hardware.copy(interface->Hardware, sizeof interface->Hardware - 1);
  });
}

unsigned long Qor_Sim_SkippedLineCount(unsigned int portHandle) {
  unsigned long count = 0;
  ResultOf([&] { count = Simulator::Process().FindPort(portHandle)->Skipped().Count(); });
  return count;
}

unsigned int Qor_Sim_GetSkippedLine(unsigned int portHandle, unsigned int index, Qor_Sim_SkippedLine_t* line) {
  return ResultOf([&] {
    Require(line, "line");
    const qor_sim::SkippedLines skipped = Simulator::Process().FindPort(portHandle)->Skipped();
    if (index >= skipped.Kept().size()) throw qor_sim::ArgumentError("There is no such line that was left out.");
    const qor_sim::SkippedLine& kept = skipped.Kept()[index];
    *line = {kept.Number, {}};
    kept.Reason.copy(line->Reason, sizeof line->Reason - 1);
  });
}

unsigned long Qor_Sim_NoticeCount(unsigned int portHandle) {
  unsigned long count = 0;
  ResultOf([&] { count = Simulator::Process().FindPort(portHandle)->Noticed().Count(); });
  return count;
}

unsigned int Qor_Sim_GetNotice(unsigned int portHandle, unsigned long index, Qor_Sim_Notice_t* notice) {
  return ResultOf([&] {
    Require(notice, "notice");
    const qor_sim::Notices all = Simulator::Process().FindPort(portHandle)->Noticed();
    const qor_sim::Notice* const kept = all.At(index);
    if (kept == nullptr) throw qor_sim::ArgumentError("There is no such notice, or it is no longer kept.");
    *notice = {kept->Time, kept->Kind, {}};
    kept->Text.copy(notice->Text, sizeof notice->Text - 1);
  });
}

unsigned int Qor_Sim_ListInterfaces(Qor_Sim_HostInterface_t* list, unsigned int* count) {
  return ResultOf([&] {
    Require(count, "count");
    const auto all = qor_linux::ListInterfaces();
    const unsigned int capacity = *count;
    *count = static_cast<unsigned int>(all.size());
    if (*count > capacity)
      throw qor_sim::Error(QOR_SIM_ERROR_CAPACITY, "There are " + std::to_string(*count) + " interfaces.");
    if (*count > 0) Require(list, "list");
    std::copy(all.begin(), all.end(), list);
  });
}

unsigned int Qor_Sim_ReportCount(void) { return Simulator::Process().ErrorReports.Count(); }

unsigned int Qor_Sim_GetReport(unsigned int index, Qor_Sim_Report_t* report) {
  return ResultOf([&] {
    Require(report, "report");
    *report = Simulator::Process().ErrorReports.At(index);
  });
}

void Qor_Sim_ClearReports(void) { Simulator::Process().ErrorReports.Clear(); }

void Qor_Sim_SuppressReports(unsigned int code, int suppress) {
  Simulator::Process().ErrorReports.Suppress(code, suppress != 0);
}

void Qor_Sim_SetReportCallback(void (*callback)(void* context, const Qor_Sim_Report_t* report), void* context) {
  Simulator::Process().ErrorReports.SetCallback(callback, context);
}

unsigned int Qor_Sim_Script_Response(unsigned int portHandle, const unsigned char* bytes, unsigned int length,
                                     unsigned int reportedLength) {
  return ResultOf([&] {
    if (length > 0) Require(bytes, "bytes");
    Simulator::Process().FindScripted(portHandle)->QueueResponse({bytes, length}, reportedLength);
  });
}

unsigned int Qor_Sim_Script_Pending(unsigned int portHandle) {
  unsigned int pending = 0;
  ResultOf([&] { pending = Simulator::Process().FindScripted(portHandle)->Pending(); });
  return pending;
}

unsigned int Qor_Sim_Script_Fail(unsigned int portHandle, unsigned int call, unsigned int code, unsigned int times) {
  return ResultOf([&] {
    const auto port = Simulator::Process().FindScripted(portHandle);
    if (call >= qor_sim::kCallCount) throw qor_sim::ArgumentError("There is no such call to fail.");
    port->Fail(static_cast<qor_sim::Call>(call), code, times);
  });
}

unsigned int Qor_Sim_Script_LastError(unsigned int portHandle, unsigned int result, unsigned int code,
                                      const char* text) {
  return ResultOf([&] {
    Require(text, "text");
    Simulator::Process().FindScripted(portHandle)->SetLastError({result, code, text});
  });
}

unsigned int Qor_Sim_CommandCount(unsigned int portHandle) {
  unsigned int count = 0;
  ResultOf([&] { count = Simulator::Process().FindPort(portHandle)->CommandCount(); });
  return count;
}

unsigned int Qor_Sim_GetCommand(unsigned int portHandle, unsigned int index, Qor_Sim_Command_t* command) {
  return ResultOf([&] {
    Require(command, "command");
    *command = Simulator::Process().FindPort(portHandle)->Command(index);
  });
}

unsigned int Qor_Sim_OpenConnections(void) { return Simulator::Process().OpenConnections(); }
