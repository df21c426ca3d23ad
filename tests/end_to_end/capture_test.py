"""Capture files (.pcapng) of the client: every frame comes back, through a reader written here and through tshark."""

import os
import pty
import shutil
import struct
import subprocess
from typing import NamedTuple

from support import ClientTest, Frame, main, nanoseconds, read_bin, read_candump, recordings

SECTION, INTERFACE, STATISTICS, PACKET = 0x0A0D0D0A, 1, 5, 6
CAN_EXTENDED, CAN_REMOTE, CAN_ERROR = 0x80000000, 0x40000000, 0x20000000


class Capture(NamedTuple):
    interfaces: list  # (link type, name)
    packets: list  # (interface, time, captured, flags, bytes)
    statistics: dict  # interface -> (received, lost)
    start: int = 0  # of the recording, ns since 1970; 0 where the file doesn't say so

    def since_start(self):
        """The packets, with times from the start of the recording on."""
        return [(interface, time - self.start, *rest) for interface, time, *rest in self.packets]


def options(contents):
    """The options of a block, by code."""
    found = {}
    offset = 0
    while True:
        code, length = struct.unpack_from("<HH", contents, offset)
        if code == 0:
            return found
        found[code] = contents[offset + 4 : offset + 4 + length]
        offset += 4 + (length + 3) // 4 * 4


