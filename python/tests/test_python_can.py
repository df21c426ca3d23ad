"""Ports as buses of python-can."""

import pathlib
import threading
import time

import pytest

can = pytest.importorskip("can", reason="python-can (python3-can) isn't installed")

from conftest import DEADLINE  # noqa: E402

import qor_trace  # noqa: E402
from qor_trace import python_can  # noqa: E402

LOG = """\
(1.000000) can0 123#0102
(1.100000) can0 18FE0102#AABBCC
(1.200000) can0 321##1AABB
(1.300000) can0 055#R4
(1.400000) can0 20000080#0000000000000000
(1.500000) can0 124#03 T
"""


@pytest.fixture(autouse=True)
def registered(monkeypatch):
    """As the package's entry point does it when it is installed."""
    monkeypatch.setitem(can.interfaces.BACKENDS, "qor", ("qor_trace.python_can", "QorBus"))
    monkeypatch.setattr(can.interfaces, "VALID_INTERFACES", frozenset({*can.interfaces.VALID_INTERFACES, "qor"}))
    monkeypatch.setattr(can.util, "VALID_INTERFACES", can.interfaces.VALID_INTERFACES)


@pytest.fixture
def log():
    pathlib.Path("drive.log").write_text(LOG)
    return "drive.log?speed=max"


def received(bus, count):
    messages = []
    while len(messages) < count:
        message = bus.recv(DEADLINE)
        assert message is not None
        messages.append(message)
    return messages


def test_frames_of_all_sorts_come_as_messages(log):
    with can.Bus(interface="qor", channel=log) as bus:
        classic, extended, fd, remote, error, sent = received(bus, 6)
        assert (classic.arbitration_id, bytes(classic.data), classic.dlc) == (0x123, b"\1\2", 2)
        assert not classic.is_extended_id and not classic.is_fd and classic.is_rx and classic.channel == log
        assert (extended.arbitration_id, extended.is_extended_id) == (0x18FE0102, True)
        assert fd.is_fd and fd.bitrate_switch and not fd.error_state_indicator and bytes(fd.data) == b"\xaa\xbb"
        assert remote.is_remote_frame and remote.dlc == 4 and len(remote.data) == 0
        assert error.is_error_frame and not error.is_remote_frame
        assert not sent.is_rx and sent.arbitration_id == 0x124
        gaps = [later.timestamp - sooner.timestamp for sooner, later in zip((classic, extended, fd), (extended, fd, remote))]
        assert gaps == pytest.approx([0.1] * 3, abs=1e-6)
        assert bus.recv(0) is None and bus.recv(0.01) is None
        with pytest.raises(can.CanOperationError, match="nothing more will come"):
            bus.recv()
        assert not bus.lost


def test_messages_are_the_entries_of_a_trace():
    source = "can?duration=3s&speed=max"
    with qor_trace.Trace(source) as trace:
        trace.record()
        entries = [entry for entry in trace if entry.kind is not qor_trace.Kind.CAN_EVENT]
    with can.Bus(interface="qor", channel=source) as bus:
        messages = received(bus, len(entries))
        assert [message.arbitration_id for message in messages] == [entry.id for entry in entries]
        assert [bytes(message.data) for message in messages] == [entry.data for entry in entries]
        assert [message.is_rx for message in messages] == [not entry.tx for entry in entries]
        assert any(message.is_error_frame for message in messages)


def test_timestamps_are_utc():
    before = time.time()
    with can.Bus(interface="qor", channel="can?clock=utc") as bus:
        message = bus.recv(DEADLINE)
        assert before <= message.timestamp <= time.time()
    with can.Bus(interface="qor", channel="can") as bus:
        message = bus.recv(DEADLINE)
        assert before <= message.timestamp <= time.time() + 1


def test_a_bus_that_was_running_before_is_dated_by_when_its_first_messages_came():
    with qor_trace.Trace("can?speed=1000&duration=1h") as early:  # moves the clock of all ports on, a thousandfold
        early.start()
        while len(early) == 0 or early.to_array(["time_ns"])["time_ns"][-1] < 60 * 10**9:
            time.sleep(0.01)
        before = time.time()
        with qor_trace.Port("can") as port, can.Bus(interface="qor", channel=port.handle) as bus:
            message = bus.recv(DEADLINE)
            assert message.timestamp > before - 3600 and message.channel == port.handle


