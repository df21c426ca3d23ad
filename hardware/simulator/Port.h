// A simulated interface: the state machine of its monitor, whatever the bus and wherever the items come from.
#pragma once

#include <span>
#include <string>

#include "CommandLog.h"
#include "Mutex.h"
#include "Notice.h"
#include "Protocol.h"
#include "SkippedLines.h"

namespace qor_sim {

/// The caller's buffer for a response.
struct ResponseBuffer {
  std::span<unsigned char> Bytes;  // as far as the capacity reaches
  unsigned int Length = 0;         // out: what the command says it returned
};

/// What is known of a port's bus besides its type.
struct BusFacts {
  uint64_t BitRate = 0;      // bit/s; 0: not known
  uint64_t DataBitRate = 0;  // likewise, of the data phase of CAN FD frames
  std::string Name = {};     // of the interface, where a recording has several
  std::string Hardware = {};
};

/// Base of all ports. Its monitor is idle, configured or started; commands that are not exactly those of the bus's
/// trace channel, or come in the wrong state, are refused and change nothing.
///
/// Threads: any.
class Port {
 public:
  /// @param interfaceType   QOR_INTERFACE_*, or another that refuses all commands
  /// @param loggedCommands  commands that are kept; those after them are only counted
  Port(unsigned char interfaceType, unsigned char instance, size_t loggedCommands);
  virtual ~Port() = default;
  Port(const Port&) = delete;
  Port& operator=(const Port&) = delete;

  unsigned char InterfaceType() const { return Type; }
  unsigned char InstanceId() const { return Instance; }

  /// A client asks for the interface's description. Failure: what was scripted.
  void AskInfo() SIM_EXCLUDES(Guard);
  /// A connection is made. Failure: what was scripted.
  void Connect() SIM_EXCLUDES(Guard);
  /// A connection is closed; the last one takes the monitor back to idle.
  void Disconnect() SIM_EXCLUDES(Guard);
  /// Ends the port: everything that needs it fails from then on with QOR_SIM_ERROR_HANDLE.
  void Close() SIM_EXCLUDES(Guard);

  /// Carries out one command and logs it, also when it fails (Error).
  void Execute(const CommandCall& call, ResponseBuffer& response) SIM_EXCLUDES(Guard);

  unsigned int CommandCount() SIM_EXCLUDES(Guard);
  Qor_Sim_Command_t Command(unsigned int index) SIM_EXCLUDES(Guard);
  Qor_Sim_Status_t Status() SIM_EXCLUDES(Guard);
  virtual BusFacts Bus() const { return {}; }
  /// Lines that were left out of the file that it replays.
  virtual SkippedLines Skipped() const { return {}; }
  /// What happened to a real interface so far.
  virtual Notices Noticed() { return {}; }

 protected:
  /// Throws when the next call of this kind was scripted to fail.
  virtual void FailIfScripted(Call) SIM_REQUIRES(Guard) {}
  virtual void OnStart() SIM_REQUIRES(Guard) {}
  virtual void OnStop() SIM_REQUIRES(Guard) {}
  virtual void OnClose() SIM_REQUIRES(Guard) {}
  /// The interface answers nothing any more.
  virtual bool IsGone() SIM_REQUIRES(Guard) { return false; }
  /// Answers a poll in the layout of the bus.
  virtual void Poll(const ResponseLayout& layout, ResponseBuffer& response) SIM_REQUIRES(Guard) = 0;
  virtual Qor_Sim_Status_t TrafficStatus() SIM_REQUIRES(Guard) = 0;

  Mutex Guard;

 private:
  enum class State { Idle, Configured, Started };

  void CheckOpen() SIM_REQUIRES(Guard);
  void CheckPresent() SIM_REQUIRES(Guard);
  void Perform(const CommandCall& call, ResponseBuffer& response) SIM_REQUIRES(Guard);
  void CheckState(const BusProtocol& protocol, Call kind) SIM_REQUIRES(Guard);
  void Control(Call kind, ResponseBuffer& response) SIM_REQUIRES(Guard);
  void GoIdle() SIM_REQUIRES(Guard);

  const unsigned char Type;
  const unsigned char Instance;
  bool Closed SIM_GUARDED_BY(Guard) = false;
  State Monitor SIM_GUARDED_BY(Guard) = State::Idle;
  unsigned int Connections SIM_GUARDED_BY(Guard) = 0;
  CommandLog Log SIM_GUARDED_BY(Guard);
};

}  // namespace qor_sim
