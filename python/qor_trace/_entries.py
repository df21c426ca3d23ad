"""Entries: many in a buffer, and one by one."""

from __future__ import annotations

from itertools import repeat
from typing import TYPE_CHECKING, Any, Iterable, Iterator, List, NamedTuple, Optional, Union, overload

import numpy as np

from ._boundaries import numbers_at
from ._layout import DEFAULT_DATA_BYTES, Bus, CanFlag, Kind, LinFlag, row_dtype
from ._memory import zeroed_rows
from ._rows import fill_rows
from ._types import Bytes, Numbers, Offsets, Rows

if TYPE_CHECKING:
    import pandas

_BATCH = 16 << 10  # entries that are made at a time while one iterates
_SHOWN = 64  # data bytes in the text of an entry

_BUSES = {int(bus): bus for bus in Bus}
_KINDS = tuple(Kind)
_ITERATED = ("time_ns", "channel", "bus", "kind", "tx", "id", "len", "flags", "dlc", "slot", "cycle", "side", "checksum",
             "relative_ns", "data_at", "size")  # fmt: skip


class Entry(NamedTuple):
    """One event of one bus. What an entry has no value for is None."""

    time_ns: int  #: ns on the clock of the entries
    channel: int  #: channel number, from 1
    bus: Union[Bus, int]  #: a number for an unknown bus
    kind: Kind
    tx: bool  #: sent by the interface itself; else received
    id: Optional[int]  #: CAN and LIN: identifier without marker or parity bits
    len: Optional[int]  #: data bytes as announced
    flags: int  #: :class:`CanFlag`, :class:`LinFlag`, :class:`FlexRayFlag` or :class:`EthernetFlag`
    dlc: Optional[int]  #: CAN: data length code
    slot: Optional[int]  #: FlexRay
    cycle: Optional[int]  #: FlexRay
    side: Optional[int]  #: FlexRay: 0 channel A, 1 B, 2 both
    checksum: Optional[int]  #: LIN
    relative_ns: int  #: rows of the list: the cycle time; else 0
    data: bytes  #: those that are present. A CAN error frame has its kind in the first byte, 1 to 7

    @property
    def is_frame(self) -> bool:
        return self.kind.is_frame

    @property
    def is_error(self) -> bool:
        return self.kind.is_error

    @property
    def is_extended(self) -> bool:
        """CAN: 29-bit identifier."""
        return self.bus == Bus.CAN and bool(self.flags & CanFlag.EXTENDED)

    @property
    def is_remote(self) -> bool:
        """CAN: a classic frame that has a length on the bus, but no data; records have no other mark for it."""
        return self.kind is Kind.CAN_FRAME and self.len == 0 and self.dlc != 0

    @property
    def has_overrun_mark(self) -> bool:
        """The last entry of its channel before data were lost, by the interface's own mark."""
        if self.bus == Bus.CAN:
            return self.kind is not Kind.MALFORMED and bool(self.flags & CanFlag.OVERRUN)
        if self.bus == Bus.LIN:
            return self.kind is not Kind.MALFORMED and bool(self.flags & LinFlag.OVERRUN)
        return self.kind is Kind.OVERRUN

    def __str__(self) -> str:
        bus = self.bus.word if isinstance(self.bus, Bus) else f"bus {self.bus}"
        number = "" if self.id is None else f" {self.id:x}"
        if self.slot is not None:
            number = f" slot {self.slot} cycle {self.cycle}"
        direction = "tx" if self.tx else "rx"
        data = self.data[:_SHOWN].hex(" ") + (f" ... ({len(self.data)} bytes)" if len(self.data) > _SHOWN else "")
        seconds = f"{self.time_ns // 10**9}.{self.time_ns % 10**9:09d}"
        return f"{seconds} {self.channel} {bus} {self.kind.word}{number} {direction} {data}".rstrip()


