/*
 * qor_internal.h - platform helpers shared by the libraries of the hardware-interface family.
 *
 * C linkage, usable from C99 and C++.
 */
#ifndef QOR_INTERNAL_H
#define QOR_INTERNAL_H

#include "internal/Visibility.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * The system's text for an error number, as strerror gives it. (The name is kept for the family's other platform.)
 *
 * @param errorNumber  an errno value; an unknown one gives "Unknown error <n>"
 * @return never null; the library's own, valid until the same thread calls again. errno is left alone.
 * Threads: any; no thread sees another's text.
 */
QOR_EXPORT const char* Qor_Internal_GetWindowsErrorDescription(int errorNumber);

#ifdef __cplusplus
}
#endif

#endif /* QOR_INTERNAL_H */
