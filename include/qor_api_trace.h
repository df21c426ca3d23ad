/*
 * qor_api_trace.h - the C interface of libqor_api_trace.so.2
 *
 * Records the traffic of vehicle buses (CAN and CAN FD, LIN, FlexRay, Ethernet) as seen by bus-interface
 * hardware, keeps it in timestamp order, hands it out as packed records and writes it to trace files.
 *
 * In short:
 *
 *   unsigned int monitor;
 *   Qor_Trace_Allocate(0, &monitor);                       a monitor ...
 *   Qor_Trace_AddChannel(monitor, &request, &response);    ... that watches a port of the hardware library
 *   Qor_Trace_Start(monitor, 0);
 *   Qor_Trace_GetItems(monitor, 0, start, &count, &size, buffer);   as often as wanted; see "Reading it all"
 *   Qor_Trace_Stop(monitor);
 *   Qor_Trace_ExportToASC(monitor, &export_request);
 *   Qor_Trace_Delete(monitor);
 *
 * Usable from C99 and C++. All structures are packed and little-endian; the offsets are given at each field.
 *
 * Statuses. Every function returns a status: 0 is success, anything else one of QOR_TRACE_STATUS_* below or a
 * code of the hardware library, which is passed on unchanged. Each error is reported exactly once to the
 * hardware library's error handler (Qor_ErrorHandler), at the moment it happens. Errors that are found before a monitor
 * is asked (an unknown handle, a wrong argument, a port in use) return what the handler made of them, so a handler that
 * suppresses such a code makes the call return 0; errors inside a monitor return their code in any case. One
 * report is no error: every successful Qor_Trace_Allocate passes one QOR_TRACE_STATUS_UNKNOWN_HANDLE to the handler.
 *
 * Threads. All functions may be called from any thread, on the same or on different monitors. The one
 * exception: while Qor_Trace_Delete runs, and after it, nobody may use that handle. Settings written with
 * Qor_Trace_Property_SetById, apart from the memory limit and the two flush commands, must be written while
 * the monitor is idle.
 *
 * Signals. The library's own threads block every signal, so handlers run on the application's threads only, and a signal
 * disturbs neither polls nor the order of entries. Exports write on the caller's thread, with the caller's signals.
 *
 * Ownership. The library owns monitors and entries; the caller owns every pointer passed in. Nothing that is
 * passed in is kept after the call returns.
 *
 * Exceptions. No exception crosses this interface, with two kinds left to the C++ run-time as they are: a
 * failing mutex or thread start of the operating system (std::system_error), and a null text for
 * Qor_Trace_Property_SetById (std::logic_error, a programming error). In a C program both end the process.
 */
#ifndef QOR_API_TRACE_H
#define QOR_API_TRACE_H

#if defined(__GNUC__)
#define QOR_TRACE_API __attribute__((visibility("default")))
#else
#define QOR_TRACE_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Version --------------------------------------------------------------------------------------------- */

/* The version that this header belongs to (Semantic Versioning). */
#define QOR_API_TRACE_VERSION_MAJOR 2
#define QOR_API_TRACE_VERSION_MINOR 0
#define QOR_API_TRACE_VERSION_PATCH 0
/** The three as one number that grows with the version: #if QOR_API_TRACE_VERSION >= 20100 is 2.1.0 or later. */
#define QOR_API_TRACE_VERSION \
  (QOR_API_TRACE_VERSION_MAJOR * 10000 + QOR_API_TRACE_VERSION_MINOR * 100 + QOR_API_TRACE_VERSION_PATCH)

/** Refuses to compile where unsigned long, which records hold times in, has other than 64 bits (-m32, for instance). */
typedef char Qor_Trace_NeedsUnsignedLongOf64Bits[sizeof(unsigned long) == 8 ? 1 : -1];

/* ---- Statuses ------------------------------------------------------------------------------------------ */

#define QOR_TRACE_STATUS_OK 0x00000000u
/** Add channel: the port is no CAN, LIN, FlexRay or Ethernet interface. */
#define QOR_TRACE_STATUS_UNSUPPORTED_INTERFACE 0x02140001u
/** A reserved argument is not 0, a flag or mode bit is not known, a pointer that is needed is null, or a file name
 *  is not terminated. */
