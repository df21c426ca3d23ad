"""Traces: recording of ports into memory, reading, settings and exports."""

from __future__ import annotations

import os
import time
import weakref
from ctypes import byref, c_uint
from dataclasses import dataclass
from types import TracebackType
from typing import TYPE_CHECKING, Dict, Iterable, Iterator, List, Optional, Type, Union

import numpy as np

from . import _library
from ._entries import Entries, Entry
from ._errors import Error
from ._layout import DEFAULT_DATA_BYTES, row_dtype
from ._library import AddChannelRequest, AddChannelResponse, ExportRequest, PathText
from ._memory import zeroed_rows
from ._monitor import ASC_FILE_NAME, MAX_ENTRIES, Monitor
from ._ports import Port, expand_source, on_one_clock, open_ports
from ._reader import ENTRY_COUNT, Reader, _Buffer
from ._rows import fill_rows
from ._types import Rows

if TYPE_CHECKING:
    import pandas

Source = Union[str, int, Port]

_LIST_COUNT, _FLUSH, _FLUSH_LIST = 1, 2, 3
_ASC_MAX_FILE_SIZE, _MDF_FILE_NAME, _MDF_MAX_FILE_SIZE, _FILE_INFO_1 = 6, 7, 8, 9
_NUMBERS = (ENTRY_COUNT, _LIST_COUNT, MAX_ENTRIES, _ASC_MAX_FILE_SIZE, _MDF_MAX_FILE_SIZE)
_COMMANDS = (_FLUSH, _FLUSH_LIST)
_START_ASC, _START_DISCARD = 1, 2
_ASC_DECIMAL, _ASC_RELATIVE, _ASC_START, _ASC_SPLIT = 1, 2, 4, 8
_PCAP_START = 1
_LONGEST_FILE_NAME = 259
_POLL = 0.02  # seconds
_SORT_SECONDS = 0.5  # what an entry may take on its way into the trace
_DECADES = 20 * 365 * 86400 * 10**9  # ns: no interface has been running for so long


@dataclass(frozen=True)
class Clock:
    """What the times of entries count from."""

    epoch: str  #: ``"1970"`` (UTC), ``"own"`` (some moment of the interface) or ``"unknown"``
    utc_offset_ns: Optional[int]  #: UTC in ns since 1970 is ``time_ns`` plus this; None where it isn't known
    uncertainty_ns: int = 0  #: it may be off by this, either way, as far as this machine's own clock is right


