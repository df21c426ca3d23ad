// Reads a recording while it runs: counts the entries of a simulated bus as they come, with a small memory limit.
#include <chrono>
#include <cstdio>
#include <cstring>
#include <thread>

#include "qor_sim.h"
#include "recording/TraceDrain.h"

namespace {

bool Finished(unsigned int port) {
  Qor_Sim_Status_t status{};
  return Qor_Sim_GetStatus(port, &status) != 0 || status.Finished != 0;
}

/// Counts entries and data bytes.
struct Counter {
  unsigned long Entries = 0;
  unsigned long Bytes = 0;

  bool operator()(const RecordView& record) {
    ++Entries;
    Bytes += record.Can().Data().size();
    return true;
  }
};

unsigned int Record(unsigned int monitor, unsigned int port, Counter& counter) {
  const Qor_Trace_AddChannel_Request_t request{0, port, 0};
  Qor_Trace_AddChannel_Response_t response{};
  unsigned int status = Qor_Trace_AddChannel(monitor, &request, &response);
  if (status != 0) return status;

  // Adding a channel sets the limit to what its bus allows; a smaller one keeps memory and the drain's buffer small.
  const unsigned int limit = 20000;
  unsigned char bytes[sizeof limit];
  std::memcpy(bytes, &limit, sizeof limit);
  status = Qor_Trace_Property_SetById(monitor, 0, QOR_TRACE_PROPERTY_MAX_ENTRIES, sizeof bytes, bytes);
  if (status == 0) status = Qor_Trace_Start(monitor, 0);

  TraceDrain drain(monitor);
  while (status == 0 && !Finished(port)) {
    status = drain.Pull(counter);
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
  const unsigned int stopped = Qor_Trace_Stop(monitor);
  if (status == 0) status = stopped;
  return status == 0 ? drain.PullAll(counter) : status;
}

}  // namespace

int main(int count, char** arguments) {
  unsigned int port = 0, monitor = 0;
  if (Qor_Sim_OpenPort(count > 1 ? arguments[1] : "can?seed=1&duration=60s&speed=max", &port) != 0) {
    std::fprintf(stderr, "drain_example: %s\n", Qor_Sim_ErrorText());
    return 1;
  }
  Counter counter;
  unsigned int status = Qor_Trace_Allocate(0, &monitor);
  if (status == 0) {
    status = Record(monitor, port, counter);
    Qor_Trace_Delete(monitor);
  }
  std::printf("%lu entries with %lu data bytes\n", counter.Entries, counter.Bytes);
  if (status != 0) std::fprintf(stderr, "drain_example: status 0x%08X\n", status);
  Qor_Sim_ClosePort(port);
  return status == 0 ? 0 : 1;
}