#define QOR_TRACE_STATUS_INVALID_ARGUMENT 0x02140002u
/** Add channel: a monitor of this process traces the port already. */
#define QOR_TRACE_STATUS_PORT_IN_USE 0x02140003u
/** There is no such property. */
#define QOR_TRACE_STATUS_UNKNOWN_PROPERTY 0x02140004u
/** A property buffer is too short, a channel number is taken, or a file size limit is too small. */
#define QOR_TRACE_STATUS_INVALID_VALUE 0x02140005u
/** A property was written that can only be read, or read that can only be written. */
#define QOR_TRACE_STATUS_PROPERTY_ACCESS 0x02140006u
/** A file could not be opened, read or written. */
#define QOR_TRACE_STATUS_FILE_ERROR 0x02140007u
/** There is no monitor with this handle. */
#define QOR_TRACE_STATUS_UNKNOWN_HANDLE 0x02140008u
/** Start: the monitor has no channel. Add channel: no channel number is left. */
#define QOR_TRACE_STATUS_NO_CHANNEL 0x02140009u
/** The response buffer is too small for the next record; the records before it were copied. */
#define QOR_TRACE_STATUS_BUFFER_TOO_SMALL 0x0214000Au
/** Memory is exhausted. */
#define QOR_TRACE_STATUS_OUT_OF_MEMORY 0x0214000Cu
/** The hardware library's status for a function that is not supported (Qor_Trace_ExportToMDF). */
#define QOR_TRACE_STATUS_NOT_SUPPORTED 0x0200020Bu

/* ---- Trace entries --------------------------------------------------------------------------------------- */

/** Values of Qor_Trace_Entry_t::BusType. */
typedef enum Qor_Trace_BusType {
  BusType_Can = 0,     /* CAN and CAN FD */
  BusType_Lin = 1,     /* LIN */
  BusType_FlexRay = 2, /* FlexRay */
  BusType_Ethernet = 3 /* Ethernet */
} Qor_Trace_BusType;

/* Flags of a CAN entry. */
#define QOR_TRACE_CAN_EXTENDED 0x01u    /* 29-bit identifier */
#define QOR_TRACE_CAN_TRANSMITTED 0x02u /* sent by this interface; else received */
#define QOR_TRACE_CAN_ERROR 0x04u       /* error frame; Data[0] is the error kind, 1 to 7 */
#define QOR_TRACE_CAN_FD 0x08u          /* CAN FD frame */
#define QOR_TRACE_CAN_TRIGGER 0x10u     /* log-trigger event; Data[0]: 0 rising, 1 falling edge, else a user event */
#define QOR_TRACE_CAN_BRS 0x20u         /* bit-rate switch */
#define QOR_TRACE_CAN_ESI 0x40u         /* error-state indicator */
#define QOR_TRACE_CAN_OVERRUN 0x80u     /* the last entry before data were lost */
/* Marker bits of a CAN entry's Identifier; mask them off for the plain identifier. */
#define QOR_TRACE_CAN_ID_EXTENDED 0x80000000u
#define QOR_TRACE_CAN_ID_FD 0x40000000u

/* Flags of a LIN entry. */
#define QOR_TRACE_LIN_PARITY_ERROR 0x0001u   /* identifier parity error */
#define QOR_TRACE_LIN_CHECKSUM_ERROR 0x0002u /* checksum error */
#define QOR_TRACE_LIN_SYNC_ERROR 0x0004u     /* sync field error */
#define QOR_TRACE_LIN_TRANSMIT_ERROR 0x0008u /* transmit error; only together with QOR_TRACE_LIN_TRANSMITTED */
#define QOR_TRACE_LIN_EVENT 0x0010u          /* event-triggered frame information */
#define QOR_TRACE_LIN_WAKEUP 0x0020u         /* wake-up */
#define QOR_TRACE_LIN_TRANSMITTED 0x0040u    /* sent by this interface; else received */
#define QOR_TRACE_LIN_OVERRUN 0x0080u        /* the last entry before data were lost */

