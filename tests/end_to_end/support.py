"""What the end-to-end tests share: running the client, and reading what it writes."""

import argparse
import contextlib
import fcntl
import json
import os
import pathlib
import pty
import resource
import struct
import subprocess
import sys
import tempfile
import termios
import time
import unittest
from typing import NamedTuple

SKIPPED = 77  # what ctest takes for "skipped"

ERROR_FRAME = 0x20000000
DEADLINE = 120  # seconds after which a test gives up waiting; never a measure of speed

arguments = argparse.Namespace(client=None, recordings=None)


class Frame(NamedTuple):
    """What a file says of one CAN frame. Times in ns; an error frame has a channel and nothing else."""

    time: int
    channel: int
    identifier: int = 0
    extended: bool = False
    transmitted: bool = False
    error: bool = False
    fd: bool = False
    brs: bool = False
    esi: bool = False
    data: bytes = b""
    remote: bool = False  # this and the length only where a test compares them
    length: int = 0  # bytes that the length code stands for; up to 8 of a classic frame


def losses_in(description):
    """Of a description that is being written: there may be nothing in it yet, and while it is overwritten a mixture is read."""
    end = time.monotonic() + DEADLINE
    while True:
        text = description.read_text() if description.exists() else ""
        try:
            return json.loads(text)["losses"] if text else []
        except ValueError:
            if time.monotonic() > end:
                raise


class ClientTest(unittest.TestCase):
    """Runs the client in an empty folder of its own."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="qor-trace-test-")
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def start(self, *args, file_limit=None, memory_limit=None, **kwargs):
        """Starts the client; files that it writes end at `file_limit` bytes, as on a full disk, and it gets `memory_limit` bytes of
        address space."""
        limits = {resource.RLIMIT_FSIZE: file_limit, resource.RLIMIT_AS: memory_limit}
        limits = {kind: most for kind, most in limits.items() if most is not None}
        limit = lambda: [resource.setrlimit(kind, (most, most)) for kind, most in limits.items()]
        kwargs.setdefault("stdin", subprocess.DEVNULL)
        process = subprocess.Popen(
            [arguments.client, *map(str, args)],
            cwd=self.folder,
            stdout=kwargs.pop("stdout", subprocess.PIPE),
            stderr=kwargs.pop("stderr", subprocess.PIPE),
            preexec_fn=limit if limits else None,
            **kwargs,
        )
        self.addCleanup(self.end, process)
        return process

    @staticmethod
    def end(process):
        process.kill()
        process.wait()
        for pipe in (process.stdin, process.stdout, process.stderr):
            if pipe:
                with contextlib.suppress(BrokenPipeError):
                    pipe.close()

    def run_client(self, *args, expect=0, **kwargs):
        """Runs the client to its end and checks its exit code (None: done, or done with a loss). Gives standard output and
        error."""
        process = self.start(*args, **kwargs)
        out, err = process.communicate(timeout=DEADLINE)
        err = (err or b"").decode()
        self.assertIn(process.returncode, (0, 3) if expect is None else (expect,), err)
        return out, err

    def summary(self, *args, **kwargs):
        """Runs `record --json`, without an output unless the arguments name one, and gives the summary."""
        nowhere = [] if "-o" in args else ["--no-output"]
        out, _ = self.run_client("record", *args, *nowhere, "--json", **kwargs)
        return json.loads(out)

    def on_a_terminal(self, columns, *args, expect=0):
        """Runs the client with standard output and error on a terminal of that width; gives what was sent there."""
        leader, follower = pty.openpty()
        self.addCleanup(os.close, leader)
        fcntl.ioctl(follower, termios.TIOCSWINSZ, struct.pack("HHHH", 24, columns, 0, 0))
        process = self.start(*args, stdout=follower, stderr=follower)
        os.close(follower)
        text = b""
        while True:
            try:
                chunk = os.read(leader, 65536)
            except OSError:  # the other side is closed
                break
            if not chunk:
                break
            text += chunk
        process.wait()
        self.assertEqual(process.returncode, expect, text)
        return text.decode()

    def wait_until(self, condition, what):
        end = time.monotonic() + DEADLINE
        while not condition():
            self.assertLess(time.monotonic(), end, "waited in vain: " + what)
            time.sleep(0.01)

    def files(self):
        return sorted(path.name for path in self.folder.iterdir())

    def write_candump(self, lines, name="some.log"):
        path = self.folder / name
        path.write_text("".join(line + "\n" for line in lines))
        return path


def read_bin(contents, swapped=False):
    """The frames of a .bin file. Raises ValueError unless it consists of whole CAN records. Those of a swap file may have
    the time since the message's entry before."""
    frames = []
    offset = 0
    while offset < len(contents):
        length, channel, time_ns, relative, bus = struct.unpack_from("<IIQQB3x", contents, offset)
        if bus != 0 or offset + length > len(contents) or (relative != 0 and not swapped):
            raise ValueError(f"odd record at {offset}")
        item_time, identifier, flags, _, _, size = struct.unpack_from("<QIBBBB", contents, offset + 28)
        if length != 44 + size or item_time != time_ns:
            raise ValueError(f"odd CAN record at {offset}")
        frames.append(
            Frame(
                time=time_ns,
                channel=channel,
                identifier=identifier & 0x3FFFFFFF,
                extended=bool(flags & 0x01),
                transmitted=bool(flags & 0x02),
                error=bool(flags & 0x04),
                fd=bool(flags & 0x08),
                brs=bool(flags & 0x20),
                esi=bool(flags & 0x40),
                data=contents[offset + 44 : offset + length],
            )
        )
        offset += length
    return frames


