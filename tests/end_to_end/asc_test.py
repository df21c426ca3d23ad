"""ASC files as other people's programs read them: python-can's ASCReader and can-utils' asc2log, as their packages have them."""

import os
import shutil
import struct
import subprocess
import sys
import time
import unittest
from datetime import datetime, timezone

from support import ClientTest, Frame, arguments, main, recordings

try:
    import can
except ImportError:
    can = None

ASC2LOG = shutil.which("asc2log")
MICROSECOND = 1000  # ns
FD_LENGTHS = (0, 1, 2, 3, 4, 5, 6, 7, 8, 12, 16, 20, 24, 32, 48, 64)
EXTENDED, TRANSMITTED, ERROR, FD, BRS, ESI = 0x01, 0x02, 0x04, 0x08, 0x20, 0x40

needs_python_can = unittest.skipUnless(can, "the package python3-can is not installed")
needs_asc2log = unittest.skipUnless(ASC2LOG, "the package can-utils is not installed")


def can_record(time_ns, channel, identifier, flags, dlc, data):
    markers = (0x80000000 if flags & EXTENDED else 0) | (0x40000000 if flags & FD else 0)
    item = struct.pack("<QIBBBB", time_ns, identifier | markers, flags, 0, dlc, len(data)) + data
    return struct.pack("<IIQQB3x", 28 + len(item), channel, time_ns, 0, 0) + item


def can_frames(contents):
    """The frames of the CAN records among those of a .bin file, without trigger events."""
    frames = []
    offset = 0
    while offset < len(contents):
        length, channel, time_ns, _, bus = struct.unpack_from("<IIQQB3x", contents, offset)
        if bus == 0:
            _, identifier, flags, _, dlc, size = struct.unpack_from("<QIBBBB", contents, offset + 28)
            data = contents[offset + 44 : offset + 44 + size]
            if flags & ERROR:
                frames.append(Frame(time_ns, channel, error=True))
            elif not flags & 0x10:
                is_fd = bool(flags & FD)
                frames.append(
                    Frame(
                        time_ns,
                        channel,
                        identifier & 0x3FFFFFFF,
                        extended=bool(flags & EXTENDED),
                        transmitted=bool(flags & TRANSMITTED),
                        remote=not is_fd and size == 0 and dlc > 0,
                        fd=is_fd,
                        brs=is_fd and bool(flags & BRS),
                        esi=is_fd and bool(flags & ESI),
                        length=FD_LENGTHS[dlc] if is_fd else min(dlc, 8),
                        data=data,
                    )
                )
        offset += length
    return frames


def every_kind(with_fd=True):
    """Records with every format, direction, flag and length code, a millisecond and a half apart."""
    records = b""
    count = 0

    def add(identifier, flags, dlc, data):
        nonlocal records, count
        count += 1
        records += can_record(count * 1500 * MICROSECOND, 1 + count % 12, identifier, flags, dlc, data)

    for direction in (0, TRANSMITTED):
        for identifier, form in ((0, 0), (0x7FF, 0), (0, EXTENDED), (0x1FFFFFFF, EXTENDED)):
            for dlc in range(16):
                add(identifier, direction | form, dlc, bytes(range(0xF9, 0xF9 + min(dlc, 7))) + b"\x07" * (dlc >= 8))
                for switches in (0, BRS, ESI, BRS | ESI) if with_fd else ():
                    data = bytes(index * 7 % 256 for index in range(FD_LENGTHS[dlc]))
                    add(identifier, direction | form | FD | switches, dlc, data)
            for dlc in (1, 8, 15):
                add(identifier, direction | form, dlc, b"")  # remote
        for kind in range(9):
            add(0, direction | ERROR, 1, bytes([kind]))
    return records


def python_can_frames(path, absolute=False):
    frames = []
    for message in can.ASCReader(str(path), relative_timestamp=not absolute):
        # Multiples of 1 us, read into a double.
        when = round(message.timestamp * 1e6) * MICROSECOND
        if message.is_error_frame:
            frames.append(Frame(when, message.channel + 1, error=True))
            continue
        frames.append(
            Frame(
                when,
                message.channel + 1,
                message.arbitration_id,
                extended=message.is_extended_id,
                transmitted=not message.is_rx,
                remote=message.is_remote_frame,
                fd=message.is_fd,
                brs=message.bitrate_switch,
                esi=message.error_state_indicator,
                length=message.dlc,
                data=bytes(message.data),
            )
        )
    return frames


