// A CAN interface of this machine as a port.
#pragma once

#include <optional>

#include "CanReceiver.h"
#include "Inbox.h"
#include "Kernel.h"
#include "simulator/Port.h"

namespace qor_linux {

struct SocketCanSettings {
  CanSocketSettings Socket;
  size_t BufferItems = 100000;
  qor_sim::BusFacts Bus = {};
};

/// Receives from its first start on until it is closed: what comes while it is stopped waits in its capture buffer.
class SocketCanPort final : public qor_sim::Port {
 public:
  /// Failure: qor_sim::Error QOR_SIM_ERROR_INTERFACE when the interface can't be opened.
  SocketCanPort(SocketCanSettings settings, unsigned char instance, Kernel& kernel);
  ~SocketCanPort() override;

  qor_sim::BusFacts Bus() const override { return Settings.Bus; }
  qor_sim::Notices Noticed() override { return Received.Notices(); }

 private:
  void OnStart() override SIM_REQUIRES(Guard);
  void OnClose() override SIM_REQUIRES(Guard);
  void Poll(const qor_sim::ResponseLayout& layout, qor_sim::ResponseBuffer& response) override SIM_REQUIRES(Guard);
  Qor_Sim_Status_t TrafficStatus() override SIM_REQUIRES(Guard) { return Received.Status(); }
  int Open();

  Kernel& Calls;
  const SocketCanSettings Settings;
  Inbox Received;
  std::optional<CanReceiver> Receiver SIM_GUARDED_BY(Guard);
};

}  // namespace qor_linux
