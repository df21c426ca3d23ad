"""Entries as a table of pandas."""

from __future__ import annotations

from typing import TYPE_CHECKING, Any, Dict, List, Optional, Tuple

import numpy as np

from ._layout import ERROR_KINDS, EVENT_KINDS, FRAME_KINDS, KIND_WORDS, Bus, CanFlag, EthernetFlag, FlexRayFlag, Kind, LinFlag
from ._types import Numbers, Rows

if TYPE_CHECKING:
    import pandas

    from ._entries import Entries

_FIELDS = ("time_ns", "channel", "bus", "kind", "tx", "id", "len", "size", "flags", "dlc", "slot", "cycle", "side", "checksum",
           "data_at")  # fmt: skip
_CAN_ERRORS = ("other", "stuff", "form", "ack", "bit1", "bit0", "crc")
_SIDES = ("", "a", "b", "ab")
_FLEXRAY_ERRORS = {7: "nit_syntax", 8: "syntax", 9: "nit_boundary", 10: "content"}
_LIN_ERRORS = {
    Kind.LIN_CHECKSUM_ERROR: "checksum",
    Kind.LIN_PARITY_ERROR: "parity",
    Kind.LIN_SYNC_ERROR: "sync",
    Kind.LIN_TRANSMIT_ERROR: "transmit",
    Kind.ETHERNET_CRC_ERROR: "crc",
}
_ERROR_WORDS: Tuple[str, ...] = ("", *_CAN_ERRORS, "checksum", "parity", "sync", "transmit", "syntax", "content", "nit_syntax",
                                 "nit_boundary")  # fmt: skip


def to_dataframe(entries: "Entries", data: bool = True, utc_offset_ns: Optional[int] = None) -> "pandas.DataFrame":
    """Entries as a table: the columns of ``docs/analysis.md`` by the same names, with the same values.

    Left out are those that say nothing of a single entry (``schema``, ``recording``, and the columns of losses), and of Ethernet
    the fields inside of frames. ``data`` are ``bytes``, ``bus``, ``kind``, ``dir``, ``side`` and ``error_kind`` categories.

    :param data: with the column ``data``, an object for each entry; without it a large table is made in a fraction of the time
    :param utc_offset_ns: what has to be added to ``time_ns`` for ns since 1970; gives the column ``utc`` of dates
    :raises ImportError: pandas isn't installed
    """
    try:
        import pandas
    except ImportError:
        raise ImportError("to_dataframe needs pandas (Debian: python3-pandas); to_array does without") from None
    rows = entries.to_array(_FIELDS)
    columns: Dict[str, Any] = {}
    if utc_offset_ns is not None:
        columns["utc"] = pandas.to_datetime(rows["time_ns"] + np.int64(utc_offset_ns), utc=True)
    columns["time_ns"] = rows["time_ns"].copy()
    columns["channel"] = rows["channel"].astype(np.int64)
    columns["bus"] = _words(pandas, np.minimum(rows["bus"], len(Bus)), [*(bus.word for bus in Bus), "?"])
    columns["kind"] = _words(pandas, rows["kind"], KIND_WORDS)
    columns["dir"] = _words(pandas, _directions(rows), ("", "rx", "tx"))
    for name in ("id", "len"):
        columns[name] = rows[name].astype(np.int64)
    if data:
        columns["data"] = _data(entries, rows)
    columns.update(_flags_of_all(rows))
    columns["error_kind"] = _words(pandas, _error_kinds(entries, rows), _ERROR_WORDS)
    columns.update(_columns_by_bus(pandas, entries, rows))
    return pandas.DataFrame(columns, copy=False)


def _words(pandas: Any, codes: Numbers, words: Any) -> Any:
    """A column of categories; words that stand for several codes are one category."""
    distinct = list(dict.fromkeys(words))
    place = np.array([distinct.index(word) for word in words], np.int8)
    return pandas.Categorical.from_codes(place[codes], categories=distinct)


def _directions(rows: Rows) -> Numbers:
    """Malformed records have none, and marks that have taken the place of the kind."""
    without = (rows["kind"] == Kind.MALFORMED) | (rows["kind"] == Kind.OVERRUN)
    return np.where(without, 0, np.where(rows["tx"], 2, 1))


def _is_one_of(rows: Rows, kinds: Any) -> Numbers:
    table = np.zeros(len(Kind), np.bool_)
    table[[int(kind) for kind in kinds]] = True
    found: Numbers = table[rows["kind"]]
    return found


def _is_sound(rows: Rows, bus: Bus) -> Numbers:
    sound: Numbers = (rows["bus"] == bus) & (rows["kind"] != Kind.MALFORMED)
    return sound


