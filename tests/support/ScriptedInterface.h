// A simulated bus interface that does what the test says.
//
//   test::ScriptedInterface can(BusType_Can);
//   can.NextItems({test::Frame(0x123).At(200), test::Frame(0x124).At(100)});   // one poll
//   can.ThenFailOnce();                                                        // the poll after those that are queued
#pragma once

#include <string>
#include <vector>

#include "qor_sim.h"
#include "support/MonitorItems.h"

namespace test {

/// The code with which scripted failures fail.
constexpr unsigned int kHardwareError = 0x02000099;

/// One command that an interface received.
struct Command {
  unsigned int Code;
  unsigned int Mode;
  Bytes Request;
  unsigned int Capacity = 1012;  // of the response buffer, bytes

  bool operator==(const Command&) const = default;
};
std::ostream& operator<<(std::ostream& out, const Command& command);

class ScriptedInterface {
 public:
  explicit ScriptedInterface(Qor_Trace_BusType bus = BusType_Can, unsigned int instance = 1);
  /// An interface of any type, by the number that the hardware library has for it.
  explicit ScriptedInterface(const std::string& source);
  ~ScriptedInterface();
  ScriptedInterface(const ScriptedInterface&) = delete;
  ScriptedInterface& operator=(const ScriptedInterface&) = delete;

  [[nodiscard]] unsigned int Port() const { return PortHandle; }
  [[nodiscard]] Qor_Trace_BusType Bus() const { return BusType; }

  /// What the next poll returns, one call per poll; polls beyond that return nothing.
  ScriptedInterface& NextItems(const Items& items);
  ScriptedInterface& NextResponse(const Bytes& response);
  /// A response whose stated length is wrong.
  ScriptedInterface& NextResponse(const Bytes& response, size_t reportedLength);
  /// The poll after the queued ones fails.
  ScriptedInterface& ThenFailOnce(unsigned int code = kHardwareError);
  /// The next calls of a kind (QOR_SIM_CALL_*) fail.
  ScriptedInterface& Fail(unsigned int call, unsigned int code = kHardwareError, unsigned int times = 1);
  ScriptedInterface& LastErrorIs(unsigned int result, unsigned int code, const std::string& text);

  /// Everything but the data polls, in order.
  [[nodiscard]] std::vector<Command> Commands() const;
  /// The first data poll.
  [[nodiscard]] Command FirstPoll() const;
  [[nodiscard]] unsigned int StopCommands() const;
  [[nodiscard]] unsigned int PollCount() const;
  /// The last command was a data poll, and it failed.
  [[nodiscard]] bool LastPollFailed() const;
  /// Queued polls that have not happened yet.
  [[nodiscard]] unsigned int Pending() const;

  /// Waits until all queued responses have been polled and handed on: the receive thread has come back for more.
  [[nodiscard]] bool WaitUntilDelivered() const;

 private:
  [[nodiscard]] bool IsPoll(const Qor_Sim_Command_t& command) const;

  Qor_Trace_BusType BusType = BusType_Can;
  unsigned int PortHandle = 0;
};

/// An error report that the hardware library received.
struct Report {
  unsigned int Level;
  unsigned int Code;
  std::string Text;

  bool operator==(const Report&) const = default;
};
std::ostream& operator<<(std::ostream& out, const Report& report);

/// The reports since the last call, oldest first.
std::vector<Report> TakeReports();

}  // namespace test