def test_a_time_out_ends_waiting_without_a_message():
    with can.Bus(interface="qor", channel="script") as bus:
        start = time.monotonic()
        assert bus.recv(0.05) is None
        assert time.monotonic() - start >= 0.05


def test_filters_are_applied(log):
    with can.Bus(interface="qor", channel=log, can_filters=[{"can_id": 0x321, "can_mask": 0x7FF}]) as bus:
        assert bus.recv(DEADLINE).arbitration_id == 0x321


def test_several_channels_are_one_bus():
    pathlib.Path("two.log").write_text("(1.0) can0 123#01\n(1.1) can1 124#02\n(1.2) can0 125#03\n")
    with can.Bus(interface="qor", channel="two.log?speed=max") as bus:
        assert [message.arbitration_id for message in received(bus, 3)] == [0x123, 0x124, 0x125]
    with can.Bus(interface="qor", channel=["two.log?speed=max&interface=can0", "two.log?speed=max&interface=can1"]) as bus:
        messages = received(bus, 3)
        assert [message.arbitration_id for message in messages] == [0x123, 0x124, 0x125]
        assert len({message.channel for message in messages}) == 2


def test_a_port_may_be_given_by_its_handle():
    with qor_trace.Port("can") as port:
        for channel in (port.handle, str(port.handle)):
            with can.Bus(interface="qor", channel=channel) as bus:
                assert bus.recv(DEADLINE).channel == port.handle


def test_sending_is_refused_in_clear_words():
    with can.Bus(interface="qor", channel="can") as bus:
        with pytest.raises(can.CanOperationError, match="receives only"):
            bus.send(can.Message(arbitration_id=1))


@pytest.mark.parametrize("channel", ("nonsense", "lin", "vehicle", "missing.log", 4711, []))
def test_channels_that_are_no_can_interface_are_refused(channel):
    with pytest.raises(can.CanInitializationError):
        can.Bus(interface="qor", channel=channel)


def test_a_bus_can_be_opened_again_after_its_end():
    with qor_trace.Port("can") as port:
        for _ in range(3):
            bus = can.Bus(interface="qor", channel=port.handle)
            assert bus.recv(DEADLINE) is not None
            bus.shutdown()
            bus.shutdown()
            with pytest.raises(can.CanOperationError, match="closed"):
                while True:
                    bus.recv(0)


def test_a_bus_that_falls_behind_knows_it_and_says_so(caplog):
    with can.Bus(interface="qor", channel="can?duration=1s", memory_limit=20) as bus:
        assert bus.recv(DEADLINE) is not None
        assert bus._trace.wait(DEADLINE)
        while bus.recv(0) is not None:
            pass
        assert bus.lost and "dropped before they were received" in caplog.text


def test_notifier_and_logger_run_on_it(log):
    ended = threading.Event()
    seen = []

    def see(message):
        seen.append(message)
        if len(seen) == 6:
            ended.set()

    bus = can.Bus(interface="qor", channel=log)
    logger = can.Logger("out.asc")
    notifier = can.Notifier(bus, [see, logger], timeout=0.1)
    assert ended.wait(DEADLINE)
    notifier.stop()
    bus.shutdown()
    assert [message.arbitration_id for message in can.LogReader("out.asc") if not message.is_error_frame] == [
        message.arbitration_id for message in seen if not message.is_error_frame
    ]


def test_available_channels_are_found(monkeypatch):
    real = qor_trace.HostInterface("can7", qor_trace.Bus.CAN, "up", 500000, 0, "x", qor_trace.Obstacle.NONE, "")
    refused = qor_trace.HostInterface("can8", qor_trace.Bus.CAN, "up", 500000, 0, "x", qor_trace.Obstacle.RIGHTS, "not allowed")
    network = qor_trace.HostInterface("eth9", qor_trace.Bus.ETHERNET, "up", 0, 0, "x", qor_trace.Obstacle.NONE, "")
    monkeypatch.setattr(python_can, "interfaces", lambda: [real, refused, network])
    assert can.detect_available_configs(interfaces="qor") == [
        {"interface": "qor", "channel": "can7"},
        {"interface": "qor", "channel": "can"},
    ]


def test_without_the_library_there_are_none(monkeypatch):
    def missing():
        raise qor_trace.LoadError("missing")

    monkeypatch.setattr(python_can, "interfaces", missing)
    assert can.detect_available_configs(interfaces="qor") == []
