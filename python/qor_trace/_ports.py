"""Ports: the bus interfaces that a trace watches, and what this machine has."""

from __future__ import annotations

import enum
import os
import weakref
from ctypes import byref, c_uint, create_string_buffer
from dataclasses import dataclass
from typing import List, Optional

from . import _library
from ._errors import LoadError, SourceError
from ._layout import Bus
from ._library import Library, SimHostInterface, SimInterface, SimNotice, SimStatus

_BUSES = {4: Bus.CAN, 5: Bus.LIN, 9: Bus.FLEXRAY, 14: Bus.ETHERNET}
_FILE_KINDS = {".log": "candump", ".pcap": "pcap", ".pcapng": "pcap", ".csv": "csv"}
_CAPACITY_ERROR = 0x02000207


@dataclass(frozen=True)
class PortStatus:
    """What became of a port's traffic so far."""

    offered: int  #: items that the source has produced
    delivered: int  #: items handed to the trace
    lost: int  #: items that the full capture buffer dropped
    first_lost_ns: int  #: time of the first lost item; 0 without one
    last_lost_ns: int
    buffered: int  #: items waiting in the capture buffer
    finished: bool  #: nothing more will come
    gone: bool  #: the interface answers nothing any more


@dataclass(frozen=True)
class Interface:
    """What a port is an interface to."""

    bus: Optional[Bus]
    bit_rate: int  #: bit/s; 0 when it isn't known
    data_bit_rate: int  #: bit/s of the data phase of CAN FD frames; 0 when it isn't known or there is none
    name: str  #: in a recording of several interfaces; empty without one
    hardware: str  #: what it is, in words


class Obstacle(enum.IntEnum):
    """Why an interface of this machine can't be recorded."""

    NONE = 0
    KIND = 1  #: no source knows interfaces of its kind
    KERNEL = 2  #: the kernel lacks what it takes
    RIGHTS = 3  #: this program may not


@dataclass(frozen=True)
class HostInterface:
    """A network interface of this machine."""

    name: str  #: also the source text that records it
    bus: Optional[Bus]  #: CAN or ETHERNET; None for another kind
    state: str  #: ``"up"``, ``"down"``, ``"no carrier"``; of a CAN controller also ``"error-passive"``, ``"bus-off"`` and so on
    bit_rate: int  #: bit/s; 0 when it isn't known
    data_bit_rate: int
    driver: str
    obstacle: Obstacle
    why: str  #: a sentence about the obstacle; empty without one


@dataclass(frozen=True)
class Notice:
    """Something that happened to an interface of this machine."""

    time_ns: int  #: ns since 1970
    kind: int  #: 1 it receives nothing from here on, 2 it receives again, 3 its frames are cut
    text: str


class Port:
    """One bus interface.

    :param source: a source text of one bus, as the client takes it: ``"can?seed=7"``, ``"can0"``, ``"socketcan:can0"``,
        ``"candump:drive.log"``, ``"drive.log"``; or the handle of a port that was opened with the maker's library, which stays
        the caller's: it is never closed here.
    :raises SourceError: the text isn't understood, or its file or interface can't be used
    :raises LoadError: the libraries aren't there, or the hardware library has no sources

    Closed by :meth:`close`, at the end of a ``with`` block, when nothing refers to it any more, or at the end of the program.
    A trace that watches it must be closed first; one that has opened it by itself sees to that.
    """

    def __init__(self, source: "str | int") -> None:
        self._library = _library.library()
        if isinstance(source, str):
            self.source = source
            self.handle = _open(_with_sources(self._library), complete_source(source))
            self._finalizer = weakref.finalize(self, _close, self._library, self.handle, os.getpid())
        else:
            self.source = ""
            self.handle = int(source)

    @property
    def is_ours(self) -> bool:
        """Opened from a source text."""
        return self.source != ""

    def close(self) -> None:
        """Closes a port that was opened from a source text. Once is enough; more doesn't hurt."""
        if self.is_ours:
            self._finalizer()

    def __enter__(self) -> "Port":
        return self

    def __exit__(self, *_: object) -> None:
        self.close()

    def __repr__(self) -> str:
        return f"<port {self.handle}{': ' + self.source if self.is_ours else ''}>"

    @property
    def status(self) -> PortStatus:
        """What became of its traffic. Only ports that were opened from a source text can tell.

        :raises SourceError: the port is closed, or the maker's
        """
        status = SimStatus()
        self._ask("Qor_Sim_GetStatus", byref(status))
        return PortStatus(
            status.Offered, status.Delivered, status.Lost, status.FirstLostTime, status.LastLostTime, status.Buffered,
            status.Finished != 0, status.Gone != 0,
        )  # fmt: skip

    @property
    def interface(self) -> Interface:
        """:raises SourceError: the port is closed, or the maker's"""
        found = SimInterface()
        self._ask("Qor_Sim_GetInterface", byref(found))
        return Interface(
            _BUSES.get(found.Type), found.BitRate, found.DataBitRate, _text(found.Name), _text(found.Hardware)
        )

    @property
    def notices(self) -> List[Notice]:
        """What happened to an interface of this machine so far; the last 1000."""
        library = _with_sources(self._library)
        count = library.hardware.Qor_Sim_NoticeCount(self.handle)
        notices = []
        notice = SimNotice()
        for index in range(max(0, count - 1000), count):
            if library.hardware.Qor_Sim_GetNotice(self.handle, index, byref(notice)) == 0:
                notices.append(Notice(notice.Time, notice.Kind, _text(notice.Text)))
        return notices

    def _ask(self, call: str, answer: object) -> None:
        library = _with_sources(self._library)
        if getattr(library.hardware, call)(self.handle, answer) != 0:
            raise SourceError(library.source_error_text())


