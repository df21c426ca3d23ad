#include "Program.h"

#include "HardwareCalls.h"
#include "commands/CommandLine.h"
#include "commands/ExtcapLink.h"
#include "recording/PortSupply.h"
#include "recording/Reports.h"
#include "system/Host.h"
#include "system/Signals.h"

extern "C" __attribute__((visibility("default"))) client::ProgramMain qor_trace_main;

int qor_trace_main(int count, char** arguments, void* hardware, const char* hardwareFault) {
  client::Signals signals;
  client::PassHardwareCalls(hardware);
  client::Reports::Install();
  client::SetHardwareFault(hardwareFault);
  return client::RunCommandLine(client::WithVerb(arguments[0], {arguments + 1, arguments + count}), client::ToolName(),
                                signals);
}
