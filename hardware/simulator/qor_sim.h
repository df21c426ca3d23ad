/*
 * qor_sim.h - simulated bus interfaces for machines without the hardware, and the machine's own CAN and Ethernet interfaces.
 *
 * The simulator is a libqor_api.so.2 that answers the calls of hardware/qor_api.h, plus the calls below by which a
 * client opens ports, sees what became of their traffic, and scripts failures in tests.
 *
 * Sources. A port is opened from a source text: KIND[:PATH][?NAME=VALUE[&NAME=VALUE...]]
 *
 *   can[?...]             a synthetic CAN and CAN FD bus, deterministic by seed: cyclic and event messages,
 *                         standard and extended identifiers, FD frames with and without bit-rate switch, error
 *                         frames, trigger events, both directions
 *   lin[?...]             a synthetic LIN bus whose master is this interface
 *   flexray[?...]         a synthetic FlexRay cluster of 10 Mbit/s, both channels
 *   ethernet[?...]        a synthetic Ethernet link of 100 Mbit/s between this interface and a switch
 *   vehicle[?...]         all four of them; not a port by itself: see Qor_Sim_ExpandSource
 *   candump:PATH[?...]    replay of candump text, one line per frame: "(seconds.fraction) interface id#data";
 *                         ##F data for CAN FD, #R for a remote frame, 20000080# for an error frame;
 *                         docs/simulator.md has the dialect
 *   pcap:PATH[?...]       replay of a pcap or pcapng file of Ethernet frames
 *   csv:PATH[?...]        replay of LIN or FlexRay traffic from lines "timestamp_ns,channel,kind,flags,id,cycle,crc,data";
 *                         docs/simulator.md has kinds and flags
 *   socketcan:NAME[?...]  a CAN interface of this machine; the NAME alone does as well
 *   packet:NAME[?...]     an Ethernet interface of this machine, likewise
 *   script[?...]          a port that does what the Qor_Sim_Script_* calls say; for tests
 *
 *   can, lin, flexray, ethernet, vehicle: seed=N (1)  duration=TIME (endless)
 *   can, ethernet: load=PERCENT (30 of a 500 kbit/s bus, 1 of the link; 1 to 100)
 *   candump:  interface=NAME (the only one of the file; needed when it has several)  origin=file|absolute (file: time 0
 *             is the earliest frame of the file, whichever its interface; absolute: the times of the file)
 *             direction=rx|tx (rx; lines may carry their own: a closing R or T)
 *   pcap:     origin, direction (of all frames) as above
 *   csv:      bus=lin|flexray (the only one of the file)  channel=N (of LIN: the only one of the file)
 *             bitrate=N (19200; LIN, 1000 to 20000 bit/s)  origin, direction (lines may carry their own) as above
 *   candump and csv: bad_lines=refuse|skip (refuse: a line that can't be read makes the source unusable; skip: it is left
 *             out, see Qor_Sim_GetSkippedLine)
 *   socketcan: id=ID[:MASK][,...] (all frames; hexadecimal)  buffer=ITEMS as below
 *             socket_buffer=BYTES (8388608; of the kernel, which may grant less)
 *   packet:   filter=EXPRESSION (all frames; libpcap's syntax)  promisc=on|off (on)  ring=BYTES (16777216; capture buffer, in
 *             the kernel)  fanout=N (1; to 64: the frames are dealt out among N ports, see Qor_Sim_ExpandSource)
 *   all that is simulated: clock=own|utc (own; utc: timestamps are UTC, for a trace with interfaces of this machine; speed=1 only)
 *   all simulated but script: speed=FACTOR|max (1; 0.001 to 1000000; max: as fast as polls drain it)
 *             buffer=ITEMS (100000; capture buffer, 1 to 100000000)
 *             gone=TIME (never): from then on the interface answers nothing, as if its plug were pulled
 *   script:   type=N (4; interface type, 1 to 255)  instance=N (1; monitor instance id)
 *
 *   TIME is a number with ns, us, ms, s, m or h, or several of them in a row: 90s, 1h30m, 0.5s. PATH reaches up to the
 *   first question mark.
 *
 * Time. Item timestamps are ns. All ports of the process share one clock, so that their timestamps can be merged. It
 * begins when the first port starts, stands still while no port is started, and begins anew when all ports that were
 * ever started are closed. A source's items become available when the clock, times the port's speed, has reached
 * them; a source plays once. Timestamps of this machine's interfaces are ns since 1970 (UTC). Stopping and starting a port again goes on with the next item of its source: items that
 * wait in the capture buffer stay there, and what became due on a port that was stopped while others ran comes at once.
 *
 * Capture buffer. Items that are due but not polled wait in a buffer of limited size, as in a real interface; when it
 * is full the newest item is dropped and counted. At speed=max items are made when polled and nothing is dropped.
 *
 * Gone. With gone=TIME every call to the interface fails with QOR_SIM_ERROR_GONE from that time of its source on. What
 * waits in its capture buffer then is lost with it. At speed=max all items before that time are delivered first.
 *
 * Strictness. A port answers exactly the commands that a trace channel of its bus sends, byte for byte, in the
 * states where they make sense (configured, started); anything else gets an error code and changes nothing; the
 * response length stays as it was. Configuration, start and stop are answered with four bytes of 0. Closing the last
 * connection to a port stops its monitor and undoes its configuration.
 *
 * The monitor instance id of a port is the low byte of its handle, unless a script says otherwise.
 *
 * Results are 0 or QOR_SIM_ERROR_*; Qor_Sim_ErrorText has details. All calls may be made from any thread.
 */