class Entries:
    """Entries in a buffer: the records as the library or a file has them, and where each begins.

    Nothing is copied until it is asked for. Slices, and selections by an array of indices or truth values, share the buffer;
    so does every array and ``memoryview`` of :meth:`record`, which keep it alive.

    Threads: any number may read.
    """

    def __init__(self, raw: Bytes, offsets: Offsets) -> None:
        self._raw = raw
        self._offsets = offsets

    @property
    def raw(self) -> Bytes:
        """The buffer. Records lie at :attr:`offsets`; ``data_at`` of arrays counts from its beginning."""
        return self._raw

    @property
    def offsets(self) -> Offsets:
        """Where each record begins, ascending."""
        return self._offsets

    def record(self, index: int) -> memoryview:
        """The bytes of one record, laid out as in ``docs/file-formats.md``. Not a copy."""
        place = int(self._offsets[index])
        length = int.from_bytes(self._raw[place : place + 4].tobytes(), "little")
        return self._raw.data[place : place + length]

    def lengths(self) -> Numbers:
        """Bytes of each record."""
        return numbers_at(self._raw, "<u4")[self._offsets] if len(self) else np.zeros(0, np.uint32)

    def __len__(self) -> int:
        return int(self._offsets.size)

    @overload
    def __getitem__(self, index: int) -> Entry: ...

    @overload
    def __getitem__(self, index: Union[slice, Numbers]) -> "Entries": ...

    def __getitem__(self, index: Union[int, slice, Numbers]) -> Union[Entry, "Entries"]:
        if isinstance(index, (int, np.integer)):
            place = int(index) + (len(self) if index < 0 else 0)
            if not 0 <= place < len(self):
                raise IndexError(f"there is no entry {index}: there are {len(self)}")
            return next(iter(Entries(self._raw, self._offsets[place : place + 1])))
        chosen = self._offsets[index]
        if chosen.size > 1 and bool((chosen[1:] <= chosen[:-1]).any()):
            raise ValueError("entries can be left out, but neither repeated nor put into another order")
        return Entries(self._raw, chosen)

    def __iter__(self) -> Iterator[Entry]:
        for begin in range(0, len(self), _BATCH):
            yield from _make_entries(self._raw, self._offsets[begin : begin + _BATCH])

    def __repr__(self) -> str:
        return f"<{len(self)} entries>"

    def to_array(self, fields: Optional[Iterable[str]] = None, data_bytes: int = DEFAULT_DATA_BYTES) -> Rows:
        """The entries as a structured array, one row each; see :func:`row_dtype` for the fields. The array is a copy.

        :param fields: those that are wanted; fewer are faster
        :param data_bytes: width of the field ``data``; longer data are cut, see ``size``
        """
        rows = zeroed_rows(len(self), row_dtype(fields, data_bytes))
        fill_rows(rows, self._raw, self._offsets)
        return rows

    def to_dataframe(self, data: bool = True, utc_offset_ns: Optional[int] = None) -> "pandas.DataFrame":
        """The entries as a table of pandas, with the columns of ``docs/analysis.md``; see :func:`qor_trace.to_dataframe`."""
        from ._frame import to_dataframe

        return to_dataframe(self, data, utc_offset_ns)


def no_entries() -> Entries:
    return Entries(np.zeros(0, np.uint8), np.zeros(0, np.int64))


def _make_entries(raw: Bytes, offsets: Offsets) -> List[Entry]:
    rows = zeroed_rows(offsets.size, row_dtype(_ITERATED))
    fill_rows(rows, raw, offsets)
    buses = map(_BUSES.get, *[rows["bus"].tolist()] * 2)
    kinds = map(_KINDS.__getitem__, rows["kind"].tolist())
    optional = (_or_none(rows[name]) for name in ("id", "len"))
    others = (_or_none(rows[name]) for name in ("dlc", "slot", "cycle", "side", "checksum"))
    return list(
        map(
            Entry,
            rows["time_ns"].tolist(),
            rows["channel"].tolist(),
            buses,
            kinds,
            rows["tx"].tolist(),
            *optional,
            rows["flags"].tolist(),
            *others,
            rows["relative_ns"].tolist(),
            _data_of(raw, rows),
        )
    )


def _or_none(column: Numbers) -> Iterable[Any]:
    """The numbers, with None for -1."""
    without = column < 0
    if not without.any():
        return column.tolist()  # type: ignore[no-any-return]
    if without.all():
        return repeat(None, column.size)
    values = column.astype(object)
    values[without] = None
    return values.tolist()  # type: ignore[no-any-return]


def _data_of(raw: Bytes, rows: Rows) -> List[bytes]:
    begin, end = int(rows["data_at"][0]), int(rows["data_at"][-1]) + int(rows["size"][-1])
    piece = raw[begin:end].tobytes()
    starts = rows["data_at"] - begin
    return [piece[start:stop] for start, stop in zip(starts.tolist(), (starts + rows["size"]).tolist())]
