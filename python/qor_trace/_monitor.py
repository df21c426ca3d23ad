"""A monitor's handle: who may use it, and when it goes."""

from __future__ import annotations

import os
import threading
import time
from ctypes import byref, c_uint, create_string_buffer
from typing import Any, List, Set

from ._errors import Error
from ._library import Library
from ._ports import Port

ASC_FILE_NAME = 5
MAX_ENTRIES = 4
_LONGEST_TEXT = 65536
_STEM = "Qor_Trace_%y-%m-%d-%H-%M-%S"

# The names that monitors of this process have given to their files, by the second of their birth. Two of the same name would
# write one swap file.
_stems: Set[bytes] = set()
_born = threading.Lock()


class Monitor:
    """A monitor of the library, from its allocation to its end.

    Threads: calls of any thread are let through side by side. :meth:`close` waits until those at work are done, since nobody
    may use a handle while it is deleted; later ones are refused.
    """

    def __init__(self, library: Library) -> None:
        self.library = library
        self.ports: List[Port] = []  # of this monitor's own: closed after it
        self._process = os.getpid()
        self._calls = threading.Condition(threading.Lock())
        self._at_work: Set[int] = set()  # threads
        self._closing = False  # calls are refused from here on
        self._deleted = False
        self._handle, self._stem = _allocate(library)

    @property
    def is_closed(self) -> bool:
        return self._closing

    def call(self, name: str, *arguments: Any) -> None:
        """Makes a call of the C interface with the handle in front. :raises StatusError: its status isn't 0"""
        status = self.status_of(name, *arguments)
        self.library.check(status, name)

    def status_of(self, name: str, *arguments: Any) -> int:
        """As call(), with the status as it is."""
        if os.getpid() != self._process:
            raise Error("This trace belongs to the process that made it: a child by fork() can't use it")
        me = threading.get_ident()
        try:
            with self._calls:
                if self._closing:
                    raise Error("The trace is closed")
                self._at_work.add(me)
            return int(getattr(self.library.trace, name)(self._handle, *arguments))
        finally:
            with self._calls:
                self._at_work.discard(me)
                self._calls.notify_all()

    def number(self, property_id: int) -> int:
        value = create_string_buffer(4)
        length = c_uint(4)
        self.call("Qor_Trace_Property_GetById", 0, property_id, byref(length), value)
        return int.from_bytes(value.raw, "little")

    def text(self, property_id: int) -> str:
        value = create_string_buffer(_LONGEST_TEXT)
        length = c_uint(_LONGEST_TEXT)
        self.call("Qor_Trace_Property_GetById", 0, property_id, byref(length), value)
        return os.fsdecode(value.value)

    def close(self) -> None:
        """Deletes the monitor, then closes its ports. Nothing happens in a process that has inherited it by a fork: the
        library's threads aren't there."""
        if os.getpid() != self._process:
            return
        with self._calls:
            self._closing = True
            # A Ctrl-C may have kept this thread from taking itself off the list; it isn't in a call, being here.
            while self._at_work - {threading.get_ident()}:
                self._calls.wait()
            if self._deleted:
                return
            self._deleted = True
        status = self.library.trace.Qor_Trace_Delete(self._handle)
        _stems.discard(self._stem)
        for port in self.ports:
            port.close()
        self.library.check(status, "Qor_Trace_Delete")

    def close_quietly(self) -> None:
        """As close(), for an end at which nobody is left who could be told."""
        try:
            self.close()
        except Error:
            pass


def _allocate(library: Library) -> "tuple[int, bytes]":
    """A monitor whose files have a name of their own among the living ones.

    That has to be seen to beforehand: to delete a monitor is to remove the file of its name, whoever wrote it.
    """
    with _born:
        while True:
            while time.strftime(_STEM).encode() in _stems:
                time.sleep(0.02)
            handle = c_uint()
            library.check(library.trace.Qor_Trace_Allocate(0, byref(handle)), "Qor_Trace_Allocate")
            stem = _stem_of(library, handle.value)
            if stem not in _stems:
                _stems.add(stem)
                return handle.value, stem
            # The clock was set back in between: the monitor is left as it is, for the rest of the process.


def _stem_of(library: Library, handle: int) -> bytes:
    name = create_string_buffer(260)
    length = c_uint(260)
    library.trace.Qor_Trace_Property_GetById(handle, 0, ASC_FILE_NAME, byref(length), name)
    return os.path.splitext(name.value)[0]
