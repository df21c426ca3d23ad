"""Records to rows of structured arrays: all records of a buffer at a time.

The fixed fields of all records are gathered once; every column is then an operation on arrays. Nothing is read past a
record's length: a field that it doesn't reach is 0, data end with it.
"""

from __future__ import annotations

from functools import lru_cache
from typing import Any, Optional

import numpy as np

from ._boundaries import numbers_at
from ._layout import (
    CAN_RECORD,
    DATA_PLACE,
    ETHERNET_RECORD,
    FIXED_BYTES,
    FLEXRAY_RECORD,
    LIN_RECORD,
    SHORTEST_RECORD,
    Bus,
    CanFlag,
    EthernetFlag,
    FlexRayFlag,
    Kind,
    LinFlag,
)
from ._types import Bytes, Numbers, Offsets, Rows

_AT_ONCE = 8 << 10  # records: so many rows stay in the processor's cache
_MASKED = 64  # bytes: up to here all data of a part are copied at once and what is too much is cleared
_CAN_ID_MARKERS = 0xC0000000
_FIELDS_END = np.array([44, 48, 46, 44, 28], np.uint32)  # where the fields of each bus end, data aside; of any other, its header
_LIN_MOST_DATA = 8
_LIN_ROOM = 9  # bytes for data and checksum


def fill_rows(rows: Rows, raw: Bytes, offsets: Offsets) -> None:
    """Fills rows, which are all 0, from the records of a buffer that begin at the offsets and are whole."""
    for begin in range(0, offsets.size, _AT_ONCE):
        end = begin + _AT_ONCE
        _fill(rows[begin:end], raw, offsets[begin:end])


def _fill(rows: Rows, raw: Bytes, offsets: Offsets) -> None:
    fixed = _fixed_fields(raw, offsets)
    head = fixed.view(CAN_RECORD)
    bus = head["BusType"]
    first = int(bus[0])
    if first <= Bus.ETHERNET and bool((bus == first).all()):
        _Part(rows, raw, offsets, fixed, None).fill(first)
        return
    for number in Bus:
        chosen = np.flatnonzero(bus == number)
        if chosen.size:
            _Part(rows, raw, offsets[chosen], fixed[chosen], chosen).fill(number)
    chosen = np.flatnonzero(bus > Bus.ETHERNET)
    if chosen.size:
        _Part(rows, raw, offsets[chosen], fixed[chosen], chosen).fill_malformed()


def _fixed_fields(raw: Bytes, offsets: Offsets) -> Rows:
    """The first FIXED_BYTES of each record, completed with zeros."""
    fixed: Rows = _gather(raw, offsets, FIXED_BYTES).view(f"V{FIXED_BYTES}").ravel()
    lengths = fixed.view(CAN_RECORD)["Length"]
    short = np.flatnonzero(lengths < FIXED_BYTES)
    # Most short records are CAN frames of up to three bytes, which have all of their fields.
    short = short[lengths[short] < _FIELDS_END.take(fixed.view(CAN_RECORD)["BusType"][short], mode="clip")]
    if short.size:
        _cut(fixed, short, lengths[short])
    return fixed


def _gather(raw: Bytes, places: Offsets, width: int) -> Bytes:
    """As many rows of `width` bytes as there are places, which ascend; zeros where the buffer ends before."""
    form = {8: "<u8", 16: "c16"}.get(width, f"V{width}")  # numbers are copied faster
    inside = int(np.searchsorted(places, raw.size - width, side="right"))
    if inside == places.size:
        return numbers_at(raw, form)[places].view(np.uint8).reshape(-1, width)
    gathered = np.zeros((places.size, width), np.uint8)
    if inside:
        gathered[:inside] = numbers_at(raw, form)[places[:inside]].view(np.uint8).reshape(-1, width)
    for index in range(inside, places.size):
        last = raw[int(places[index]) :][:width]
        gathered[index, : last.size] = last
    return gathered


