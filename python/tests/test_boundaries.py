"""Where records begin: the same as one finds by going from each to the next."""

import random

import numpy as np
import pytest
from conftest import can, ethernet, flexray, lin, padded

from qor_trace._boundaries import find_boundaries


def one_by_one(raw, align):
    offsets, place = [], 0
    while place + 4 <= len(raw):
        length = int.from_bytes(raw[place : place + 4], "little")
        if length < 28 or length > 28 + 65535 or place + length > len(raw):
            break
        offsets.append(place)
        place = min((place + length + align - 1) // align * align, len(raw))
    return offsets, place


def check(raw, align=1):
    found = find_boundaries(np.frombuffer(raw, np.uint8), align)
    offsets, end = one_by_one(raw, align)
    assert found.end == end
    assert found.offsets.tolist() == offsets
    return found


def traffic(count, seed=1):
    """Records of all buses, with data of any length and value."""
    chance = random.Random(seed)
    records = []
    for number in range(count):
        time = number * 1000
        data = chance.randbytes(chance.choice((0, 1, 8, 8, 8, 64)))
        records.append(
            chance.choice(
                (
                    lambda: can(data=data, time=time),
                    lambda: can(data=data, time=time),
                    lambda: lin(data=data[:8], time=time),
                    lambda: flexray(data=data, time=time),
                    lambda: ethernet(chance.randbytes(chance.randrange(60, 1515)), time=time),
                )
            )()
        )
    return records


@pytest.mark.parametrize("count", (0, 1, 2, 100, 2000, 20000))
def test_every_record_is_found(count):
    records = traffic(count)
    assert not check(b"".join(records)).damaged
    assert find_boundaries(np.frombuffer(padded(records), np.uint8), 8).offsets.size == count
    check(padded(records), 8)


def test_records_inside_of_records_are_not_found():
    """A frame may hold a recording, as when one is copied over the network."""
    chance = random.Random(3)
    inner = b"".join(can(data=chance.randbytes(8), time=number) for number in range(28))
    records = []
    for number in range(3000):
        shift = b"\0" * chance.randrange(8)
        records.append(ethernet((shift + inner)[:1514], time=number))
    check(b"".join(records))
    check(padded(records), 8)


def test_records_that_look_like_none_are_found():
    """Times that differ, lengths that don't fit: nothing a search could recognise."""
    chance = random.Random(4)
    records = []
    for _ in range(20000):
        body = chance.randbytes(chance.randrange(0, 90))
        records.append((28 + len(body)).to_bytes(4, "little") + chance.randbytes(24) + body)
    check(b"".join(records))
    check(padded(records), 8)


def test_a_buffer_of_nothing_but_random_bytes_is_looked_through_to_the_first_that_is_no_record():
    for seed in range(6):
        raw = random.Random(seed).randbytes(200_000)
        check(raw)
        check(raw, 8)


def test_a_file_cut_at_any_byte_gives_the_whole_records_before():
    raw = b"".join(traffic(12))
    for end in range(len(raw)):
        assert not check(raw[:end]).damaged


@pytest.mark.parametrize("kept", (1, 3, 4, 20, 27, 28, 43))
def test_a_large_file_cut_in_a_record_gives_all_before(kept):
    raw = b"".join(traffic(20000))
    last = can(data=b"\1\2\3")
    found = check(raw + last[:kept])
    assert found.end == len(raw) and not found.damaged


@pytest.mark.parametrize("length", (0, 27, 28 + 65536, 0xFFFFFFFF))
def test_damage_ends_the_records_and_is_told_apart_from_a_cut(length):
    records = traffic(20000)
    for place in (0, 1, 9999, 19999):
        raw = bytearray(b"".join(records))
        at = sum(map(len, records[:place]))
        raw[at : at + 4] = length.to_bytes(4, "little")
        found = check(bytes(raw))
        assert found.end == at and found.damaged


def test_a_wrong_length_that_leads_astray_is_followed_as_far_as_it_leads():
    records = traffic(20000)
    raw = bytearray(b"".join(records))
    at = sum(map(len, records[:10000]))
    for length in range(28, 140, 9):
        raw[at : at + 4] = length.to_bytes(4, "little")
        check(bytes(raw))