/* ItemType of FlexRay and Ethernet entries: 0 is the last entry before data were lost (its kind is gone). */
#define QOR_TRACE_FLEXRAY_OVERRUN 0u
#define QOR_TRACE_FLEXRAY_RECEIVED 1u
#define QOR_TRACE_FLEXRAY_TRANSMITTED 2u
#define QOR_TRACE_ETHERNET_OVERRUN 0u
#define QOR_TRACE_ETHERNET_FRAME 1u
#define QOR_TRACE_ETHERNET_CUSTOM 2u /* a record that only the PCAPNG export writes, as a custom block */

/* FrameFlags of a FlexRay entry. */
#define QOR_TRACE_FLEXRAY_INDICATOR 0x02u /* a further indicator (payload preamble) */
#define QOR_TRACE_FLEXRAY_NULL 0x04u      /* null frame: no payload is valid */
#define QOR_TRACE_FLEXRAY_SYNC 0x08u      /* sync frame */
#define QOR_TRACE_FLEXRAY_STARTUP 0x10u   /* startup frame */

/* Flags of an Ethernet entry. */
#define QOR_TRACE_ETHERNET_TRANSMITTED 0x01u /* sent by this interface; else received */
#define QOR_TRACE_ETHERNET_CRC_ERROR 0x02u   /* received with a CRC error */

#pragma pack(push, 1)

/*
 * Payload of a CAN or CAN FD entry; the offsets count from the start of the entry. Length = 44 + DataLength.
 */
typedef struct Qor_Trace_Entry_Can_t {
  unsigned long ItemTimestamp; /* 28: ns; equal to Timestamp */
  unsigned int Identifier;     /* 36: identifier; bit 31 set: extended, bit 30 set: CAN FD */
  unsigned char Flags;         /* 40: QOR_TRACE_CAN_* */
  unsigned char Reserved;      /* 41: as the hardware gave it */
  unsigned char Dlc;           /* 42: data length code as on the bus, 0 to 15 */
  unsigned char DataLength;    /* 43: number of data bytes that follow, 0 to 64 */
  unsigned char Data[64];      /* 44: only DataLength bytes are there */
} Qor_Trace_Entry_Can_t;

/* Payload of a LIN entry. Length = 48. */
typedef struct Qor_Trace_Entry_Lin_t {
  unsigned short Reserved1; /* 28: 0; skip an entry with another value */
  unsigned short Flags;     /* 30: QOR_TRACE_LIN_* */
  unsigned char DataLength; /* 32: bytes in Data, the checksum included: a frame has DataLength - 1 data bytes */
  unsigned char Identifier; /* 33: bits 0 to 5 are the frame identifier (an event: 0 rising edge, else falling) */
  unsigned char Reserved2;  /* 34: 0 */
  unsigned char Data[8];    /* 35: data bytes, then the checksum; a ninth byte reaches into Pad */
  unsigned char Pad;        /* 43 */
  unsigned int BitTime;     /* 44: eighths of a ns; bit rate = 1e9 / (BitTime >> 3) bit/s */
} Qor_Trace_Entry_Lin_t;

/* Payload of a FlexRay entry. Length = 28 + ItemSize. */
typedef struct Qor_Trace_Entry_FlexRay_t {
  unsigned short ItemSize;     /* 28: bytes of this payload, these two included */
  unsigned short ItemType;     /* 30: 1 received frame, 2 transmitted frame, 3 to 10 events, 0 overrun */
  unsigned long ItemTimestamp; /* 32: ns; equal to Timestamp */
  unsigned char Channel;       /* 40: frames: 0 channel A, 1 channel B, 2 both; other kinds: a sub-kind */
  unsigned char FrameFlags;    /* 41: QOR_TRACE_FLEXRAY_* */
  unsigned short SlotId;       /* 42: slot of a frame, 1 to 2047 */
  unsigned char Cycle;         /* 44: cycle counter, 0 to 63 */
  unsigned char PayloadLength; /* 45: payload in 16-bit words, 0 to 127 */
  unsigned short HeaderCrc;    /* 46: header CRC, 11 bits */
  unsigned char Data[254];     /* 48: 2 * PayloadLength bytes, as far as ItemSize reaches */
} Qor_Trace_Entry_FlexRay_t;

