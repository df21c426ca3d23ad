"""What the tests share: the built libraries and client, records made by hand, and programs of their own."""

from __future__ import annotations

import pathlib
import signal
import struct
import subprocess
import sys
import textwrap

import pytest

HERE = pathlib.Path(__file__).resolve().parent
PACKAGE = HERE.parent
DEADLINE = 120  # seconds after which a test gives up waiting; never a measure of speed

sys.path.insert(0, str(PACKAGE))
sys.path.insert(0, str(HERE))


def pytest_addoption(parser):
    build = PACKAGE.parent / "build" / "release"
    parser.addoption("--library", default=str(build / "src" / "libqor_api_trace.so.2"), help="the built trace library")
    parser.addoption("--hardware", default=str(build / "hardware" / "simulator" / "libqor_api.so.2"), help="the built stand-in")
    parser.addoption("--program", default=str(build / "tools" / "qor-trace" / "qor-trace"), help="the built client")


def pytest_configure(config):
    import qor_trace

    qor_trace.load(config.getoption("--library"), config.getoption("--hardware"))


@pytest.fixture
def program(request):
    return request.config.getoption("--program")


@pytest.fixture
def client(program, tmp_path):
    """Runs the client in the test's folder."""

    def run(*arguments):
        done = subprocess.run([program, *arguments], cwd=tmp_path, stdin=subprocess.DEVNULL, capture_output=True, text=True)
        assert done.returncode == 0, done.stderr
        return done.stdout

    return run


@pytest.fixture(autouse=True)
def folder_of_its_own(tmp_path, monkeypatch):
    """Monitors put their files into the working directory."""
    monkeypatch.chdir(tmp_path)


class Program:
    """A Python program of its own, with the libraries loaded."""

    def __init__(self, request, folder, text):
        preamble = f"""\
import sys
sys.path.insert(0, {str(PACKAGE)!r})
import qor_trace
qor_trace.load({request.config.getoption("--library")!r}, {request.config.getoption("--hardware")!r})
PROGRAM = {request.config.getoption("--program")!r}
"""
        self.process = subprocess.Popen(
            [sys.executable, "-B", "-c", preamble + textwrap.dedent(text)],
            cwd=folder,
            stdin=subprocess.PIPE,
            stdout=subprocess.PIPE,
            stderr=subprocess.PIPE,
            text=True,
        )

    def wait_for(self, line):
        """Waits until it prints this line."""
        for got in self.process.stdout:
            if got.strip() == line:
                return
        pytest.fail(f"ended before it said {line!r}: {self.process.stderr.read()}")

    def interrupt(self):
        self.process.send_signal(signal.SIGINT)

    def end(self, expect=0):
        """Waits for its end.

        :return: what it has printed since, and its errors
        """
        out, err = self.process.communicate(timeout=DEADLINE)
        assert self.process.returncode == expect, err
        return out, err


@pytest.fixture
def start_program(request, tmp_path):
    started = []

    def start(text):
        started.append(Program(request, tmp_path, text))
        return started[-1]

    yield start
    for each in started:
        if each.process.poll() is None:
            each.process.kill()
            each.process.communicate()


@pytest.fixture
def run_program(start_program):
    """Runs a program to its end; its standard output."""
    return lambda text: start_program(text).end()[0]


# ---- records made by hand, as docs/file-formats.md has them


def record(bus, payload, channel=1, time=0, relative=0):
    return struct.pack("<IIqqB3x", 28 + len(payload), channel, time, relative, bus) + payload


def can(identifier=0x123, data=b"", flags=0, dlc=None, time=0, channel=1, announced=None, relative=0):
    announced = len(data) if announced is None else announced
    dlc = len(data) if dlc is None else dlc
    return record(0, struct.pack("<qIBBBB", time, identifier, flags, 0, dlc, announced) + data, channel, time, relative)


def lin(identifier=0x12, data=b"", checksum=0x5A, flags=0, time=0, channel=2, announced=None, reserved=0):
    announced = len(data) + 1 if announced is None else announced
    room = (data + bytes([checksum])).ljust(9, b"\0")[:9]
    return record(1, struct.pack("<HHBBB", reserved, flags, announced, identifier, 0) + room + struct.pack("<I", 416666), channel, time)


def flexray(item=1, slot=17, data=b"", flags=0, side=0, cycle=3, time=0, channel=3, words=None):
    words = len(data) // 2 if words is None else words
    body = struct.pack("<HqBBHBBH", item, time, side, flags, slot, cycle, words, 0x3FF) + data
    return record(2, struct.pack("<H", len(body) + 2) + body, channel, time)


def ethernet(frame=b"", item=1, flags=0, time=0, channel=4, announced=None):
    announced = len(frame) if announced is None else announced
    body = struct.pack("<HqBBH", item, time, flags, 0, announced) + frame
    return record(3, struct.pack("<H", len(body) + 2) + body, channel, time)


def padded(records):
    """As the library has them in its buffer."""
    return b"".join(each.ljust((len(each) + 7) & ~7, b"\xee") for each in records)
