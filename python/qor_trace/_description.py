"""What a recording says of itself: NAME.bin.json beside NAME.bin."""

from __future__ import annotations

import json
import os
from dataclasses import dataclass, field
from typing import Any, Dict, List, Optional

from ._types import Bytes

_SCHEMA, _VERSION = "qor-trace-recording", 1
_LONGEST = 16 << 20  # bytes


@dataclass(frozen=True)
class Channel:
    """A channel of a recording."""

    number: int
    bus: str  #: ``"CAN"``, ``"LIN"``, ``"FlexRay"``, ``"Ethernet"``; empty where it isn't known
    source: str = ""  #: as it was typed
    name: str = ""  #: of the interface
    hardware: str = ""
    bit_rate: int = 0  #: bit/s; 0 where it isn't known
    data_bit_rate: int = 0
    filter: str = ""  #: what of the channel was recorded


@dataclass(frozen=True)
class Loss:
    """Entries that are missing: none before ``first_time_ns`` or after ``last_time_ns``."""

    channel: int
    cause: str  #: ``"capture_buffer_full"``, ``"overrun_mark"`` and the others of ``docs/losses.md``
    first_time_ns: int
    last_time_ns: int
    count: Optional[int] = None  #: None where it isn't known


@dataclass(frozen=True)
class Description:
    """What is known of a recording; what isn't is empty, 0 or None."""

    id: str = ""
    title: str = ""
    tool: str = ""
    host: str = ""
    complete: bool = True  #: False if it was cut off
    epoch: str = "unknown"
    utc_offset_ns: Optional[int] = None
    uncertainty_ns: int = 0
    channels: List[Channel] = field(default_factory=list)
    losses: List[Loss] = field(default_factory=list)


class NotDescribed(Exception):
    """A file that lies beside a recording isn't its description; the reason."""


def describe(text: bytes, first_record: bytes, size: int) -> Description:
    """Reads a description.

    :param first_record: of the recording, and
    :param size: bytes of the recording: whether the description is about it
    :raises NotDescribed: it isn't, or isn't one
    """
    try:
        data = json.loads(text)
    except ValueError:
        raise NotDescribed("isn't JSON") from None
    if not isinstance(data, dict) or data.get("schema") != _SCHEMA:
        raise NotDescribed("is no description of a recording")
    if not isinstance(data.get("version"), int) or data["version"] > _VERSION:
        raise NotDescribed("has a newer version")
    try:
        _check_records(data, first_record, size)
        return _description(data)
    except (KeyError, TypeError, ValueError, AttributeError):
        raise NotDescribed("has a wrong field") from None


def _check_records(data: Dict[str, Any], first_record: bytes, size: int) -> None:
    records = data.get("records")
    if not records:
        return
    longer = data.get("complete", True) and size > int(records.get("bytes", 0))
    first = int(records.get("first_record_fnv1a", 0))
    if longer or (first != 0 and first != digest_of(first_record)):
        raise NotDescribed("describes another recording")


def _description(data: Dict[str, Any]) -> Description:
    clock = data.get("clock") or {}
    start = clock.get("start")
    offset = int(start["utc_ns"]) - int(start["entry_time_ns"]) if start else None
    return Description(
        id=str(data.get("id") or ""),
        title=str(data.get("title") or ""),
        tool=str(data.get("tool") or ""),
        host=str(data.get("host") or ""),
        complete=bool(data.get("complete", True)),
        epoch=str(clock.get("epoch") or "unknown"),
        utc_offset_ns=offset,
        uncertainty_ns=int((start or {}).get("uncertainty_ns") or 0),
        channels=[_channel(each) for each in data.get("channels") or []],
        losses=[_loss(each) for each in data.get("losses") or []],
    )


def _channel(data: Dict[str, Any]) -> Channel:
    def text(name: str) -> str:
        return str(data.get(name) or "")

    return Channel(
        number=int(data["number"]),
        bus=text("bus"),
        source=text("source"),
        name=text("name"),
        hardware=text("hardware"),
        bit_rate=int(data.get("bit_rate") or 0),
        data_bit_rate=int(data.get("data_bit_rate") or 0),
        filter=text("filter"),
    )


def _loss(data: Dict[str, Any]) -> Loss:
    count = data.get("count")
    return Loss(
        int(data["channel"]),
        str(data["cause"]),
        int(data["first_time_ns"]),
        int(data["last_time_ns"]),
        None if count is None else int(count),
    )


def digest_of(record: "bytes | Bytes") -> int:
    """64-bit FNV-1a, by which a description knows its recording; 1 in place of 0, 0 without a record."""
    raw = bytes(record)
    if not raw:
        return 0
    digest = 0xCBF29CE484222325
    for byte in raw:
        digest = ((digest ^ byte) * 0x100000001B3) & 0xFFFFFFFFFFFFFFFF
    return max(digest, 1)


def names_beside(path: str) -> List[str]:
    """Where the description of a recording may lie, in the order of preference."""
    names = [path + ".json"]
    if not os.path.exists(path + ".part"):  # while records are on their way to this name, a part of a description is theirs
        names.append(path + ".json.part")
    if path.endswith(".part"):
        names.append(path[: -len(".part")] + ".json.part")
    return names


def find_description(path: str, first_record: bytes, size: int) -> "tuple[Optional[Description], List[str]]":
    """:return: the description, and what is to be said of files that were left aside"""
    remarks: List[str] = []
    for name in names_beside(path):
        try:
            with open(name, "rb") as file:
                text = file.read(_LONGEST)
            return describe(text, first_record, size), remarks
        except FileNotFoundError:
            continue
        except OSError as problem:
            remarks.append(f"{name} can't be read: {problem.strerror}")
        except NotDescribed as reason:
            remarks.append(f"{name} is left aside: it {reason}")
    return None, remarks