def as_python_can_says(frame):
    """It takes an FD frame without data for a remote one."""
    return frame._replace(remote=frame.remote or (frame.fd and frame.length == 0))


def asc2log_frames(path):
    """Gives the frames, and whether their times have a date: the tool reads it with the locale en_US only, and takes the
    present time without."""
    run = subprocess.run([ASC2LOG, "-I", path], capture_output=True, check=True)
    frames = []
    for line in run.stdout.decode().splitlines():
        stamp, interface, text, *direction = line.split()
        seconds, microseconds = stamp.strip("()").split(".")  # up to 1000000 of them: not a fraction
        frame = Frame(int(seconds) * 10**9 + int(microseconds) * MICROSECOND, int(interface[3:]) + 1)
        identifier, _, rest = text.partition("#")
        if not direction:
            frames.append(frame._replace(error=True))
            continue
        frame = frame._replace(identifier=int(identifier, 16), extended=len(identifier) == 8,
                               transmitted=direction == ["T"])
        if rest.startswith("#"):
            flags, data = int(rest[1], 16), bytes.fromhex(rest[2:])
            frame = frame._replace(fd=True, brs=bool(flags & 1), esi=bool(flags & 2), length=len(data), data=data)
        elif rest.startswith("R"):
            frame = frame._replace(remote=True, length=int(rest[1:] or "0"))
        else:
            frame = frame._replace(length=len(rest) // 2, data=bytes.fromhex(rest))
        frames.append(frame)
    return frames, b"Using current time" not in run.stderr


class ReadBack(ClientTest):
    def setUp(self):
        super().setUp()
        self.addCleanup(self.set_zone, os.environ.get("TZ"))
        self.set_zone("CET-1")

    @staticmethod
    def set_zone(zone):
        if zone is None:
            os.environ.pop("TZ", None)
        else:
            os.environ["TZ"] = zone
        time.tzset()

    def convert(self, records, *options):
        (self.folder / "a.bin").write_bytes(records)
        self.run_client("convert", "a.bin", "-o", "a.asc", *options)
        return can_frames(records)

    def assert_same(self, got, expected):
        """Compares times as well, within half a microsecond: files have six decimals."""
        self.assertEqual(len(got), len(expected))
        for index, (our, their) in enumerate(zip(got, expected)):
            self.assertEqual(our._replace(time=0), their._replace(time=0), f"frame {index}")
            self.assertLessEqual(abs(our.time - their.time), MICROSECOND / 2, f"frame {index}")

    def assert_python_can_reads(self, expected):
        self.assert_same(python_can_frames(self.folder / "a.asc"), [as_python_can_says(frame) for frame in expected])

    def assert_asc2log_reads(self, expected):
        got, _ = asc2log_frames(self.folder / "a.asc")
        self.assertTrue(got)
        # Rounded as the file's times are.
        zero = got[0].time - (expected[0].time + MICROSECOND // 2) // MICROSECOND * MICROSECOND
        self.assert_same([frame._replace(time=frame.time - zero) for frame in got], expected)

    @needs_python_can
    def test_python_can_reads_every_kind_of_frame(self):
        self.assert_python_can_reads(self.convert(every_kind()))

    @needs_asc2log
    def test_asc2log_reads_every_kind_of_frame(self):
        self.assert_asc2log_reads(self.convert(every_kind()))

    @needs_python_can
    def test_python_can_reads_decimal_numbers_and_nine_decimals(self):
        self.assert_python_can_reads(self.convert(every_kind(), "--asc-dec", "--asc-decimals", "9"))

    @needs_asc2log
    def test_asc2log_reads_decimal_numbers_of_classic_frames(self):
        expected = self.convert(every_kind(), "--asc-dec")
        got, _ = asc2log_frames(self.folder / "a.asc")
        # It takes the numbers of CANFD lines for hexadecimal ones, whatever the header says.
        got, expected = ([frame._replace(time=0) for frame in frames if not frame.fd] for frames in (got, expected))
        self.assertEqual(got, expected)

    @needs_asc2log
    def test_asc2log_adds_relative_times_up_to_the_right_ones(self):
        # It adds those of CANFD lines up by themselves.
        self.assert_asc2log_reads(self.convert(every_kind(with_fd=False), "--asc-relative"))

    @needs_python_can
    def test_dates_give_the_times_of_the_wall_clock(self):
        begun = datetime(2026, 11, 21, 14, 30, 0, 250000, tzinfo=timezone.utc)
        expected = self.convert(every_kind(), "--start-time", "2026-11-21T14:30:00.25Z")
        to_utc = round(begun.timestamp() * 1e6) * MICROSECOND - expected[0].time
        expected = [as_python_can_says(frame._replace(time=frame.time + to_utc)) for frame in expected]
        self.assert_same(python_can_frames(self.folder / "a.asc", absolute=True), expected)

    @needs_python_can
    def test_clock_that_counts_since_1970_gives_its_own_date(self):
        start = 1398128223803317 * MICROSECOND
        frames = [(start, b"\x01"), (start + 1700 * MICROSECOND, b"\x02")]
        expected = self.convert(b"".join(can_record(when, 1, 0x123, 0, 1, data) for when, data in frames))
        self.assert_same(python_can_frames(self.folder / "a.asc", absolute=True), expected)
        self.assertIn("date Tue Apr 22 01:57:03.803 am 2014\n", (self.folder / "a.asc").read_text())

    @needs_python_can
    @needs_asc2log
    def test_every_recording_comes_back(self):
        if not recordings():
            self.skipTest("no recordings in " + str(arguments.recordings))
        for recording in recordings():
            with self.subTest(recording.name):
                self.run_client("record", recording, "--speed", "max", "-o", "a.bin", "-o", "a.asc")
                expected = can_frames((self.folder / "a.bin").read_bytes())
                self.assertGreater(len(expected), 3)
                self.assert_python_can_reads(expected)
                self.assert_asc2log_reads(expected)

    @needs_python_can
    @needs_asc2log
    def test_frames_are_found_among_lines_of_other_buses(self):
        self.run_client("record", "vehicle?seed=5", "-d", "20s", "--speed", "max", "-o", "a.bin", "-o", "a.asc", expect=None)
        expected = can_frames((self.folder / "a.bin").read_bytes())
        self.assertGreater(len(expected), 1000)
        self.assert_python_can_reads(expected)
        self.assert_asc2log_reads(expected)

    @needs_python_can
    @needs_asc2log
    def test_files_of_a_series_are_read_one_by_one(self):
        for options in ([], ["--asc-relative"]):
            records = every_kind(with_fd=not options)
            (self.folder / "a.bin").write_bytes(records)
            expected = can_frames(records)
            self.run_client("convert", "a.bin", "-o", "s.asc", "--asc-split", "3K", *options)
            names = ["s.asc"] + [f"s_{number}.asc" for number in range(1, len(self.files()))]
            names = [name for name in names if name in self.files()]
            self.assertGreater(len(names), 2)
            got = []
            for name in names:
                (self.folder / name).rename(self.folder / "a.asc")
                part = expected[len(got) :][: len(python_can_frames(self.folder / "a.asc"))]
                if not options:
                    self.assert_python_can_reads(part)
                self.assert_asc2log_reads(part)
                got += part
            self.assertEqual(got, expected)


class AsExported(ClientTest):
    def test_the_librarys_own_export_is_written_on_request(self):
        self.run_client("record", "vehicle?seed=5", "-d", "2s", "--speed", "max", "-o", "a.bin", "-o", "a.asc",
                        "--as-exported", expect=None)
        self.run_client("convert", "a.bin", "-o", "b.asc", "--as-exported", expect=None)
        ours, theirs = ((self.folder / name).read_text().splitlines() for name in ("a.asc", "b.asc"))
        self.assertEqual(ours[5:], theirs[5:])
        self.assertEqual(ours[-1], "End Triggerblock")
        self.assertTrue(any(" CANFD 1 " in line and line.endswith(" 0 0 0 0 0 0 0 0") for line in ours))

    def test_options_that_make_no_sense(self):
        (self.folder / "a.bin").write_bytes(every_kind())
        for options in (
            ["-o", "b.pcapng", "--as-exported"],
            ["-o", "b.asc", "--as-exported", "--asc-decimals", "9"],
            ["-o", "b.asc", "--asc-decimals", "7"],
            ["-o", "b.bin", "--asc-decimals", "9"],
        ):
            with self.subTest(options=options):
                self.run_client("convert", "a.bin", *options, expect=2)
        self.assertEqual(self.files(), ["a.bin"])


if __name__ == "__main__":
    main()
