#include "InterfaceList.h"

#include <net/if.h>

#include <cerrno>
#include <cstring>

#include "PacketDoor.h"
#include "qor_api.h"

namespace qor_linux {
namespace {

template <size_t kSize>
void Copy(const std::string& text, char (&target)[kSize]) {
  text.copy(target, kSize - 1);
}

struct Obstacle {
  unsigned int Kind = QOR_SIM_OBSTACLE_NONE;
  std::string Why = {};
};

Obstacle PacketObstacle(Kernel& kernel) {
  const int error = -kernel.CaptureWorks();
  if (error == 0) return {};
  if (error == EPERM || error == EACCES) return {QOR_SIM_OBSTACLE_RIGHTS, PacketRightsAdvice()};
  return {QOR_SIM_OBSTACLE_KERNEL, "the kernel has no packet sockets (sudo modprobe af_packet)"};
}

Obstacle ObstacleOf(const Link& link, Kernel& kernel) {
  if (IsEthernet(link)) return PacketObstacle(kernel);
  if (!IsCan(link)) return {QOR_SIM_OBSTACLE_KIND, "it is neither CAN nor Ethernet"};
  const int error = -kernel.CanWorks();
  if (error == 0) return {};
  if (error == EPERM || error == EACCES) return {QOR_SIM_OBSTACLE_RIGHTS, "this program may not open CAN interfaces"};
  return {QOR_SIM_OBSTACLE_KERNEL, "the kernel has no raw CAN sockets (sudo modprobe can_raw)"};
}

unsigned int TypeOf(const Link& link) {
  if (IsCan(link)) return QOR_INTERFACE_CAN;
  return IsEthernet(link) ? unsigned{QOR_INTERFACE_ETHERNET} : 0;
}

}  // namespace

std::string StateOf(const Link& link) {
  if ((link.Flags & IFF_UP) == 0) return "down";
  switch (link.State) {
    case CanState::ErrorActive:
      return "up";
    case CanState::ErrorWarning:
      return "error-warning";
    case CanState::ErrorPassive:
      return "error-passive";
    case CanState::BusOff:
      return "bus-off";
    case CanState::Stopped:
      return "stopped";
    case CanState::Sleeping:
      return "sleeping";
    case CanState::Unknown:
      break;
  }
  return (link.Flags & IFF_RUNNING) != 0 ? "up" : "no carrier";
}

Qor_Sim_HostInterface_t Listed(const Link& link, Kernel& kernel) {
  Qor_Sim_HostInterface_t listed{};
  Copy(link.Name, listed.Name);
  listed.Type = TypeOf(link);
  Copy(StateOf(link), listed.State);
  listed.BitRate = link.BitRate;
  listed.DataBitRate = link.DataBitRate;
  const Obstacle obstacle = ObstacleOf(link, kernel);
  listed.Obstacle = obstacle.Kind;
  Copy(obstacle.Why, listed.Why);
  return listed;
}

std::vector<Qor_Sim_HostInterface_t> ListInterfaces() {
  std::vector<Qor_Sim_HostInterface_t> all;
  for (const Link& link : HostLinks()) {
    Qor_Sim_HostInterface_t listed = Listed(link, Kernel::Machine());
    Copy(DriverOf(link.Name), listed.Driver);
    if (listed.Type == QOR_INTERFACE_ETHERNET) listed.BitRate = EthernetBitRate(link.Name);
    all.push_back(listed);
  }
  return all;
}

}  // namespace qor_linux
