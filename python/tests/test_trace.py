"""Traces: the C interface from Python."""

import gc
import itertools
import os
import pathlib
import threading
import time

import numpy as np
import pytest
from conftest import DEADLINE

import qor_trace
from qor_trace import Bus, Kind

SHORT = "?duration=2s&speed=max"


def wait_until(condition):
    deadline = time.monotonic() + DEADLINE
    while not condition():
        assert time.monotonic() < deadline, "waited in vain"
        time.sleep(0.01)


def recorded(*sources, **options):
    trace = qor_trace.Trace(*sources, **options)
    trace.record()
    return trace


# ---- recording


def test_a_vehicle_is_recorded_in_the_order_of_its_times():
    with recorded("vehicle" + SHORT) as trace:
        rows = trace.to_array()
        assert len(trace) == rows.size > 5000
        assert set(rows["channel"]) == {1, 2, 3, 4}
        assert {channel: Bus(bus) for channel, bus in zip(rows["channel"], rows["bus"])} == dict(zip((1, 2, 3, 4), Bus))
        assert (np.diff(rows["time_ns"]) >= 0).all()
        assert trace.lost == 0
    assert trace.is_closed and repr(trace) == "<closed trace>"


def test_all_ways_of_reading_give_the_same():
    with recorded("vehicle" + SHORT) as trace:
        rows, entries, one_by_one = trace.to_array(), trace.entries(), list(trace)
        assert (entries.to_array() == rows).all()
        assert list(entries) == one_by_one
        assert [entry.time_ns for entry in one_by_one] == rows["time_ns"].tolist()
        assert list(trace.reader()) == one_by_one
        assert list(itertools.islice(trace.follow(timeout=0), len(rows))) == one_by_one
        table = trace.to_dataframe()
        assert table.time_ns.tolist() == rows["time_ns"].tolist()
        assert [bytes(data) for data in table.data] == [entry.data for entry in one_by_one]
    assert entries[0] == one_by_one[0], "what was read outlives the trace"


def test_entries_that_were_moved_to_the_swap_file_are_read_as_well():
    with recorded("can" + SHORT) as trace:
        expected = list(trace)
    for limit in (1, 7, 100, len(expected) - 1, len(expected), len(expected) + 1):
        with qor_trace.Trace("can" + SHORT, memory_limit=limit) as trace:
            reader = trace.reader()
            trace.start()
            live = []
            while not trace.wait(0):
                live += reader.read()
            trace.stop()
            live += [entry for entry in reader]
            assert live == expected
            assert list(trace) == expected and len(trace.to_array()) == len(expected)
            assert list(trace.entries()) == expected


def test_a_reader_follows_a_trace_that_drops_its_older_half():
    with recorded("can" + SHORT) as trace:
        expected = list(trace)
    # Real time: the reader looks often enough for the limit.
    with qor_trace.Trace("can?duration=2s", memory_limit=300) as trace:
        trace.start(discard_oldest=True)
        reader = trace.reader()
        live = []
        while not trace.wait(0):
            live += reader.read()
        trace.stop()
        live += reader
        assert len(trace) < len(expected)
        assert reader.lost or live == expected
        assert live == [entry for entry in expected if entry in set(live)]


def test_a_reader_that_comes_too_late_says_so_and_goes_on_with_what_is_left():
    with qor_trace.Trace("can?duration=1s", memory_limit=20) as trace:
        trace.start(discard_oldest=True)
        reader = trace.reader()
        wait_until(lambda: len(reader.read()) > 0)
        assert trace.wait(DEADLINE)
        trace.stop()
        rest = list(reader)
        everything = list(trace)
        assert reader.lost
        assert rest == everything[-len(rest) :] and len(reader.read()) == 0


def test_nothing_comes_of_a_trace_without_entries():
    with qor_trace.Trace("can") as trace:
        assert len(trace) == 0 and list(trace) == [] and trace.to_array().size == 0 and bool(trace)
        assert len(trace.entries()) == 0 and len(trace.messages()) == 0 and trace.to_dataframe().empty
        assert trace.clock == qor_trace.Clock("unknown", None)


def test_the_list_has_each_message_once_with_its_cycle_time():
    with recorded("can" + SHORT) as trace:
        messages = trace.messages()
        rows = messages.to_array(["id", "kind", "relative_ns"])
        assert len(messages) == trace.message_count
        frames = rows[rows["kind"] <= Kind.CAN_FD_FRAME]
        assert len(np.unique(frames["id"])) == len(frames) > 10
        assert (rows["relative_ns"] > 0).any()
        assert messages[0].relative_ns == rows["relative_ns"][0]
        trace.flush_messages()
        assert trace.message_count == 0 and len(trace) > 0
        trace.flush()
        assert len(trace) == 0


