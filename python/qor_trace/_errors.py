"""What can go wrong, as exceptions: one class for each status of the library, with the text of its error report."""

from __future__ import annotations

from typing import Dict, Type


class Error(Exception):
    """Anything that this package raises by itself; wrong arguments of plain Python aside (TypeError, ValueError)."""


class LoadError(Error):
    """The trace library, the hardware library or the program ``qor-trace`` isn't there or can't be used."""


class SourceError(Error):
    """A port can't be opened: a source text that isn't understood, its file, or an interface of this machine."""


class RecordingError(Error):
    """A file can't be read as a recording, or not to its end."""


class RecordingWarning(UserWarning):
    """A recording is readable, but something of it is missing or was passed over."""


class StatusError(Error):
    """A call of the trace library returned a status other than 0.

    ``status`` is the number, ``text`` what the library reported to the hardware library's error handler; empty where that
    can't be asked (only the stand-in keeps reports) or said nothing.
    """

    #: What the status means, in words.
    meaning = "the hardware library reports an error"

    def __init__(self, status: int, call: str, text: str = "") -> None:
        self.status = status
        self.call = call
        self.text = text
        super().__init__(status, call, text)

    def __str__(self) -> str:
        said = f": {self.text}" if self.text else ""
        return f"{self.call}: {self.meaning} (0x{self.status:08X}){said}"


class UnsupportedInterfaceError(StatusError):
    meaning = "the port is no CAN, LIN, FlexRay or Ethernet interface"


class InvalidArgumentError(StatusError, ValueError):
    meaning = "an argument isn't accepted"


class PortInUseError(StatusError):
    meaning = "the port is traced already in this process"


class UnknownPropertyError(StatusError):
    meaning = "there is no such property"


class InvalidValueError(StatusError, ValueError):
    meaning = "a value isn't accepted, or a channel number is taken"


class PropertyAccessError(StatusError):
    meaning = "the property can't be read, or can't be written"


class FileError(StatusError):
    meaning = "a file can't be opened, read or written"


class UnknownHandleError(StatusError):
    meaning = "there is no such monitor"


class NoChannelError(StatusError):
    meaning = "there is no channel, or no channel number is left"


class BufferTooSmallError(StatusError):
    meaning = "a record is larger than the buffer"


class OutOfMemoryError(StatusError, MemoryError):
    meaning = "memory is exhausted"


class NotSupportedError(StatusError):
    meaning = "the call isn't supported"


class HardwareError(StatusError):
    """A code of the hardware library, passed on unchanged."""


_CLASSES: Dict[int, Type[StatusError]] = {
    0x02140001: UnsupportedInterfaceError,
    0x02140002: InvalidArgumentError,
    0x02140003: PortInUseError,
    0x02140004: UnknownPropertyError,
    0x02140005: InvalidValueError,
    0x02140006: PropertyAccessError,
    0x02140007: FileError,
    0x02140008: UnknownHandleError,
    0x02140009: NoChannelError,
    0x0214000A: BufferTooSmallError,
    0x0214000C: OutOfMemoryError,
    0x0200020B: NotSupportedError,
}


def error_for(status: int, call: str, text: str = "") -> StatusError:
    """The exception that stands for a status other than 0."""
    return _CLASSES.get(status, HardwareError)(status, call, text)