def _data(entries: "Entries", rows: Rows) -> List[bytes]:
    from ._entries import _data_of

    data: List[bytes] = []
    for begin in range(0, rows.size, 64 << 10):
        data += _data_of(entries.raw, rows[begin : begin + (64 << 10)])
    return data


def _flags_of_all(rows: Rows) -> Dict[str, Numbers]:
    can, lin = _is_sound(rows, Bus.CAN), _is_sound(rows, Bus.LIN)
    return {
        "frame": _is_one_of(rows, FRAME_KINDS),
        "error": _is_one_of(rows, ERROR_KINDS),
        "event": _is_one_of(rows, EVENT_KINDS),
        "overrun": ((can | lin) & ((rows["flags"] & CanFlag.OVERRUN) != 0)) | (rows["kind"] == Kind.OVERRUN),
    }


def _first_bytes(entries: "Entries", rows: Rows, which: Numbers) -> Numbers:
    """The first data byte of some entries; 0 where there is none."""
    chosen = np.flatnonzero(which & (rows["size"] > 0))
    first = np.zeros(rows.size, np.uint8)
    first[chosen] = entries.raw[rows["data_at"][chosen]]
    return first


def _item_types(entries: "Entries", which: Numbers) -> Numbers:
    """FlexRay's number of what an item is."""
    at = entries.offsets[which] + 30
    types: Numbers = entries.raw[at].astype(np.int64) | entries.raw[at + 1].astype(np.int64) << 8
    return types


def _error_kinds(entries: "Entries", rows: Rows) -> Numbers:
    codes: Numbers = np.zeros(rows.size, np.int8)
    can = rows["kind"] == Kind.CAN_ERROR_FRAME
    if can.any():
        kind = _first_bytes(entries, rows, can)
        codes[can] = np.where(kind < len(_CAN_ERRORS), kind, 0)[can] + 1
    for which, word in _LIN_ERRORS.items():
        codes[rows["kind"] == which] = _ERROR_WORDS.index(word)
    flexray = np.flatnonzero(rows["kind"] == Kind.FLEXRAY_ERROR)
    if flexray.size:
        types = _item_types(entries, flexray)
        for number, word in _FLEXRAY_ERRORS.items():
            codes[flexray[types == number]] = _ERROR_WORDS.index(word)
    return codes


def _columns_by_bus(pandas: Any, entries: "Entries", rows: Rows) -> Dict[str, Any]:
    kind, flags = rows["kind"], rows["flags"]
    can, lin = _is_sound(rows, Bus.CAN) & (kind != Kind.CAN_EVENT), _is_sound(rows, Bus.LIN)
    frame = (kind == Kind.FLEXRAY_FRAME) | (kind == Kind.FLEXRAY_NULL_FRAME)

    def flag(which: Numbers, bit: int) -> Numbers:
        found: Numbers = which & ((flags & bit) != 0)
        return found

    state = np.full(rows.size, -1, np.int64)
    states = np.flatnonzero(kind == Kind.FLEXRAY_STATE)
    state[states] = entries.raw[entries.offsets[states] + 40]
    return {
        "dlc": rows["dlc"].astype(np.int64),
        "extended": flag(can, CanFlag.EXTENDED),
        "fd": flag(can, CanFlag.FD),
        "brs": flag(can, CanFlag.BRS),
        "esi": flag(can, CanFlag.ESI),
        "remote": (kind == Kind.CAN_FRAME) & (rows["len"] == 0) & (rows["dlc"] != 0),
        "checksum": rows["checksum"].astype(np.int64),
        "parity_error": flag(lin, LinFlag.PARITY_ERROR),
        "checksum_error": flag(lin, LinFlag.CHECKSUM_ERROR),
        "sync_error": flag(lin, LinFlag.SYNC_ERROR),
        "transmit_error": flag(lin, LinFlag.TRANSMIT_ERROR) & rows["tx"],
        "wakeup": flag(lin, LinFlag.WAKEUP),
        "slot": rows["slot"].astype(np.int64),
        "cycle": rows["cycle"].astype(np.int64),
        "side": _words(pandas, rows["side"] + 1, _SIDES),
        "state": state,
        "null_frame": flag(frame, FlexRayFlag.NULL),
        "sync": flag(frame, FlexRayFlag.SYNC),
        "startup": flag(frame, FlexRayFlag.STARTUP),
        "preamble": flag(frame, FlexRayFlag.PREAMBLE),
        "crc_error": kind == Kind.ETHERNET_CRC_ERROR,
    }