def test_it_can_be_stopped_and_started_again():
    with qor_trace.Trace("can?speed=10") as trace:
        trace.start()
        wait_until(lambda: len(trace) > 0)
        trace.stop()
        before = len(trace)
        assert not trace.wait(0)
        trace.start()
        wait_until(lambda: len(trace) > before)
        trace.stop()
        assert trace.to_array().size == len(trace)


def test_record_takes_as_long_as_it_is_told_to():
    with qor_trace.Trace("can?speed=max&duration=1s") as trace:
        trace.record(DEADLINE)  # the source ends before
        assert len(trace) > 500
    with qor_trace.Trace("can") as trace:  # which has no end
        trace.record(0.05)
        before = len(trace)
        time.sleep(0.05)
        assert len(trace) == before, "it is stopped"


def test_a_trace_goes_on_while_it_is_read_and_exported():
    with qor_trace.Trace("vehicle?speed=20", memory_limit=2000) as trace:
        trace.start()
        reader = trace.reader()
        count = 0
        for number in range(5):
            wait_until(lambda: len(trace) > 4000 * (number + 1))
            count += sum(map(len, reader.batches()))
            trace.export_asc("live.asc")
            assert trace.to_array(["time_ns"]).size <= len(trace)
        trace.stop()
        count += sum(map(len, reader.batches()))
        assert count == len(trace)


# ---- ports


def test_ports_that_are_passed_in_stay_the_callers():
    with qor_trace.Port("can" + SHORT) as port:
        with recorded(port) as trace:
            assert trace.ports == {1: port}
            assert port.status.finished and port.status.offered == port.status.delivered == len(trace)
        assert port.interface.bus is Bus.CAN and port.interface.bit_rate == 500000
        assert port.notices == []
    with pytest.raises(qor_trace.SourceError):
        port.status


def test_ports_that_it_opens_are_closed_with_it():
    trace = qor_trace.Trace("vehicle")
    ports = list(trace.ports.values())
    assert all(port.status.offered == 0 for port in ports)
    trace.close()
    for port in ports:
        with pytest.raises(qor_trace.SourceError):
            port.status


def test_the_handle_of_a_port_is_taken_as_it_is():
    with qor_trace.Port("lin" + SHORT) as port, qor_trace.Trace(port.handle) as trace:
        trace.start()
        wait_until(lambda: port.status.finished)
        trace.stop()
        assert len(trace) == port.status.delivered > 0
        assert trace.lost == 0, "what can't be asked isn't known"
        assert not trace.wait(0), "nor when it ends"
    with pytest.raises(qor_trace.UnsupportedInterfaceError):
        qor_trace.Trace(4711)


def test_channels_have_the_numbers_that_were_asked_for():
    with qor_trace.Trace() as trace:
        assert trace.add("can", 7) == [7]
        assert trace.add("vehicle") == [1, 2, 3, 4]
        with pytest.raises(qor_trace.InvalidValueError):
            trace.add("can", 7)
        with pytest.raises(ValueError, match="several buses"):
            trace.add("vehicle", 9)
        trace.remove(2)
        assert sorted(trace.ports) == [1, 3, 4, 7]
        trace.remove(2)
        trace.remove_all()
        assert trace.ports == {}
        with pytest.raises(qor_trace.NoChannelError, match="no bus interfaces selected"):
            trace.start()


def test_sources_that_cannot_be_opened_leave_nothing_open():
    with pytest.raises(qor_trace.SourceError, match='"nonsense"'):
        qor_trace.Trace("can", "nonsense")
    with pytest.raises(qor_trace.SourceError, match="missing.log"):
        qor_trace.Trace("missing.log")
    with pytest.raises(qor_trace.SourceError):
        qor_trace.open_ports("can?seed=x")
    with qor_trace.Port("can") as port, qor_trace.Trace(port):
        with pytest.raises(qor_trace.PortInUseError) as refused:
            qor_trace.Trace(port)
        assert refused.value.status == 0x02140003 and refused.value.call == "Qor_Trace_AddChannel"


def test_files_are_replayed_by_their_names():
    pathlib.Path("drive.log").write_text("(1.5) can0 123#0102\n(1.6) can1 18FE0102#AA\n(1.7) can0 321##1AABB\n")
    assert [text.split("?")[0] for text in qor_trace.expand_source("drive.log")] == ["candump:drive.log"] * 2
    with recorded("drive.log?speed=max") as trace:
        entries = list(trace)
        assert [(entry.channel, entry.id, entry.kind, entry.data.hex()) for entry in entries] == [
            (1, 0x123, Kind.CAN_FRAME, "0102"),
            (2, 0x18FE0102, Kind.CAN_FRAME, "aa"),
            (1, 0x321, Kind.CAN_FD_FRAME, "aabb"),
        ]
        assert entries[1].is_extended