#ifndef QOR_SIM_H
#define QOR_SIM_H

#ifdef __cplusplus
extern "C" {
#endif

#if defined(__GNUC__)
#pragma GCC visibility push(default) /* exported, also where everything else is built hidden */
#endif

/* ---- Error codes: results of the calls below and of the hardware calls on simulated ports ------------------------ */

enum {
  QOR_SIM_ERROR_SOURCE = 0x02000201,   /* the source text is malformed, or doesn't fit its file */
  QOR_SIM_ERROR_HANDLE = 0x02000202,   /* no such port or connection */
  QOR_SIM_ERROR_ARGUMENT = 0x02000203, /* null pointer, or a call that doesn't fit the port */
  QOR_SIM_ERROR_COMMAND = 0x02000204,  /* a command that no trace channel of this bus sends */
  QOR_SIM_ERROR_STATE = 0x02000205,    /* a known command in the wrong state (poll before start, ...) */
  QOR_SIM_ERROR_FILE = 0x02000206,     /* the file of a source can't be read as what it should be */
  QOR_SIM_ERROR_CAPACITY = 0x02000207, /* the caller's buffer is too small */
  QOR_SIM_ERROR_MEMORY = 0x02000208,   /* memory is exhausted */
  QOR_SIM_ERROR_GONE = 0x02000209,     /* the interface is gone (option gone) */
  QOR_SIM_ERROR_INTERFACE = 0x0200020A /* an interface of this machine can't be opened */
};

/**
 * Text of this thread's last failed call of this library, hardware calls included: one sentence; valid until the next
 * failed one. Empty before the first. Never null.
 */
const char* Qor_Sim_ErrorText(void);

/* ---- Ports ------------------------------------------------------------------------------------------------------ */

/**
 * Opens a simulated port. Its file, if it has one, is read here, whole. Port handles count from 1, leaving out 255, and
 * are never reused; connections to ports have handles above 65536.
 *
 * @return QOR_SIM_ERROR_SOURCE, _FILE, _INTERFACE, _ARGUMENT (a null pointer), _MEMORY; *portHandle is then as before
 */
unsigned int Qor_Sim_OpenPort(const char* source, unsigned int* portHandle);

/**
 * Closes a port; connections to it fail from then on with QOR_SIM_ERROR_HANDLE. They still have to be closed.
 *
 * @return QOR_SIM_ERROR_HANDLE
 */
unsigned int Qor_Sim_ClosePort(unsigned int portHandle);

/**
 * Splits a source into sources of one bus each, as Qor_Sim_OpenPort wants them: a recording of several interfaces
 * becomes one source each, in order of their names, which share the file's time origin; a vehicle becomes its four
 * buses with its options; other sources are returned as they are.
 *
 * @param text    out: the sources, each closed by a newline; zero-terminated
 * @param length  in: capacity of text, bytes; out: bytes needed, zero included (also with QOR_SIM_ERROR_CAPACITY)
 */
unsigned int Qor_Sim_ExpandSource(const char* source, char* text, unsigned int* length);

/** What became of a port's traffic. */
typedef struct Qor_Sim_Status_t {
  unsigned long Offered;       /* items that the source has produced so far */
  unsigned long Delivered;     /* items handed out in poll responses */
  unsigned long Lost;          /* items that the full capture buffer dropped */
  unsigned long FirstLostTime; /* ns; timestamp of the first lost item, 0 without one */
  unsigned long LastLostTime;  /* ns; timestamp of the last lost item */
  unsigned int Buffered;       /* items waiting in the capture buffer */
  unsigned int Finished;       /* 1: nothing more will come: the source has ended and all its items were delivered or
                                  lost, or the interface is gone */
  unsigned int Gone;           /* 1: the interface is gone: it answers nothing any more */
} Qor_Sim_Status_t;

/**
 * What became of a port's traffic up to now. A scripted port has no items: all is 0, and Finished is 1 when no response
 * waits.
 *
 * @return QOR_SIM_ERROR_HANDLE, _ARGUMENT (null)
 */
unsigned int Qor_Sim_GetStatus(unsigned int portHandle, Qor_Sim_Status_t* status);

/** What a port is an interface to. */
typedef struct Qor_Sim_Interface_t {
  unsigned int Type;         /* of the interface: 4 CAN, 5 LIN, 9 FlexRay, 14 Ethernet */
  unsigned long BitRate;     /* bit/s; 0 when it isn't known, as of most replays */
  unsigned long DataBitRate; /* bit/s of the data phase of CAN FD frames; 0 when it isn't known or there is none */
  char Name[64];             /* in a recording of several interfaces; empty without one; cut if longer */
  char Hardware[64];         /* what it is, in words */
} Qor_Sim_Interface_t;

/**
 * Describes the interface of a port.
 *
 * @return QOR_SIM_ERROR_HANDLE, _ARGUMENT (null)
 */
unsigned int Qor_Sim_GetInterface(unsigned int portHandle, Qor_Sim_Interface_t* interface);

/** A line that can't be read and was left out of a replay (option bad_lines=skip). */
typedef struct Qor_Sim_SkippedLine_t {
  unsigned long Number; /* of the line in its file, counted from 1 */
  char Reason[500];     /* why it can't be read, without a full stop; cut if longer */
} Qor_Sim_SkippedLine_t;

/**
 * Number of lines that were left out of the file that a port replays, whichever interface they belonged to: all ports
 * of a file report the same ones. 0 for other ports and unknown ones.
 */
unsigned long Qor_Sim_SkippedLineCount(unsigned int portHandle);
/**
 * Line number `index` of those, counted from 0, in the order of the file. The first 1000 are kept.
 *
 * @return QOR_SIM_ERROR_HANDLE, _ARGUMENT (null, or a line that is not kept)
 */
unsigned int Qor_Sim_GetSkippedLine(unsigned int portHandle, unsigned int index, Qor_Sim_SkippedLine_t* line);

/** What can happen to an interface of this machine. */
enum {
  QOR_SIM_NOTICE_GONE = 1, /* it receives nothing from here on: down, gone, or off the bus */
  QOR_SIM_NOTICE_BACK = 2, /* it receives again */
  QOR_SIM_NOTICE_CUT = 3   /* its frames are longer than an item can hold, and are cut; told once */
};

typedef struct Qor_Sim_Notice_t {
  unsigned long Time; /* ns since 1970 */
  unsigned int Kind;  /* QOR_SIM_NOTICE_* */
  char Text[300];     /* without a full stop; cut if longer */
} Qor_Sim_Notice_t;

/** Number of notices of a port so far; 0 for simulated ports and unknown ones. The last 1000 are kept. */
unsigned long Qor_Sim_NoticeCount(unsigned int portHandle);
/**
 * Notice number `index`, counted from 0.
 *
 * @return QOR_SIM_ERROR_HANDLE, _ARGUMENT (null, or a notice that is not kept)
 */
unsigned int Qor_Sim_GetNotice(unsigned int portHandle, unsigned long index, Qor_Sim_Notice_t* notice);

/* ---- The interfaces of this machine ------------------------------------------------------------------------------ */

/** Why an interface of this machine can't be recorded. */
enum {
  QOR_SIM_OBSTACLE_NONE = 0,
  QOR_SIM_OBSTACLE_KIND = 1,   /* no source knows interfaces of its kind */
  QOR_SIM_OBSTACLE_KERNEL = 2, /* the kernel lacks what it takes */
  QOR_SIM_OBSTACLE_RIGHTS = 3  /* this program may not */
};

typedef struct Qor_Sim_HostInterface_t {
  char Name[64];         /* also the source that records it */
  unsigned int Type;     /* 4 CAN, 14 Ethernet; 0 for another kind */
  char State[32];        /* "up", "down", "no carrier"; of a CAN controller also "error-passive", "bus-off" and so on */
  unsigned long BitRate; /* bit/s; 0 when it isn't known */
  unsigned long DataBitRate; /* likewise, of the data phase of CAN FD frames */
  char Driver[64];           /* empty when it isn't known */
  unsigned int Obstacle;     /* QOR_SIM_OBSTACLE_* */
  char Why[300];             /* a sentence without a full stop about the obstacle; empty without one */
} Qor_Sim_HostInterface_t;

/**
 * Lists the network interfaces of this machine, in the kernel's order.
 *
 * @param list   out: the first of them; may be null when *count is 0
 * @param count  in: capacity of list; out: the number of interfaces, also with QOR_SIM_ERROR_CAPACITY
 * @return QOR_SIM_ERROR_CAPACITY, _ARGUMENT (a null pointer)
 */
unsigned int Qor_Sim_ListInterfaces(Qor_Sim_HostInterface_t* list, unsigned int* count);

/* ---- Error reports ---------------------------------------------------------------------------------------------- */

/** One call of Qor_ErrorHandler. */
typedef struct Qor_Sim_Report_t {
  unsigned int Level; /* 255, or a port handle */
  unsigned int Code;
  char Text[500]; /* formatted; cut if longer */
} Qor_Sim_Report_t;

/** Number of reports since the start of the process or the last Qor_Sim_ClearReports. The last 10000 are kept. */
unsigned int Qor_Sim_ReportCount(void);
/** Report number `index`, counted from 0. @return QOR_SIM_ERROR_ARGUMENT (null, or a report that is not kept) */
unsigned int Qor_Sim_GetReport(unsigned int index, Qor_Sim_Report_t* report);
/** Forgets all reports; the next one is number 0. */
void Qor_Sim_ClearReports(void);

/** Makes Qor_ErrorHandler return 0 for this code (suppress not 0), or again the code itself. All are kept. */
void Qor_Sim_SuppressReports(unsigned int code, int suppress);

/**
 * Calls `callback` for every report from now on, on the reporting thread; null ends that. The callback may call
 * anything here, this function included; several threads may be inside of it at once. Once this function has
 * returned, no other thread is inside the callback from before, unless it was called from within a callback.
 */
void Qor_Sim_SetReportCallback(void (*callback)(void* context, const Qor_Sim_Report_t* report), void* context);

/* ---- Scripted ports (source "script"); other ports answer QOR_SIM_ERROR_ARGUMENT --------------------------------- */

/**
 * Queues the response of one poll. Polls beyond the queue get an empty response of the port's bus. A poll whose
 * capacity is below `length` fails with QOR_SIM_ERROR_CAPACITY and leaves the response in the queue.
 *
 * @param bytes          the response, copied; at most 65535 bytes
 * @param reportedLength what the poll says it returned; normally `length`, but any value goes
 */
unsigned int Qor_Sim_Script_Response(unsigned int portHandle, const unsigned char* bytes, unsigned int length,
                                     unsigned int reportedLength);

/** Queued responses that were not polled yet; 0 for a port without a script. */
unsigned int Qor_Sim_Script_Pending(unsigned int portHandle);

/** Calls that can be made to fail. */
enum {
  QOR_SIM_CALL_INTERFACE_INFO = 0, /* Qor_GetInterfaceInfo */
  QOR_SIM_CALL_OPEN = 1,           /* Qor_OpenInterface2 */
  QOR_SIM_CALL_CONFIGURE = 2,
  QOR_SIM_CALL_START = 3,
  QOR_SIM_CALL_STOP = 4,
  QOR_SIM_CALL_POLL = 5 /* after the queued responses are gone */
};

/**
 * Makes the next `times` calls of a kind fail with `code`, not 0 (0 times: none; replaces what was said before). Only
 * calls that would have succeeded count; calls refused for another reason don't. The port's state stays as it is.
 */
unsigned int Qor_Sim_Script_Fail(unsigned int portHandle, unsigned int call, unsigned int code, unsigned int times);

/**
 * What Qor_GetLastErrorByPortHandle answers on the port's connections: its result, and if that is 0 the code and text.
 * Without this, as on other ports, it answers with the last command that failed on the connection.
 */
unsigned int Qor_Sim_Script_LastError(unsigned int portHandle, unsigned int result, unsigned int code,
                                      const char* text);

/** One command that a port received, refused ones included. */
typedef struct Qor_Sim_Command_t {
  unsigned int Handle;  /* the connection */
  unsigned int Zero;    /* second argument of Qor_CommandWithResponseEx */
  unsigned int Command; /* command code */
  unsigned int Mode;
  unsigned int RequestLength; /* bytes */
  unsigned int Capacity;      /* of the response buffer, bytes */
  unsigned int Result;        /* what the port answered */
  unsigned char Request[64];  /* its first 64 bytes */
} Qor_Sim_Command_t;

/** Number of commands that a port (of any source) received, polls included; 0 for an unknown port. */
unsigned int Qor_Sim_CommandCount(unsigned int portHandle);
/**
 * Command number `index` of a scripted port, counted from 0. The first 10000 are kept; other ports keep none.
 *
 * @return QOR_SIM_ERROR_HANDLE, _ARGUMENT (null, or one that is not kept)
 */
unsigned int Qor_Sim_GetCommand(unsigned int portHandle, unsigned int index, Qor_Sim_Command_t* command);

/** Connections made by Qor_OpenInterface2 that are not closed, over all ports. */
unsigned int Qor_Sim_OpenConnections(void);

/*
 * For a program that also runs with a hardware library that lacks these calls: it defines QOR_SIM_OPTIONAL, and finds null in
 * their place there.
 */
#if defined(QOR_SIM_OPTIONAL)
#pragma weak Qor_Sim_ErrorText
#pragma weak Qor_Sim_OpenPort
#pragma weak Qor_Sim_ClosePort
#pragma weak Qor_Sim_ExpandSource
#pragma weak Qor_Sim_GetStatus
#pragma weak Qor_Sim_GetInterface
#pragma weak Qor_Sim_SkippedLineCount
#pragma weak Qor_Sim_GetSkippedLine
#pragma weak Qor_Sim_NoticeCount
#pragma weak Qor_Sim_GetNotice
#pragma weak Qor_Sim_ListInterfaces
#pragma weak Qor_Sim_ReportCount
#pragma weak Qor_Sim_GetReport
#pragma weak Qor_Sim_ClearReports
#pragma weak Qor_Sim_SuppressReports
#pragma weak Qor_Sim_SetReportCallback
#pragma weak Qor_Sim_Script_Response
#pragma weak Qor_Sim_Script_Pending
#pragma weak Qor_Sim_Script_Fail
#pragma weak Qor_Sim_Script_LastError
#pragma weak Qor_Sim_CommandCount
#pragma weak Qor_Sim_GetCommand
#pragma weak Qor_Sim_OpenConnections
#endif

#if defined(__GNUC__)
#pragma GCC visibility pop
#endif

#ifdef __cplusplus
}
#endif

#endif /* QOR_SIM_H */
