"""Where records begin in a buffer of records of differing lengths.

A record's place is known only from the length of the one before it: a walk that Python would take 5 million steps for. So the
buffer is cut into many parts, in each of which a walker begins at a place that looks like a record, and all walkers take
their steps together, as operations on arrays.

Nothing rests on what looks like a record: a walker counts only if the one before it, and so on back to the one at the buffer's
start, arrives exactly where it began. Where that isn't so, the walk goes on one by one until it meets a walker again.
"""

from __future__ import annotations

import struct
from typing import Any, Container, List, NamedTuple, Tuple

import numpy as np

from ._layout import HEADER_BYTES, LONGEST_RECORD
from ._types import Bytes, Numbers, Offsets

_LEAST_PART = 8 << 10  # bytes; below that, walkers cost more than they spare
_MOST_WALKERS = 4096
_STEPS = 32  # at a time
_SEARCHED = 2 * 1568  # bytes at the beginning of a part, in which a record of sound hardware begins


class Boundaries(NamedTuple):
    offsets: Offsets  # of each whole record
    end: int  # of the last whole record, in bytes; less than the buffer when the rest is no whole record
    damaged: bool  # the rest can't be the beginning of a record: its length is impossible


class _Walks(NamedTuple):
    starts: Offsets  # of each walker
    ends: Offsets  # where it arrived: at the next one's start or beyond, or before a record that isn't whole
    first: Offsets  # index of its first place in `places`; one more at the end
    places: Offsets  # all records that they came to


