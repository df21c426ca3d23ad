// The ports that a monitor's channels are on.
#pragma once

#include <set>
#include <utility>

#include "internal/Mutex.h"

/// Answers whether a port is in use without waiting for the monitor, which may be busy with a channel that hangs.
///
/// Threads: any. Its mutex nests nothing.
class PortsInUse {
 public:
  /// Keeps one port in use as long as it lives.
  class Claim {
   public:
    /// @throws std::bad_alloc
    Claim(PortsInUse& ports, unsigned int port) : Ports(&ports), Port(port) { ports.Add(port); }
    ~Claim() {
      if (Ports != nullptr) Ports->Remove(Port);
    }
    Claim(Claim&& other) noexcept : Ports(std::exchange(other.Ports, nullptr)), Port(other.Port) {}
    Claim& operator=(Claim&&) = delete;

   private:
    PortsInUse* Ports;  // null once moved from
    unsigned int Port;
  };

  [[nodiscard]] bool Contains(unsigned int port) EXCLUDES(Guard) {
    MutexLock lock(Guard);
    return Handles.count(port) != 0;
  }

 private:
  void Add(unsigned int port) EXCLUDES(Guard) {
    MutexLock lock(Guard);
    Handles.insert(port);
  }
  void Remove(unsigned int port) EXCLUDES(Guard) {
    MutexLock lock(Guard);
    Handles.erase(Handles.find(port));
  }

  Mutex Guard;
  std::multiset<unsigned int> Handles GUARDED_BY(Guard);  // several channels may be on one port
};