/* Payload of an Ethernet entry. Length = 28 + ItemSize. */
typedef struct Qor_Trace_Entry_Ethernet_t {
  unsigned short ItemSize;     /* 28: bytes of this payload, these two included */
  unsigned short ItemType;     /* 30: QOR_TRACE_ETHERNET_FRAME, _CUSTOM or _OVERRUN */
  unsigned long ItemTimestamp; /* 32: ns; equal to Timestamp */
  unsigned char Flags;         /* 40: QOR_TRACE_ETHERNET_TRANSMITTED, _CRC_ERROR */
  unsigned char Reserved;      /* 41 */
  unsigned short FrameLength;  /* 42: bytes in Frame, as far as ItemSize reaches */
  unsigned char Frame[1524];   /* 44: the frame from the destination address on, without the CRC */
} Qor_Trace_Entry_Ethernet_t;

/*
 * One trace entry: one event of one bus.
 *
 * A record is as long as its Length says, and no longer: most records are far shorter than this type, so
 * never copy sizeof(Qor_Trace_Entry_t) bytes from one, and check Length before reading a payload field that
 * it might not hold. Records of interfaces with faulty firmware may be longer than this type.
 */
typedef struct Qor_Trace_Entry_t {
  unsigned int Length;             /*  0: bytes of this record, this header included */
  unsigned int ChannelId;          /*  4: the monitor's channel number */
  unsigned long Timestamp;         /*  8: ns, clock of the interface */
  unsigned long RelativeTimestamp; /* 16: list items: ns since the previous entry of the same message (its cycle
                                           time; 0 for the first one); trace items: 0 */
  unsigned char BusType;           /* 24: Qor_Trace_BusType; decides which payload is there */
  unsigned char Reserved[3];       /* 25: 0 */
  union {
    Qor_Trace_Entry_Can_t Can;           /* BusType_Can */
    Qor_Trace_Entry_Lin_t Lin;           /* BusType_Lin */
    Qor_Trace_Entry_FlexRay_t FlexRay;   /* BusType_FlexRay */
    Qor_Trace_Entry_Ethernet_t Ethernet; /* BusType_Ethernet */
    unsigned char Bytes[1540];
  } Payload; /* 28 */
} Qor_Trace_Entry_t;

/* ---- Requests and responses -------------------------------------------------------------------------------- */

/** Request of Qor_Trace_AddChannel; 12 bytes. */
typedef struct Qor_Trace_AddChannel_Request_t {
  unsigned int Reserved;   /* 0: 0 */
  unsigned int PortHandle; /* 4: an interface that the caller opened with the hardware library */
  unsigned int ChannelId;  /* 8: wanted channel number, or 0 for the lowest free one from 1 on */
} Qor_Trace_AddChannel_Request_t;

/** Response of Qor_Trace_AddChannel; 12 bytes, all 0 when the call fails. */
typedef struct Qor_Trace_AddChannel_Response_t {
  unsigned int Reserved1; /* 0: 0 */
  unsigned int ChannelId; /* 4: the channel number given */
  unsigned int Reserved2; /* 8: 0 */
} Qor_Trace_AddChannel_Response_t;

/** Request of the export functions; 276 bytes. */
typedef struct Qor_Trace_Export_Request_t {
  unsigned int Flags;        /*   0: QOR_TRACE_ASC_* or QOR_TRACE_PCAP_* */
  char FileName[260];        /*   4: path of the output file, zero-terminated, in the file system's encoding */
  unsigned long MaxFileSize; /* 264: the START TIME in ns on the entries' clock, despite its name; read when the
                                     flags ask for it (QOR_TRACE_ASC_START_OFFSET, QOR_TRACE_PCAP_START_OFFSET) and, in
                                     ASC files, subtracted in the SOF column of LIN lines in any case */
  unsigned int Extra;        /* 272: ASC with QOR_TRACE_ASC_SPLIT: size limit of one file in bytes, at least 512 */
} Qor_Trace_Export_Request_t;

#pragma pack(pop)

/* ---- Start modes, export flags, properties ------------------------------------------------------------------ */

