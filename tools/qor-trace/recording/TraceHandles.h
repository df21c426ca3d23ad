// Owners of what the C interface and the hardware library hand out.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "qor_sim.h"
#include "recording/PortSupply.h"
#include "recording/Sources.h"
#include "recording/SwapFolder.h"
#include "stream/Description.h"
#include "stream/RecordSink.h"
#include "stream/UnreadLines.h"
#include "system/Signals.h"

namespace client {

/// A port of whoever supplies them, open as long as this lives.
class Port {
 public:
  /// Failure: as PortSupply::Open.
  explicit Port(const Source& source) : Opened(Supply().Open(source)) {}

  [[nodiscard]] unsigned int Handle() const { return Opened->Handle(); }
  [[nodiscard]] Qor_Sim_Status_t Status() const { return Opened->Status(); }
  [[nodiscard]] ChannelDescription Describe() const { return Opened->Describe(); }
  [[nodiscard]] UnreadLines Unread() const { return Opened->Unread(); }
  [[nodiscard]] std::vector<Qor_Sim_Notice_t> NewNotices() { return Opened->NewNotices(); }

 private:
  std::unique_ptr<OpenedPort> Opened;
};

/// A monitor. Failures of its calls are thrown with what the library reported about them.
class Monitor {
 public:
  Monitor();
  ~Monitor();
  Monitor(const Monitor&) = delete;
  Monitor& operator=(const Monitor&) = delete;

  [[nodiscard]] unsigned int Handle() const { return MonitorHandle; }

  /// @param number  wanted; 0: the lowest free one
  /// @return        the channel number
  [[nodiscard]] unsigned int AddChannel(const Port& port, unsigned int number = 0);
  void SetMemoryLimit(unsigned int entries);
  /// Takes a channel out. To be called while the monitor is stopped.
  void RemoveChannel(unsigned int number);
  void Start(unsigned int mode);
  /// It is no failure that an interface is gone, and can't be told to stop.
  void Stop();
  /// Drops all entries, and with them the contents of the swap file.
  void Empty();

  /// Writes the library's own PCAPNG export; it doesn't report failed writes.
  void ExportToPcap(const std::string& path);

  /// Hands the newest entry of each message to `sink`, with its cycle time.
  void ReadList(RecordSink& sink);

 private:
  void SetNumber(unsigned short id, unsigned int value, const char* what);

  unsigned int MonitorHandle = 0;
};

}  // namespace client
