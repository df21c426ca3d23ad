/*
 * qor_adapter.h - an adapter lets qor-trace record the interfaces of a maker's hardware library, libqor_api.so.2.
 *
 * How interfaces are found, set up and opened is in the maker's headers, which only its customers have. An adapter is the
 * little that they write: a shared object with a few functions, built against those headers and this one, and linked with
 * the maker's library. docs/hardware-adapter.md goes from nothing to a recording.
 *
 *   qor-trace --hardware libqor_api.so.2 --adapter ./adapter.so ports
 *   qor-trace --hardware libqor_api.so.2 --adapter ./adapter.so record "CAN 1" -o drive.mf4
 *
 * The trace library does the rest with the port handle that Open returns: it asks the hardware library for the interface's
 * type and description, opens a connection of its own beside that port, and reads the interface's capture buffer.
 *
 * Threads. All functions are called on one thread, one at a time. Meanwhile the trace library may call the hardware library
 * on other threads, for ports that are open.
 *
 * Signals. SIGINT, SIGTERM and SIGHUP are the program's: threads that the adapter or the hardware library start inherit them
 * blocked, and must not unblock them. Standard output is the program's as well; what is written there ends up in recordings.
 *
 * Texts are UTF-8 and zero-terminated. Whoever passes a text owns it; it needs to be valid only as long as it says below.
 *
 * Compatibility. The version changes only when older adapters can no longer be used. Fields that are added without that come
 * at the end of a structure, whose Size says how far it goes for the side that has made it: nobody reads or writes beyond.
 */
#ifndef QOR_ADAPTER_H
#define QOR_ADAPTER_H

#include <stdint.h> /* NOLINT(modernize-deprecated-headers): C too */

#ifdef __cplusplus
extern "C" {
#endif

/** Of this header. */
#define QOR_ADAPTER_VERSION 1u

/** Kinds of bus, as the hardware library numbers its types of interfaces. */
enum { QOR_ADAPTER_CAN = 4, QOR_ADAPTER_LIN = 5, QOR_ADAPTER_FLEXRAY = 9, QOR_ADAPTER_ETHERNET = 14 };

/** An interface that is listed. Null texts and zeros stand for what the adapter doesn't know. */
typedef struct Qor_Adapter_Interface_t {
  uint32_t Size;        /* sizeof(Qor_Adapter_Interface_t), set by the adapter */
  uint32_t Type;        /* QOR_ADAPTER_*; 0 when it isn't known */
  uint64_t BitRate;     /* bit/s */
  uint64_t DataBitRate; /* bit/s of the data phase of CAN FD frames */
  const char* Name;     /* what Open takes: unique, neither null nor empty, without question marks */
  const char* Hardware; /* what it is, in words: "Two-channel CAN FD interface, serial number 4711" */
  const char* State;    /* in a word: "connected", "in use" */
  const char* WhyNot;   /* why it can't be recorded, without a full stop; null when it can */
} Qor_Adapter_Interface_t;

/** Takes an interface that List has found. What it points to needs to be valid during the call. */
typedef void (*Qor_Adapter_Found_t)(void* context, const Qor_Adapter_Interface_t* found);

/** An opened port. Zeros and null stand for what the adapter doesn't know. */
typedef struct Qor_Adapter_Port_t {
  uint32_t Size;        /* sizeof(Qor_Adapter_Port_t), set by the program; the adapter writes nothing beyond it */
  uint32_t Handle;      /* out: the hardware library's handle of the port */
  uint64_t BitRate;     /* out: bit/s */
  uint64_t DataBitRate; /* out: bit/s of the data phase of CAN FD frames */
  uint32_t Type;        /* out: QOR_ADAPTER_* */
  uint32_t Reserved;    /* 0 */
  const char* Hardware; /* out: what it is, in words; valid until the adapter's next call */
} Qor_Adapter_Port_t;

/**
 * An adapter. Functions that return int return 0 for success; any other value is a failure that LastError explains. None
 * may let an exception out. All of them have to be there.
 */
typedef struct Qor_Adapter_t {
  uint32_t Version; /* QOR_ADAPTER_VERSION, as the adapter was compiled with */
  uint32_t Size;    /* sizeof(Qor_Adapter_t), likewise */
  void* User;       /* the adapter's own; passed to every function and otherwise left alone */

  /** Calls `found` with `context` for each interface, before it returns. Opens nothing. */
  int (*List)(void* user, Qor_Adapter_Found_t found, void* context);

  /**
   * Opens an interface and sets it up, so that it takes part in its bus, or listens to it: the recording only reads what it
   * captures.
   *
   * @param name     as listed, or whatever else the adapter understands
   * @param options  what was typed after the name and a question mark, "bitrate=500000&silent=1"; empty without any
   * @param port     out; zeros but for Size
   */
  int (*Open)(void* user, const char* name, const char* options, Qor_Adapter_Port_t* port);

  /** Closes a port that Open has opened, once; the connections of the recording to it are closed by then. */
  int (*Close)(void* user, uint32_t handle);

  /** Why the last call failed: one sentence without a full stop, valid until the next call. Null if there is nothing to say. */
  const char* (*LastError)(void* user);
} Qor_Adapter_t;

#if defined(__GNUC__)
#pragma GCC visibility push(default) /* exported, also where everything else is built hidden */
#endif

/**
 * What an adapter exports. It is called once; what it returns stays valid until the process ends, as does the adapter.
 *
 * @param version  QOR_ADAPTER_VERSION of the program
 * @return         null if the adapter can't serve this version, or at all
 */
const Qor_Adapter_t* Qor_Adapter_Get(uint32_t version);

#if defined(__GNUC__)
#pragma GCC visibility pop
#endif

#ifdef __cplusplus
}
#endif

#endif /* QOR_ADAPTER_H */
