// The mark of what the library exports; everything else is hidden.
#pragma once

#define QOR_EXPORT __attribute__((visibility("default")))
/// For a member of an exported class that is this library's own.
#define QOR_HIDDEN __attribute__((visibility("hidden")))
