"""Records of all kinds as rows and as entries: the same that the layouts say."""

import random

import numpy as np
import pytest
from conftest import can, ethernet, flexray, lin, padded, record
from test_boundaries import traffic

import qor_trace
from qor_trace import Bus, Kind
from qor_trace._boundaries import find_boundaries
from qor_trace._entries import Entries


def entries_of(*records, align=1):
    raw = np.frombuffer(padded(records) if align == 8 else b"".join(records), np.uint8)
    return Entries(raw, find_boundaries(raw, align).offsets)


# A record, and what is not as by default in its row: no values, kind of the bus's frames.
CASES = {
    "classic": (can(0x123, b"\1\2\3", time=5, channel=7), dict(kind=Kind.CAN_FRAME, time_ns=5, channel=7, id=0x123, len=3, dlc=3, data=b"\1\2\3")),
    "extended": (can(0x80000000 | 0x18FE0102, b"\1", flags=1), dict(kind=Kind.CAN_FRAME, id=0x18FE0102, len=1, dlc=1, flags=1, data=b"\1")),
    "fd": (can(0x40000000 | 0x55, bytes(range(64)), flags=0x28, dlc=15), dict(kind=Kind.CAN_FD_FRAME, id=0x55, len=64, dlc=15, flags=0x28, data=bytes(range(64)))),
    "sent": (can(1, flags=2), dict(kind=Kind.CAN_FRAME, id=1, len=0, dlc=0, tx=True, flags=2)),
    "remote": (can(1, dlc=4), dict(kind=Kind.CAN_FRAME, id=1, len=0, dlc=4)),
    "can error": (can(2, b"\3", flags=4 | 8), dict(kind=Kind.CAN_ERROR_FRAME, id=2, len=1, dlc=1, flags=12, data=b"\3")),
    "can event comes before error": (can(2, b"\1", flags=0x14), dict(kind=Kind.CAN_EVENT, len=1, flags=0x14, data=b"\1")),
    "can announces more than it has": (can(2, b"\1\2", announced=8), dict(kind=Kind.CAN_FRAME, id=2, len=8, dlc=2, data=b"\1\2")),
    "can announces less than it has": (can(2, b"\1\2", announced=1), dict(kind=Kind.CAN_FRAME, id=2, len=1, dlc=2, data=b"\1")),
    "lin": (lin(0x92, b"\1\2", 0x77), dict(bus=1, channel=2, kind=Kind.LIN_FRAME, id=0x12, len=2, checksum=0x77, data=b"\1\2")),
    "lin of 8 bytes": (lin(1, b"12345678", 0x99), dict(bus=1, channel=2, kind=Kind.LIN_FRAME, id=1, len=8, checksum=0x99, data=b"12345678")),
    "lin that announces too much": (lin(1, b"12345678", 0x99, announced=200), dict(bus=1, channel=2, kind=Kind.LIN_FRAME, id=1, len=199, data=b"12345678")),
    "lin header alone": (lin(1, announced=0), dict(bus=1, channel=2, kind=Kind.LIN_NO_RESPONSE, id=1, len=0)),
    "lin wake-up": (lin(1, flags=0x20), dict(bus=1, channel=2, kind=Kind.LIN_WAKE_UP, flags=0x20)),
    "lin event comes before wake-up": (lin(1, flags=0x30), dict(bus=1, channel=2, kind=Kind.LIN_EVENT, flags=0x30)),
    "lin checksum error before event": (lin(1, b"\1", 2, flags=0x12), dict(bus=1, channel=2, kind=Kind.LIN_CHECKSUM_ERROR, id=1, len=1, checksum=2, flags=0x12, data=b"\1")),
    "lin sync error before checksum": (lin(1, b"\1", 2, flags=0x06), dict(bus=1, channel=2, kind=Kind.LIN_SYNC_ERROR, id=1, len=1, checksum=2, flags=6, data=b"\1")),
    "lin parity error before sync": (lin(1, b"\1", 2, flags=0x05), dict(bus=1, channel=2, kind=Kind.LIN_PARITY_ERROR, id=1, len=1, checksum=2, flags=5, data=b"\1")),
    "lin transmit error first": (lin(1, b"\1", 2, flags=0x4F), dict(bus=1, channel=2, kind=Kind.LIN_TRANSMIT_ERROR, id=1, len=1, checksum=2, tx=True, flags=0x4F, data=b"\1")),
    "lin transmit error of another": (lin(1, b"\1", 2, flags=0x08), dict(bus=1, channel=2, kind=Kind.LIN_FRAME, id=1, len=1, checksum=2, flags=8, data=b"\1")),
    "flexray": (flexray(data=b"\1\2", flags=8, side=2), dict(bus=2, channel=3, kind=Kind.FLEXRAY_FRAME, len=2, flags=8, slot=17, cycle=3, side=2, data=b"\1\2")),
    "flexray sent": (flexray(2, data=b"\1\2"), dict(bus=2, channel=3, kind=Kind.FLEXRAY_FRAME, len=2, tx=True, slot=17, cycle=3, side=0, data=b"\1\2")),
    "flexray null frame": (flexray(data=b"\1\2", flags=4), dict(bus=2, channel=3, kind=Kind.FLEXRAY_NULL_FRAME, len=2, flags=4, slot=17, cycle=3, side=0)),
    "flexray of 254 bytes": (flexray(data=bytes(254)[:-1] + b"\7"), dict(bus=2, channel=3, kind=Kind.FLEXRAY_FRAME, len=254, slot=17, cycle=3, side=0, data=bytes(253) + b"\7")),
    "flexray start of cycle": (flexray(3, side=44), dict(bus=2, channel=3, kind=Kind.FLEXRAY_CYCLE_START, cycle=44)),
    "flexray state": (flexray(4, side=5), dict(bus=2, channel=3, kind=Kind.FLEXRAY_STATE)),
    "flexray status": (flexray(5), dict(bus=2, channel=3, kind=Kind.FLEXRAY_STATUS)),
    "flexray symbol": (flexray(6, side=1), dict(bus=2, channel=3, kind=Kind.FLEXRAY_SYMBOL, side=1)),
    "flexray error": (flexray(8, slot=0x0109), dict(bus=2, channel=3, kind=Kind.FLEXRAY_ERROR, cycle=9, side=1)),
    "flexray overrun": (flexray(0), dict(bus=2, channel=3, kind=Kind.OVERRUN)),
    "flexray of no known kind": (flexray(11), dict(bus=2, channel=3, kind=Kind.MALFORMED)),
    "ethernet": (ethernet(bytes(60)), dict(bus=3, channel=4, kind=Kind.ETHERNET_FRAME, len=60, data=bytes(60))),
    "ethernet sent": (ethernet(b"\1" * 60, flags=1), dict(bus=3, channel=4, kind=Kind.ETHERNET_FRAME, len=60, tx=True, flags=1, data=b"\1" * 60)),
    "ethernet checksum error": (ethernet(b"\1" * 60, flags=2), dict(bus=3, channel=4, kind=Kind.ETHERNET_CRC_ERROR, len=60, flags=2, data=b"\1" * 60)),
    "ethernet of full length": (ethernet(bytes(range(200)) * 7), dict(bus=3, channel=4, kind=Kind.ETHERNET_FRAME, len=1400, data=bytes(range(200)) * 7)),
    "ethernet record": (ethernet(b"\1\2", item=2), dict(bus=3, channel=4, kind=Kind.ETHERNET_RECORD, data=b"\1\2")),
    "ethernet overrun": (ethernet(b"\1\2", item=0), dict(bus=3, channel=4, kind=Kind.OVERRUN)),
    "can cut short": (record(0, b"\xff" * 15), dict(kind=Kind.MALFORMED)),
    "nothing but a header": (record(3, b"", channel=4), dict(bus=3, channel=4, kind=Kind.MALFORMED)),
    "lin that readers skip": (lin(1, b"\1", reserved=1), dict(bus=1, channel=2, kind=Kind.MALFORMED)),
    "an unknown bus": (record(9, b"\xff" * 40), dict(bus=9, kind=Kind.MALFORMED)),
}
NUMBERS = dict(time_ns=0, channel=1, bus=0, tx=False, id=-1, len=-1, flags=0, dlc=-1, slot=-1, cycle=-1, side=-1, checksum=-1)