def read_capture(contents):
    """Reads a capture file strictly. Raises ValueError unless it consists of whole blocks that agree with each other."""
    capture = Capture([], [], {})
    start = 0
    offset = 0
    while offset < len(contents):
        kind, length = struct.unpack_from("<II", contents, offset)
        block = contents[offset : offset + length]
        if length % 4 != 0 or len(block) != length or struct.unpack_from("<I", block, length - 4) != (length,):
            raise ValueError(f"odd block at {offset}")
        body = block[8:-4]
        if offset == 0:
            if kind != SECTION or struct.unpack_from("<IHHq", body) != (0x1A2B3C4D, 1, 0, -1):
                raise ValueError("odd section header")
        elif kind == INTERFACE:
            link, reserved, _ = struct.unpack_from("<HHI", body)
            described = options(body[8:])
            if reserved != 0 or described[9] != b"\x09":
                raise ValueError(f"odd interface at {offset}")
            capture.interfaces.append((link, described[2].decode()))
        elif kind == PACKET:
            interface, high, low, captured, original = struct.unpack_from("<IIIII", body)
            if captured != original or interface >= len(capture.interfaces):
                raise ValueError(f"odd packet at {offset}")
            flags = struct.unpack("<I", options(body[20 + (captured + 3) // 4 * 4 :])[2])[0]
            capture.packets.append((interface, high << 32 | low, flags, body[20 : 20 + captured]))
        elif kind == STATISTICS:
            told = options(body[12:])
            if 2 in told:
                high, low = struct.unpack("<II", told[2])
                start = high << 32 | low
            capture.statistics[struct.unpack_from("<I", body)[0]] = tuple(
                struct.unpack("<Q", told[code])[0] for code in (4, 5)
            )
        else:
            raise ValueError(f"unknown block at {offset}")
        offset += length
    return capture._replace(start=start)


def can_frames(capture):
    """The packets of CAN interfaces as frames; the channel is the one that the interface is named for."""
    frames = []
    for interface, time, flags, contents in capture.since_start():
        link, name = capture.interfaces[interface]
        if link != 227:
            raise ValueError("no CAN packet")
        identifier, length, fd_flags, _, _ = struct.unpack_from(">IBBBB", contents)
        data = contents[8:]
        error = bool(identifier & CAN_ERROR)
        if length != len(data) and not identifier & CAN_REMOTE:
            raise ValueError("odd data length")
        frames.append(
            Frame(
                time=time,
                channel=int(name.removeprefix("CAN-")),
                identifier=0 if error else identifier & 0x1FFFFFFF,
                extended=bool(identifier & CAN_EXTENDED),
                transmitted=flags == 2,
                error=error,
                fd=bool(fd_flags & 4),
                brs=bool(fd_flags & 1),
                esi=bool(fd_flags & 2),
                data=b"" if error else data,
            )
        )
    return frames


def plain(frames):
    """Error frames as capture files show them here: without identifier and data."""
    return [f._replace(identifier=0, extended=False, data=b"") if f.error else f for f in frames]


class Captures(ClientTest):
    SOURCE = "can?seed=5&duration=20s&speed=max"

    def read(self, name="a.pcapng"):
        return read_capture((self.folder / name).read_bytes())

    def test_every_recording_comes_back(self):
        if not recordings():
            self.skipTest("no recordings")
        for recording in recordings():
            with self.subTest(recording.name):
                self.run_client("record", recording, "--speed", "max", "-o", "a.pcapng")
                capture = self.read()
                self.assertEqual(sorted(can_frames(capture)), sorted(read_candump(recording)))
                counted = {interface: 0 for interface in capture.statistics}
                for packet in capture.packets:
                    counted[packet[0]] += 1
                self.assertEqual(capture.statistics, {i: (count, 0) for i, count in counted.items()})

    def test_swapped_entries_are_in_it(self):
        for limit in ("1", "1000"):
            self.run_client(
                "record", self.SOURCE, "--memory-limit", limit, "-o", "a.pcapng", "-o", "a.bin"
            )
            frames = plain(read_bin((self.folder / "a.bin").read_bytes()))
            got = can_frames(self.read())
            self.assertGreater(len(got), 20000)
            held = set(got)
            self.assertEqual([frame for frame in frames if frame in held], got)

    def test_what_it_cannot_hold_is_counted_and_named(self):
        _, err = self.run_client("record", self.SOURCE, "-o", "a.pcapng", "-o", "a.bin")
        entries = len(read_bin((self.folder / "a.bin").read_bytes()))
        omitted = entries - len(self.read().packets)
        self.assertGreater(omitted, 0)
        self.assertIn(f"a.pcapng: NOT IN IT, as no packet can hold them: {omitted} CAN log-trigger events\n", err)
        summary = self.summary(self.SOURCE, "-o", "a.pcapng")
        self.assertEqual(summary["outputs"][0]["omitted"], {"CAN log-trigger events": omitted})

    def test_lost_items_are_in_the_counts(self):
        summary = self.summary("can?duration=60s&speed=200&buffer=10", "-o", "a.pcapng", expect=3)
        lost = summary["channels"][0]["lost"]["count"]
        self.assertGreater(lost, 0)
        self.assertEqual(self.read().statistics, {0: (summary["entries"], lost)})

    def test_standard_output_gets_the_same_bytes(self):
        out, _ = self.run_client("record", self.SOURCE, "-o", "-", "--format", "pcapng", "-o", "a.pcapng")
        self.assertEqual(out, (self.folder / "a.pcapng").read_bytes())

    def test_a_reader_sees_frames_while_the_recording_runs(self):
        process = self.start("record", "can", "-o", "-", "--format", "pcapng")
        self.assertEqual(process.stdout.read(4), b"\x0a\x0d\x0d\x0a")
        self.assertTrue(process.stdout.read(1000))
        process.stdout.close()
        err = process.stderr.read().decode()
        process.wait(timeout=60)
        self.assertEqual(process.returncode, 0, err)
        self.assertNotIn("qor-trace:", err)

    def test_a_reader_that_goes_while_the_bus_is_silent_ends_the_recording(self):
        quiet = self.write_candump(["(0.0) can0 123#0102", "(3600.0) can0 124#"])
        frames = {"pcapng": b"\0\0\x01\x23\x02", "bin": b"\x23\x01\0\0", "asc": b" 123 ", "ndjson": b"0102"}
        for form, frame in frames.items():
            process = self.start("record", quiet, "-o", "-", "--format", form, "-o", "a.bin")
            contents = b""
            while frame not in contents:
                part = os.read(process.stdout.fileno(), 65536)
                self.assertTrue(part, "the recording has ended")
                contents += part
            process.stdout.close()
            err = process.stderr.read().decode()
            process.wait()
            self.assertEqual(process.returncode, 0, err)
            self.assertEqual(len(read_bin((self.folder / "a.bin").read_bytes())), 1)

    def test_full_disk_leaves_whole_blocks_under_the_temporary_name(self):
        _, err = self.run_client("record", self.SOURCE, "-o", "a.pcapng", expect=1, file_limit=300001)
        self.assertEqual(self.files(), ["a.pcapng.part"])
        capture = self.read("a.pcapng.part")
        self.assertIn(f"The {len(capture.packets)} packets before that are in", err)
        self.assertGreater(len(capture.packets), 4000)

    def test_full_standard_output_is_a_failure(self):
        with open("/dev/full", "wb") as full:
            for more in ([], ["--as-exported"]):
                _, err = self.run_client(
                    "record", self.SOURCE, "-o", "-", "--format", "pcapng", *more, expect=1, stdout=full
                )
                self.assertIn("No space left", err)

    def test_other_buses_are_left_out_on_request(self):
        _, err = self.run_client("record", self.SOURCE, "-o", "a.pcapng", "--ethernet-only")
        self.assertEqual(self.read()._replace(start=0), Capture([], [], {}))
        self.assertNotIn("NOT IN IT", err)

    def test_the_librarys_export_is_written_on_request(self):
        self.run_client("record", self.SOURCE, "-o", "a.pcapng", "--as-exported")
        contents = (self.folder / "a.pcapng").read_bytes()
        self.assertEqual(len(contents), 72)
        self.assertEqual(struct.unpack_from("<q", contents, 16), (44,))
        self.assertEqual(self.files(), ["a.pcapng"])

    def test_existing_file_is_replaced(self):
        (self.folder / "a.pcapng").write_text("something else\n" * 1000000)
        self.run_client("record", self.SOURCE, "-o", "a.pcapng")
        self.assertGreater(len(self.read().packets), 20000)

    def test_options_that_make_no_sense(self):
        for arguments in (
            ["-o", "a.bin", "--ethernet-only"],
            ["-o", "a.bin", "--as-exported"],
            ["-o", "a.pcapng", "--format", "pcapng"],
            ["-o", "-", "--format", "mf4"],
            ["-o", "a.pcap"],
        ):
            self.run_client("record", "can", *arguments, expect=2)
        self.run_client("record", "can", "-o", "nowhere/a.pcapng", expect=1)
        self.assertEqual(self.files(), [])

    def test_it_is_not_written_to_a_terminal(self):
        leader, follower = pty.openpty()
        self.addCleanup(os.close, leader)
        self.addCleanup(os.close, follower)
        _, err = self.run_client("record", "can", "-o", "-", "--format", "pcapng", expect=2, stdout=follower)
        self.assertIn("terminal", err)


FIELDS = (
    "frame.interface_name",
    "frame.time_epoch",
    "frame.packet_flags_direction",
    "can.id",
    "can.flags.xtd",
    "can.flags.err",
    "can.len",
    "canfd.flags.brs",
    "canfd.flags.esi",
    "_ws.malformed",
)


class OtherReader(ClientTest):
    def dissected(self, path):
        """What tshark says of each packet."""
        command = ["tshark", "-r", str(path), "-T", "fields"]
        for field in FIELDS:
            command += ["-e", field]
        result = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, check=True)
        return [dict(zip(FIELDS, line.split("\t"))) for line in result.stdout.decode().splitlines()]

    def test_tshark_reads_the_frames_of_real_recordings(self):
        if shutil.which("tshark") is None:
            self.skipTest("tshark is not installed")
        names = ("icsim-sample.log", "css-94C49784-2.log", "ecubus-errorframes.log", "canfd-std.log")
        chosen = [recording for recording in recordings() if recording.name in names]
        if not chosen:
            self.skipTest("no recordings")
        for recording in chosen:
            with self.subTest(recording.name):
                self.run_client("record", recording, "--speed", "max", "-o", "a.pcapng")
                rows = self.dissected(self.folder / "a.pcapng")
                start = read_capture((self.folder / "a.pcapng").read_bytes()).start
                self.assertEqual(len(rows), len(read_candump(recording)))
                for row, frame in zip(rows, sorted(read_candump(recording), key=lambda frame: frame.time)):
                    self.assertEqual(row["frame.interface_name"], f"CAN-{frame.channel}")
                    self.assertEqual(nanoseconds(row["frame.time_epoch"]), start + frame.time)
                    self.assertEqual(row["frame.packet_flags_direction"], "0x00000001")
                    self.assertEqual(row["_ws.malformed"], "")
                    if frame.error:
                        self.assertEqual(row["can.flags.err"], "1")
                        continue
                    self.assertEqual(int(row["can.id"]), frame.identifier)
                    self.assertEqual(row["can.flags.xtd"], str(int(frame.extended)))
                    self.assertEqual(int(row["can.len"]), len(frame.data))
                    self.assertEqual(row["canfd.flags.brs"], str(int(frame.brs)) if frame.fd else "")
                    self.assertEqual(row["canfd.flags.esi"], str(int(frame.esi)) if frame.fd else "")


if __name__ == "__main__":
    main()
