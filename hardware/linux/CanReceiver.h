// Receives the frames of a CAN interface into an inbox, whatever becomes of the interface meanwhile.
#pragma once

#include <array>
#include <atomic>
#include <string>
#include <thread>

#include "Ancillary.h"
#include "CanFrame.h"
#include "HardwareClock.h"
#include "Inbox.h"
#include "Kernel.h"

namespace qor_linux {

/// From its first step on it has a thread's worth of work: Run does it on a thread of its own, Step is one round of it.
///
/// An interface that is down, or gone, is waited for and opened again. The inbox is told, as it is of a controller that
/// leaves the bus; what the kernel dropped is counted there.
///
/// Threads: one, but for Stop.
class CanReceiver {
 public:
  /// @param socket  of OpenCan with these settings; owned from here on
  CanReceiver(Kernel& kernel, CanSocketSettings settings, int socket, Inbox& inbox);
  ~CanReceiver();
  CanReceiver(const CanReceiver&) = delete;
  CanReceiver& operator=(const CanReceiver&) = delete;

  /// Starts the thread, which the destructor ends. Once. Failure: std::system_error.
  void Run();

  /// Waits until something happens, then deals with it.
  void Step();

 private:
  void Receive();
  void TakeOrDrop(const Message& message);
  void Take(const Message& message);
  uint64_t TimeOf(const Ancillary& told);
  void NoteDropped(std::optional<uint32_t> dropped, uint64_t before);
  void Heed(const DecodedCan& frame);
  void Fail(int error);
  void LookForInterface();
  void Lose(std::string what, uint64_t time);
  void Regain(std::string what, uint64_t time);

  Kernel& Calls;
  const CanSocketSettings Settings;
  int Socket;  // -1: the interface is gone
  Inbox& Target;
  WakeUp Wake;
  std::atomic<bool> StopRequested{false};
  HardwareClock Clock;
  std::array<Message, 64> Batch;
  qor_sim::Item Current;  // reused
  uint32_t DroppedBefore = 0;
  bool IsDown = false;  // the interface, or gone
  bool IsDeaf = false;  // for that or another reason
  std::thread Thread;   // last: it uses all of the above
};

}  // namespace qor_linux