/** Start: write every stored entry to a live ASC file as well (properties ASC_FILE_NAME and ASC_MAX_FILE_SIZE). The file is
 *  brought up to date after each batch of a single channel (every 10 ms) or each pass of the sort stage (every 50 ms):
 *  a process that dies loses the lines of the batch or pass at work, what still waited in the sort stage (100 to
 *  400 ms with interfaces that deliver in time), and the closing line. A file that fails is given up (a pipe fails at once:
 *  this is a series, see QOR_TRACE_ASC_SPLIT): the error is reported with the file's path and the system's reason, with one
 *  channel its receive thread ends and Qor_Trace_Stop returns as usual, with several the process ends (the sort thread has
 *  nobody to return an error to). The same holds for a swap file that fails; what Stop is the first to learn is its status. */
#define QOR_TRACE_START_ASC_RECORDING 0x1u
/** Start: at the memory limit drop the older half of the trace instead of moving it to the swap file. */
#define QOR_TRACE_START_DISCARD_OLDEST 0x2u
/** Start: accepted, without effect. */
#define QOR_TRACE_START_RESERVED 0x4u

/** ASC export: "base dec" in the header and decimal numbers where the dialect follows the base; else hexadecimal. */
#define QOR_TRACE_ASC_DECIMAL 0x1u
/** ASC export: print each entry's relative timestamp. */
#define QOR_TRACE_ASC_RELATIVE 0x2u
/** ASC export: subtract the start time; without QOR_TRACE_ASC_RELATIVE earlier entries are left out. */
#define QOR_TRACE_ASC_START_OFFSET 0x4u
/** ASC export: continue in the next file of a series (name.asc, name_1.asc, ...) once a file exceeds the size limit. A
 *  series is written to files only: a pipe, whose position can't be read, returns FILE_ERROR after its first line. */
#define QOR_TRACE_ASC_SPLIT 0x8u

/** PCAPNG export: leave out entries before the start time and subtract it from the others. */
#define QOR_TRACE_PCAP_START_OFFSET 0x1u

/** Number of a property; 16 bits count. */
typedef unsigned short Qor_Trace_PropertyId_t;

/* clang-format off */
/*  id                                             kind     get  set   default           meaning */
#define QOR_TRACE_PROPERTY_ENTRY_COUNT 0u       /* number   yes  no    0                 entries in the trace, swap file included */
#define QOR_TRACE_PROPERTY_LIST_COUNT 1u        /* number   yes  no    0                 rows of the list */
#define QOR_TRACE_PROPERTY_FLUSH 2u             /* command  no   yes                     empties the trace (and the swap file) */
#define QOR_TRACE_PROPERTY_FLUSH_LIST 3u        /* command  no   yes                     empties the list */
#define QOR_TRACE_PROPERTY_MAX_ENTRIES 4u       /* number   yes  yes   by the channels   memory limit, in entries */
#define QOR_TRACE_PROPERTY_ASC_FILE_NAME 5u     /* text     yes  yes   stem + ".asc"     live ASC recording, for the next start */
#define QOR_TRACE_PROPERTY_ASC_MAX_FILE_SIZE 6u /* number   yes  yes   524288000         its size limit, bytes */
#define QOR_TRACE_PROPERTY_MDF_FILE_NAME 7u     /* text     yes  yes   stem + ".mf4"     stored only */
#define QOR_TRACE_PROPERTY_MDF_MAX_FILE_SIZE 8u /* number   yes  yes   2097152           stored only */
#define QOR_TRACE_PROPERTY_FILE_INFO_1 9u       /* text     yes  yes   empty             stored only */
#define QOR_TRACE_PROPERTY_FILE_INFO_2 10u      /* text     yes  yes   empty             stored only */
#define QOR_TRACE_PROPERTY_FILE_INFO_3 11u      /* text     yes  yes   empty             stored only */
#define QOR_TRACE_PROPERTY_FILE_INFO_4 12u      /* text     yes  yes   empty             stored only */
/* clang-format on */

/* ---- Monitors -------------------------------------------------------------------------------------------------- */

/**
 * Makes a monitor.
 *
 * Its files are named by its second of birth (the stem "Qor_Trace_yy-mm-dd-HH-MM-SS") and lie in the working
 * directory; two monitors born in the same second share their swap file, so give them different directories or
 * let a second pass when both may swap.
 *
 * @param reserved  0
 * @param handle    out: the handle; 1 for the first monitor of the process, never reused
 * @return INVALID_ARGUMENT (reserved not 0, handle null), OUT_OF_MEMORY, UNKNOWN_HANDLE (the hardware library's
 *         error handler suppressed the look-up's report, see "Statuses"); there is no monitor then.
 */
