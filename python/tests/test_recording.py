"""Recordings: read as the client writes them, written as the client reads them."""

import csv
import gc
import json
import os
import pathlib
import warnings

import numpy as np
import pytest
from conftest import can, ethernet

import qor_trace
from qor_trace import Kind, Recording, RecordingError, RecordingWarning

VEHICLE = "vehicle?duration=3s&speed=max"


@pytest.fixture
def vehicle(client):
    client("record", VEHICLE, "-o", "drive.bin")
    return "drive.bin"


def rows_of(name):
    """A table of the client."""
    with open(name, newline="") as file:
        return list(csv.DictReader(file))


def test_a_table_has_the_columns_and_values_of_the_clients_tables(client, vehicle):
    """Two readers of the same records, written apart from one another, agree on every cell."""
    client("convert", vehicle, "-o", "drive.csv")
    expected = rows_of("drive.csv")
    with Recording(vehicle) as recording:
        table = recording.to_dataframe()
    assert len(table) == len(expected) > 5000
    ours = set(table.columns) - {"utc"}
    assert ours == set(expected[0]) - {
        "schema", "utc_ns", "recording", "src", "dst", "vlan", "ethertype", "protocol", "src_ip", "dst_ip", "src_port", "dst_port",
        "cause", "last_time_ns", "lost",
    }  # fmt: skip
    assert table.utc.astype("int64").tolist() == [int(row["utc_ns"]) for row in expected]
    for name in ours:
        cells = [row[name] for row in expected]
        if name == "data":
            got = ["x" + data.hex() if cell else "" for data, cell in zip(table.data, cells)]
            assert got == cells
        elif table[name].dtype == bool:
            assert ["true" if cell else "false" for cell in table[name]] == cells, name
        else:
            assert table[name].astype(str).tolist() == cells, name
    assert set(table.kind.unique()) >= {"classic", "fd", "frame", "error", "cycle", "state", "null"}


def test_a_large_table_can_do_without_the_data(vehicle):
    table = Recording(vehicle).to_dataframe(data=False)
    assert "data" not in table and len(table) == len(Recording(vehicle))


def test_what_a_recording_says_of_itself_is_read(client, vehicle):
    description = json.loads(pathlib.Path("drive.bin.json").read_text())
    with Recording(vehicle) as recording:
        assert recording.is_described and recording.description.id == description["id"]
        assert [channel.bus for channel in recording.channels] == ["CAN", "LIN", "FlexRay", "Ethernet"]
        assert [channel.bit_rate for channel in recording.channels] == [500_000, 19_200, 10_000_000, 100_000_000]
        assert recording.clock.epoch == "own"
        start = description["clock"]["start"]
        assert recording.clock.utc_offset_ns == start["utc_ns"] - start["entry_time_ns"]
        assert recording.clock.uncertainty_ns == start["uncertainty_ns"]
        assert recording.description.complete and recording.losses == []


@pytest.mark.parametrize(
    "change, words",
    (
        (lambda text: text[:100], "isn't JSON"),
        (lambda text: text.replace('"version": 1', '"version": 2'), "newer version"),
        (lambda text: text.replace("qor-trace-recording", "x"), "is no description"),
        (lambda text: text.replace('"first_record_fnv1a": ', '"first_record_fnv1a": 1'), "another recording"),
        (lambda text: text.replace('"number": 1', '"number": "a"'), "wrong field"),
    ),
)
def test_a_description_that_is_none_is_left_aside_with_a_remark(vehicle, change, words):
    beside = pathlib.Path("drive.bin.json")
    beside.write_text(change(beside.read_text()))
    with pytest.warns(RecordingWarning, match=words):
        recording = Recording(vehicle)
    assert not recording.is_described and len(recording) > 5000 and recording.clock.epoch == "unknown"


def test_a_recording_without_a_description_is_read(vehicle):
    os.remove("drive.bin.json")
    with warnings.catch_warnings():
        warnings.simplefilter("error")
        recording = Recording(vehicle)
        assert len(recording) > 5000 and recording.channels == []


def test_times_beyond_decades_count_since_1970():
    now = 1_795_000_000 * 10**9
    pathlib.Path("a.bin").write_bytes(can(1, time=now))
    assert Recording("a.bin").clock == qor_trace.Clock("1970", 0)
    assert Recording("a.bin").to_dataframe().utc[0].value == now


def test_other_formats_are_read_by_way_of_the_client(client, vehicle, program):
    client("convert", vehicle, "-o", "drive.mf4", "-o", "drive.pcapng", "-o", "drive.log", "-o", "drive.bin.gz")
    expected = Recording(vehicle).to_array()
    frames = (Kind.CAN_FRAME, Kind.CAN_FD_FRAME)
    for name in ("drive.mf4", "drive.pcapng", "drive.log", "drive.bin.gz"):
        with warnings.catch_warnings():
            warnings.simplefilter("ignore", RecordingWarning)
            recording = Recording(name, program=program)
            rows = recording.to_array()
        ours = expected[np.isin(expected["kind"], frames)]
        theirs = rows[np.isin(rows["kind"], frames)]
        assert (ours["id"] == theirs["id"]).all() and (ours["data"] == theirs["data"]).all(), name
    assert not [name for name in os.listdir() if name.startswith("qor-trace-")]