def _cut(fixed: Rows, short: Offsets, lengths: Numbers) -> None:
    """Clears what lies beyond short records: bytes of the next one. Few lengths occur."""
    whole = fixed.view(np.uint8).reshape(-1, FIXED_BYTES)
    for length in np.unique(lengths):
        whole[short[lengths == length], int(length) :] = 0


class _Part:
    """The rows of one bus. With `chosen` None they are all rows of the array."""

    def __init__(self, rows: Rows, raw: Bytes, offsets: Offsets, fixed: Rows, chosen: Optional[Offsets]) -> None:
        self._rows = rows
        self._raw = raw
        self._offsets = offsets
        self._fixed = fixed
        self._chosen = chosen
        self._names = set(rows.dtype.names or ())

    def fill(self, bus: int) -> None:
        fill = (self._fill_can, self._fill_lin, self._fill_flexray, self._fill_ethernet)[bus]
        lengths = self._fixed.view(CAN_RECORD)["Length"]
        short = np.flatnonzero(lengths < SHORTEST_RECORD[bus])
        skipped = np.flatnonzero(self._fixed.view(LIN_RECORD)["Reserved"]) if bus == Bus.LIN else short[:0]
        self._put("bus", bus)
        fill(lengths)
        malformed = np.union1d(short, skipped) if skipped.size else short
        if malformed.size:
            everything = np.arange(self._offsets.size) if self._chosen is None else self._chosen
            _Part(
                self._rows, self._raw, self._offsets[malformed], self._fixed[malformed], everything[malformed]
            ).fill_malformed()

    def fill_malformed(self) -> None:
        """What can be said of a record that isn't sound: its header."""
        head = self._fixed.view(CAN_RECORD)
        self._put_head(head)
        self._put("bus", head["BusType"])
        self._put("kind", Kind.MALFORMED)
        for name in ("id", "len", "dlc", "slot", "cycle", "side", "checksum"):
            self._put(name, -1)
        for name in ("flags", "tx", "size", "data"):
            self._put(name, 0)
        self._put("data_at", self._offsets + 28)

    # ---- one function for each bus, in the order of the columns

    def _fill_can(self, lengths: Numbers) -> None:
        record = self._fixed.view(CAN_RECORD)
        flags = record["Flags"].copy()
        kind = _CAN_KINDS.take(flags)
        event = np.flatnonzero(kind == Kind.CAN_EVENT)
        identifier = (record["Identifier"] & ~np.uint32(_CAN_ID_MARKERS)).view(np.int32)
        dlc = record["Dlc"].astype(np.int8)
        identifier[event] = dlc[event] = -1
        self._put_head(record)
        self._put("id", identifier)
        self._put("len", record["DataLength"])
        self._put("flags", flags)
        self._put("kind", kind)
        self._put("tx", (flags & CanFlag.TRANSMITTED) != 0)
        self._put("dlc", dlc)
        self._put_none("slot", "cycle", "side", "checksum")
        self._put_data(Bus.CAN, record["DataLength"], lengths)

    def _fill_lin(self, lengths: Numbers) -> None:
        record = self._fixed.view(LIN_RECORD)
        flags = record["Flags"]
        sent = (flags & LinFlag.TRANSMITTED) != 0
        announced = record["DataLength"]
        kind = np.where(announced == 0, np.uint8(Kind.LIN_NO_RESPONSE), np.uint8(Kind.LIN_FRAME))
        for flag, meant in (
            (LinFlag.WAKEUP, Kind.LIN_WAKE_UP),
            (LinFlag.EVENT, Kind.LIN_EVENT),
            (LinFlag.CHECKSUM_ERROR, Kind.LIN_CHECKSUM_ERROR),
            (LinFlag.SYNC_ERROR, Kind.LIN_SYNC_ERROR),
            (LinFlag.PARITY_ERROR, Kind.LIN_PARITY_ERROR),
        ):
            kind[(flags & flag) != 0] = meant  # the later ones take precedence
        kind[((flags & LinFlag.TRANSMIT_ERROR) != 0) & sent] = Kind.LIN_TRANSMIT_ERROR
        no_message = (kind == Kind.LIN_WAKE_UP) | (kind == Kind.LIN_EVENT)
        count = np.where(announced == 0, 0, announced.astype(np.int32) - 1)
        held = np.take_along_axis(record["Room"], np.minimum(count, _LIN_ROOM - 1)[:, None].astype(np.int64), 1)[:, 0]
        no_checksum = no_message | (announced == 0) | (count > _LIN_MOST_DATA)
        self._put_head(record)
        self._put("id", _unless(no_message, (record["Identifier"] & 0x3F).astype(np.int32)))
        self._put("len", _unless(no_message, count))
        self._put("flags", flags)
        self._put("kind", kind)
        self._put("tx", sent)
        self._put("checksum", _unless(no_checksum, held.astype(np.int16)))
        self._put_none("dlc", "slot", "cycle", "side")
        present = np.where(no_message, 0, np.minimum(count, _LIN_MOST_DATA))
        self._put_data(Bus.LIN, present, np.minimum(lengths, 35 + _LIN_ROOM))

    def _fill_flexray(self, lengths: Numbers) -> None:
        record = self._fixed.view(FLEXRAY_RECORD)
        item, flags, slot = record["ItemType"], record["FrameFlags"], record["SlotId"]
        kind = _FLEXRAY_KINDS[np.minimum(item, _FLEXRAY_KINDS.size - 1)]
        null = (kind == Kind.FLEXRAY_FRAME) & ((flags & FlexRayFlag.NULL) != 0)
        kind[null] = Kind.FLEXRAY_NULL_FRAME
        frame = (kind == Kind.FLEXRAY_FRAME) | null
        error = kind == Kind.FLEXRAY_ERROR
        cycle = np.full(item.size, -1, np.int16)
        cycle[frame] = record["Cycle"][frame]
        start = kind == Kind.FLEXRAY_CYCLE_START
        cycle[start] = record["Channel"][start]
        cycle[error] = slot[error] & 0xFF
        side = np.full(item.size, -1, np.int16)
        sided = frame | (kind == Kind.FLEXRAY_SYMBOL)
        side[sided] = record["Channel"][sided]
        side[error] = slot[error] >> 8
        side[side > 2] = -1
        payload = record["PayloadLength"].astype(np.int32) * 2
        self._put_head(record)
        self._put_none("id", "dlc", "checksum")
        self._put("len", _unless(~frame, payload))
        self._put("flags", np.where(frame, flags, 0))
        self._put("slot", _unless(~frame, slot.astype(np.int16)))
        self._put("cycle", cycle)
        self._put("kind", kind)
        self._put("tx", item == 2)
        self._put("side", side)
        self._put_data(Bus.FLEXRAY, np.where(kind == Kind.FLEXRAY_FRAME, payload, 0), lengths)

    def _fill_ethernet(self, lengths: Numbers) -> None:
        record = self._fixed.view(ETHERNET_RECORD)
        item, flags = record["ItemType"], record["Flags"]
        kind = np.full(item.size, Kind.ETHERNET_RECORD, np.uint8)
        frame = item == 1
        kind[frame] = Kind.ETHERNET_FRAME
        kind[frame & ((flags & EthernetFlag.CRC_ERROR) != 0)] = Kind.ETHERNET_CRC_ERROR
        kind[item == 0] = Kind.OVERRUN
        self._put_head(record)
        self._put_none("id", "dlc", "slot", "cycle", "side", "checksum")
        self._put("len", _unless(~frame, record["FrameLength"].astype(np.int32)))
        self._put("flags", flags)
        self._put("kind", kind)
        self._put("tx", (flags & EthernetFlag.TRANSMITTED) != 0)
        self._put_data(Bus.ETHERNET, np.where(item == 0, 0, record["FrameLength"]), lengths)

    # ---- how values come into the rows

    def _put(self, name: str, values: Any) -> None:
        if name not in self._names:
            return
        if self._chosen is None:
            self._rows[name] = values
        else:
            self._rows[name][self._chosen] = values

    def _put_none(self, *names: str) -> None:
        for name in names:
            self._put(name, -1)

    def _put_head(self, head: Rows) -> None:
        self._put("time_ns", head["Timestamp"])
        self._put("relative_ns", head["RelativeTimestamp"])
        self._put("channel", head["ChannelId"])

    def _put_data(self, bus: Bus, announced: Numbers, lengths: Numbers) -> None:
        """Copies the data that are announced and present: in one go, or those of one length at a time, as few lengths occur."""
        if self._names.isdisjoint(("size", "data_at", "data")):
            return
        place = int(DATA_PLACE[bus])
        room = np.maximum(lengths.astype(np.int32) - place, 0)
        present = np.minimum(announced, room, dtype=np.int32)
        self._put("size", present)
        self._put("data_at", self._offsets + place)
        if "data" not in self._names or present.size == 0:
            return
        width = self._rows.dtype["data"].itemsize
        sizes = np.minimum(present, width)
        most = min((int(sizes.max()) + 7) & ~7, width)
        if most == 0:
            return
        if most <= _MASKED:
            data = _gather(self._raw, self._offsets + place, most)
            data &= _masks(most).take(sizes, axis=0)
            self._store(most, data)
            return
        for size in np.flatnonzero(np.bincount(sizes)):
            same = np.flatnonzero(sizes == size)
            if size:
                self._store(int(size), _gather(self._raw, self._offsets[same] + place, int(size)), same)

    def _store(self, width: int, data: Bytes, which: Optional[Offsets] = None) -> None:
        """Puts bytes into the field `data` of all rows of the part, or of some of them."""
        assert self._rows.dtype.fields is not None
        at = self._rows.dtype.fields["data"][1]
        form = f"V{width}"
        target: Rows = np.ndarray(self._rows.shape, form, buffer=self._rows, offset=at, strides=self._rows.strides)
        values = data.view(form).ravel()
        if self._chosen is not None:
            target[self._chosen if which is None else self._chosen[which]] = values
        elif which is not None:
            target[which] = values
        else:
            target[...] = values


