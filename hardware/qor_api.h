/*
 * qor_api.h - what the trace library calls in the hardware library, libqor_api.so.2.
 *
 * The hardware library opens bus interfaces, exchanges commands with their firmware, owns their monitor buffers
 * (on-device capture buffers) and takes every error report. These are our own declarations of the few calls
 * that the trace library makes; the simulator (hardware/simulator) implements them for machines without the
 * hardware. Not installed.
 *
 * A result of 0 is success; any other value is an error code of the hardware library.
 */
#ifndef QOR_API_H
#define QOR_API_H

#ifdef __cplusplus
extern "C" {
#endif

#if defined(__GNUC__)
#pragma GCC visibility push(default) /* exported, also where everything else is built hidden */
#endif

/** Interface types that the trace library knows (result of Qor_GetInterfaceType). */
enum { QOR_INTERFACE_CAN = 4, QOR_INTERFACE_LIN = 5, QOR_INTERFACE_FLEXRAY = 9, QOR_INTERFACE_ETHERNET = 14 };

/** Level of an error report that concerns no particular interface; any other level is a port handle. */
enum { QOR_ERROR_LEVEL_GENERAL = 255 };

/** Description of an interface; its contents are the hardware library's, to be passed on unchanged. */
typedef struct Qor_InterfaceInfo_t {
  unsigned char Bytes[1024];
} Qor_InterfaceInfo_t;

/**
 * Takes an error report; `format` and what follows as for printf.
 * @return the status that the caller is to return: `code`, or 0 if the handler suppresses it.
 */
unsigned int Qor_ErrorHandler(unsigned int level, unsigned int code, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

/** The type of an opened port's interface, QOR_INTERFACE_* or another; 0 for an unknown port. */
unsigned char Qor_GetInterfaceType(unsigned int portHandle);

/** Fills the description of an opened port's interface. */
unsigned int Qor_GetInterfaceInfo(unsigned int portHandle, Qor_InterfaceInfo_t* info);

/** Opens a further connection to the interface described; `mode` is 5 for a trace channel. */
unsigned int Qor_OpenInterface2(unsigned int mode, Qor_InterfaceInfo_t* info, unsigned int* handle);

/** The monitor instance of an opened port, sent in most monitor requests. */
unsigned char Qor_Monitor_InstanceId_Get(unsigned int portHandle);

/** Closes a connection made by Qor_OpenInterface2. */
unsigned int Qor_CloseInterface(unsigned int handle);

/**
 * Sends one command to the firmware and takes its response.
 *
 * @param zero            0
 * @param command         command code
 * @param mode            1 for configuration, start and stop; 2 or 0 for data polls, by bus
 * @param responseLength  in: capacity of `response`, bytes; out: bytes written
 */
unsigned int Qor_CommandWithResponseEx(unsigned int handle, unsigned int zero, unsigned int command, unsigned int mode,
                                       const unsigned char* request, unsigned int requestLength,
                                       unsigned char* response, unsigned int* responseLength);

/**
 * The last error of a connection.
 *
 * @param code        out: its code
 * @param textLength  in: capacity of `text`, bytes; out: characters written
 * @param text        out: its text, zero-terminated
 */
unsigned int Qor_GetLastErrorByPortHandle(unsigned int handle, unsigned int* code, unsigned int* textLength,
                                          char* text);

/* ---- Monitor items, as poll responses hold them. Little-endian, packed. ----------------------------------------- */

#pragma pack(push, 1)

/** CAN and CAN FD; the next item begins (16 + DataLength + 3) & ~3 bytes further. */
typedef struct Can_Param_Monitor_Buffer64_LargeItem_t {
  unsigned long Timestamp;  /*  0: ns */
  unsigned int Identifier;  /*  8: bit 31 set: extended, bit 30 set: CAN FD */
  unsigned char Flags;      /* 12 */
  unsigned char Reserved;   /* 13 */
  unsigned char Dlc;        /* 14 */
  unsigned char DataLength; /* 15: bytes in Data */
  unsigned char Data[64];   /* 16: DataLength bytes */
} Can_Param_Monitor_Buffer64_LargeItem_t;

/** LIN: the head of an item; a Lin_Param_Monitor_Buffer64_Item_Small_t follows. */
typedef struct Lin_Param_Monitor_Buffer64_ItemHeader_t {
  unsigned short ItemSize;    /* 0: bytes, this header included; the next item begins there */
  unsigned short Reserved;    /* 2 */
  unsigned int TimestampLow;  /* 4: ns, low half */
  unsigned int TimestampHigh; /* 8: ns, high half */
} Lin_Param_Monitor_Buffer64_ItemHeader_t;

/** LIN: the body of an item. */
typedef struct Lin_Param_Monitor_Buffer64_Item_Small_t {
  unsigned char Flags;      /* 0 */
  unsigned char DataLength; /* 1: bytes in Data, checksum included */
  unsigned char Identifier; /* 2: identifier byte, parity bits included */
  unsigned char Reserved;   /* 3 */
  unsigned int BitTime;     /* 4: eighths of a ns */
  unsigned char Data[8];    /* 8: data and checksum */
} Lin_Param_Monitor_Buffer64_Item_Small_t;

/** FlexRay; the next item begins (ItemSize + 3) & ~3 bytes further. */
typedef struct FlexRay_Param_Monitor_Entry_t {
  unsigned short ItemSize; /*  0: bytes of this item, these two included */
  unsigned short ItemType; /*  2 */
  unsigned long Timestamp; /*  4: ns */
  unsigned short EventKey; /* 12: key of kinds 7 to 10 (frames: channel and flags) */
  unsigned short SlotId;   /* 14: slot of a frame */
} FlexRay_Param_Monitor_Entry_t;

/** Ethernet; the next item begins ItemSize bytes further. */
typedef struct Ethernet_Param_Monitor_Item_t {
  unsigned short ItemSize; /*  0: bytes of this item, these two included */
  unsigned short ItemType; /*  2 */
  unsigned long Timestamp; /*  4: ns */
} Ethernet_Param_Monitor_Item_t;

#pragma pack(pop)

#if defined(__GNUC__)
#pragma GCC visibility pop
#endif

#ifdef __cplusplus
}
#endif

#endif /* QOR_API_H */
