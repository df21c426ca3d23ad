/*
 * record.c - the smallest complete client: records a simulated CAN bus for two seconds and writes record.asc.
 *
 * On a machine with the hardware, the port handle comes from the hardware library instead of Qor_Sim_OpenPort; the
 * rest is the same.
 */
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include "qor_api_trace.h"
#include "qor_sim.h"

/* Waits until the simulated source has ended. */
static void WaitForEnd(unsigned int port) {
  Qor_Sim_Status_t status;
  do {
    sleep(1);
  } while (Qor_Sim_GetStatus(port, &status) == 0 && !status.Finished);
}

static unsigned int EntryCount(unsigned int monitor) {
  unsigned int count = 0, length = sizeof count;
  Qor_Trace_Property_GetById(monitor, 0, QOR_TRACE_PROPERTY_ENTRY_COUNT, &length, (unsigned char*)&count);
  return count;
}

/* Adds the port, records it to its end and writes the file. Returns the first status that is not 0. */
static unsigned int Record(unsigned int monitor, unsigned int port, const char* file) {
  Qor_Trace_AddChannel_Request_t channel = {0, 0, 0};
  Qor_Trace_AddChannel_Response_t added;
  Qor_Trace_Export_Request_t export_to = {0, "", 0, 0};
  unsigned int status;

  channel.PortHandle = port;
  if ((status = Qor_Trace_AddChannel(monitor, &channel, &added)) != 0) return status;
  if ((status = Qor_Trace_Start(monitor, 0)) != 0) return status;
  WaitForEnd(port);
  if ((status = Qor_Trace_Stop(monitor)) != 0) return status;

  strncpy(export_to.FileName, file, sizeof export_to.FileName - 1);
  return Qor_Trace_ExportToASC(monitor, &export_to);
}

int main(int argc, char** argv) {
  const char* source = argc > 1 ? argv[1] : "can?seed=1&duration=2s";
  unsigned int port, monitor, status;

  if (Qor_Sim_OpenPort(source, &port) != 0) {
    fprintf(stderr, "record: %s\n", Qor_Sim_ErrorText());
    return 1;
  }
  if ((status = Qor_Trace_Allocate(0, &monitor)) == 0) {
    status = Record(monitor, port, "record.asc");
    printf("%u entries\n", EntryCount(monitor));
    Qor_Trace_Delete(monitor);
  }
  if (status != 0) fprintf(stderr, "record: status 0x%08X\n", status);
  Qor_Sim_ClosePort(port);
  return status == 0 ? 0 : 1;
}