@lru_cache(maxsize=None)
def _masks(width: int) -> Bytes:
    """For each size, a row with all bits set in so many bytes."""
    return np.where(np.arange(width) < np.arange(width + 1)[:, None], 0xFF, 0).astype(np.uint8)


# By flags: an event comes before an error frame, and that before a frame.
_CAN_KINDS = np.array(
    [
        Kind.CAN_EVENT if flags & CanFlag.TRIGGER
        else Kind.CAN_ERROR_FRAME if flags & CanFlag.ERROR
        else Kind.CAN_FD_FRAME if flags & CanFlag.FD
        else Kind.CAN_FRAME
        for flags in range(256)
    ],
    np.uint8,
)  # fmt: skip

# By item type; the last one is any other.
_FLEXRAY_KINDS = np.array(
    [Kind.OVERRUN, Kind.FLEXRAY_FRAME, Kind.FLEXRAY_FRAME, Kind.FLEXRAY_CYCLE_START, Kind.FLEXRAY_STATE, Kind.FLEXRAY_STATUS,
     Kind.FLEXRAY_SYMBOL, Kind.FLEXRAY_ERROR, Kind.FLEXRAY_ERROR, Kind.FLEXRAY_ERROR, Kind.FLEXRAY_ERROR, Kind.MALFORMED],
    np.uint8,
)  # fmt: skip


def _unless(without: Numbers, values: Numbers) -> Numbers:
    """The values, with -1 where there is none."""
    return np.where(without, values.dtype.type(-1), values) if without.any() else values
