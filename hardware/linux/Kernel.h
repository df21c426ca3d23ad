// The system calls beneath the ports of real interfaces. Tests have their own.
#pragma once

#include <linux/can.h>

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace qor_linux {

/// What is wanted of a raw CAN socket.
struct CanSocketSettings {
  std::string Interface;
  std::optional<std::vector<can_filter>> Filters = std::nullopt;  // none: everything
  int BufferBytes = 8 << 20;                                      // of the kernel's buffer
};

/// A message of a socket.
struct Message {
  std::array<unsigned char, CANFD_MTU> Bytes;
  size_t Length = 0;  // of Bytes
  int Flags = 0;      // MSG_*
  std::array<unsigned char, 256> Control;
  size_t ControlLength = 0;  // of Control
};

/// Wakes a thread that waits for a socket.
///
/// Threads: any.
class WakeUp {
 public:
  /// Failure: std::system_error.
  WakeUp();
  ~WakeUp();
  WakeUp(const WakeUp&) = delete;
  WakeUp& operator=(const WakeUp&) = delete;

  void Call() const;
  int Descriptor() const { return EventDescriptor; }

 private:
  int EventDescriptor;
};

/// Where a result can be negative, it is then an errno with its sign changed.
///
/// Threads: any.
class Kernel {
 public:
  virtual ~Kernel() = default;
  /// The one of this machine.
  static Kernel& Machine();

  /// A raw socket with all options set, bound to the interface.
  virtual int OpenCan(const CanSocketSettings& settings) = 0;
  /// Can there be CAN sockets? 0 or an errno with its sign changed.
  virtual int CanWorks() = 0;
  /// Can Ethernet be captured? Likewise.
  virtual int CaptureWorks() = 0;
  virtual void Close(int socket) = 0;
  /// Takes what has arrived, up to the size of the batch, without waiting. The number of messages.
  virtual int Receive(int socket, std::span<Message> batch) = 0;
  /// Messages that the kernel has dropped since the socket was opened, modulo 2^32; nothing where it doesn't say.
  virtual std::optional<uint32_t> Dropped(int socket) = 0;
  /// Waits until there is something to receive, the wake-up was called, or the time is over.
  /// @param socket        -1: none
  /// @param milliseconds  -1: without an end
  virtual void Wait(int socket, const WakeUp& wake, int milliseconds) = 0;
  /// Is the interface up? 1 or 0.
  virtual int IsUp(const std::string& interface) = 0;
  /// ns since 1970.
  virtual uint64_t Now() = 0;
};

}  // namespace qor_linux
