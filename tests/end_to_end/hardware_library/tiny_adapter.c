/*
 * tiny_adapter.c - the adapter of the tiny hardware library.
 *
 * Faults, one at a time, each by its definition: TINY_VERSION=N (of the header that it claims), TINY_SIZE=N, TINY_SERVES_NOBODY,
 * TINY_WITHOUT_ENTRY, TINY_WITHOUT_CLOSE, TINY_LIST_FAILS, TINY_LISTS_NO_NAME, TINY_CALLS_NOBODY (a function that is nowhere).
 */
#include <stdio.h>
#include <string.h>

#ifdef TINY_WITHOUT_ENTRY
#define Qor_Adapter_Get Qor_Adaptor_Get
#endif

#include "qor_adapter.h"
#include "tiny_hardware.h"

#ifndef TINY_VERSION
#define TINY_VERSION QOR_ADAPTER_VERSION
#endif
#ifndef TINY_SIZE
#define TINY_SIZE sizeof(Qor_Adapter_t)
#endif

static const char* const kNames[TINY_INTERFACES] = {"Tiny 1", "can", "Tiny 3", "Tiny 4"};

typedef struct State {
  char error[200];
  char hardware[40];
} State;

static State state;

static int Fail(State* own, const char* text) {
  snprintf(own->error, sizeof own->error, "%s", text);
  return 7;
}

static int List(void* user, Qor_Adapter_Found_t found, void* context) {
  int index;
#ifdef TINY_LIST_FAILS
  return Fail(user, "the driver is not loaded");
#endif
  for (index = 0; index < TINY_INTERFACES; ++index) {
    Qor_Adapter_Interface_t interface = {sizeof interface, QOR_ADAPTER_CAN,    500000,      2000000,
                                         kNames[index],    "Tiny CAN\x1b[31m", "connected", NULL};
#ifdef TINY_LISTS_NO_NAME
    interface.Name = NULL;
#endif
    if (index == 3) {
      interface.Type = 77;
      interface.WhyNot = "nobody knows its bus";
    }
    found(context, &interface);
  }
  (void)user;
  return 0;
}

static int IndexOf(const char* name) {
  int index;
  for (index = 0; index < TINY_INTERFACES; ++index)
    if (strcmp(name, kNames[index]) == 0) return index;
  return -1;
}

static int Open(void* user, const char* name, const char* options, Qor_Adapter_Port_t* port) {
  State* own = user;
  unsigned int bit_rate = 500000, handle = 0;
  if (sscanf(options, "bitrate=%u", &bit_rate) != 1 && options[0] != '\0')
    return Fail(own, "the only option is bitrate=N");
  if (strcmp(name, "mute") == 0) {
    own->error[0] = '\0';
    return 9;
  }
  switch (Tiny_Open(IndexOf(name), bit_rate, &handle)) {
    case TINY_OK:
      break;
    case TINY_IN_USE:
      return Fail(own, "it is in use");
    default:
      return Fail(own, "there is no interface of this name");
  }
  snprintf(own->hardware, sizeof own->hardware, "Tiny CAN, port %u", handle);
  port->Handle = handle;
  port->Type = QOR_ADAPTER_CAN;
  port->BitRate = bit_rate;
  port->DataBitRate = 2000000;
  port->Hardware = own->hardware;
  return 0;
}

static int Close(void* user, uint32_t handle) {
  return Tiny_Close(handle) == TINY_OK ? 0 : Fail(user, "a connection to it is still open");
}

static const char* LastError(void* user) {
  State* own = user;
  return own->error[0] == '\0' ? NULL : own->error;
}

#ifdef TINY_CALLS_NOBODY
void Tiny_Nowhere(void);
#endif

const Qor_Adapter_t* Qor_Adapter_Get(uint32_t version) {
  static Qor_Adapter_t adapter = {TINY_VERSION, TINY_SIZE, &state, List, Open, Close, LastError};
  (void)version;
#ifdef TINY_CALLS_NOBODY
  Tiny_Nowhere();
#endif
#ifdef TINY_WITHOUT_CLOSE
  adapter.Close = NULL;
#endif
#ifdef TINY_SERVES_NOBODY
  return NULL;
#endif
  return &adapter;
}
