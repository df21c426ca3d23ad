// Owners of what the C interface and the simulator hand out.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "qor_sim.h"
#include "recording/Sources.h"
#include "recording/SwapFolder.h"
#include "stream/Description.h"
#include "stream/RecordSink.h"
#include "stream/UnreadLines.h"
#include "system/Signals.h"

namespace client {

/// A simulated port, open as long as this lives.
class Port {
 public:
  /// Failure: UsageError for a source that the simulator doesn't understand, else Failure.
  explicit Port(const Source& source);
  ~Port();
  Port(Port&& other) noexcept;
  Port& operator=(Port&&) = delete;

  [[nodiscard]] unsigned int Handle() const { return PortHandle; }
  [[nodiscard]] Qor_Sim_Status_t Status() const;
  /// What it is an interface to; without number and source.
  [[nodiscard]] ChannelDescription Describe() const;
  /// Lines of its file that were left out, the first ten of them by number and reason; the file isn't named.
  [[nodiscard]] UnreadLines Unread() const;
  /// What happened to the interface since the last call.
  [[nodiscard]] std::vector<Qor_Sim_Notice_t> NewNotices();

 private:
  unsigned int PortHandle = 0;
  unsigned long NoticesSeen = 0;
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
