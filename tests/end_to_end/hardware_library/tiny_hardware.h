/*
 * tiny_hardware.h - the public calls of a tiny hardware library, such as a maker's header would have them.
 *
 * It has four CAN interfaces:
 *
 *   0  captures nine frames, three in each of its first three polls
 *   1  the same, and then no longer answers
 *   2  can be opened, but not by the trace library
 *   3  is of a type that the trace library doesn't know
 */
#ifndef TINY_HARDWARE_H
#define TINY_HARDWARE_H

#pragma GCC visibility push(default)

enum { TINY_INTERFACES = 4, TINY_OK = 0, TINY_NO_INTERFACE = 1, TINY_IN_USE = 2 };

/** Opens interface `index` as a port. */
int Tiny_Open(int index, unsigned int bit_rate, unsigned int* port);
/** TINY_IN_USE as long as a connection to the port is open. */
int Tiny_Close(unsigned int port);

#pragma GCC visibility pop

#endif
