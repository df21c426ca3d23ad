/* A client in C99 of the installed library and simulator: records a second of simulated CAN traffic. */
#include <qor_api_trace.h>
#include <qor_sim.h>
#include <stdio.h>
#include <time.h>

static int Failed(const char* what, unsigned int status) {
  fprintf(stderr, "%s: status 0x%08x\n", what, status);
  return 1;
}

static unsigned int EntryCount(unsigned int monitor) {
  unsigned char value[4] = {0, 0, 0, 0};
  unsigned int length = sizeof value;
  Qor_Trace_Property_GetById(monitor, 0, QOR_TRACE_PROPERTY_ENTRY_COUNT, &length, value);
  return value[0] | (unsigned int)value[1] << 8 | (unsigned int)value[2] << 16 | (unsigned int)value[3] << 24;
}

int main(void) {
  unsigned int monitor = 0, status;
  Qor_Trace_AddChannel_Request_t request = {0, 0, 0};
  Qor_Trace_AddChannel_Response_t response = {0, 0, 0};
  const time_t deadline = time(NULL) + 120;

  status = Qor_Sim_OpenPort("can?duration=1s&speed=max", &request.PortHandle);
  if (status != 0) return Failed(Qor_Sim_ErrorText(), status);
  status = Qor_Trace_Allocate(0, &monitor);
  if (status != 0) return Failed("allocate", status);
  status = Qor_Trace_AddChannel(monitor, &request, &response);
  if (status != 0) return Failed("add channel", status);
  if (response.ChannelId != 1) return Failed("channel number", response.ChannelId);
  status = Qor_Trace_Start(monitor, 0);
  if (status != 0) return Failed("start", status);
  while (EntryCount(monitor) == 0 && time(NULL) < deadline) {
  }
  status = Qor_Trace_Stop(monitor);
  if (status != 0) return Failed("stop", status);
  if (EntryCount(monitor) == 0) return Failed("nothing was recorded", 0);
  status = Qor_Trace_ExportToMDF(monitor, 0);
  if (status != QOR_TRACE_STATUS_NOT_SUPPORTED) return Failed("export to MDF", status);
  status = Qor_Trace_Delete(monitor);
  if (status != 0) return Failed("delete", status);
  return 0;
}