def test_the_temporary_file_is_gone_as_soon_as_it_is_open(client, vehicle, program):
    client("convert", vehicle, "-o", "drive.mf4")
    os.mkdir("room")
    with Recording("drive.mf4", program=program, temporary="room") as recording:
        assert os.listdir("room") == []
        assert len(recording) > 5000


def test_a_file_that_is_no_recording_is_refused_with_the_clients_words(program):
    pathlib.Path("a.mf4").write_bytes(b"no recording")
    with pytest.raises(RecordingError, match="a.mf4"):
        Recording("a.mf4", program=program)
    with pytest.raises(FileNotFoundError):
        Recording("missing.mf4", program=program)
    with pytest.raises(FileNotFoundError):
        Recording("missing.bin")
    with pytest.raises(qor_trace.LoadError, match="nowhere/qor-trace can't be run"):
        Recording("a.mf4", program="nowhere/qor-trace")


def test_an_empty_recording_has_no_entries():
    pathlib.Path("a.bin").write_bytes(b"")
    with Recording("a.bin") as recording:
        assert len(recording) == 0 and list(recording) == [] and recording.to_array().size == 0
        assert recording.to_dataframe().empty and bool(recording)


def test_a_recording_that_a_crash_has_cut_off_is_read_up_to_there():
    pathlib.Path("a.bin.part").write_bytes(can(1) + can(2) + ethernet(bytes(60))[:50])
    recording = Recording("a.bin.part")
    with pytest.warns(RecordingWarning, match="cut off at byte 88: 50 bytes are not read"):
        assert len(recording) == 2


def test_a_damaged_recording_is_refused_or_read_up_to_the_damage():
    pathlib.Path("a.bin").write_bytes(can(1) + can(2) + bytes(100))
    with pytest.raises(RecordingError, match="no whole record at byte 88 of a.bin"):
        Recording("a.bin").to_array()
    with pytest.warns(RecordingWarning, match="damaged at byte 88"):
        assert Recording("a.bin", tolerant=True).to_array()["id"].tolist() == [1, 2]


def test_arrays_and_entries_outlive_their_recording(vehicle):
    recording = Recording(vehicle)
    entries, first = recording.entries[5:10], recording.entries.record(0)
    expected = list(entries)
    recording.close()
    os.remove(vehicle)
    del recording
    gc.collect()
    assert list(entries) == expected and len(first) >= 44


def test_a_closed_recording_says_so(vehicle):
    recording = Recording(vehicle)
    recording.close()
    with pytest.raises(qor_trace.Error, match="closed"):
        len(recording)


def test_a_trace_is_saved_as_the_client_records_it(client, program):
    with qor_trace.Trace(VEHICLE) as trace:
        trace.record()
        trace.save("a.bin")
        trace.save("a.mf4", program=program)
        expected = trace.to_array()
        clock = trace.clock
    with Recording("a.bin") as recording:
        assert (recording.to_array() == expected).all()
        assert recording.clock == clock
        assert [channel.bit_rate for channel in recording.channels] == [500_000, 19_200, 10_000_000, 100_000_000]
    assert client("check", "a.bin", "a.mf4")
    info = json.loads(client("info", "a.bin", "--json"))
    assert str(len(expected)) in json.dumps(info)
    client("record", VEHICLE, "-o", "b.bin")
    client("compare", "a.bin", "b.bin", "--times", "relative")  # the same entries, whoever recorded them


def test_saving_replaces_a_file_only_when_it_is_complete(monkeypatch):
    pathlib.Path("a.bin").write_bytes(b"before")
    with qor_trace.Trace("can?duration=1s&speed=max") as trace:
        trace.record()
        with monkeypatch.context() as patch:
            patch.setattr("qor_trace._saving._description", lambda *_: 1 / 0)
            with pytest.raises(ZeroDivisionError):
                trace.save("a.bin")
        assert pathlib.Path("a.bin").read_bytes() == b"before" and os.listdir() == ["a.bin"]
        trace.save("a.bin")
        assert sorted(os.listdir()) == ["a.bin", "a.bin.json"]
        with pytest.raises(FileNotFoundError):
            trace.save("missing/a.bin")


def test_an_empty_trace_is_saved_as_an_empty_recording():
    with qor_trace.Trace("can") as trace:
        trace.save("a.bin")
    assert len(Recording("a.bin")) == 0


def test_convert_takes_the_clients_options(vehicle, program):
    qor_trace.convert(vehicle, "can.bin", "--filter", "bus == can", program=program)
    assert {entry.bus for entry in Recording("can.bin")} == {qor_trace.Bus.CAN}
    with pytest.raises(ValueError, match="There is no field"):
        qor_trace.convert(vehicle, "can.bin", "--filter", "x == 1", program=program)
    with pytest.raises(RecordingError, match="missing.bin"):
        qor_trace.convert("missing.bin", "can.bin", program=program)
