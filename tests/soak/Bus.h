// A simulated bus, and what was seen of it in the trace.
#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "qor_sim.h"
#include "record/RecordView.h"

namespace soak {

/// The buses that a source stands for.
[[nodiscard]] std::vector<std::string> Expand(const std::string& source);

/// An open port, and an account of its entries: their number, their order, and a checksum of their bytes.
class Bus {
 public:
  using Time = std::chrono::steady_clock::time_point;

  explicit Bus(std::string source);
  ~Bus();
  Bus(Bus&& other) noexcept;
  Bus& operator=(Bus&&) = delete;

  [[nodiscard]] unsigned int Port() const { return PortHandle; }

  /// Sent counts from here on.
  void BeginCycle(Time now);
  /// Items that the interface has handed out in this cycle. None may have been lost.
  [[nodiscard]] unsigned long Sent() const;

  /// Looks after the interface. True when items have waited there so long that the trace may have gone on without them, or may
  /// have, as the machine kept this thread from looking.
  [[nodiscard]] bool Stalls(Time now);

  /// Takes account of the next record of this bus. Its time must not lie before that of the one before.
  void Take(const RecordView& record);

  /// Plays the source again and expects its items to become exactly the records that were taken. Not while
  /// anything is recorded: the simulated clock would go on.
  void CompareWithSource(unsigned int channel) const;

 private:
  [[nodiscard]] Qor_Sim_Status_t Status() const;

  std::string Source;
  unsigned int PortHandle = 0;
  unsigned long SentBefore = 0;
  unsigned long Polled = 0;    // items, when the interface was last looked at ...
  Time LastLook;               // ... when that was,
  Time NothingWaits;           // and when nothing waited there that had waited before
  unsigned long Taken = 0;     // records
  unsigned long LastTime = 0;  // ns, of the last one
  unsigned long Checksum = 0;
};

}  // namespace soak
