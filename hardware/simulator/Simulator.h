// The ports and connections of a process, by their handles.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "Clock.h"
#include "Mutex.h"
#include "Port.h"
#include "Reports.h"
#include "ScriptedPort.h"
#include "qor_api.h"

namespace qor_sim {

/// Threads: any. Failures are thrown as Error; the results are those of the C calls of like names.
class Simulator {
 public:
  explicit Simulator(TimeSource& time) : SharedClock(time) {}

  /// The one of this process; never destroyed, so that it can be called to the very end.
  static Simulator& Process();

  unsigned int OpenPort(std::string_view source);
  void ClosePort(unsigned int portHandle);
  std::shared_ptr<Port> FindPort(unsigned int portHandle);
  /// Failure: also QOR_SIM_ERROR_ARGUMENT for a port of another source.
  std::shared_ptr<ScriptedPort> FindScripted(unsigned int portHandle);

  void Describe(unsigned int portHandle, Qor_InterfaceInfo_t& info);
  unsigned int Connect(unsigned int mode, const Qor_InterfaceInfo_t& info);
  void Disconnect(unsigned int connection);
  unsigned int OpenConnections();

  /// Carries out a command on the connection that it names, and keeps its error as the connection's last one.
  void Execute(const CommandCall& call, ResponseBuffer& response);
  /// What Qor_GetLastErrorByPortHandle answers for a connection.
  LastErrorAnswer LastError(unsigned int connection);

  Reports ErrorReports;

 private:
  struct Connection {
    std::shared_ptr<Port> Target;
    unsigned int LastCode = 0;
    std::string LastText;
  };

  std::shared_ptr<Port> FindTarget(unsigned int connection);
  void KeepLastError(unsigned int connection, unsigned int code, const char* text);

  Clock SharedClock;
  Mutex Guard;
  unsigned int LastPort SIM_GUARDED_BY(Guard) = 0;
  unsigned int LastConnection SIM_GUARDED_BY(Guard) = 0x10000;  // far from port handles
  std::map<unsigned int, std::shared_ptr<Port>> Ports SIM_GUARDED_BY(Guard);
  std::map<unsigned int, Connection> Connections SIM_GUARDED_BY(Guard);
};

}  // namespace qor_sim