def open_ports(source: str) -> List[Port]:
    """Opens all buses of a source text: the four of ``"vehicle"``, one for each interface of a recording.

    :raises SourceError: and none is open then
    """
    ports: List[Port] = []
    try:
        for one in expand_source(source):
            ports.append(Port(one))
    except BaseException:
        for port in ports:
            port.close()
        raise
    return ports


def expand_source(source: str) -> List[str]:
    """Splits a source text into texts of one bus each. :raises SourceError: it isn't understood"""
    library = _with_sources(_library.library())
    whole = complete_source(source).encode()
    size = 4096
    while True:
        text = create_string_buffer(size)
        length = c_uint(size)
        status = library.hardware.Qor_Sim_ExpandSource(whole, text, byref(length))
        if status == 0:
            return text.value.decode("utf-8", "surrogateescape").splitlines()
        if status != _CAPACITY_ERROR or length.value <= size:
            raise SourceError(f'Source "{source}": {library.source_error_text()}')
        size = length.value


def complete_source(source: str) -> str:
    """``"drive.log"`` becomes ``"candump:drive.log"``, likewise .pcap, .pcapng and .csv; other texts stay as they are."""
    front = source.split("?", 1)[0]
    kind = _FILE_KINDS.get(os.path.splitext(front)[1].lower())
    colon = front.find(":")
    slash = front.find("/")
    if kind is not None and (colon < 0 or 0 <= slash < colon):
        return f"{kind}:{source}"
    return source


_SIMULATED = ("can", "lin", "flexray", "ethernet", "vehicle", "candump", "csv", "pcap")


def on_one_clock(sources: List[str]) -> List[str]:
    """Source texts that share a clock: simulated ones count in UTC when there is an interface of this machine among them."""
    whole = [complete_source(source) for source in sources]
    simulated = [source.split("?", 1)[0].split(":", 1)[0] in _SIMULATED for source in whole]
    is_script = [source.split("?", 1)[0] == "script" for source in whole]
    if all(a or b for a, b in zip(simulated, is_script)):
        return sources
    return [
        f"{source}{'&' if '?' in source else '?'}clock=utc" if is_simulated and "clock=" not in source else source
        for source, is_simulated in zip(whole, simulated)
    ]


def interfaces() -> List[HostInterface]:
    """The network interfaces of this machine, in the kernel's order, whether they can be recorded or not."""
    library = _with_sources(_library.library())
    capacity = 64
    while True:
        found = (SimHostInterface * capacity)()
        count = c_uint(capacity)
        status = library.hardware.Qor_Sim_ListInterfaces(found, byref(count))
        if status == 0:
            return [_host_interface(found[index]) for index in range(count.value)]
        if status != _CAPACITY_ERROR:
            raise SourceError(library.source_error_text())
        capacity = count.value + 16


def _host_interface(found: SimHostInterface) -> HostInterface:
    return HostInterface(
        _text(found.Name), _BUSES.get(found.Type), _text(found.State), found.BitRate, found.DataBitRate,
        _text(found.Driver), Obstacle(found.Obstacle), _text(found.Why),
    )  # fmt: skip


def _with_sources(library: Library) -> Library:
    if not library.has_sources:
        raise LoadError(
            f"{library.hardware_path} is the maker's hardware library, which doesn't know source texts: open the port with it and "
            'pass the handle; or call qor_trace.load(hardware="simulator") before anything else'
        )
    return library


def _open(library: Library, source: str) -> int:
    handle = c_uint()
    if library.hardware.Qor_Sim_OpenPort(source.encode("utf-8", "surrogateescape"), byref(handle)) != 0:
        raise SourceError(f'Source "{source}": {library.source_error_text()}')
    return handle.value


def _close(library: Library, handle: int, process: int) -> None:
    if os.getpid() == process:  # a port belongs to the process that has opened it, not to its children
        library.hardware.Qor_Sim_ClosePort(handle)


def _text(raw: bytes) -> str:
    return raw.decode("utf-8", "replace")