def check_row(row, expected, width):
    data = expected.get("data", b"")
    for name, value in {**NUMBERS, **{name: value for name, value in expected.items() if name != "data"}}.items():
        assert row[name] == value, name
    assert row["size"] == len(data)
    assert row["data"].tobytes() == data[:width].ljust(width, b"\0")


def check_entry(entry, expected):
    for name, value in {**NUMBERS, **expected}.items():
        if name != "data":
            assert getattr(entry, name) == (None if value == -1 and name != "time_ns" else value), name
    assert entry.data == expected.get("data", b"")


@pytest.mark.parametrize("case", CASES)
def test_a_record_alone(case):
    one, expected = CASES[case]
    entries = entries_of(one)
    check_row(entries.to_array()[0], expected, 64)
    check_entry(entries[0], expected)
    check_entry(next(iter(entries)), expected)


@pytest.mark.parametrize("width", (1, 8, 13, 64, 254, 1524))
@pytest.mark.parametrize("align", (1, 8))
def test_records_of_all_buses_mixed(align, width):
    chance = random.Random(width)
    cases = [chance.choice(list(CASES.values())) for _ in range(20000)]
    entries = entries_of(*(one for one, _ in cases), align=align)
    rows = entries.to_array(data_bytes=width)
    for index, (one, expected) in enumerate(cases[:3000]):
        check_row(rows[index], expected, width)
        assert bytes(entries.record(index)) == one
    for entry, (_, expected) in zip(entries, cases):
        check_entry(entry, expected)


