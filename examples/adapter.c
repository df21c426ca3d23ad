/*
 * adapter.c - an adapter, to begin one's own with: qor-trace records the interfaces that it lists and opens.
 *
 * It is one for the simulator, so that it runs anywhere. For a maker's hardware library its header takes the place of qor_sim.h,
 * and its calls that of the lines marked "maker's"; the rest stays. docs/hardware-adapter.md has the commands.
 */
#include <stdio.h>
#include <string.h>

#include "qor_adapter.h"
#include "qor_sim.h" /* maker's */

typedef struct Interface {
  const char* Name;
  uint32_t Type;
  uint64_t BitRate, DataBitRate;
  const char* Source; /* by which the simulator opens it */
} Interface;

/* A maker's library finds its interfaces; the simulator is told them. */
static const Interface kInterfaces[] = {
    {"CAN 1", QOR_ADAPTER_CAN, 500000, 2000000, "can?seed=1"},
    {"LIN 1", QOR_ADAPTER_LIN, 19200, 0, "lin?seed=1"},
};
enum { INTERFACES = sizeof kInterfaces / sizeof kInterfaces[0] };

typedef struct State {
  char Error[300];
} State;

static State state;

static int Fail(State* own, const char* text) {
  snprintf(own->Error, sizeof own->Error, "%s", text);
  return 1;
}

static int List(void* user, Qor_Adapter_Found_t found, void* context) {
  int index;
  (void)user;
  for (index = 0; index < INTERFACES; ++index) {
    Qor_Adapter_Interface_t listed = {0};
    listed.Size = sizeof listed;
    listed.Type = kInterfaces[index].Type;
    listed.BitRate = kInterfaces[index].BitRate;
    listed.DataBitRate = kInterfaces[index].DataBitRate;
    listed.Name = kInterfaces[index].Name;
    listed.Hardware = "simulated"; /* maker's: model and serial number */
    found(context, &listed);
  }
  return 0;
}

static const Interface* Named(const char* name) {
  int index;
  for (index = 0; index < INTERFACES; ++index)
    if (strcmp(kInterfaces[index].Name, name) == 0) return &kInterfaces[index];
  return NULL;
}

/* Here a real interface gets its bit rates, and is switched on to take part in its bus or to listen to it. */
static int Open(void* user, const char* name, const char* options, Qor_Adapter_Port_t* port) {
  State* own = user;
  const Interface* named = Named(name);
  unsigned int handle = 0;
  if (named == NULL) return Fail(own, "there is no interface of this name; qor-trace ports lists them");
  if (options[0] != '\0') return Fail(own, "it takes no options");
  if (Qor_Sim_OpenPort(named->Source, &handle) != 0) return Fail(own, Qor_Sim_ErrorText()); /* maker's */
  port->Handle = handle;
  port->Type = named->Type;
  port->BitRate = named->BitRate;
  port->DataBitRate = named->DataBitRate;
  port->Hardware = "simulated";
  return 0;
}

static int Close(void* user, uint32_t handle) {
  if (Qor_Sim_ClosePort(handle) != 0) return Fail(user, Qor_Sim_ErrorText()); /* maker's */
  return 0;
}

static const char* LastError(void* user) { return ((const State*)user)->Error; }

const Qor_Adapter_t* Qor_Adapter_Get(uint32_t version) {
  static const Qor_Adapter_t adapter = {QOR_ADAPTER_VERSION, sizeof adapter, &state, List, Open, Close, LastError};
  return version == QOR_ADAPTER_VERSION ? &adapter : NULL;
}
