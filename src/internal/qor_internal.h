/*
 * qor_internal.h - platform helpers that the libraries of the hardware-interface family link from here: events,
 * thread start, message queues, time and number conversions, interface-type tables.
 *
 * C linkage, usable from C99 and C++.
 *
 * Errors. Each function says what it returns. Where it says "logs", it writes one line to the system log (syslog,
 * priority 3, error). errno is as the failing call of the system left it, except where a function says otherwise.
 * Null pointers are errors like others: nothing is read or written through them.
 *
 * Threads. All functions may be called from any thread, on the same or on different objects. Exceptions are noted.
 *
 * Ownership. The caller owns every pointer passed in; nothing is kept after the call returns.
 */
#ifndef QOR_INTERNAL_H
#define QOR_INTERNAL_H

#include <pthread.h>
#include <time.h> /* NOLINT(modernize-deprecated-headers): for C too */

#include "internal/Visibility.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Statuses ------------------------------------------------------------------------------------------ */

/** A message could not be sent or received, or the reply is too long. */
#define QOR_INTERNAL_STATUS_MESSAGE_FAILED 0x02000100u
/** A file could not be opened, or its end not be found. */
#define QOR_INTERNAL_STATUS_FILE_ERROR 0x02000108u
/** There is no such interface or host-interface type, or nowhere to put the answer. */
#define QOR_INTERNAL_STATUS_INVALID_TYPE 0x02000206u

/* ---- Events -------------------------------------------------------------------------------------------- */

/** An event whose condition variable and mutex lie elsewhere. Waiters hold the mutex and wait for Signalled. */
typedef struct Qor_Internal_Event_t {
  pthread_cond_t* Condition; /*  0 */
  pthread_mutex_t* Mutex;    /*  8: guards Signalled */
  unsigned int Signalled;    /* 16: 0 or 1 */
} Qor_Internal_Event_t;

/** An event that contains its condition variable and mutex, for memory that processes share. */
typedef struct Qor_External_Event_t {
  pthread_cond_t Condition; /*  0 */
  pthread_mutex_t Mutex;    /* 48: guards Signalled */
  unsigned int Signalled;   /* 88: 0 or 1 */
} Qor_External_Event_t;

/**
 * Sets the event's flag to 1 and wakes all who wait for it. The flag stays until it is reset.
 *
 * If the mutex can't be locked, logs that and carries on all the same, the unlock included: a caller that
 * already held an error-checking mutex has lost it afterwards. A robust mutex whose owner died is taken over.
 *
 * @return 0 or the error number of pthread_mutex_unlock; EINVAL for a null pointer, or one inside the event (nothing is done)
 */
QOR_EXPORT int Qor_Internal_SetEvent(Qor_Internal_Event_t* event);

/** As Qor_Internal_SetEvent, on the embedded mutex and condition variable. */
QOR_EXPORT int Qor_External_SetEvent(Qor_External_Event_t* event);

/** Sets the event's flag to 0. As Qor_Internal_SetEvent otherwise, but a lock that fails is not logged. */
QOR_EXPORT int Qor_Internal_ResetEvent(Qor_Internal_Event_t* event);

/* ---- Threads ------------------------------------------------------------------------------------------- */

/**
 * Starts a thread with default attributes.
 *
 * @param unused  not looked at
 * @return the thread's pthread_t; the caller joins or detaches it. 0 if it could not be started or `start` is null;
 *         invalid attributes are logged. Attributes that can't be freed are logged as well; the thread runs.
 */
QOR_EXPORT pthread_t Qor_Internal_Thread_Start(void* (*start)(void*), void* unused, void* argument);

/* ---- Time, numbers, texts, files ----------------------------------------------------------------------- */

/**
 * Milliseconds, with fractions, of the monotonic clock; 0.0 if the clock fails. (The family's other libraries link this
 * function and itoa by these names.)
 */
QOR_EXPORT double GetTickCount(void);

/** Nanoseconds as seconds and nanoseconds; tv_nsec is 0 to 999999999 for negative times too: -1 is {-1, 999999999}. */
QOR_EXPORT struct timespec ns_to_timespec(long ns);

/**
 * Prints a value in decimal.
 *
 * @param buffer  out: the digits and a closing zero; at most 21 bytes
 * @return buffer; null if it is null
 */
QOR_EXPORT char* itoa(long value, char* buffer);

/**
 * The system's text for an error number, as strerror returns it. (The name is kept for the family's other platform.)
 *
 * @param errorNumber  an errno value; an unknown one yields "Unknown error <n>"
 * @return never null; the library's own, valid until the same thread calls again. errno is left alone.
 * Threads: any; no thread sees another's text.
 */
QOR_EXPORT const char* Qor_Internal_GetWindowsErrorDescription(int errorNumber);

/**
 * The size of a file that can be opened for reading.
 *
 * @param size  out: bytes; of a file of 4 GiB or more the low 32 bits. Unchanged on failure.
 * @return 0 or FILE_ERROR: can't be opened, is a directory, has no end to seek to (a pipe), a null pointer
 */
