/*
 * tiny_hardware.c - a libqor_api.so.2 that isn't the stand-in: it has none of that one's calls, and others of its own.
 *
 * -DTINY_LACKS_CLOSE leaves out a call that the trace library needs, -DTINY_SAYS_HELLO tells when it is loaded,
 * -DTINY_SAYS_EMPTY when the trace library has all frames of an interface that goes on.
 */
#include "tiny_hardware.h"

#include <stdint.h>
#include <stdio.h>
#include <string.h>

#pragma GCC visibility push(default)

enum { FIRST_PORT = 40, FIRST_CONNECTION = 70, ANSWERS_NOTHING = 0x0101, REFUSES = 0x0042 };
enum { POLL = 0x0F, START = 0x0C, POLLS_WITH_FRAMES = 3, FRAMES_OF_A_POLL = 3, FRAME_BYTES = 20 };

static struct {
  int port_is_open, connection_is_open, is_started;
  int polls, is_told;
} interfaces[TINY_INTERFACES];

#ifdef TINY_SAYS_HELLO
__attribute__((constructor)) static void SayHello(void) { fprintf(stderr, "hello\n"); }
#endif

/* Whoever has opened a port closes it. */
__attribute__((destructor)) static void Complain(void) {
  int index;
  for (index = 0; index < TINY_INTERFACES; ++index)
    if (interfaces[index].port_is_open) fprintf(stderr, "interface %d was left open\n", index);
}

int Tiny_Open(int index, unsigned int bit_rate, unsigned int* port) {
  (void)bit_rate;
  if (index < 0 || index >= TINY_INTERFACES) return TINY_NO_INTERFACE;
  if (interfaces[index].port_is_open) return TINY_IN_USE;
  interfaces[index].port_is_open = 1;
  *port = FIRST_PORT + (unsigned int)index;
  return TINY_OK;
}

int Tiny_Close(unsigned int port) {
  if (interfaces[port - FIRST_PORT].connection_is_open) return TINY_IN_USE;
  interfaces[port - FIRST_PORT].port_is_open = 0;
  return TINY_OK;
}

unsigned int Qor_ErrorHandler(unsigned int level, unsigned int code, const char* format, ...) {
  (void)level;
  (void)format;
  return code;
}

unsigned char Qor_GetInterfaceType(unsigned int port) { return port == FIRST_PORT + 3 ? 77 : 4; }

unsigned int Qor_GetInterfaceInfo(unsigned int port, unsigned char* info) {
  memset(info, 0, 1024);
  info[7] = (unsigned char)(port - FIRST_PORT);
  return 0;
}

unsigned int Qor_OpenInterface2(unsigned int mode, const unsigned char* info, unsigned int* handle) {
  const int index = info[7];
  if (mode != 5 || index == 2) return REFUSES;
  interfaces[index].connection_is_open = 1;
  *handle = FIRST_CONNECTION + (unsigned int)index;
  return 0;
}

unsigned char Qor_Monitor_InstanceId_Get(unsigned int port) { return (unsigned char)port; }

#ifndef TINY_LACKS_CLOSE
unsigned int Qor_CloseInterface(unsigned int handle) {
  interfaces[handle - FIRST_CONNECTION].connection_is_open = 0;
  return 0;
}
#endif

/* Time, identifier, flags, reserved, length code, length, and the data: the frame's number. */
static void PutFrame(unsigned char* place, int number) {
  const uint64_t time = 1000000000u + 250000u * (uint64_t)number;
  const uint32_t identifier = 0x100u + (uint32_t)number;
  const unsigned char rest[] = {0, 0, 4, 4, 0xF0, 0x0D, 0x00, (unsigned char)number};
  memcpy(place, &time, 8);
  memcpy(place + 8, &identifier, 4);
  memcpy(place + 12, rest, 8);
}

unsigned int Qor_CommandWithResponseEx(unsigned int handle, unsigned int zero, unsigned int command, unsigned int mode,
                                       const unsigned char* request, unsigned int request_length,
                                       unsigned char* response, unsigned int* response_length) {
  const int index = (int)handle - FIRST_CONNECTION;
  int frame;
  (void)zero, (void)command, (void)mode, (void)request_length;
  if (index == 1 && interfaces[index].polls == POLLS_WITH_FRAMES) return ANSWERS_NOTHING;
  memset(response, 0, 4);
  *response_length = 4;
  if (request[0] == START) interfaces[index].is_started = 1;
#ifdef TINY_SAYS_EMPTY
  /* It polls again once it has dealt with the response before. */
  if (request[0] == POLL && interfaces[index].polls == POLLS_WITH_FRAMES && !interfaces[index].is_told) {
    interfaces[index].is_told = 1;
    fprintf(stderr, "empty\n");
  }
#endif
  if (request[0] != POLL || !interfaces[index].is_started || interfaces[index].polls == POLLS_WITH_FRAMES) return 0;
  for (frame = 0; frame < FRAMES_OF_A_POLL; ++frame) {
    PutFrame(response + *response_length, interfaces[index].polls * FRAMES_OF_A_POLL + frame);
    *response_length += FRAME_BYTES;
  }
  ++interfaces[index].polls;
  return 0;
}

unsigned int Qor_GetLastErrorByPortHandle(unsigned int handle, unsigned int* code, unsigned int* text_length,
                                          char* text) {
  (void)handle;
  *code = 0;
  *text_length = 0;
  text[0] = '\0';
  return 0;
}
