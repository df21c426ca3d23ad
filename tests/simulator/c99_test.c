/* A C client: the headers alone, and one port from end to end. Returns 0, or the number of the step that failed. */
#include <string.h>

#include "qor_api.h"
#include "qor_sim.h"

int qor_sim_c99_test(void);

int qor_sim_c99_test(void) {
  static const unsigned char configure[12] = {9, 1, 0, 0, 0x0F, 0x0E, 0, 0, 0, 0, 0, 0};
  unsigned char response[1012];
  unsigned int length = sizeof response;
  unsigned int port = 0, connection = 0;
  Qor_InterfaceInfo_t info;
  memset(&info, 0, sizeof info);
  if (Qor_Sim_OpenPort("script", &port) != 0) return 1;
  if (Qor_GetInterfaceType(port) != QOR_INTERFACE_CAN) return 2;
  if (Qor_GetInterfaceInfo(port, &info) != 0) return 3;
  if (Qor_OpenInterface2(5, &info, &connection) != 0) return 4;
  if (Qor_CommandWithResponseEx(connection, 0, 0x50, 1, configure, 12, response, &length) != 0) return 5;
  if (Qor_CloseInterface(connection) != 0) return 6;
  if (Qor_Sim_ClosePort(port) != 0) return 7;
  return Qor_Sim_ClosePort(port) == QOR_SIM_ERROR_HANDLE ? 0 : 8;
}