def test_many_records_of_one_bus():
    cases = [CASES[name] for name in ("classic", "fd", "remote", "can error", "can announces more than it has")] * 4000
    rows = entries_of(*(one for one, _ in cases)).to_array()
    for row, (_, expected) in zip(rows[::97], cases[::97]):
        check_row(row, expected, 64)


def test_nothing_is_read_past_a_record_that_is_cut_short():
    """Whatever is missing is 0, not what the next record begins with."""
    for length in range(28, 48):
        one = record(0, b"\xff" * (length - 28))
        row = entries_of(one, can(0x7FF, b"\xff" * 8)).to_array()[0]
        if length >= 44:
            assert row["kind"] == Kind.CAN_EVENT and row["size"] == length - 44
        else:
            assert row["kind"] == Kind.MALFORMED and row["size"] == 0 and not row["data"].any()


def test_fields_that_are_not_wanted_are_left_out():
    entries = entries_of(*traffic(100))
    rows = entries.to_array(["id", "time_ns", "data"], data_bytes=8)
    assert rows.dtype.names == ("time_ns", "id", "data") and rows.dtype["data"].shape == (8,)
    everything = entries.to_array()
    assert (rows["id"] == everything["id"]).all() and (rows["data"] == everything["data"][:, :8]).all()
    assert entries.to_array(data_bytes=0).dtype.names == everything.dtype.names[:-1]
    with pytest.raises(ValueError, match="no field 'identifier'; the fields are time_ns"):
        entries.to_array(["identifier"])
    with pytest.raises(ValueError, match="data_bytes"):
        entries.to_array(data_bytes=-1)


def test_data_can_be_looked_up_in_the_buffer_without_a_copy():
    entries = entries_of(*traffic(500))
    rows = entries.to_array(["data_at", "size"])
    for entry, row in zip(entries, rows):
        assert entries.raw[row["data_at"] :][: row["size"]].tobytes() == entry.data
    assert np.shares_memory(entries[10:20].raw, entries.raw)


def test_entries_are_chosen_by_index_slice_and_mask():
    entries = entries_of(*traffic(1000))
    everything = list(entries)
    assert len(entries) == 1000
    assert entries[3] == everything[3] and entries[-1] == everything[-1]
    assert list(entries[10:20:3]) == everything[10:20:3]
    mask = entries.to_array(["bus"])["bus"] == Bus.CAN
    assert list(entries[mask]) == [entry for entry in everything if entry.bus is Bus.CAN]
    assert list(entries[np.array([1, 5, 7])]) == [everything[1], everything[5], everything[7]]
    for wrong in (1000, -1001):
        with pytest.raises(IndexError):
            entries[wrong]
    with pytest.raises(ValueError, match="another order"):
        entries[::-1]


def test_the_array_is_a_copy_and_can_be_written():
    entries = entries_of(*traffic(100_000 // 20))
    rows = entries.to_array()
    rows["id"] = 1
    assert rows.flags.writeable and (entries.to_array()["id"] != 1).any()


def test_entries_say_what_they_are():
    assert str(entries_of(can(0x1A, b"\1\2", time=1_500_000_001))[0]) == "1.500000001 1 can classic 1a rx 01 02"
    assert str(entries_of(flexray(data=b"\1\2"))[0]) == "0.000000000 3 flexray frame slot 17 cycle 3 rx 01 02"
    assert str(entries_of(ethernet(bytes(80), flags=1))[0]).endswith("00 ... (80 bytes)")
    remote = entries_of(can(1, dlc=4))[0]
    assert remote.is_remote and remote.is_frame and not remote.is_error and not remote.is_extended
    assert entries_of(can(1, flags=0x81))[0].has_overrun_mark and entries_of(flexray(0))[0].has_overrun_mark
    assert Kind.LIN_WAKE_UP.word == "wakeup" and Bus.FLEXRAY.word == "flexray"
    assert qor_trace.row_dtype(["time_ns"]).names == ("time_ns",)