QOR_TRACE_API unsigned int Qor_Trace_Allocate(unsigned int reserved, unsigned int* handle);

/**
 * Stops a monitor and destroys it with its channels, entries and swap file. The handle is gone afterwards
 * whatever the result.
 *
 * @return UNKNOWN_HANDLE, or what Qor_Trace_Stop returns.
 */
QOR_TRACE_API unsigned int Qor_Trace_Delete(unsigned int handle);

/**
 * Adds a bus interface to a monitor. On a running monitor the channel takes part from the next start on.
 * Lowers QOR_TRACE_PROPERTY_MAX_ENTRIES to what the bus allows (CAN and LIN 9000000, FlexRay 3000000, Ethernet
 * 500000) when it is higher or 0.
 *
 * @param request   the port and the wanted number
 * @param response  out: the number given; set to 0 first
 * @return UNKNOWN_HANDLE, PORT_IN_USE, INVALID_ARGUMENT (reserved word not 0, a null pointer),
 *         INVALID_VALUE (number taken), NO_CHANNEL (no number left), UNSUPPORTED_INTERFACE, OUT_OF_MEMORY, or the
 *         hardware library's code when opening or configuring failed; the monitor is then as before.
 */
QOR_TRACE_API unsigned int Qor_Trace_AddChannel(unsigned int handle, const Qor_Trace_AddChannel_Request_t* request,
                                                Qor_Trace_AddChannel_Response_t* response);

/**
 * Stops a channel and removes it. A number that is not there is no error. The memory limit stays as it is.
 *
 * @return UNKNOWN_HANDLE
 */
QOR_TRACE_API unsigned int Qor_Trace_RemoveChannel(unsigned int handle, unsigned int channel);

/**
 * Stops and removes all channels.
 *
 * @return UNKNOWN_HANDLE
 */
QOR_TRACE_API unsigned int Qor_Trace_ClearChannelList(unsigned int handle);

/**
 * Starts all channels. The trace continues where it was; to begin anew, flush first. A monitor that runs already
 * is left as it is, whatever the mode.
 *
 * With one channel entries are stored as they come. With more, they pass a sort stage that holds them back
 * for at least 100 ms, as a rule for less than 400 ms, and merges the channels by timestamp; that is exact as long as
 * the interfaces share a clock and each delivers within 50 ms.
 *
 * The sort stage makes a pass every 50 ms, and each pass moves it on by 50 ms of bus time. Passes always come a little
 * late. Once that adds up to more than 200 ms, and entries more than 200 ms newer are waiting, passes come every 25 ms
 * until one of the two no longer holds.
 *
 * An interface that fails while it runs (a pulled plug) delivers nothing more, and nobody is told until the stop: an
 * application that must know at once watches for a channel from which no more entries come.
 *
 * @param mode  QOR_TRACE_START_*, or 0
 * @return UNKNOWN_HANDLE, INVALID_ARGUMENT (an unknown bit), NO_CHANNEL, FILE_ERROR (the ASC file), or the
 *         hardware library's code when a channel could not start. In this last case the channels before it run:
 *         call Qor_Trace_Stop.
 */
QOR_TRACE_API unsigned int Qor_Trace_Start(unsigned int handle, unsigned int mode);

/**
 * Stops all channels, stores what still waits in the sort stage, and closes the live ASC file. Trace, list and
 * swap file are kept.
 *
 * @return UNKNOWN_HANDLE; the hardware library's code of the last channel that could not be stopped;
 *         FILE_ERROR when the last entries could not be recorded or swapped; OUT_OF_MEMORY when they could not be stored:
 *         those that are not are still in the sort stage, and another stop stores them.
 */
QOR_TRACE_API unsigned int Qor_Trace_Stop(unsigned int handle);

/* ---- Reading --------------------------------------------------------------------------------------------------- */

