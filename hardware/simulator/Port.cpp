#include "Port.h"

#include <algorithm>
#include <new>
#include <string>

#include "Error.h"

namespace qor_sim {
namespace {

constexpr size_t kControlResponse = 4;  // bytes; the answer to configuration, start and stop, all 0

Error StateError(const char* text) { return Error(QOR_SIM_ERROR_STATE, text); }

}  // namespace

Port::Port(unsigned char interfaceType, unsigned char instance, size_t loggedCommands)
    : Type(interfaceType), Instance(instance), Log(loggedCommands) {}

void Port::CheckOpen() {
  if (Closed) throw Error(QOR_SIM_ERROR_HANDLE, "The port of this connection was closed.");
}

/// Is it open, and does its interface answer?
void Port::CheckPresent() {
  CheckOpen();
  if (IsGone()) throw Error(QOR_SIM_ERROR_GONE, "The interface is gone.");
}

void Port::AskInfo() {
  const Lock lock(Guard);
  CheckPresent();
  FailIfScripted(Call::InterfaceInfo);
}

void Port::Connect() {
  const Lock lock(Guard);
  CheckPresent();
  FailIfScripted(Call::Open);
  ++Connections;
}

void Port::Disconnect() {
  const Lock lock(Guard);
  if (--Connections == 0) GoIdle();
}

void Port::Close() {
  const Lock lock(Guard);
  GoIdle();
  Closed = true;
  OnClose();
}

void Port::GoIdle() {
  if (Monitor == State::Started) OnStop();
  Monitor = State::Idle;
}

void Port::Execute(const CommandCall& call, ResponseBuffer& response) {
  const Lock lock(Guard);
  const auto capacity = static_cast<unsigned int>(response.Bytes.size());
  try {
    Perform(call, response);
  } catch (const Error& error) {
    Log.Add(call, capacity, error.Code());
    throw;
  } catch (const std::bad_alloc&) {
    Log.Add(call, capacity, QOR_SIM_ERROR_MEMORY);
    throw;
  }
  Log.Add(call, capacity, 0);
}

void Port::Perform(const CommandCall& call, ResponseBuffer& response) {
  CheckPresent();
  const BusProtocol* protocol = FindProtocol(Type);
  if (protocol == nullptr) {
    throw Error(QOR_SIM_ERROR_COMMAND, "No trace channel knows interface type " + std::to_string(Type) + ".");
  }
  const Call kind = Recognise(*protocol, Instance, call);
  CheckState(*protocol, kind);
  if (kind == Call::Poll) {
    Poll(protocol->Response, response);
  } else {
    Control(kind, response);
  }
}

void Port::CheckState(const BusProtocol& protocol, Call kind) {
  const bool started = Monitor == State::Started;
  if (kind == Call::Poll && !started) throw StateError("A poll needs a started monitor.");
  if (kind == Call::Configure && started) throw StateError("A started monitor can't be configured.");
  if (kind == Call::Start && started) throw StateError("The monitor is started already.");
  if (kind == Call::Start && Monitor == State::Idle) throw StateError("A start needs a configured monitor.");
  if (kind == Call::Stop && !started && !protocol.StopAnyTime) throw StateError("A stop needs a started monitor.");
  if (kind == Call::Stop && Monitor == State::Idle) throw StateError("A stop needs a configured monitor.");
}

void Port::Control(Call kind, ResponseBuffer& response) {
  if (response.Bytes.size() < kControlResponse) {
    throw Error(QOR_SIM_ERROR_CAPACITY, "A response needs at least 4 bytes of capacity.");
  }
  FailIfScripted(kind);
  if (kind == Call::Start) OnStart();
  if (kind == Call::Stop && Monitor == State::Started) OnStop();
  Monitor = kind == Call::Start ? State::Started : State::Configured;
  std::fill_n(response.Bytes.begin(), kControlResponse, static_cast<unsigned char>(0));
  response.Length = kControlResponse;
}

unsigned int Port::CommandCount() {
  const Lock lock(Guard);
  return Log.Count();
}

Qor_Sim_Command_t Port::Command(unsigned int index) {
  const Lock lock(Guard);
  return Log.At(index);
}

Qor_Sim_Status_t Port::Status() {
  const Lock lock(Guard);
  CheckOpen();
  return TrafficStatus();
}

}  // namespace qor_sim
