#include "ScriptedPort.h"

#include <algorithm>
#include <utility>

#include "Error.h"

namespace qor_sim {
namespace {

constexpr size_t kLargestResponse = 65535;  // bytes; the capacity of a trace channel's polls
constexpr size_t kLoggedCommands = 10000;

}  // namespace

ScriptedPort::ScriptedPort(unsigned char interfaceType, unsigned char instance)
    : Port(interfaceType, instance, kLoggedCommands) {}

void ScriptedPort::QueueResponse(std::span<const unsigned char> bytes, unsigned int reportedLength) {
  if (bytes.size() > kLargestResponse) {
    throw ArgumentError("A response of " + std::to_string(bytes.size()) + " bytes is too long; 65535 is the limit.");
  }
  Response response{{bytes.begin(), bytes.end()}, reportedLength};
  const Lock lock(Guard);
  Responses.push_back(std::move(response));
}

unsigned int ScriptedPort::Pending() {
  const Lock lock(Guard);
  return static_cast<unsigned int>(Responses.size());
}

void ScriptedPort::Fail(Call call, unsigned int code, unsigned int times) {
  if (code == 0 && times > 0) throw ArgumentError("A failure needs a code other than 0.");
  const Lock lock(Guard);
  Failures[static_cast<size_t>(call)] = {code, times};
}

void ScriptedPort::SetLastError(LastErrorAnswer answer) {
  const Lock lock(Guard);
  Answer = std::move(answer);
}

std::optional<LastErrorAnswer> ScriptedPort::LastError() {
  const Lock lock(Guard);
  return Answer;
}

void ScriptedPort::FailIfScripted(Call call) {
  Failure& failure = Failures[static_cast<size_t>(call)];
  if (failure.Times == 0) return;
  --failure.Times;
  throw Error(failure.Code, "The call fails because the script says so.");
}

void ScriptedPort::Poll(const ResponseLayout& layout, ResponseBuffer& response) {
  if (Responses.empty()) return PollEmpty(layout, response);
  const Response& next = Responses.front();
  if (next.Bytes.size() > response.Bytes.size()) {
    throw Error(QOR_SIM_ERROR_CAPACITY, "The scripted response of " + std::to_string(next.Bytes.size()) +
                                            " bytes does not fit into " + std::to_string(response.Bytes.size()) +
                                            " bytes.");
  }
  std::copy(next.Bytes.begin(), next.Bytes.end(), response.Bytes.begin());
  response.Length = next.ReportedLength;
  Responses.pop_front();
}

void ScriptedPort::PollEmpty(const ResponseLayout& layout, ResponseBuffer& response) {
  FailIfScripted(Call::Poll);
  const ResponseWriter writer(layout, response.Bytes);
  response.Length = static_cast<unsigned int>(writer.Length());
}

Qor_Sim_Status_t ScriptedPort::TrafficStatus() {
  Qor_Sim_Status_t status{};
  status.Finished = Responses.empty() ? 1 : 0;
  return status;
}

}  // namespace qor_sim