class Trace:
    """Records bus interfaces into memory, in the order of their timestamps.

    ::

        with qor_trace.Trace("vehicle?duration=10s") as trace:
            trace.record()
            rows = trace.to_array()

    :param sources: what to record: source texts (``"vehicle"``, ``"can0"``, ``"socketcan:can0"``, ``"drive.log"``; all buses of a
        text), ports, and handles of ports that were opened with the maker's library. Channels are numbered from 1 in this
        order.
    :param memory_limit: entries that are kept in memory; beyond, they are moved to a swap file in the working directory, or
        dropped (``discard_oldest`` of :meth:`start`). By default what the buses allow: CAN and LIN 9,000,000, FlexRay
        3,000,000, Ethernet 500,000.
    :raises LoadError: the libraries aren't there
    :raises SourceError: a source can't be opened; nothing is left open
    :raises StatusError: the library refuses a port

    Ownership: ports that it opens by itself are closed with it; ports and handles that were passed in stay the caller's.
    It is closed by :meth:`close`, at the end of a ``with`` block, when nothing refers to it any more, and at the end of the
    program. Arrays and entries that were read out of it stay valid.

    Threads: all methods may be called from any thread. The interpreter's lock is released while the library works. Ctrl-C during
    a call of the library takes effect when it returns, which is at once for all but exports.

    Processes: a child by ``fork()`` can't use it, and leaves it alone at its end; the parent goes on recording.
    """

    def __init__(self, *sources: Source, memory_limit: Optional[int] = None) -> None:
        self._monitor = Monitor(_library.library())
        self._finalizer = weakref.finalize(self, self._monitor.close_quietly)
        self._ports: Dict[int, Port] = {}
        self._discards = False
        self._started_at: Optional[_Start] = None
        try:
            texts = iter(on_one_clock([source for source in sources if isinstance(source, str)]))
            for source in sources:
                self.add(next(texts) if isinstance(source, str) else source)
            if memory_limit is not None:
                self.memory_limit = memory_limit
        except BaseException:
            self._monitor.close_quietly()
            raise

    # ---- its life

    def close(self) -> None:
        """Stops, forgets all entries, removes the swap file and closes the ports that it has opened. Waits for calls of other
        threads that are at work. More than once doesn't hurt."""
        self._monitor.close()
        self._finalizer.detach()

    def __enter__(self) -> "Trace":
        return self

    def __exit__(
        self, kind: Optional[Type[BaseException]], problem: Optional[BaseException], where: Optional[TracebackType]
    ) -> None:
        self.close()

    @property
    def is_closed(self) -> bool:
        return self._monitor.is_closed

    def __repr__(self) -> str:
        if self.is_closed:
            return "<closed trace>"
        return f"<trace of {len(self._ports)} channels, {len(self)} entries>"

    # ---- channels

    def add(self, source: Source, channel: int = 0) -> List[int]:
        """Adds what to record. On a running trace it takes part from the next start on.

        :param channel: the wanted number, for a source of one bus; 0 for the lowest free one
            Times are merged only among interfaces that share a clock: give all sources to the constructor, which sees to it,
            where simulated buses and interfaces of this machine are recorded together.
        :return: the numbers of its channels
        :raises PortInUseError: a trace of this process records the port already
        :raises InvalidValueError: the number is taken
        """
        if isinstance(source, Port) or not isinstance(source, str):
            port = source if isinstance(source, Port) else Port(source)
            return [self._add_port(port, channel)]
        if channel != 0 and len(expand_source(source)) > 1:
            raise ValueError(f'Source "{source}" has several buses: one channel number isn\'t enough')
        ports = open_ports(source)
        self._monitor.ports.extend(ports)
        return [self._add_port(port, channel) for port in ports]

    def _add_port(self, port: Port, channel: int) -> int:
        request = AddChannelRequest(0, port.handle, channel)
        response = AddChannelResponse()
        self._monitor.call("Qor_Trace_AddChannel", byref(request), byref(response))
        self._ports[response.ChannelId] = port
        return int(response.ChannelId)

    def remove(self, channel: int) -> None:
        """Stops a channel and removes it; its entries stay. A number that isn't there is no error."""
        self._monitor.call("Qor_Trace_RemoveChannel", channel)
        self._ports.pop(channel, None)

    def remove_all(self) -> None:
        """Stops and removes all channels."""
        self._monitor.call("Qor_Trace_ClearChannelList")
        self._ports.clear()

    @property
    def ports(self) -> Dict[int, Port]:
        """The port of each channel, by number. A copy."""
        return dict(self._ports)

    @property
    def lost(self) -> int:
        """Items that full capture buffers have dropped so far, as far as the hardware library tells: the stand-in does."""
        return sum(port.status.lost for port in self._ports.values() if port.is_ours)

    # ---- recording

    def start(self, *, asc: Union[None, bool, PathText] = None, discard_oldest: bool = False) -> None:
        """Starts all channels. The trace goes on where it was; :meth:`flush` before begins anew. No effect while it runs.

        :param asc: a path, or True for :attr:`asc_file_name`: every entry is written to this ASC file as well, live
        :param discard_oldest: at the memory limit, drop the older half of the trace instead of moving it to the swap file
        :raises NoChannelError: there is nothing to record
        :raises FileError: the ASC file can't be opened
        """
        if asc is not None and not isinstance(asc, bool):
            self.asc_file_name = os.fspath(asc)
        mode = (_START_ASC if asc else 0) | (_START_DISCARD if discard_oldest else 0)
        start = _Start()
        self._monitor.call("Qor_Trace_Start", mode)
        start.took()
        self._discards = discard_oldest
        if self._started_at is None:
            self._started_at = start

    def stop(self) -> None:
        """Stops all channels and stores what is still on its way. All entries are kept.

        :raises FileError: the last entries could not be recorded or swapped
        :raises OutOfMemoryError: the last entries could not be stored; another stop stores them
        """
        self._monitor.call("Qor_Trace_Stop")

    def record(self, seconds: Optional[float] = None) -> None:
        """Starts, waits, and stops: for so long, or until the sources have ended; whatever comes first. Ctrl-C stops as well,
        and is passed on; what was recorded is there.

        :param seconds: of real time; None to wait for the end of the sources, for ever if they have none
        """
        self.start()
        try:
            self.wait(seconds)
        finally:
            self.stop()

    def wait(self, seconds: Optional[float] = None) -> bool:
        """Waits until all sources have ended, or until so many seconds have passed.

        :return: the sources have ended. Ports of the maker's library are not known to end.
        """
        until = None if seconds is None else time.monotonic() + seconds
        while True:
            if self._all_finished():
                return True
            rest = _POLL if until is None else until - time.monotonic()
            if rest <= 0:
                return False
            time.sleep(min(rest, _POLL))

    def _all_finished(self) -> bool:
        ports = self._ports.values()
        return bool(ports) and all(port.is_ours and port.status.finished for port in ports)

    # ---- reading

    def __len__(self) -> int:
        """Entries in the trace, those in the swap file included."""
        return self._monitor.number(ENTRY_COUNT)

    def __bool__(self) -> bool:
        return True  # a trace without entries is one all the same

    def __iter__(self) -> Iterator[Entry]:
        """All entries in the order of their times, up to the newest of the moment at which it comes to the end."""
        return iter(self.reader())

    def reader(self) -> Reader:
        """For reading while it records: each entry once. See :class:`Reader`.

        A trace that runs for long should have a small ``memory_limit`` (some ten thousands): once entries are in the swap file,
        those in memory are copied at each look.
        """
        return Reader(self._monitor, self._discards)

    def follow(self, timeout: Optional[float] = None) -> Iterator[Entry]:
        """Entries one by one as they arrive, from the first one on; see :meth:`Reader.follow`."""
        return self.reader().follow(timeout)

    def entries(self) -> Entries:
        """All entries, as a copy of the library's records: the buffer of :class:`Entries`."""
        batches = [Entries(batch.raw.copy(), batch.offsets) for batch in self.reader().batches()]
        if len(batches) == 1:
            return batches[0]
        starts = np.cumsum([0] + [batch.raw.size for batch in batches])
        if not batches:
            return Entries(np.zeros(0, np.uint8), np.zeros(0, np.int64))
        return Entries(
            np.concatenate([batch.raw for batch in batches]),
            np.concatenate([batch.offsets + start for batch, start in zip(batches, starts)]),
        )

    def to_array(self, fields: Optional[Iterable[str]] = None, data_bytes: int = DEFAULT_DATA_BYTES) -> Rows:
        """All entries as a structured array, one row each; see :func:`row_dtype` for the fields.

        They go from the library's buffer into the array, without an object for each. ``data_at`` means nothing here: ask
        ``entries().to_array()``.

        :param fields: those that are wanted; fewer are faster
        :param data_bytes: width of the field ``data``; longer data are cut, see ``size``
        """
        rows = zeroed_rows(len(self), row_dtype(fields, data_bytes))
        filled = 0
        for batch in self.reader().batches():
            taken = batch[: rows.size - filled]
            fill_rows(rows[filled : filled + len(taken)], taken.raw, taken.offsets)
            filled += len(taken)
            if len(taken) < len(batch):
                break  # a running trace has grown meanwhile
        return rows[:filled]

    def to_dataframe(self, data: bool = True) -> "pandas.DataFrame":
        """All entries as a table of pandas, with the column ``utc`` where the clock is known; see :func:`to_dataframe`."""
        return self.entries().to_dataframe(data, self.clock.utc_offset_ns)

    def messages(self) -> Entries:
        """The list: the newest entry of each message of each CAN, LIN and FlexRay channel, by channel and message.
        ``relative_ns`` is its cycle time: the time since the one before it."""
        found = _Buffer(self._monitor).get_all(0, "Qor_Trace_GetListItems")
        return Entries(found.raw.copy(), found.offsets)

    @property
    def message_count(self) -> int:
        """Rows of the list."""
        return self._monitor.number(_LIST_COUNT)

    def flush(self) -> None:
        """Forgets all entries, those in the swap file included. :raises FileError: the swap file can't be emptied"""
        self.set_property(_FLUSH)

    def flush_messages(self) -> None:
        """Forgets the list."""
        self.set_property(_FLUSH_LIST)

    @property
    def clock(self) -> Clock:
        """What the times count from, as far as can be told: by the first entry, and by when this trace was started."""
        if self._started_at is None or len(self) == 0:
            return Clock("unknown", None)
        first = _Buffer(self._monitor).get(0, 1)
        return self._started_at.clock(first[0].time_ns) if len(first) else Clock("unknown", None)

    # ---- settings; to be written while the trace doesn't run, the memory limit and flush() aside

    def get_property(self, number: int) -> Union[int, str]:
        """A property by its number (``QOR_TRACE_PROPERTY_*``).

        :raises UnknownPropertyError: there is none
        :raises PropertyAccessError: it is a command
        """
        return self._monitor.number(number) if number in _NUMBERS else self._monitor.text(number)

    def set_property(self, number: int, value: Union[None, int, str, "os.PathLike[str]"] = None) -> None:
        """Writes a property by its number, or carries out a command, which takes no value.

        :raises UnknownPropertyError: there is none
        :raises PropertyAccessError: it can only be read
        """
        if value is None and number not in _COMMANDS:
            raise TypeError("a value is needed")
        if value is None:
            raw = None
        elif isinstance(value, int):
            if not 0 <= value <= 0xFFFFFFFF:
                raise ValueError(f"{value} doesn't fit into 32 bits")
            raw = value.to_bytes(4, "little")
        else:
            raw = os.fsencode(value)
            if b"\0" in raw:
                raise ValueError("a text can't have a null character")
        # c_char_p closes texts with a zero byte.
        self._monitor.call("Qor_Trace_Property_SetById", 0, number, len(raw or b""), raw)

    @property
    def memory_limit(self) -> int:
        """Entries that are kept in memory. A new one applies from the next batch of entries on; readers don't follow a change."""
        return self._monitor.number(MAX_ENTRIES)

    @memory_limit.setter
    def memory_limit(self, entries: int) -> None:
        self.set_property(MAX_ENTRIES, entries)

    @property
    def asc_file_name(self) -> str:
        """Of the live ASC recording, for the next start."""
        return self._monitor.text(ASC_FILE_NAME)

    @asc_file_name.setter
    def asc_file_name(self, path: PathText) -> None:
        self.set_property(ASC_FILE_NAME, os.fspath(path))

    @property
    def asc_max_file_size(self) -> int:
        """Of the live ASC recording, bytes: 512 to 4294967295; the next file of the series is begun beyond it."""
        return self._monitor.number(_ASC_MAX_FILE_SIZE)

    @asc_max_file_size.setter
    def asc_max_file_size(self, size: int) -> None:
        self.set_property(_ASC_MAX_FILE_SIZE, size)

    @property
    def mdf_file_name(self) -> str:
        """Stored only."""
        return self._monitor.text(_MDF_FILE_NAME)

    @mdf_file_name.setter
    def mdf_file_name(self, path: PathText) -> None:
        self.set_property(_MDF_FILE_NAME, os.fspath(path))

    @property
    def mdf_max_file_size(self) -> int:
        """Stored only. Bytes."""
        return self._monitor.number(_MDF_MAX_FILE_SIZE)

    @mdf_max_file_size.setter
    def mdf_max_file_size(self, size: int) -> None:
        self.set_property(_MDF_MAX_FILE_SIZE, size)

    @property
    def file_info(self) -> List[str]:
        """Four free texts. Stored only. To change them, assign a list of up to four."""
        return [self._monitor.text(_FILE_INFO_1 + index) for index in range(4)]

    @file_info.setter
    def file_info(self, texts: Iterable[str]) -> None:
        four = list(texts)
        if len(four) > 4:
            raise ValueError("there are four texts")
        for index, text in enumerate(four + [""] * (4 - len(four))):
            self.set_property(_FILE_INFO_1 + index, text)

    # ---- files

    def export_asc(
        self,
        path: PathText,
        *,
        decimal: bool = False,
        relative: bool = False,
        start_ns: Optional[int] = None,
        split_bytes: Optional[int] = None,
    ) -> None:
        """Writes the whole trace to an ASC text file, as of the moment of the call. An existing file is replaced.

        :param decimal: decimal numbers where the dialect follows the base; else hexadecimal
        :param relative: print each entry's time since the one before it of its message
        :param start_ns: subtract this time; without ``relative``, earlier entries are left out
        :param split_bytes: go on in the next file of a series beyond this size, at least 512
        :raises FileError: a file can't be opened or written, or the swap file can't be read; what was written stays
        """
        flags = (_ASC_DECIMAL if decimal else 0) | (_ASC_RELATIVE if relative else 0)
        flags |= (_ASC_START if start_ns is not None else 0) | (_ASC_SPLIT if split_bytes is not None else 0)
        self._export("Qor_Trace_ExportToASC", path, flags, start_ns, split_bytes)

    def export_pcap(self, path: PathText, *, start_ns: Optional[int] = None) -> None:
        """Writes the Ethernet entries that are in memory to a PCAPNG file, as the library does: common readers refuse it, see
        ``Qor_Trace_ExportToPCAP``. :func:`qor_trace.convert` writes files that they open.

        :param start_ns: subtract this time; earlier entries are left out
        :raises FileError: the file can't be opened. Writing isn't checked.
        """
        self._export("Qor_Trace_ExportToPCAP", path, _PCAP_START if start_ns is not None else 0, start_ns, None)

    def export_mdf(self, path: PathText) -> None:
        """:raises NotSupportedError: always: the C interface has no such export. :meth:`save` writes MDF files."""
        self._export("Qor_Trace_ExportToMDF", path, 0, None, None)

    def _export(self, call: str, path: PathText, flags: int, start_ns: Optional[int], extra: Optional[int]) -> None:
        name = os.fsencode(os.fspath(path))
        if len(name) > _LONGEST_FILE_NAME:
            raise ValueError(f"the library takes paths of up to {_LONGEST_FILE_NAME} bytes, this one has {len(name)}")
        if b"\0" in name:
            raise ValueError("a path can't have a null character")
        if start_ns is not None and start_ns < 0:
            raise ValueError("start_ns is a time of the entries' clock, which has no negative ones")
        request = ExportRequest(flags, name, start_ns or 0, extra or 0)
        self._monitor.call(call, byref(request))

    def save(self, path: PathText, *, program: Optional[PathText] = None) -> None:
        """Writes all entries to a file whose format is that of its name: ``.bin`` by itself, ``.mf4``, ``.pcapng``, ``.asc``,
        ``.csv`` and the others of ``qor-trace`` by way of that program. The recording's start, channels and known losses go along.

        :param program: ``qor-trace``, if it isn't found by itself
        :raises LoadError: the program isn't there
        :raises RecordingError: the program fails, with its words
        :raises OSError: a file can't be written
        """
        from ._saving import save

        save(self, path, program)


class _Start:
    """When a trace was started, on this machine's clocks."""

    def __init__(self) -> None:
        self.utc_ns = time.time_ns()
        self._began = time.monotonic_ns()
        self._took = 0

    def took(self) -> None:
        self._took = time.monotonic_ns() - self._began

    def clock(self, first_ns: int) -> Clock:
        if first_ns > _DECADES:
            return Clock("1970", 0)
        # A clock that can have begun with this trace did so. One that was running before shows more than has passed.
        if first_ns <= time.monotonic_ns() - self._began:
            return Clock("own", self.utc_ns, self._took + 1000)
        return Clock("own", None)
