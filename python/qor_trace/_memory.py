"""Memory for large arrays and for what the library copies out."""

from __future__ import annotations

import mmap

import numpy as np

from ._types import Bytes, Rows

_HUGE = 4 << 20  # bytes from which on large pages pay


def zeroed_rows(count: int, dtype: "np.dtype[np.void]") -> Rows:
    """An array of zeros. A large one lies in large pages: in ordinary ones, touching its memory for the first time takes longer
    than filling it."""
    size = count * dtype.itemsize
    if size < _HUGE:
        return np.zeros(count, dtype)
    memory = mmap.mmap(-1, size, flags=mmap.MAP_PRIVATE | mmap.MAP_ANONYMOUS)
    if hasattr(mmap, "MADV_HUGEPAGE"):
        try:
            memory.madvise(mmap.MADV_HUGEPAGE)
        except OSError:
            pass  # a kernel without them
    return np.frombuffer(memory, dtype, count)


def reserved_bytes(size: int) -> Bytes:
    """A buffer of which only what is used takes memory."""
    flags = mmap.MAP_PRIVATE | mmap.MAP_ANONYMOUS | getattr(mmap, "MAP_NORESERVE", 0x4000)
    return np.frombuffer(mmap.mmap(-1, size, flags=flags), np.uint8)
