"""Recording and reading of vehicle buses: CAN, CAN FD, LIN, FlexRay and Ethernet.

::

    import qor_trace

    with qor_trace.Trace("vehicle?duration=10s") as trace:     # or "can0", "socketcan:can0", a port's handle, ...
        trace.record()
        for entry in trace:                                    # one by one,
            print(entry)
        rows = trace.to_array()                                # as a structured array of NumPy,
        table = trace.to_dataframe()                           # or as a table of pandas
        trace.save("drive.mf4")

    table = qor_trace.Recording("drive.mf4").to_dataframe()

The package uses ``libqor_api_trace.so.2`` through its C interface; nothing is compiled. Where the library lies elsewhere than the
system's loader looks, or for the stand-in in place of the maker's hardware library, see :func:`load`.

Times are whole nanoseconds. Exceptions of this package are :class:`Error`; those of the library's statuses are
:class:`StatusError`, with the text of its report. With python-can, ports are buses of ``interface="qor"``: see
:mod:`qor_trace.python_can`.
"""

from ._description import Channel, Description, Loss
from ._entries import Entries, Entry
from ._errors import (
    BufferTooSmallError,
    Error,
    FileError,
    HardwareError,
    InvalidArgumentError,
    InvalidValueError,
    LoadError,
    NoChannelError,
    NotSupportedError,
    OutOfMemoryError,
    PortInUseError,
    PropertyAccessError,
    RecordingError,
    RecordingWarning,
    SourceError,
    StatusError,
    UnknownHandleError,
    UnknownPropertyError,
    UnsupportedInterfaceError,
)
from ._frame import to_dataframe
from ._layout import Bus, CanFlag, EthernetFlag, FlexRayFlag, Kind, LinFlag, row_dtype
from ._library import Library, load
from ._ports import HostInterface, Interface, Notice, Obstacle, Port, PortStatus, expand_source, interfaces, open_ports
from ._program import convert
from ._reader import Reader
from ._recording import Recording
from ._trace import Clock, Trace
from ._version import __version__

__all__ = [
    "BufferTooSmallError",
    "Bus",
    "CanFlag",
    "Channel",
    "Clock",
    "Description",
    "Entries",
    "Entry",
    "Error",
    "EthernetFlag",
    "FileError",
    "FlexRayFlag",
    "HardwareError",
    "HostInterface",
    "Interface",
    "InvalidArgumentError",
    "InvalidValueError",
    "Kind",
    "Library",
    "LinFlag",
    "LoadError",
    "Loss",
    "NoChannelError",
    "NotSupportedError",
    "Notice",
    "Obstacle",
    "OutOfMemoryError",
    "Port",
    "PortInUseError",
    "PortStatus",
    "PropertyAccessError",
    "Reader",
    "Recording",
    "RecordingError",
    "RecordingWarning",
    "SourceError",
    "StatusError",
    "Trace",
    "UnknownHandleError",
    "UnknownPropertyError",
    "UnsupportedInterfaceError",
    "__version__",
    "convert",
    "expand_source",
    "interfaces",
    "load",
    "open_ports",
    "row_dtype",
    "to_dataframe",
]