def test_simulated_buses_count_in_utc_beside_interfaces_of_this_machine():
    from qor_trace._ports import on_one_clock

    assert on_one_clock(["can?seed=1", "lin"]) == ["can?seed=1", "lin"]
    assert on_one_clock(["can?seed=1", "lin", "can0"]) == ["can?seed=1&clock=utc", "lin?clock=utc", "can0"]
    assert on_one_clock(["drive.log?clock=own", "socketcan:can0"]) == ["candump:drive.log?clock=own", "socketcan:can0"]


def test_the_interfaces_of_this_machine_are_listed():
    loopback = [each for each in qor_trace.interfaces() if each.name == "lo"]
    assert len(loopback) == 1 and isinstance(loopback[0].state, str)


def test_a_clock_tells_utc_where_it_can():
    before = time.time_ns()
    with recorded("can" + SHORT) as trace:
        clock = trace.clock
        assert clock.epoch == "own" and clock.utc_offset_ns is not None
        assert before <= clock.utc_offset_ns <= time.time_ns()
        assert str(trace.to_dataframe().utc.dt.tz) == "UTC"
    with qor_trace.Trace("can?clock=utc") as trace:
        trace.start()
        wait_until(lambda: len(trace) > 0)
        trace.stop()
        assert trace.clock == qor_trace.Clock("1970", 0)
        assert before <= trace.to_array()["time_ns"][0] <= time.time_ns()


def test_what_a_full_capture_buffer_drops_is_counted():
    with qor_trace.Trace("can?buffer=1&speed=1000&duration=1s") as trace:
        trace.record()
        assert trace.lost > 0
        status = trace.ports[1].status
        assert status.lost == trace.lost and status.first_lost_ns <= status.last_lost_ns
        trace.save("lossy.bin")
        assert qor_trace.Recording("lossy.bin").losses == [
            qor_trace.Loss(1, "capture_buffer_full", status.first_lost_ns, status.last_lost_ns, status.lost)
        ]


# ---- settings


def test_properties_are_read_and_written():
    with qor_trace.Trace("can") as trace:
        assert trace.memory_limit == 9_000_000
        trace.memory_limit = 12345
        trace.asc_file_name = pathlib.Path("ä.asc")
        trace.asc_max_file_size = 1000
        trace.mdf_file_name = "x.mf4"
        trace.mdf_max_file_size = 4_294_967_295
        trace.file_info = ["one", "two", "", "ü"]
        assert (trace.memory_limit, trace.asc_file_name, trace.asc_max_file_size) == (12345, "ä.asc", 1000)
        assert (trace.mdf_file_name, trace.mdf_max_file_size) == ("x.mf4", 4_294_967_295)
        assert trace.file_info == ["one", "two", "", "ü"]
        trace.file_info = ["x"]
        assert trace.file_info == ["x", "", "", ""]
        assert trace.get_property(4) == 12345 and trace.get_property(9) == "x"


def test_wrong_properties_are_refused_with_the_librarys_words():
    with qor_trace.Trace("can") as trace:
        for number, problem, words in (
            (13, qor_trace.UnknownPropertyError, "no such property"),
            (2, qor_trace.PropertyAccessError, "this property id is write-only"),
        ):
            with pytest.raises(problem, match=words):
                trace.get_property(number)
        with pytest.raises(qor_trace.PropertyAccessError, match="this property id is read-only"):
            trace.set_property(0, 1)
        with pytest.raises(qor_trace.UnknownPropertyError):
            trace.set_property(13, 1)
        with pytest.raises(TypeError):
            trace.set_property(4)  # without a value, which the library wouldn't survive for a text
        with pytest.raises(ValueError):
            trace.memory_limit = -1
        with pytest.raises(ValueError):
            trace.file_info = ["a\0b"]
        with pytest.raises(ValueError):
            trace.file_info = ["x"] * 5


# ---- files


