"""Reading a trace while it grows: every entry once, in order."""

from __future__ import annotations

import time
from ctypes import byref, c_uint
from typing import Iterator, Optional, Tuple

import numpy as np

from ._boundaries import find_boundaries
from ._entries import Entries, Entry, no_entries
from ._errors import Error, RecordingError
from ._memory import reserved_bytes
from ._monitor import MAX_ENTRIES, Monitor
from ._types import Bytes

ENTRY_COUNT = 0
_RECORD_BYTES = 1568  # which no record of sound hardware exceeds
_BUFFERS = (256 << 20, 64 << 20, 16 << 20)  # bytes; only what is used takes memory
_WHOLE = (0xFFFFFFF8, 1 << 30, 512 << 20)  # likewise, for all that a monitor holds in memory
_POLL = 0.01  # seconds; interfaces are polled as often


class Reader:
    """Reads the entries of a trace as they arrive, each of them once; made by ``Trace.reader()``.

    Reading removes nothing. A trace that drops its older half at the memory limit (``start(discard_oldest=True)``) may drop
    entries before they were read: :attr:`lost` says so.

    Threads: one at a time. The trace may run, and others may read it with readers of their own. It must not be flushed
    meanwhile, and its memory limit must stay as it is.
    """

    def __init__(self, monitor: Monitor, discards: bool) -> None:
        self._monitor = monitor
        self._buffer = _Buffer(monitor)
        self._walk: _Walk = _DiscardingWalk(monitor, self._buffer) if discards else _SwappingWalk(monitor, self._buffer)

    @property
    def lost(self) -> bool:
        """Entries were dropped at the memory limit before this reader came to them."""
        return self._walk.lost

    def read(self) -> Entries:
        """The entries that have arrived since the last time, up to some 100,000; none if there are none. Doesn't wait.

        The result is a copy of its own.

        :raises Error: the trace is closed
        :raises StatusError: the library can't read them
        """
        found = self._walk.next()
        return Entries(found.raw.copy(), found.offsets)

    def batches(self) -> Iterator[Entries]:
        """The same, until there are no more. Their buffer is used again by the next batch: what is to be kept must be made an
        array, or copied."""
        while True:
            found = self._walk.next()
            if len(found) == 0:
                return
            yield found

    def follow(self, timeout: Optional[float] = None) -> Iterator[Entry]:
        """Entries one by one as they arrive, for ever; with a time-out, until none has come for so many seconds.

        Ends when the trace is closed. Ctrl-C and other signals are heard at once.
        """
        quiet_since = time.monotonic()
        while not self._monitor.is_closed:
            try:
                found = self.read()
            except Error:
                if self._monitor.is_closed:
                    return
                raise
            if len(found):
                yield from found
                quiet_since = time.monotonic()
                continue
            rest = _POLL if timeout is None else quiet_since + timeout - time.monotonic()
            if rest <= 0:
                return
            time.sleep(min(rest, _POLL))

    def __iter__(self) -> Iterator[Entry]:
        """Entries one by one, up to the newest."""
        for batch in self.batches():
            yield from batch


