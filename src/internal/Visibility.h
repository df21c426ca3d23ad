// The marks of what the library exports; everything else is hidden.
#pragma once

/// On a class: its members are exported.
#define QOR_EXPORT __attribute__((visibility("default")))
/// On a member of such a class that only the library itself calls: a private one, or one for its derived classes.
#define QOR_HIDDEN __attribute__((visibility("hidden")))
