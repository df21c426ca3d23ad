"""What entries are made of: buses, kinds, flags, and the NumPy types of records and of rows."""

from __future__ import annotations

import enum
from typing import Dict, Iterable, List, Optional, Tuple

import numpy as np


class Bus(enum.IntEnum):
    """The bus of an entry."""

    CAN = 0
    LIN = 1
    FLEXRAY = 2
    ETHERNET = 3

    @property
    def word(self) -> str:
        """As in tables and filters of ``qor-trace``: ``"can"``, ``"lin"``, ``"flexray"``, ``"ethernet"``."""
        return self.name.lower()


class Kind(enum.IntEnum):
    """What an entry is."""

    CAN_FRAME = 0  #: classic frame, data or remote
    CAN_FD_FRAME = 1
    CAN_ERROR_FRAME = 2
    CAN_EVENT = 3  #: log trigger or user event
    LIN_FRAME = 4
    LIN_NO_RESPONSE = 5  #: a header that nobody answered
    LIN_WAKE_UP = 6
    LIN_CHECKSUM_ERROR = 7
    LIN_PARITY_ERROR = 8
    LIN_SYNC_ERROR = 9
    LIN_TRANSMIT_ERROR = 10
    LIN_EVENT = 11  #: event-triggered frame information
    FLEXRAY_FRAME = 12
    FLEXRAY_NULL_FRAME = 13
    FLEXRAY_CYCLE_START = 14
    FLEXRAY_STATE = 15  #: the controller's state has changed
    FLEXRAY_SYMBOL = 16
    FLEXRAY_ERROR = 17
    FLEXRAY_STATUS = 18
    ETHERNET_FRAME = 19
    ETHERNET_CRC_ERROR = 20  #: a frame received with a CRC error
    ETHERNET_RECORD = 21  #: any other item of an Ethernet interface
    OVERRUN = 22  #: FlexRay and Ethernet: the mark of a loss has taken the place of the kind
    MALFORMED = 23  #: of an unknown bus or kind, or cut short

    @property
    def word(self) -> str:
        """As in the column ``kind`` of tables of ``qor-trace``: ``"classic"``, ``"fd"``, ``"error"``, ``"frame"`` and so on."""
        return KIND_WORDS[self]

    @property
    def is_frame(self) -> bool:
        """What went over its bus whole, null frames and frames with a CRC error included."""
        return self in FRAME_KINDS

    @property
    def is_error(self) -> bool:
        return self in ERROR_KINDS

    @property
    def is_event(self) -> bool:
        return self in EVENT_KINDS


KIND_WORDS: Tuple[str, ...] = (
    "classic", "fd", "error", "event",
    "frame", "no_response", "wakeup", "checksum_error", "parity_error", "sync_error", "transmit_error", "event",
    "frame", "null", "cycle", "state", "symbol", "error", "status",
    "frame", "crc_error", "record",
    "overrun", "malformed",
)  # fmt: skip

FRAME_KINDS = frozenset(
    {
        Kind.CAN_FRAME,
        Kind.CAN_FD_FRAME,
        Kind.LIN_FRAME,
        Kind.FLEXRAY_FRAME,
        Kind.FLEXRAY_NULL_FRAME,
        Kind.ETHERNET_FRAME,
        Kind.ETHERNET_CRC_ERROR,
    }
)
ERROR_KINDS = frozenset(
    {
        Kind.CAN_ERROR_FRAME,
        Kind.LIN_CHECKSUM_ERROR,
        Kind.LIN_PARITY_ERROR,
        Kind.LIN_SYNC_ERROR,
        Kind.LIN_TRANSMIT_ERROR,
        Kind.FLEXRAY_ERROR,
        Kind.ETHERNET_CRC_ERROR,
    }
)
EVENT_KINDS = frozenset({Kind.CAN_EVENT, Kind.LIN_EVENT})


class CanFlag(enum.IntFlag):
    """Field ``flags`` of CAN entries."""

    EXTENDED = 0x01  #: 29-bit identifier
    TRANSMITTED = 0x02
    ERROR = 0x04
    FD = 0x08
    TRIGGER = 0x10
    BRS = 0x20  #: bit-rate switch
    ESI = 0x40  #: error-state indicator
    OVERRUN = 0x80  #: the last entry before data were lost


class LinFlag(enum.IntFlag):
    """Field ``flags`` of LIN entries."""

    PARITY_ERROR = 0x01
    CHECKSUM_ERROR = 0x02
    SYNC_ERROR = 0x04
    TRANSMIT_ERROR = 0x08  #: counts only together with TRANSMITTED
    EVENT = 0x10
    WAKEUP = 0x20
    TRANSMITTED = 0x40
    OVERRUN = 0x80


class FlexRayFlag(enum.IntFlag):
    """Field ``flags`` of FlexRay entries."""

    PREAMBLE = 0x02
    NULL = 0x04
    SYNC = 0x08
    STARTUP = 0x10


class EthernetFlag(enum.IntFlag):
    """Field ``flags`` of Ethernet entries."""

    TRANSMITTED = 0x01
    CRC_ERROR = 0x02


