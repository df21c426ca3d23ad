#include "support/ScriptedInterface.h"

#include <gtest/gtest.h>

#include <iomanip>
#include <ostream>

#include "support/WaitUntil.h"

namespace test {

std::ostream& operator<<(std::ostream& out, const Command& command) {
  out << std::hex << "code " << command.Code << " mode " << command.Mode << " request";
  for (const unsigned char byte : command.Request) out << ' ' << std::setw(2) << std::setfill('0') << unsigned{byte};
  return out << std::dec << " capacity " << command.Capacity;
}

std::ostream& operator<<(std::ostream& out, const Report& report) {
  return out << std::hex << "level 0x" << report.Level << " code 0x" << report.Code << " \"" << report.Text << '"';
}

ScriptedInterface::ScriptedInterface(Qor_Trace_BusType bus, unsigned int instance)
    : ScriptedInterface("script?type=" + std::to_string(InterfaceType(bus)) + "&instance=" + std::to_string(instance)) {
  BusType = bus;
}

ScriptedInterface::ScriptedInterface(const std::string& source) {
  EXPECT_EQ(Qor_Sim_OpenPort(source.c_str(), &PortHandle), 0U) << Qor_Sim_ErrorText();
}

ScriptedInterface::~ScriptedInterface() { Qor_Sim_ClosePort(PortHandle); }

ScriptedInterface& ScriptedInterface::NextItems(const Items& items) { return NextResponse(Response(BusType, items)); }

ScriptedInterface& ScriptedInterface::NextResponse(const Bytes& response) {
  return NextResponse(response, response.size());
}

ScriptedInterface& ScriptedInterface::NextResponse(const Bytes& response, size_t reportedLength) {
  EXPECT_EQ(Qor_Sim_Script_Response(PortHandle, response.data(), static_cast<unsigned int>(response.size()),
                                    static_cast<unsigned int>(reportedLength)),
            0U)
      << Qor_Sim_ErrorText();
  return *this;
}

ScriptedInterface& ScriptedInterface::ThenFailOnce(unsigned int code) { return Fail(QOR_SIM_CALL_POLL, code); }

ScriptedInterface& ScriptedInterface::Fail(unsigned int call, unsigned int code, unsigned int times) {
  EXPECT_EQ(Qor_Sim_Script_Fail(PortHandle, call, code, times), 0U) << Qor_Sim_ErrorText();
  return *this;
}

ScriptedInterface& ScriptedInterface::LastErrorIs(unsigned int result, unsigned int code, const std::string& text) {
  EXPECT_EQ(Qor_Sim_Script_LastError(PortHandle, result, code, text.c_str()), 0U) << Qor_Sim_ErrorText();
  return *this;
}

namespace {

Command CommandOf(const Qor_Sim_Command_t& raw) {
  EXPECT_EQ(raw.Zero, 0U);
  return {raw.Command, raw.Mode, Bytes(raw.Request, raw.Request + raw.RequestLength), raw.Capacity};
}

/// Calls `visit` with every command that was kept, until it returns false.
template <class Visit>
void EachCommand(unsigned int port, Visit visit) {
  Qor_Sim_Command_t command;
  for (unsigned int i = 0; Qor_Sim_GetCommand(port, i, &command) == 0 && visit(command); ++i) {
  }
}

}  // namespace

bool ScriptedInterface::IsPoll(const Qor_Sim_Command_t& command) const {
  constexpr unsigned char kPolls[] = {0x0F, 0x0E, 0x03, 0x03};  // sub-command by bus
  return command.Request[0] == kPolls[BusType];
}

std::vector<Command> ScriptedInterface::Commands() const {
  std::vector<Command> commands;
  EachCommand(PortHandle, [&](const Qor_Sim_Command_t& command) {
    if (!IsPoll(command)) commands.push_back(CommandOf(command));
    return true;
  });
  return commands;
}

Command ScriptedInterface::FirstPoll() const {
  Command first{};
  EachCommand(PortHandle, [&](const Qor_Sim_Command_t& command) {
    if (!IsPoll(command)) return true;
    first = CommandOf(command);
    return false;
  });
  return first;
}

unsigned int ScriptedInterface::StopCommands() const {
  constexpr unsigned char kStops[] = {0x0D, 0x0D, 0x02, 0x02};  // sub-command by bus
  unsigned int count = 0;
  for (const Command& command : Commands()) count += command.Request[0] == kStops[BusType] ? 1 : 0;
  return count;
}

unsigned int ScriptedInterface::PollCount() const {
  return Qor_Sim_CommandCount(PortHandle) - static_cast<unsigned int>(Commands().size());
}

bool ScriptedInterface::LastPollFailed() const {
  Qor_Sim_Command_t last{};
  const unsigned int count = Qor_Sim_CommandCount(PortHandle);
  return count > 0 && Qor_Sim_GetCommand(PortHandle, count - 1, &last) == 0 && IsPoll(last) && last.Result != 0;
}

unsigned int ScriptedInterface::Pending() const { return Qor_Sim_Script_Pending(PortHandle); }

bool ScriptedInterface::WaitUntilDelivered() const {
  if (!WaitUntil([this] { return Pending() == 0; })) return false;
  // The poll that took the last response may be among the commands or not yet; the second one from here on is later.
  const unsigned int before = Qor_Sim_CommandCount(PortHandle);
  return WaitUntil([&] { return Qor_Sim_CommandCount(PortHandle) >= before + 2; });
}

std::vector<Report> TakeReports() {
  std::vector<Report> reports;
  for (unsigned int i = 0; i < Qor_Sim_ReportCount(); ++i) {
    Qor_Sim_Report_t report;
    if (Qor_Sim_GetReport(i, &report) == 0) reports.push_back({report.Level, report.Code, report.Text});
  }
  Qor_Sim_ClearReports();
  return reports;
}

}  // namespace test
