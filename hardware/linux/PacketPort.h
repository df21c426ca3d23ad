// An Ethernet interface of this machine as a port.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "PacketBlock.h"
#include "PacketFilter.h"
#include "PacketSocket.h"
#include "simulator/Port.h"

namespace qor_linux {

struct PacketPortSettings {
  PacketSettings Socket;
  std::string Filter = {};  // libpcap's syntax; empty: everything
  qor_sim::BusFacts Bus = {};
};

/// Its capture buffer is the kernel's ring, which it reads while it is polled; from its first start on until it is closed.
class PacketPort final : public qor_sim::Port {
 public:
  /// Failure: qor_sim::Error QOR_SIM_ERROR_INTERFACE when the interface can't be opened, _SOURCE for a wrong filter.
  PacketPort(PacketPortSettings settings, unsigned char instance, PacketSystem& system);

  qor_sim::BusFacts Bus() const override { return Settings.Bus; }
  qor_sim::Notices Noticed() override SIM_EXCLUDES(Guard);

 private:
  void OnStart() override SIM_REQUIRES(Guard);
  void OnClose() override SIM_REQUIRES(Guard);
  void Poll(const qor_sim::ResponseLayout& layout, qor_sim::ResponseBuffer& response) override SIM_REQUIRES(Guard);
  Qor_Sim_Status_t TrafficStatus() override SIM_REQUIRES(Guard);

  std::unique_ptr<PacketSocket> Open();
  /// Makes Waiting the next item; false when there is none.
  bool Fetch() SIM_REQUIRES(Guard);
  bool NextBlock() SIM_REQUIRES(Guard);
  void Make(const Packet& packet) SIM_REQUIRES(Guard);
  void CountDrops() SIM_REQUIRES(Guard);
  void Lose(uint64_t count, uint64_t from, uint64_t to) SIM_REQUIRES(Guard);
  void Watch() SIM_REQUIRES(Guard);
  void Regain() SIM_REQUIRES(Guard);
  bool IsBack() SIM_REQUIRES(Guard);
  void Tell(unsigned int kind, const std::string& what) SIM_REQUIRES(Guard);

  PacketSystem& System;
  const PacketPortSettings Settings;
  const std::unique_ptr<PacketFilter> Wanted;  // null: everything
  std::unique_ptr<PacketSocket> Socket SIM_GUARDED_BY(Guard);
  bool HasBlock SIM_GUARDED_BY(Guard) = false;
  PacketBlock Block SIM_GUARDED_BY(Guard);
  std::vector<unsigned char> Frame SIM_GUARDED_BY(Guard);    // reused
  std::vector<unsigned char> Waiting SIM_GUARDED_BY(Guard);  // an item that no poll has had room for; empty: none
  bool IsDown SIM_GUARDED_BY(Guard) = false;
  bool SaidCut SIM_GUARDED_BY(Guard) = false;
  uint64_t DownSince SIM_GUARDED_BY(Guard) = 0;  // ns since 1970
  unsigned int Looks SIM_GUARDED_BY(Guard) = 0;  // at an interface that is down
  bool Started SIM_GUARDED_BY(Guard) = false;    // once
  qor_sim::Notices Told SIM_GUARDED_BY(Guard);
  uint64_t DropsLooked SIM_GUARDED_BY(Guard) = 0;  // ns since 1970: the latest look
  Qor_Sim_Status_t Counts SIM_GUARDED_BY(Guard) = {};
};

}  // namespace qor_linux
