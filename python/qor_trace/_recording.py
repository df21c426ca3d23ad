"""Recordings: files, read as entries."""

from __future__ import annotations

import os
import tempfile
import warnings
from types import TracebackType
from typing import TYPE_CHECKING, Iterable, Iterator, List, Optional, Type

import numpy as np

from ._boundaries import find_boundaries
from ._description import Channel, Description, Loss, find_description
from ._entries import Entries, Entry
from ._errors import Error, RecordingError, RecordingWarning
from ._layout import DEFAULT_DATA_BYTES, HEADER_BYTES, LONGEST_RECORD
from ._library import PathText
from ._program import convert
from ._trace import _DECADES, Clock
from ._types import Bytes, Rows

if TYPE_CHECKING:
    import pandas


class Recording:
    """A recording, as it lies in a file.

    ::

        with qor_trace.Recording("drive.bin") as recording:
            rows = recording.to_array()

    ``.bin`` files are mapped into memory, so that any size is opened at once and nothing is read that isn't asked for. Other
    formats (``.mf4``, ``.asc``, ``.pcapng``, ``.log``, ``.bin.gz`` and all that ``qor-trace convert`` reads) are converted into a
    temporary file first.

    :param tolerant: read a damaged file up to the damage, with a warning, in place of an error
    :param program: ``qor-trace``, if it isn't found by itself
    :param temporary: folder for the temporary file; it takes as much room as the entries, and is gone as soon as it is open
    :raises OSError: the file can't be opened
    :raises LoadError: the program is needed and isn't there
    :raises RecordingError: the program can't read the file

    A file that is cut off in the middle of an entry, as by a crash, is read up to there, with a :class:`RecordingWarning`.
    Nobody may shorten the file while it is in use: reading what is no longer there ends the process.

    Threads: any number may read. Arrays and entries stay valid after :meth:`close`.
    """

    def __init__(
        self,
        path: PathText,
        *,
        tolerant: bool = False,
        program: Optional[PathText] = None,
        temporary: Optional[PathText] = None,
    ) -> None:
        self.path = os.fspath(path)
        self._tolerant = tolerant
        self._entries: Optional[Entries] = None
        self._closed = False
        if self.path.endswith((".bin", ".bin.part")):
            self._raw = _map(self.path)
            self._describe(self.path)
        else:
            os.stat(self.path)  # says what is wrong with the path as every other open() does
            with tempfile.TemporaryDirectory(prefix="qor-trace-", dir=temporary) as folder:
                converted = os.path.join(folder, "recording.bin")
                convert(self.path, converted, program=program)
                self._raw = _map(converted)
                self._describe(converted)

    def _describe(self, path: str) -> None:
        description, remarks = find_description(path, _first_record(self._raw), self._raw.size)
        for remark in remarks:
            warnings.warn(remark, RecordingWarning, stacklevel=4)
        self.is_described = description is not None
        self.description = description or Description()

    def close(self) -> None:
        """Gives the file back, once no array or entry refers to it any more."""
        self._closed = True
        self._entries = None
        self._raw = np.zeros(0, np.uint8)

    def __enter__(self) -> "Recording":
        return self

    def __exit__(
        self, kind: Optional[Type[BaseException]], problem: Optional[BaseException], where: Optional[TracebackType]
    ) -> None:
        self.close()

    def __repr__(self) -> str:
        return f"<recording {self.path}>"

    @property
    def channels(self) -> List[Channel]:
        """What was recorded, as far as the recording says so."""
        return self.description.channels

    @property
    def losses(self) -> List[Loss]:
        """What is missing, as far as the recording says so; overrun marks of entries aside."""
        return self.description.losses

    @property
    def clock(self) -> Clock:
        """What the times count from."""
        known = self.description
        if known.epoch == "unknown" and known.utc_offset_ns is None and len(self):
            first_ns = self.entries[:1].to_array(["time_ns"])["time_ns"][0]
            if first_ns > _DECADES:
                return Clock("1970", 0)
        if known.epoch == "1970":
            return Clock("1970", 0)
        return Clock(known.epoch, known.utc_offset_ns, known.uncertainty_ns)

    @property
    def entries(self) -> Entries:
        """All entries, in the file's order. The first use goes through the file once, to see where each begins.

        :raises RecordingError: something in the file is no record (and it isn't read ``tolerant``\\ ly)
        """
        if self._closed:
            raise Error("The recording is closed")
        if self._entries is None:
            found = find_boundaries(self._raw, 1)
            if found.end < self._raw.size:
                self._complain(found.end, found.damaged)
            self._entries = Entries(self._raw, found.offsets)
        return self._entries

    def _complain(self, end: int, damaged: bool) -> None:
        rest = self._raw.size - end
        if damaged and not self._tolerant:
            raise RecordingError(f"There is no whole record at byte {end} of {self.path}: is it a .bin recording? tolerant=True reads it up to there")
        what = "damaged" if damaged else "cut off"
        warnings.warn(f"{self.path} is {what} at byte {end}: {rest} bytes are not read", RecordingWarning, stacklevel=4)

    def __len__(self) -> int:
        return len(self.entries)

    def __bool__(self) -> bool:
        return True

    def __iter__(self) -> Iterator[Entry]:
        return iter(self.entries)

    def to_array(self, fields: Optional[Iterable[str]] = None, data_bytes: int = DEFAULT_DATA_BYTES) -> Rows:
        """All entries as a structured array, one row each; see :func:`row_dtype` for the fields.

        :param fields: those that are wanted; fewer are faster
        :param data_bytes: width of the field ``data``; longer data are cut, see ``size``
        """
        return self.entries.to_array(fields, data_bytes)

    def to_dataframe(self, data: bool = True) -> "pandas.DataFrame":
        """All entries as a table of pandas, with the column ``utc`` where the clock is known; see :func:`to_dataframe`."""
        return self.entries.to_dataframe(data, self.clock.utc_offset_ns)


def _map(path: str) -> Bytes:
    with open(path, "rb") as file:
        if os.fstat(file.fileno()).st_size == 0:
            return np.zeros(0, np.uint8)
        return np.asarray(np.memmap(file, np.uint8, "r"))


def _first_record(raw: Bytes) -> bytes:
    if raw.size < HEADER_BYTES:
        return b""
    length = int.from_bytes(raw[:4].tobytes(), "little")
    return raw[:length].tobytes() if HEADER_BYTES <= length <= min(LONGEST_RECORD, raw.size) else b""
