#include "Simulator.h"

#include <cstring>
#include <utility>

#include "Error.h"
#include "Sources.h"

namespace qor_sim {
namespace {

constexpr unsigned int kTraceMode = 5;  // of Qor_OpenInterface2

Error NoPort(unsigned int handle) {
  return Error(QOR_SIM_ERROR_HANDLE, "There is no simulated port " + std::to_string(handle) + ".");
}

Error NoConnection(unsigned int handle) {
  return Error(QOR_SIM_ERROR_HANDLE, "There is no connection " + std::to_string(handle) + " to a simulated port.");
}

// The description of a port: the mark, the port's handle and type; the rest is 0.
constexpr char kMark[] = "simulated bus interface";
constexpr size_t kHandleOffset = sizeof kMark;
constexpr size_t kTypeOffset = kHandleOffset + sizeof(unsigned int);

Qor_InterfaceInfo_t Description(unsigned int portHandle, unsigned char interfaceType) {
  Qor_InterfaceInfo_t info{};
  std::memcpy(info.Bytes, kMark, sizeof kMark);
  std::memcpy(info.Bytes + kHandleOffset, &portHandle, sizeof portHandle);
  info.Bytes[kTypeOffset] = interfaceType;
  return info;
}

unsigned int DescribedPort(const Qor_InterfaceInfo_t& info) {
  unsigned int handle = 0;
  std::memcpy(&handle, info.Bytes + kHandleOffset, sizeof handle);
  return handle;
}

bool Same(const Qor_InterfaceInfo_t& a, const Qor_InterfaceInfo_t& b) {
  return std::memcmp(a.Bytes, b.Bytes, sizeof a.Bytes) == 0;
}

}  // namespace

Simulator& Simulator::Process() {
  static Simulator& process = *new Simulator(SteadyTime());
  return process;
}

unsigned int Simulator::OpenPort(std::string_view source) {
  unsigned int handle = 0;
  {
    const Lock lock(Guard);
    handle = ++LastPort;
    if (handle == QOR_ERROR_LEVEL_GENERAL) handle = ++LastPort;
  }
  auto port = MakePort(source, static_cast<unsigned char>(handle & 0xFF), SharedClock);
  const Lock lock(Guard);
  Ports.emplace(handle, std::move(port));
  return handle;
}

void Simulator::ClosePort(unsigned int portHandle) {
  const auto port = FindPort(portHandle);
  {
    const Lock lock(Guard);
    if (Ports.erase(portHandle) == 0) throw NoPort(portHandle);
  }
  port->Close();
}

std::shared_ptr<Port> Simulator::FindPort(unsigned int portHandle) {
  const Lock lock(Guard);
  const auto found = Ports.find(portHandle);
  if (found == Ports.end()) throw NoPort(portHandle);
  return found->second;
}

std::shared_ptr<ScriptedPort> Simulator::FindScripted(unsigned int portHandle) {
  auto scripted = std::dynamic_pointer_cast<ScriptedPort>(FindPort(portHandle));
  if (scripted == nullptr) throw ArgumentError("Port " + std::to_string(portHandle) + " has no script.");
  return scripted;
}

void Simulator::Describe(unsigned int portHandle, Qor_InterfaceInfo_t& info) {
  const auto port = FindPort(portHandle);
  port->AskInfo();
  info = Description(portHandle, port->InterfaceType());
}

unsigned int Simulator::Connect(unsigned int mode, const Qor_InterfaceInfo_t& info) {
  if (mode != kTraceMode) throw ArgumentError("A trace channel opens an interface in mode 5.");
  const unsigned int portHandle = DescribedPort(info);
  const Error strange = ArgumentError("The description was not filled by Qor_GetInterfaceInfo.");
  if (!Same(info, Description(portHandle, info.Bytes[kTypeOffset]))) throw strange;
  auto port = FindPort(portHandle);
  if (port->InterfaceType() != info.Bytes[kTypeOffset]) throw strange;
  port->Connect();
  const Lock lock(Guard);
  const unsigned int handle = ++LastConnection;
  Connections[handle].Target = std::move(port);
  return handle;
}

void Simulator::Disconnect(unsigned int connection) {
  const auto target = FindTarget(connection);
  {
    const Lock lock(Guard);
    if (Connections.erase(connection) == 0) throw NoConnection(connection);
  }
  target->Disconnect();
}

unsigned int Simulator::OpenConnections() {
  const Lock lock(Guard);
  return static_cast<unsigned int>(Connections.size());
}

std::shared_ptr<Port> Simulator::FindTarget(unsigned int connection) {
  const Lock lock(Guard);
  const auto found = Connections.find(connection);
  if (found == Connections.end()) throw NoConnection(connection);
  return found->second.Target;
}

void Simulator::Execute(const CommandCall& call, ResponseBuffer& response) {
  const auto target = FindTarget(call.Handle);
  try {
    target->Execute(call, response);
  } catch (const Error& error) {
    KeepLastError(call.Handle, error.Code(), error.what());
    throw;
  }
}

void Simulator::KeepLastError(unsigned int connection, unsigned int code, const char* text) {
  const Lock lock(Guard);
  const auto found = Connections.find(connection);
  if (found == Connections.end()) return;
  found->second.LastCode = code;
  found->second.LastText = text;
}

LastErrorAnswer Simulator::LastError(unsigned int connection) {
  const auto target = FindTarget(connection);
  if (const auto scripted = std::dynamic_pointer_cast<ScriptedPort>(target)) {
    if (auto answer = scripted->LastError()) return *answer;
  }
  const Lock lock(Guard);
  const auto found = Connections.find(connection);
  if (found == Connections.end()) throw NoConnection(connection);
  return {0, found->second.LastCode, found->second.LastText};
}

}  // namespace qor_sim