/**
 * Copies entries of the trace, by index, into the caller's buffer. Nothing is removed.
 *
 * Records (Qor_Trace_Entry_t, Length bytes each) follow one another, each beginning at the next multiple of 8
 * after the previous one; the bytes between are left as they were. RelativeTimestamp is 0.
 *
 * Reading it all. A monitor that reaches its memory limit moves its store to the swap file, and from then on
 * this function starts at the wrong place when `start` lies beyond the entries that were moved. That is part
 * of the interface. A client that wants every entry exactly once, in order, while the monitor runs, does this,
 * with N = QOR_TRACE_PROPERTY_MAX_ENTRIES, at least 1, not changed after the start, without
 * QOR_TRACE_START_DISCARD_OLDEST, and next = the number of entries it has read so far:
 *
 *  1. Call with start = next and count = capacity / 1568 (sizeof(Qor_Trace_Entry_t), which no record of sound hardware
 *     exceeds), so that no call ends in BUFFER_TOO_SMALL.
 *     Records that come back are the right ones: below N nothing is swapped that isn't
 *     addressed rightly, and from N on a start beyond the swapped entries yields no record, since fewer
 *     than N are in memory. Take them and repeat.
 *  2. No record came back: if QOR_TRACE_PROPERTY_ENTRY_COUNT equals next, there is nothing new. Else
 *     next lies in memory, after swapped entries. Find, by halving the range up to next, the greatest
 *     start (N or more) for which a call with count = 1 yields a record: that is the number of swapped entries.
 *     Call with that start and count = 0 into a buffer for N records, and leave out the first
 *     (next - start) of them.
 *
 * A small N (some ten thousands) keeps that buffer small. tools/qor-trace/recording/TraceDrain.h is this recipe as code.
 *
 * @param reserved  0
 * @param start     index of the first entry wanted, from 0; one beyond the end yields no record and no error
 * @param count     in: greatest number of records wanted, 0 for no limit; out: records copied
 * @param size      in: capacity of the buffer, bytes; out: bytes used, up to the end of the last record
 *                  rounded up to 8
 * @param buffer    out: the records
 * @return UNKNOWN_HANDLE, INVALID_ARGUMENT (reserved not 0, a null pointer), BUFFER_TOO_SMALL: the next record does not fit.
 *         The records counted in *count are valid all the same: continue after them.
 *         Where the swap file can't be read (no file descriptor left, a file that somebody has cut or removed), the
 *         records end there, without a status: never an entry under the index of another one.
 */
QOR_TRACE_API unsigned int Qor_Trace_GetItems(unsigned int handle, unsigned int reserved, unsigned int start,
                                              unsigned int* count, unsigned int* size, unsigned char* buffer);

/**
 * Copies rows of the list into the caller's buffer: the newest entry of each message of each CAN, LIN and
 * FlexRay channel, in ascending order of channel number and message key (CAN: identifier with its marker bits).
 * RelativeTimestamp is the cycle time: the time since the row's entry before it. A message that comes more than once
 * between two polls of its interface (10 ms) is listed once, so that its cycle time spans several of its entries.
 * Arguments, record placement and results as in Qor_Trace_GetItems;
 * start and count count rows; a count that reaches beyond the last row means all rows from start on.
 */
QOR_TRACE_API unsigned int Qor_Trace_GetListItems(unsigned int handle, unsigned int reserved, unsigned int start,
                                                  unsigned int* count, unsigned int* size, unsigned char* buffer);

/* ---- Properties ------------------------------------------------------------------------------------------------ */

/**
 * Reads a property.
 *
 * @param selector  not used
 * @param id        QOR_TRACE_PROPERTY_*
 * @param length    in: capacity of value, bytes; out: 4 for a number, the characters copied (without the closing
 *                  zero) for a text; a longer text is cut
 * @param value     out: a number as u32 in host byte order, or a zero-terminated text
 * @return UNKNOWN_HANDLE, INVALID_ARGUMENT (a null pointer), UNKNOWN_PROPERTY, PROPERTY_ACCESS (commands), INVALID_VALUE
 *         (capacity below 4 for a number, 1 for a text)
 */
QOR_TRACE_API unsigned int Qor_Trace_Property_GetById(unsigned int handle, unsigned int selector,
                                                      Qor_Trace_PropertyId_t id, unsigned int* length,
                                                      unsigned char* value);