class _Buffer:
    """Where the library copies records to."""

    def __init__(self, monitor: Monitor) -> None:
        self._monitor = monitor
        self._bytes: Optional[Bytes] = None

    def get(self, start: int, wanted: int = 0, call: str = "Qor_Trace_GetItems") -> Entries:
        """Records from an index on: so many, or, with 0, as many as surely fit."""
        memory = self._memory(_BUFFERS)
        return self._fill(memory, start, wanted or memory.size // _RECORD_BYTES, call)

    def get_all(self, start: int, call: str = "Qor_Trace_GetItems") -> Entries:
        """All records from an index on.

        :raises BufferTooSmallError: there is no room for them
        """
        return self._fill(self._memory(_WHOLE), start, 0, call)

    def _fill(self, memory: Bytes, start: int, wanted: int, call: str) -> Entries:
        count, size = c_uint(wanted), c_uint(memory.size)
        self._monitor.call(call, 0, start, byref(count), byref(size), memory.ctypes.data)
        return _entries_of(memory[: size.value], count.value)

    def _memory(self, sizes: Tuple[int, ...]) -> Bytes:
        """A buffer of the first of these sizes for which there is room."""
        if self._bytes is not None and self._bytes.size >= sizes[-1]:
            return self._bytes
        for size in sizes:
            try:
                self._bytes = reserved_bytes(size)
                return self._bytes
            except OSError:
                pass
        raise MemoryError(f"there is no room for a buffer of {sizes[-1]} bytes")


def _entries_of(raw: Bytes, count: int) -> Entries:
    found = find_boundaries(raw, 8)
    if found.offsets.size != count:
        raise RecordingError("The library's records contradict themselves: the swap file may be damaged")
    return Entries(raw, found.offsets)


class _Walk:
    """Where a reader is in the trace."""

    lost = False

    def next(self) -> Entries:
        raise NotImplementedError


class _SwappingWalk(_Walk):
    """Through a trace that is moved to the swap file at the memory limit: "Reading it all" in qor_api_trace.h.

    Qor_Trace_GetItems finds an index among the swapped entries, and among those in memory while nothing is swapped; beyond the
    swapped ones it returns nothing, never a wrong entry. So where nothing comes although the trace is longer, what is wanted
    lies in memory after the swapped entries: read from where those end, and leave out what is known.
    """

    def __init__(self, monitor: Monitor, buffer: _Buffer) -> None:
        self._monitor = monitor
        self._buffer = buffer
        self._next = 0  # entries read so far
        self._swapped = 0  # a number of swapped entries that was right once

    def next(self) -> Entries:
        found = self._buffer.get(self._next)
        if len(found) == 0 and self._monitor.number(ENTRY_COUNT) > self._next:
            found = self._behind_swapped()
        self._next += len(found)
        return found

    def _behind_swapped(self) -> Entries:
        limit = max(self._monitor.number(MAX_ENTRIES), 1)
        if self._next < limit:
            return no_entries()  # nothing is swapped below the limit: they have only just arrived
        low, high = max(self._swapped, limit), self._next
        while low < high:
            middle = (low + high + 1) // 2
            if len(self._buffer.get(middle, 1)):
                low = middle
            else:
                high = middle - 1
        self._swapped = low
        found = self._buffer.get_all(low)
        return found[self._next - low :]


class _DiscardingWalk(_Walk):
    """Through a trace that drops its older half at the memory limit, whereby the others get smaller indices.

    The last entry that was read is looked for where it was. If another one is there now, it is looked for in the whole trace;
    what comes after it is new.
    """

    def __init__(self, monitor: Monitor, buffer: _Buffer) -> None:
        self._monitor = monitor
        self._buffer = buffer
        self._last: Optional[bytes] = None  # the last entry that was read
        self._index = 0  # where it was

    def next(self) -> Entries:
        found = self._buffer.get(self._index)
        if self._last is not None:
            if len(found) and bytes(found.record(0)) == self._last:
                found = found[1:]
                self._index += 1 if len(found) else 0
            elif self._monitor.number(ENTRY_COUNT) == 0:
                return no_entries()
            else:
                found = self._after_last()
        if len(found):
            self._index += len(found) - 1
            self._last = bytes(found.record(len(found) - 1))
        return found

    def _after_last(self) -> Entries:
        """The entries after the last one that was read, of a trace that has moved. Sets the index of the first of them."""
        assert self._last is not None
        start = 0
        while True:
            found = self._buffer.get(start)
            if len(found) == 0:
                break
            place = _find(found, self._last)
            if place is not None:
                rest = found[place + 1 :]
                self._index = start + place + (1 if len(rest) else 0)
                return rest
            start += len(found)
        self.lost = True
        found = self._buffer.get(0)
        last_time = int.from_bytes(self._last[8:16], "little")
        later = np.flatnonzero(found.to_array(["time_ns"])["time_ns"] > last_time)
        self._index = int(later[0]) if later.size else 0
        return found[self._index :] if later.size else no_entries()


def _find(entries: Entries, record: bytes) -> Optional[int]:
    """Where a record is among entries: of those with its length and time."""
    wanted = np.frombuffer(record[:16], np.uint8)
    lengths = np.flatnonzero(entries.lengths() == len(record))
    for index in lengths[(entries.raw[entries.offsets[lengths][:, None] + np.arange(16)] == wanted).all(axis=1)]:
        if bytes(entries.record(int(index))) == record:
            return int(index)
    return None