# ---- Records, as the library and .bin files have them -----------------------------------------------------------------

HEADER_BYTES = 28  # of every record
LONGEST_RECORD = HEADER_BYTES + 65535

# The fields that every record of a bus has, data aside. Longer than the shortest records: what a record doesn't reach is 0.
FIXED_BYTES = 48

_HEADER = {"Length": ("<u4", 0), "ChannelId": ("<u4", 4), "Timestamp": ("<i8", 8), "RelativeTimestamp": ("<i8", 16),
           "BusType": ("u1", 24)}  # fmt: skip


def _fields_at(fields: Dict[str, Tuple[str, int]]) -> "np.dtype[np.void]":
    both = {**_HEADER, **fields}
    return np.dtype(
        {
            "names": list(both),
            "formats": [form for form, _ in both.values()],
            "offsets": [offset for _, offset in both.values()],
            "itemsize": FIXED_BYTES,
        }
    )


CAN_RECORD = _fields_at({"Identifier": ("<u4", 36), "Flags": ("u1", 40), "Dlc": ("u1", 42), "DataLength": ("u1", 43)})
LIN_RECORD = _fields_at({"Reserved": ("<u2", 28), "Flags": ("<u2", 30), "DataLength": ("u1", 32), "Identifier": ("u1", 33),
                         "Room": ("9u1", 35), "BitTime": ("<u4", 44)})  # fmt: skip
FLEXRAY_RECORD = _fields_at({"ItemType": ("<u2", 30), "Channel": ("u1", 40), "FrameFlags": ("u1", 41), "SlotId": ("<u2", 42),
                             "Cycle": ("u1", 44), "PayloadLength": ("u1", 45)})  # fmt: skip
ETHERNET_RECORD = _fields_at({"ItemType": ("<u2", 30), "Flags": ("u1", 40), "FrameLength": ("<u2", 42)})

# A record that is shorter than this doesn't hold what each record of its bus has: by Bus.
SHORTEST_RECORD = np.array([44, 48, 40, 40], np.uint32)
# Where the data begin: by Bus.
DATA_PLACE = np.array([44, 35, 48, 44], np.int64)


# ---- Rows of arrays ------------------------------------------------------------------------------------------------------

#: What a row has no value for is -1 (``id``, ``len``, ``dlc``, ``slot``, ``cycle``, ``side``, ``checksum``).
ROW_FIELDS: Dict[str, str] = {
    "time_ns": "<i8",  # ns on the clock of the entries
    "relative_ns": "<i8",  # rows of the list: ns since the row's entry before it (cycle time)
    "data_at": "<i8",  # where the data begin in Entries.raw
    "channel": "<u4",  # channel number, from 1
    "id": "<i4",  # CAN, LIN: identifier without marker or parity bits
    "len": "<i4",  # data bytes as announced; LIN without the checksum; Ethernet the frame without its CRC
    "size": "<u2",  # data bytes that are present, at most 65535
    "flags": "<u2",  # CanFlag, LinFlag, FlexRayFlag, EthernetFlag
    "slot": "<i2",  # FlexRay frames
    "cycle": "<i2",  # FlexRay frames, starts of cycles, errors
    "checksum": "<i2",  # LIN: the byte after the data
    "bus": "u1",  # Bus
    "kind": "u1",  # Kind
    "tx": "?",  # sent by the interface itself; else received
    "dlc": "i1",  # CAN: data length code
    "side": "i1",  # FlexRay: 0 channel A, 1 B, 2 both
}
DEFAULT_FIELDS: Tuple[str, ...] = tuple(name for name in ROW_FIELDS if name not in ("relative_ns", "data_at")) + ("data",)
DEFAULT_DATA_BYTES = 64


def row_dtype(fields: Optional[Iterable[str]] = None, data_bytes: int = DEFAULT_DATA_BYTES) -> "np.dtype[np.void]":
    """The type of the rows of an array.

    :param fields: names out of ``time_ns, channel, bus, kind, tx, id, len, size, flags, dlc, slot, cycle, side, checksum,
        data`` (the default: these), ``data_at`` and ``relative_ns``. The order of the array's fields is always the same.
    :param data_bytes: width of the field ``data``. Longer data are cut: 64 holds all of CAN, 254 of FlexRay, 1524 of Ethernet.
    """
    wanted = set(DEFAULT_FIELDS if fields is None else fields)
    unknown = wanted - set(ROW_FIELDS) - {"data"}
    if unknown:
        raise ValueError(f"There is no field {sorted(unknown)[0]!r}; the fields are {', '.join([*ROW_FIELDS, 'data'])}")
    if not 0 <= data_bytes <= 65535:
        raise ValueError("data_bytes must be from 0 to 65535")
    types: List[Tuple[str, str]] = [(name, form) for name, form in ROW_FIELDS.items() if name in wanted]
    if "data" in wanted and data_bytes > 0:
        types.append(("data", f"({data_bytes},)u1"))
    return np.dtype(types, align=True)
