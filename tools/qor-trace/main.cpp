// qor-trace: records bus traffic, converts recordings and lists them.
#include "commands/CommandLine.h"
#include "recording/Reports.h"
#include "system/Host.h"
#include "system/Signals.h"

int main(int count, char** arguments) {
  client::Signals signals;
  client::Reports::Install();
  return client::RunCommandLine({arguments + 1, arguments + count}, client::ToolName(), signals);
}
