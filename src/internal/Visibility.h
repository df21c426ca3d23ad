// The mark of what the library exports; everything else is hidden.
#pragma once

#define QOR_EXPORT __attribute__((visibility("default")))