/**
 * Writes a property, or carries out a command (QOR_TRACE_PROPERTY_FLUSH, _FLUSH_LIST; value and length are ignored).
 * A new memory limit applies from the next batch of entries on; a new ASC file name or limit at the next start.
 *
 * @param selector  not used
 * @param id        QOR_TRACE_PROPERTY_*
 * @param length    bytes at value; at least 4 for a number, not read for a text
 * @param value     a number as u32 in host byte order, or a zero-terminated text
 * @return UNKNOWN_HANDLE, INVALID_ARGUMENT (a null number), UNKNOWN_PROPERTY, PROPERTY_ACCESS (the two counts),
 *         INVALID_VALUE (length below 4 for a number); nothing is changed then. FILE_ERROR: a flush has emptied the memory,
 *         but not the swap file, whose entries still count; flush again.
 */
QOR_TRACE_API unsigned int Qor_Trace_Property_SetById(unsigned int handle, unsigned int selector,
                                                      Qor_Trace_PropertyId_t id, unsigned int length,
                                                      const unsigned char* value);

/* ---- Export ---------------------------------------------------------------------------------------------------- */

/**
 * Writes the whole trace, swapped entries included, to an ASC text file ("// version 8.1.0") or, with
 * QOR_TRACE_ASC_SPLIT, to a series of them. The trace of the moment of the call is written on the caller's
 * thread; the monitor may run on, be flushed and be exported again meanwhile. An existing file is replaced.
 *
 * Acquisition waits some tens of microseconds for it, however large the swap file is: its copy, the swap file's name + ".bak",
 * is a second name of the same file while the export runs. Only on a file system without such (FAT) are the bytes copied, for
 * which nobody waits.
 *
 * @return UNKNOWN_HANDLE, INVALID_ARGUMENT (flags of 16 or more, a null request), INVALID_VALUE (a split limit below 512),
 *         FILE_ERROR (a file can't be opened or written, or the swap file can't be read; what was written stays, and the
 *         copy of the swap file may stay as well)
 */
QOR_TRACE_API unsigned int Qor_Trace_ExportToASC(unsigned int handle, const Qor_Trace_Export_Request_t* request);

/**
 * Writes the Ethernet entries of the trace that are in memory to a PCAPNG file. Entries of the other buses, and entries
 * that were moved to the swap file, are not in it. The trace of the moment of the call is written on the caller's
 * thread; the monitor may run on meanwhile. An existing file is replaced.
 *
 * request->MaxFileSize is the start time in ns; it counts with QOR_TRACE_PCAP_START_OFFSET only. Extra is not read.
 *
 * The file is one little-endian section. Each channel is an interface, in the order of their first entries, named by
 * the channel number in decimal, with times in ns. A frame (QOR_TRACE_ETHERNET_FRAME) is an enhanced packet block with
 * its direction and CRC error in epb_flags; a QOR_TRACE_ETHERNET_CUSTOM record is a custom block of the enterprise
 * number 0 that holds (FrameLength & 0xFF) bytes; entries of other kinds are left out. A frame that announces more
 * bytes than its record holds is written with those that are present.
 *
 * Wireshark, tcpdump and scapy refuse the file as soon as it holds an interface: each interface description block
 * (block type 1) declares four bytes more than it has, at its beginning and at its end. That is part of this interface. To
 * repair a file for such readers, walk its blocks and make both length fields of each interface description block
 * smaller by 4: the one at the block's offset 4 (length L as it stands there), and the last four bytes of the block, at
 * offset L - 8; the next block begins at offset L - 4. The section length of 44 in the section header block doesn't
 * fit either, but these readers don't use it.
 *
 * @return UNKNOWN_HANDLE, INVALID_ARGUMENT (flags of 2 or more, a null request), FILE_ERROR (the file can't be opened).
 *         Writing is not checked: after a full disk, say, the file is cut short and the status is 0. A caller that must
 *         know looks at the free space, or at the file.
 */
QOR_TRACE_API unsigned int Qor_Trace_ExportToPCAP(unsigned int handle, const Qor_Trace_Export_Request_t* request);

/**
 * Always returns NOT_SUPPORTED, whatever the arguments. MDF files are written through the C++ class MdfFile.
 */
QOR_TRACE_API unsigned int Qor_Trace_ExportToMDF(unsigned int handle, const Qor_Trace_Export_Request_t* request);

#ifdef __cplusplus
}
#endif

#endif /* QOR_API_TRACE_H */
