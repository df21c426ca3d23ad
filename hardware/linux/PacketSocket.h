// A capture socket with its ring, and the seam that tests take instead.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>

namespace qor_linux {

struct PacketSettings {
  std::string Interface;
  size_t RingBytes = 16 << 20;  // of the kernel's memory
  bool Promiscuous = true;
  unsigned int Shares = 1;  // sockets among which the interface's packets are dealt out
};

/// Threads: one at a time.
class PacketSocket {
 public:
  virtual ~PacketSocket() = default;

  /// The oldest block that the kernel has filled and that wasn't freed; empty without one. Valid until FreeBlock.
  virtual std::span<const unsigned char> Block() = 0;
  /// Gives it back to the kernel.
  virtual void FreeBlock() = 0;
  /// Packets that found the ring full since the last call.
  virtual uint64_t TakeDrops() = 0;
  /// What is wrong with it since the last call, as an errno; 0: nothing.
  virtual int TakeError() = 0;
  /// False once its interface has been taken away.
  virtual bool IsAttached() = 0;
};

/// How a socket is opened, and what else a port asks of the machine.
class PacketSystem {
 public:
  virtual ~PacketSystem() = default;
  /// The one of this machine.
  static PacketSystem& Machine();

  /// @param error  out: an errno when the result is null
  virtual std::unique_ptr<PacketSocket> Open(const PacketSettings& settings, int& error) = 0;
  virtual bool IsUp(const std::string& interface) = 0;
  /// ns since 1970.
  virtual uint64_t Now() = 0;
};

}  // namespace qor_linux