def find_boundaries(raw: Bytes, align: int) -> Boundaries:
    """Finds the records that follow one another from the buffer's start.

    :param raw: any bytes; they are only read
    :param align: 8 in buffers that the library has filled, 1 in files
    """
    walkers = min(raw.size // _LEAST_PART, _MOST_WALKERS)
    if walkers < 4:
        places, end = _walk_alone(raw, 0, align, ())
        return _with_rest(raw, np.array(places, np.int64), end)
    return _join(raw, align, _walk_together(raw, _likely_starts(raw, align, walkers), align))


def numbers_at(raw: Bytes, form: Any) -> Numbers:
    """The values of a type at each byte of the buffer, aligned or not. Nothing is copied."""
    size = np.dtype(form).itemsize
    return np.ndarray((max(raw.size - size + 1, 0),), form, buffer=raw, strides=(1,))


def _with_rest(raw: Bytes, offsets: Offsets, end: int) -> Boundaries:
    """Says whether what follows the last whole record may be the beginning of another."""
    damaged = False
    if raw.size - end >= 4:
        length = int.from_bytes(raw[end : end + 4].tobytes(), "little")
        damaged = not HEADER_BYTES <= length <= LONGEST_RECORD
    return Boundaries(offsets, end, damaged)


def _walk_alone(raw: Bytes, start: int, align: int, stops: Container[int]) -> Tuple[List[int], int]:
    """One record after the other, to the end or to one of the stops.

    :return: the records, and where the walk ended
    """
    length_at = struct.Struct("<I").unpack_from
    view = raw.data
    size = raw.size
    up, mask = align - 1, ~(align - 1)
    places: List[int] = []
    here = start
    while here + 4 <= size and here not in stops:
        (length,) = length_at(view, here)
        if not HEADER_BYTES <= length <= min(LONGEST_RECORD, size - here):
            break
        places.append(here)
        here = min((here + length + up) & mask, size)
    return places, here


def _likely_starts(raw: Bytes, align: int, walkers: int) -> Offsets:
    """A place in each part of the buffer that looks like a record. Parts without one are left out."""
    parts = np.arange(walkers, dtype=np.int64) * (raw.size // walkers)
    parts -= parts % align
    found = np.full(walkers, -1, np.int64)
    found[0] = 0
    words = tails = numbers_at(raw, "<u4")  # length; bus and the three bytes after it, which are 0
    searching = np.arange(1, walkers)
    for distance in range(0, min(_SEARCHED, raw.size // walkers - 64), align):
        here = parts[searching] + distance
        maybe = np.flatnonzero(tails[np.minimum(here + 24, tails.size - 1)] <= 3)
        maybe = maybe[words[np.minimum(here[maybe], words.size - 1)] - HEADER_BYTES < LONGEST_RECORD]
        if maybe.size == 0:
            continue
        hits = maybe[_looks_like_record(raw, here[maybe])]
        if hits.size:
            found[searching[hits]] = here[hits]
            searching = np.delete(searching, hits)
            if searching.size == 0:
                break
    return found[found >= 0]


def _looks_like_record(raw: Bytes, places: Offsets) -> "np.ndarray[Any, np.dtype[np.bool_]]":
    """A length that agrees with what the bus says of it; and records of all buses but LIN have their time twice."""
    longs, words, shorts = (numbers_at(raw, form) for form in ("<u8", "<u4", "<u2"))
    near = np.minimum(places, longs.size - 41)  # only at the end of the buffer is anything cut
    length, bus = words[near], words[near + 24]
    payload = np.where(bus == 0, 16 + raw[near + 43].astype(np.uint32), shorts[near + 28])
    payload[bus == 1] = 20
    again = (bus == 1) | (longs[near + np.where(bus == 0, 28, 32)] == longs[near + 8])
    fits: "np.ndarray[Any, np.dtype[np.bool_]]" = (length == HEADER_BYTES + payload) & again
    return fits


def _walk_together(raw: Bytes, starts: Offsets, align: int) -> _Walks:
    """All walkers, some steps at a time, each to the start of the next one or beyond.

    Steps are taken blindly; which of them came to a record is looked at afterwards, for all at once.
    """
    lengths = numbers_at(raw, "<u4")
    last = lengths.size - 1
    up, mask = align - 1, ~(align - 1)
    ends = starts.copy()
    blocks: List[Tuple[Offsets, Offsets, Offsets]] = []  # walkers, how many steps of each count, the steps' places
    walking, here, limits = np.arange(starts.size), starts, np.append(starts[1:], raw.size)
    while walking.size:
        places = np.empty((_STEPS + 1, walking.size), np.int64)
        found = np.empty((_STEPS, walking.size), np.uint32)
        for step in range(_STEPS):
            places[step] = here
            length = found[step] = lengths[here]
            here = here + length
            if up:
                here = (here + up) & mask
            np.minimum(here, last, out=here)
        places[_STEPS] = here
        counts = _steps_that_count(places, found, limits, raw.size)
        columns = np.arange(walking.size)
        final = places[counts, columns]
        # Where the walk was cut at the last number, the record may reach to the buffer's end.
        at_last = np.flatnonzero((final == last) & (counts > 0))
        before = counts[at_last] - 1, at_last
        final[at_last] = np.minimum((places[before] + found[before] + up) & mask, raw.size)
        ends[walking] = final
        blocks.append((walking, counts, places))
        going = (counts == _STEPS) & (final < limits) & (final <= last)
        walking, here, limits = walking[going], final[going], limits[going]
    first, all_places = _by_walker(blocks, starts.size)
    return _Walks(starts, ends, first, all_places)


def _steps_that_count(places: Offsets, found: Numbers, limits: Offsets, size: int) -> Offsets:
    """How many steps of each walker came to a whole record before its limit."""
    fine = (found >= HEADER_BYTES) & (found <= LONGEST_RECORD)
    fine &= places[:-1] < limits
    fine &= places[:-1] + found <= size
    counts: Offsets = np.argmin(fine, axis=0)
    counts[fine.all(axis=0)] = _STEPS
    return counts


def _by_walker(blocks: List[Tuple[Offsets, Offsets, Offsets]], walkers: int) -> Tuple[Offsets, Offsets]:
    """Puts the places in the order of the buffer."""
    taken = np.zeros(walkers, np.int64)
    for walking, counts, _ in blocks:
        taken[walking] += counts
    first = np.zeros(walkers + 1, np.int64)
    np.cumsum(taken, out=first[1:])
    places = np.empty(int(first[-1]), np.int64)
    done = first[:-1].copy()
    numbers = np.arange(_STEPS)
    for walking, counts, block in blocks:
        counted = numbers < counts[:, None]
        places[(done[walking][:, None] + numbers)[counted]] = block[:-1].T[counted]
        done[walking] += counts
    return first, places


def _join(raw: Bytes, align: int, walks: _Walks) -> Boundaries:
    """The walks that are known to be right: from the buffer's start, each to exactly where the next one began."""
    astray = np.flatnonzero(walks.ends[:-1] != walks.starts[1:])
    if astray.size == 0:
        return _with_rest(raw, walks.places, int(walks.ends[-1]))
    begins = {int(start): walker for walker, start in enumerate(walks.starts)}
    pieces: List[Offsets] = []
    walker = 0
    while True:
        following = astray[int(np.searchsorted(astray, walker)) :]
        right = int(following[0]) if following.size else walks.starts.size - 1
        pieces.append(walks.places[walks.first[walker] : walks.first[right + 1]])
        end = int(walks.ends[right])
        if not following.size:
            break
        if end not in begins:
            places, end = _walk_alone(raw, end, align, begins)
            pieces.append(np.array(places, np.int64))
        if begins.get(end, right) <= right:
            break  # the end, or a walker that could take no step from its place
        walker = begins[end]
    return _with_rest(raw, np.concatenate(pieces), end)