def records_of(contents):
    """The records of a .bin file, raw."""
    records, place = [], 0
    while place < len(contents):
        length, = struct.unpack_from("<I", contents, place)
        records.append(contents[place : place + length])
        place += length
    return records


def time_of(record):
    """ns"""
    return struct.unpack_from("<Q", record, 8)[0]


def nanoseconds(seconds):
    """ "1398128223.803317" -> ns, exactly."""
    whole, _, fraction = seconds.partition(".")
    return int(whole) * 10**9 + int(fraction.ljust(9, "0")[:9])


def read_candump(path):
    """The frames of a candump file, as a recording of all its interfaces is to show them."""
    rows = []
    for line in path.read_text().splitlines():
        stamp, interface, frame = line.split()[:3]
        rows.append((nanoseconds(stamp.strip("()")), interface, frame))
    start = rows[0][0]
    channels = {name: number for number, name in enumerate(sorted({row[1] for row in rows}), 1)}
    return [candump_frame(stamp - start, channels[interface], frame) for stamp, interface, frame in rows]


def candump_frame(time_ns, channel, text):
    identifier, _, rest = text.partition("#")
    number = int(identifier, 16)
    if len(identifier) == 8 and number & ERROR_FRAME:
        return Frame(time_ns, channel, error=True)
    frame = Frame(time_ns, channel, number, extended=len(identifier) == 8)
    if rest.startswith("#"):
        flags = int(rest[1], 16)
        return frame._replace(fd=True, brs=bool(flags & 1), esi=bool(flags & 2), data=bytes.fromhex(rest[2:]))
    if rest.startswith("R"):
        return frame
    return frame._replace(data=bytes.fromhex(rest))


def recordings():
    """The candump recordings, or none."""
    folder = pathlib.Path(arguments.recordings or "") / "can"
    return sorted(folder.glob("*.log"))


def main():
    """Runs the tests of the calling script: SCRIPT CLIENT RECORDINGS [unittest arguments]."""
    arguments.client, arguments.recordings = sys.argv[1:3]
    # Swap folders of their own: what a killed recording leaves is news for the next one in the same place.
    with tempfile.TemporaryDirectory(prefix="qor-trace-swap-") as folder:
        os.environ["TMPDIR"] = folder
        unittest.main(argv=[sys.argv[0], *sys.argv[3:]], verbosity=2)