def test_exports_take_their_options():
    with recorded("vehicle" + SHORT) as trace:
        half = int(trace.to_array()["time_ns"][len(trace) // 2])
        trace.export_asc("a.asc")
        trace.export_asc(pathlib.Path("b.asc"), decimal=True, start_ns=half)
        trace.export_asc("c.asc", relative=True)
        trace.export_asc("d.asc", split_bytes=50_000)
        trace.export_pcap("e.pcapng")
        trace.export_pcap("f.pcapng", start_ns=half)
        whole, later = pathlib.Path("a.asc").read_text(), pathlib.Path("b.asc").read_text()
        assert "base hex  timestamps absolute" in whole and "base dec" in later
        assert 0 < later.count("\n") < whole.count("\n")
        assert "timestamps relative" in pathlib.Path("c.asc").read_text()
        assert pathlib.Path("d_1.asc").exists() and pathlib.Path("d.asc").stat().st_size < 60_000
        assert pathlib.Path("f.pcapng").stat().st_size < pathlib.Path("e.pcapng").stat().st_size
        with pytest.raises(qor_trace.NotSupportedError):
            trace.export_mdf("g.mf4")


def test_exports_that_fail_say_why():
    with recorded("can" + SHORT) as trace:
        with pytest.raises(qor_trace.FileError) as failed:
            trace.export_asc("missing/a.asc")
        assert failed.value.text and failed.value.text in str(failed.value)
        with pytest.raises(qor_trace.InvalidValueError):
            trace.export_asc("a.asc", split_bytes=511)
        with pytest.raises(ValueError, match="259 bytes"):
            trace.export_asc("x" * 260)
        with pytest.raises(ValueError):
            trace.export_asc("a\0.asc")
        with pytest.raises(ValueError):
            trace.export_asc("a.asc", start_ns=-1)


def test_a_live_log_is_written_where_it_should_be():
    with qor_trace.Trace("can" + SHORT) as trace:
        trace.start(asc="live.asc")
        assert trace.wait(DEADLINE)
        trace.stop()
        trace.export_asc("export.asc")
        body = [line for line in pathlib.Path("live.asc").read_text().splitlines() if " CANFD " in line]
        assert body == [line for line in pathlib.Path("export.asc").read_text().splitlines() if " CANFD " in line]
        with pytest.raises(qor_trace.FileError):
            trace.start(asc="missing/live.asc")


# ---- its life


def test_nothing_can_be_done_with_a_closed_trace():
    trace = recorded("can" + SHORT)
    reader, following = trace.reader(), trace.follow()
    next(following)
    trace.close()
    trace.close()
    for call in (trace.start, trace.stop, trace.to_array, trace.messages, reader.read, lambda: len(trace), lambda: trace.add("can")):
        with pytest.raises(qor_trace.Error, match="closed"):
            call()
    list(following)  # who follows it comes to an end


def test_a_trace_that_nobody_refers_to_any_more_is_closed():
    trace = qor_trace.Trace("can")
    trace.start()
    port = trace.ports[1]
    monitor = trace._monitor
    del trace
    gc.collect()
    assert monitor.is_closed
    with pytest.raises(qor_trace.SourceError):
        port.status


def test_an_array_outlives_its_trace():
    trace = recorded("can?duration=30s&speed=max")
    rows, entries = trace.to_array(), trace.entries()
    copy = rows.copy()
    del trace
    gc.collect()
    assert (rows == copy).all() and (entries.to_array() == copy).all()


def test_traces_of_one_second_have_swap_files_of_their_own():
    with qor_trace.Trace("can?seed=1&duration=2s&speed=max", memory_limit=50) as one, qor_trace.Trace(
        "can?seed=2&duration=2s&speed=max", memory_limit=50
    ) as other:
        one.start()
        other.start()
        assert one.wait(DEADLINE) and other.wait(DEADLINE)
        one.stop()
        other.stop()
        assert one.asc_file_name != other.asc_file_name
        for trace, seed in ((one, 1), (other, 2)):
            with recorded(f"can?seed={seed}&duration=2s&speed=max") as alone:
                assert list(trace) == list(alone)


def test_threads_read_while_another_closes():
    for _ in range(5):
        trace = qor_trace.Trace("vehicle?speed=50")
        trace.start()
        problems = []

        def read():
            reader = trace.reader()
            try:
                while True:
                    reader.read()
                    trace.messages()
            except qor_trace.Error as problem:
                problems.append(str(problem))

        threads = [threading.Thread(target=read) for _ in range(4)]
        for thread in threads:
            thread.start()
        wait_until(lambda: len(trace) > 100)
        trace.close()
        for thread in threads:
            thread.join(DEADLINE)
        assert problems == ["The trace is closed"] * 4


def test_other_threads_run_while_the_library_works():
    """The interpreter's lock is free during a call: one that waits for another thread's Python code could never end otherwise."""
    os.mkfifo("pipe")
    with recorded("can" + SHORT) as trace:
        read = []
        thread = threading.Thread(target=lambda: read.append(pathlib.Path("pipe").read_bytes()))
        thread.start()
        trace.export_asc("pipe")  # returns when the other thread has opened and read the pipe
        thread.join(DEADLINE)
        assert read and b"End Triggerblock" in read[0]
