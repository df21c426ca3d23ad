#include "SocketCanPort.h"

#include <cerrno>
#include <cstring>
#include <string>
#include <utility>

#include "qor_api.h"
#include "simulator/Error.h"

namespace qor_linux {
namespace {

constexpr size_t kLoggedCommands = 0;  // a port may be polled for days

std::string WhyNot(const std::string& interface, int error) {
  switch (error) {
    case EAFNOSUPPORT:
    case EPROTONOSUPPORT:
      return "this kernel has no CAN: load it with \"sudo modprobe can_raw\"";
    case ENODEV:
      return "there is no CAN interface " + interface;
    case EPERM:
    case EACCES:
      return "this program may not open CAN interfaces";
    default:
      return std::strerror(error);
  }
}

}  // namespace

SocketCanPort::SocketCanPort(SocketCanSettings settings, unsigned char instance, Kernel& kernel)
    : Port(QOR_INTERFACE_CAN, instance, kLoggedCommands),
      Calls(kernel),
      Settings(std::move(settings)),
      Received(Settings.BufferItems) {
  Calls.Close(Open());  // to know now whether it can be
}

SocketCanPort::~SocketCanPort() = default;

int SocketCanPort::Open() {
  const int socket = Calls.OpenCan(Settings.Socket);
  if (socket >= 0) return socket;
  const std::string& interface = Settings.Socket.Interface;
  throw qor_sim::Error(QOR_SIM_ERROR_INTERFACE, "Cannot open " + interface + ": " + WhyNot(interface, -socket) + ".");
}

void SocketCanPort::OnStart() {
  if (Receiver) return;
  Receiver.emplace(Calls, Settings.Socket, Open(), Received);
  Receiver->Run();
}

void SocketCanPort::OnClose() { Receiver.reset(); }

void SocketCanPort::Poll(const qor_sim::ResponseLayout& layout, qor_sim::ResponseBuffer& response) {
  qor_sim::ResponseWriter writer(layout, response.Bytes);
  if (!Received.MoveTo(writer))
    throw qor_sim::Error(QOR_SIM_ERROR_CAPACITY, "The next item does not fit into a response of " +
                                                     std::to_string(response.Bytes.size()) + " bytes.");
  response.Length = static_cast<unsigned int>(writer.Length());
}

}  // namespace qor_linux