QOR_EXPORT unsigned int Qor_Internal_GetFileSize(const char* path, unsigned int* size);

/**
 * A fraction near x: the first convergent of its continued fraction within 0.00001f (9.999999747378752e-6) of it. No
 * fraction with a denominator as small or smaller lies nearer, and it is in lowest terms. A fraction with a denominator
 * up to 316 is found again exactly; of one with a greater denominator a simpler neighbour may be near enough, and which
 * one can depend on the rounding of x (0.438 yields 166/379 rather than 219/500).
 *
 * If the next convergent's numerator or denominator doesn't fit, the last one that does is the result, and may be
 * farther off; that can't happen for |x| up to 20000. The result is 0/1 for |x| up to the tolerance, for numbers whose
 * whole part doesn't fit, for infinities and for NaN.
 *
 * @param numerator    out: 0 to 4294967295. For a negative x the negated numerator of |x| in two's complement, to be
 *                     read as a signed 32-bit number; "fits" then means -2147483648 and above.
 * @param denominator  out: 1 to 4294967295. If either pointer is null, nothing is written.
 */
QOR_EXPORT void Qor_Internal_Math_Float64_Decimal2Fraction(unsigned int* numerator, unsigned int* denominator,
                                                           double x);

/* ---- Message queues ------------------------------------------------------------------------------------ */
/*
 * POSIX message queues. A name begins with a slash and has up to 255 more characters. A descriptor is a mqd_t; all
 * bits set (-1) is a closed one. A name that is null, or has no slash, fails with EINVAL.
 *
 * A queue pair is named by a base name: base + "-R" is read from, base + "-W" written to.
 */

struct mq_attr;

/**
 * Opens a queue that exists.
 *
 * @param writeFlag         0 to receive, else to send
 * @param mode, attributes  passed on to mq_open, which has no use for them unless it creates
 * @return the descriptor, to be closed by the caller; negative on failure, which is logged
 */
QOR_EXPORT int Open_MsgQueue(const char* name, unsigned char writeFlag, unsigned int mode, struct mq_attr* attributes);

/**
 * Creates a queue for up to 3 messages, readable and writable for everyone. A queue of that name is removed first,
 * which is logged; who has it open keeps the old one.
 *
 * If the queue can't be created for another reason than ENOSPC or EINVAL, one more attempt is made with permissions
 * 0606. Failures are logged, except EMFILE of the first attempt.
 *
 * The process's umask is 0 for a moment, so that the permissions are as given here, and then as before. Files that
 * other threads create at that moment get their permissions unmasked; calls of this function exclude one another.
 *
 * @param messageSize  greatest length of a message, bytes, 1 or more
 * @param writeFlag    0 to receive, else to send
 * @return the descriptor, to be closed by the caller; negative on failure
 */
QOR_EXPORT int Create_MsgQueue(const char* name, unsigned int messageSize, unsigned char writeFlag);

/**
 * Closes a queue.
 *
 * @param descriptor  in: may be closed already, which is no error; out: -1, also on failure
 * @return 0, or -1 on failure, which is logged; -1 with errno EINVAL, not logged, if the pointer is null
 */
QOR_EXPORT int close_message_queue(unsigned int* descriptor);

/**
 * Closes a queue and removes its name. If closing fails, the name stays.
 *
 * @param descriptor  as for close_message_queue
 * @return 0, or -1 on failure, which is logged (except a null `descriptor`)
 */
QOR_EXPORT int destroy_message_queue(unsigned int* descriptor, const char* name);

/**
 * Destroys a queue pair: base + "-R" with the first descriptor, then base + "-W" with the second. If the first can't
 * be destroyed, the second is left as it is.
 *
 * @return as destroy_message_queue
 */
QOR_EXPORT int destroy_message_queues(unsigned int* readDescriptor, unsigned int* writeDescriptor,
                                      const char* baseName);

/**
 * Sends a message with priority 0 and, if a reply buffer is given, waits for one message in reply. Blocks as long as
 * the queue is full, or no reply comes; a signal handler that ends the wait (EINTR) makes the call fail.
 *
 * @param length           bytes; 0 is a message as well, `message` may then be null
 * @param receive          not used without a reply buffer
 * @param reply            out: the reply, up to `maxReplyLength` bytes; those past it, and all of them on failure,
 *                         stay as they were. Null: no reply is expected.
 * @param maxReplyLength   bytes that fit into `reply`
 * @return 0, or MESSAGE_FAILED, which is logged: not sent; nothing received, for instance because the queue is made
 *         for messages of more than 512 bytes; reply longer than maxReplyLength (it is removed from the queue and lost).
 */
QOR_EXPORT unsigned int MsgSndLinux(unsigned int send, const void* message, unsigned int length, unsigned int receive,
                                    void* reply, unsigned int maxReplyLength);

/** Kind of the message that Qor_Internal_DisconnectMq sends. */
#define QOR_INTERNAL_MESSAGE_DISCONNECT 11

