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
#include <time.h>

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

/** An event that brings its condition variable and mutex along, for memory that processes share. */
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
 * @return 0 or the error number of pthread_mutex_unlock; EINVAL for a null pointer, in the event too (nothing is done)
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
 *         invalid attributes are logged. Attributes that can't be given back are logged too; the thread runs.
 */
QOR_EXPORT pthread_t Qor_Internal_Thread_Start(void* (*start)(void*), void* unused, void* argument);

/* ---- Time, numbers, texts, files ----------------------------------------------------------------------- */

/** Milliseconds, with fractions, of the monotonic clock; 0.0 if the clock fails. */
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
 * The system's text for an error number, as strerror gives it. (The name is kept for the family's other platform.)
 *
 * @param errorNumber  an errno value; an unknown one gives "Unknown error <n>"
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
 * one can depend on the rounding of x (0.438 gives 166/379 rather than 219/500).
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

#ifdef __cplusplus
}
#endif

#endif /* QOR_INTERNAL_H */
