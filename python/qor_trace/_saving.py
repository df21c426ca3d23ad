"""A trace to a file of any format."""

from __future__ import annotations

import json
import os
import platform
import socket
import tempfile
import uuid
from datetime import datetime, timezone
from typing import TYPE_CHECKING, Any, Dict, List, Optional

import numpy as np

from ._boundaries import numbers_at
from ._description import digest_of
from ._entries import Entries
from ._library import PathText
from ._program import run_program
from ._types import Bytes
from ._version import __version__

if TYPE_CHECKING:
    from ._trace import Trace

_BUS_NAMES = ("CAN", "LIN", "FlexRay", "Ethernet")


def save(trace: "Trace", path: PathText, program: Optional[PathText]) -> None:
    target = os.fspath(path)
    if target.endswith(".bin"):
        _save_bin(trace, target)
        return
    with tempfile.TemporaryDirectory(prefix="qor-trace-") as folder:
        recording = os.path.join(folder, "recording.bin")
        _save_bin(trace, recording)
        run_program(["convert", recording, "-o", target], program)


def _save_bin(trace: "Trace", target: str) -> None:
    """Nothing that exists is replaced before what replaces it is complete; no old description lies beside new records."""
    part = target + ".part"
    first = b""
    count = size = 0
    try:
        with open(part, "wb") as file:
            for batch in trace.reader().batches():
                packed = back_to_back(batch)
                if count == 0:
                    first = bytes(batch.record(0))
                file.write(packed.data)
                count += len(batch)
                size += packed.size
        with open(target + ".json.part", "w", encoding="utf-8") as file:
            json.dump(_description(trace, first, count, size), file, indent=2)
    except BaseException:
        _remove(part)
        _remove(target + ".json.part")
        raise
    _remove(target + ".json")
    os.replace(part, target)
    os.replace(target + ".json.part", target + ".json")


def _remove(path: str) -> None:
    try:
        os.remove(path)
    except FileNotFoundError:
        pass


def back_to_back(entries: Entries) -> Bytes:
    """The records without the bytes between them, those of one length at a time."""
    lengths = entries.lengths().astype(np.int64)
    ends = np.cumsum(lengths)
    packed = np.empty(int(ends[-1]) if ends.size else 0, np.uint8)
    for length in np.unique(lengths):
        form = f"V{length}"
        same = np.flatnonzero(lengths == length)
        numbers_at(packed, form)[ends[same] - length] = numbers_at(entries.raw, form)[entries.offsets[same]]
    return packed


def _description(trace: "Trace", first: bytes, count: int, size: int) -> Dict[str, Any]:
    clock = trace.clock
    start: Optional[Dict[str, Any]] = None
    if clock.utc_offset_ns is not None and first:
        time_ns = 0 if clock.epoch == "own" else int.from_bytes(first[8:16], "little")
        utc_ns = time_ns + clock.utc_offset_ns
        start = {
            "entry_time_ns": time_ns,
            "utc_ns": utc_ns,
            "utc": _utc_text(utc_ns),
            "uncertainty_ns": clock.uncertainty_ns,
            "origin": "clock" if clock.epoch == "1970" else "recording_start",
        }
    return {
        "schema": "qor-trace-recording",
        "version": 1,
        "id": str(uuid.uuid4()),
        "title": "",
        "tool": f"qor_trace {__version__} (Python)",
        "host": socket.gethostname(),
        "system": f"{platform.system()} {platform.release()}",
        "machine": platform.machine(),
        "complete": True,
        "clock": {"epoch": clock.epoch, "start": start},
        "channels": _channels(trace),
        "losses": _losses(trace),
        "records": {"count": count, "bytes": size, "first_record_fnv1a": digest_of(first)},
    }


def _utc_text(utc_ns: int) -> str:
    seconds = datetime.fromtimestamp(utc_ns // 10**9, timezone.utc).strftime("%Y-%m-%dT%H:%M:%S")
    return f"{seconds}.{utc_ns % 10**9 // 1000:06d}Z"


def _channels(trace: "Trace") -> List[Dict[str, Any]]:
    channels = []
    for number, port in sorted(trace.ports.items()):
        channel: Dict[str, Any] = {"number": number, "bus": None, "source": port.source}
        if port.is_ours:
            found = port.interface
            channel["bus"] = None if found.bus is None else _BUS_NAMES[found.bus]
            channel.update(name=found.name, hardware=found.hardware, bit_rate=found.bit_rate, data_bit_rate=found.data_bit_rate)
        channels.append(channel)
    return channels


def _losses(trace: "Trace") -> List[Dict[str, Any]]:
    losses = []
    for number, port in sorted(trace.ports.items()):
        if not port.is_ours:
            continue
        status = port.status
        if status.lost:
            losses.append(
                {
                    "channel": number,
                    "cause": "capture_buffer_full",
                    "first_time_ns": status.first_lost_ns,
                    "last_time_ns": status.last_lost_ns,
                    "count": status.lost,
                }
            )
    return losses