/** The message that Qor_Internal_DisconnectMq sends, in host byte order. */
typedef struct Qor_Internal_DisconnectMessage_t {
  unsigned char Kind;     /* 0: QOR_INTERNAL_MESSAGE_DISCONNECT */
  unsigned char First;    /* 1: first value of the call */
  unsigned char Second;   /* 2: second value of the call */
  unsigned char Reserved; /* 3: 0 */
  unsigned int Length;    /* 4: bytes of this message, 12 */
  unsigned int ProcessId; /* 8: of the sender */
} Qor_Internal_DisconnectMessage_t;

/**
 * Sends the disconnect message; no reply is expected.
 *
 * @param receive        not used
 * @param first, second  go into the message
 * @return as MsgSndLinux
 */
QOR_EXPORT unsigned int Qor_Internal_DisconnectMq(unsigned int send, unsigned int receive, unsigned char first,
                                                  unsigned char second);

/* ---- Interface types ----------------------------------------------------------------------------------- */
/*
 * The firmware numbers interface types (what a bus interface is) and host-interface types (device models) in its own
 * way; these functions return the numbers of the hardware library's interface. internal/HostModels.h lists the models.
 */

/** The host-interface type that stands for none. */
#define QOR_INTERNAL_HOST_INTERFACE_NONE 87u

/** Ways to reach a host interface, results of Qor_Internal_GetHostCommunicationType. */
enum {
  QOR_INTERNAL_COMMUNICATION_NONE = 0,         /* no such host interface */
  QOR_INTERNAL_COMMUNICATION_SERIAL = 1,       /* serial line */
  QOR_INTERNAL_COMMUNICATION_USB = 2,          /* USB */
  QOR_INTERNAL_COMMUNICATION_PCI = 3,          /* PCI */
  QOR_INTERNAL_COMMUNICATION_ETHERNET = 4,     /* network, by cable */
  QOR_INTERNAL_COMMUNICATION_WLAN = 5,         /* network, wireless */
  QOR_INTERNAL_COMMUNICATION_PCI_EXPRESS = 6,  /* PCI Express */
  QOR_INTERNAL_COMMUNICATION_MEMORY = 7,       /* registers in the host's address space */
  QOR_INTERNAL_COMMUNICATION_SHARED_MEMORY = 8 /* memory shared with a simulated device */
};

/* Flags of a host-interface record. */
#define QOR_INTERNAL_HOST_WIRELESS 0x0002u /* together with NETWORK: the network is a wireless one */
#define QOR_INTERNAL_HOST_NETWORK 0x0004u  /* is reached over the network, whatever its model's own way */

/** The front of a host-interface record; what follows is not looked at. */
typedef struct Qor_Internal_HostInterface_t {
  unsigned int Type;       /* 0: host-interface type */
  unsigned short Reserved; /* 4 */
  unsigned short Flags;    /* 6: QOR_INTERNAL_HOST_* */
} Qor_Internal_HostInterface_t;

/** @return 0 for an interface type that exists (1 to 16), else INVALID_TYPE */
QOR_EXPORT unsigned int Qor_Internal_CheckInterfaceType(unsigned int type);

/** @return 0 for a number that can be a host-interface type (0 to 86), else INVALID_TYPE */
QOR_EXPORT unsigned int Qor_Internal_CheckHostInterfaceType(unsigned int type);

/** @return the interface type (1 to 16) of the firmware's number, 0 if there is none */
QOR_EXPORT unsigned int Qor_Internal_TranslateInterfaceType_Fw2Api(unsigned int firmwareType);

/** @return the host-interface type (0 to 86) of the firmware's number, else QOR_INTERNAL_HOST_INTERFACE_NONE */
QOR_EXPORT unsigned int Qor_Internal_TranslateHostInterfaceType_Fw2Api(unsigned int firmwareType);

/** @return the type of the model that does the work inside a host interface: for a variant of a model the type of
 *          that model, for all others, known or not, the number itself */
QOR_EXPORT unsigned int Qor_Internal_GetInternalHostInterfaceType(unsigned int type);

/** @return QOR_INTERNAL_COMMUNICATION_*: by the flags if they say "network", else by the model; NONE for null */
QOR_EXPORT unsigned int Qor_Internal_GetHostCommunicationType(const Qor_Internal_HostInterface_t* host);

/**
 * The number of bus controllers of a host-interface type.
 *
 * @param count  out: 0 to 4; 0 for a type that doesn't exist
 * @return 0; INVALID_TYPE if the pointer is null
 */
QOR_EXPORT unsigned int Qor_Internal_GetMaxNumberOfControllers(unsigned int type, unsigned char* count);

/** @return the model description of a host-interface type; "unknown device" if there is none. Static, never null. */
QOR_EXPORT const char* Qor_Internal_GetHostInterfaceTypeDescription(unsigned int type);

#ifdef __cplusplus
}
#endif

#endif /* QOR_INTERNAL_H */
