"""Ports as buses of python-can: ``can.Bus(interface="qor", channel="can0")``.

``Notifier``, ``Logger``, the viewer and all other listeners of python-can run on them. They receive only: a trace sends nothing.
"""

from __future__ import annotations

import logging
import time
from collections import deque
from typing import Any, Deque, Dict, List, Optional, Sequence, Tuple, Union

from can.bus import BusABC
from can.exceptions import CanInitializationError, CanOperationError
from can.message import Message

from ._entries import Entry
from ._errors import Error
from ._layout import Bus, CanFlag, Kind
from ._ports import Obstacle, interfaces
from ._trace import Trace

_log = logging.getLogger("can.qor")

_MEMORY_LIMIT = 100_000  # entries: what may come between two calls of recv()
_POLL = 0.005  # seconds
_FRAMES = (Kind.CAN_FRAME, Kind.CAN_FD_FRAME, Kind.CAN_ERROR_FRAME)

Channel = Union[str, int]


class QorBus(BusABC):
    """One or more CAN interfaces, received by a trace of their own.

    :param channel: a source text (``"can0"``, ``"socketcan:can0"``, ``"can?seed=7"``, ``"drive.log"``), the handle of a port that
        was opened with the maker's library, as a number or its digits; or a list of these, whose messages are merged by their
        times
    :param memory_limit: CAN entries that are kept for recv(); when more wait, the older half is dropped, with a warning in the
        log (``can.qor``), and :attr:`lost` is set
    :raises can.CanInitializationError: a channel can't be opened, or is no CAN interface

    Messages: frames, remote frames, CAN FD frames and error frames (the first data byte is the kind of the error: 1 stuff, 2 form,
    3 acknowledge, 4 recessive bit, 5 dominant bit, 6 checksum, 7 unknown). ``is_rx`` is False for what the interface itself has
    sent. ``timestamp`` is UTC in seconds, where the interface's clock is known or began with the bus, else as well as can be told
    from when the first messages came. ``channel`` is the source text or handle,
    of a source of several buses that of the one.

    Threads: recv() in one thread at a time; shutdown() in any.
    """

    def __init__(
        self,
        channel: Union[Channel, Sequence[Channel]],
        can_filters: Optional[Any] = None,
        memory_limit: int = _MEMORY_LIMIT,
        **kwargs: Any,
    ) -> None:
        self._is_open = False
        channels = [channel] if isinstance(channel, (str, int)) else list(channel)
        self.channel_info = f"qor {', '.join(str(each) for each in channels)}"
        self._messages: Deque[Message] = deque()
        self._utc_offset_ns: Optional[int] = None
        self._warned = False
        try:
            self._trace = Trace()
        except Error as problem:
            raise CanInitializationError(str(problem)) from problem
        self._names: Dict[int, Channel] = {}
        try:
            for each in channels:
                self._add(each)
            self._trace.memory_limit = int(memory_limit)
            self._trace.start(discard_oldest=True)
        except Error as problem:
            self._trace.close()
            raise CanInitializationError(str(problem)) from problem
        except BaseException:
            self._trace.close()
            raise
        self._reader = self._trace.reader()
        self._is_open = True
        super().__init__(channel=channel, can_filters=can_filters, **kwargs)

    def _add(self, channel: Channel) -> None:
        source = int(channel) if isinstance(channel, str) and channel.isdecimal() else channel
        numbers = self._trace.add(source)
        for number in numbers:
            port = self._trace.ports[number]
            self._names[number] = source if len(numbers) == 1 else port.source
            if port.is_ours and port.interface.bus is not Bus.CAN:
                raise CanInitializationError(f'"{channel}" is no CAN interface alone: {port.source} is another bus')

    @property
    def lost(self) -> bool:
        """Messages were lost: more came than were received in time."""
        return self._reader.lost or (not self._trace.is_closed and self._trace.lost > 0)

    def _recv_internal(self, timeout: Optional[float]) -> Tuple[Optional[Message], bool]:
        until = None if timeout is None else time.monotonic() + timeout
        while not self._messages:
            ended = self._has_ended()  # asked before the last look: what comes after it is seen by that
            self._fetch()
            if self._messages:
                break
            if ended and until is None:
                raise CanOperationError(f"{self.channel_info}: nothing more will come")
            rest = _POLL if until is None else until - time.monotonic()
            if rest <= 0:
                return None, False
            time.sleep(min(rest, _POLL))
        return self._messages.popleft(), False

    def _fetch(self) -> None:
        try:
            entries = self._reader.read()
        except Error as problem:
            raise CanOperationError(str(problem)) from problem
        if len(entries) == 0:
            return
        offset = self._offset(int(entries.to_array(["time_ns"])["time_ns"][-1]))
        self._messages.extend(self._message(entry, offset) for entry in entries if entry.kind in _FRAMES)
        if self._reader.lost and not self._warned:
            self._warned = True
            _log.warning("%s: messages were dropped before they were received", self.channel_info)

    def _offset(self, newest_ns: int) -> int:
        """From the entries' clock to UTC. One that was running before showed the newest entry's time just now."""
        if self._utc_offset_ns is None:
            known = self._trace.clock.utc_offset_ns
            self._utc_offset_ns = time.time_ns() - newest_ns if known is None else known
        return self._utc_offset_ns

    def _message(self, entry: Entry, offset: int) -> Message:
        is_fd = entry.kind is Kind.CAN_FD_FRAME
        return Message(
            timestamp=(entry.time_ns + offset) / 1e9,
            arbitration_id=entry.id or 0,
            is_extended_id=bool(entry.flags & CanFlag.EXTENDED),
            is_remote_frame=entry.is_remote,
            is_error_frame=entry.kind is Kind.CAN_ERROR_FRAME,
            is_fd=is_fd,
            bitrate_switch=is_fd and bool(entry.flags & CanFlag.BRS),
            error_state_indicator=is_fd and bool(entry.flags & CanFlag.ESI),
            is_rx=not entry.tx,
            channel=self._names.get(entry.channel, entry.channel),
            data=None if entry.is_remote else entry.data,
            dlc=min(entry.dlc or 0, 8) if entry.is_remote else len(entry.data),
        )

    def _has_ended(self) -> bool:
        if self._trace.is_closed or not self._names:
            return True
        return self._trace.wait(0)

    def send(self, msg: Message, timeout: Optional[float] = None) -> None:
        """:raises can.CanOperationError: always: a trace receives only"""
        raise CanOperationError(f"{self.channel_info} receives only: a trace sends nothing")

    def shutdown(self) -> None:
        """Stops and closes the trace. More than once doesn't hurt."""
        if not self._is_open:
            return
        self._is_open = False
        super().shutdown()
        self._trace.close()

    @staticmethod
    def _detect_available_configs() -> List[Any]:
        """The CAN interfaces of this machine that can be recorded, and the simulated bus."""
        try:
            found = interfaces()
        except Error:
            return []  # no library, or the maker's, which can't be asked
        names = [each.name for each in found if each.bus is Bus.CAN and each.obstacle is Obstacle.NONE]
        return [{"interface": "qor", "channel": name} for name in [*names, "can"]]
