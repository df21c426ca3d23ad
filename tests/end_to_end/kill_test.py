"""A recording that is killed, or asked twice to end: what its files hold afterwards.

Run by hand: kill_test.py CLIENT RECORDINGS --kills 300 [--seed 7]
"""

import bisect
import random
import re
import signal
import struct
import sys
import time

from mdf_test import Reader
from support import ClientTest, main

SOURCES = {
    "one channel": ["can?seed=1&load=90"],
    "two channels": ["can?seed=1&load=60", "can?seed=2&load=60"],
}
LONGEST = 1.5  # seconds that a recording lives once its files are there
LINE = re.compile(rb"^(\d+)\.(\d{6}) \S.*$")


class Settings:
    kills = 16
    seed = 1


def nanoseconds(line):
    match = LINE.match(line)
    return int(match[1]) * 10**9 + int(match[2]) * 1000


def whole_records(data):
    """The records of a file, the relative time (which the swap file may have) taken as 0, and how many bytes are left."""
    records, place = [], 0
    while len(data) - place >= 28:
        length = struct.unpack_from("<I", data, place)[0]
        if length < 28:
            raise ValueError(f"a record of {length} bytes at {place}")
        if length > len(data) - place:
            break
        records.append(data[place : place + 16] + bytes(8) + data[place + 24 : place + length])
        place += length
    return records, len(data) - place


def whole_blocks(data):
    """How many packets the whole blocks of a capture file hold, and how many bytes are left over."""
    packets, place = 0, 0
    while len(data) - place >= 12:
        kind, length = struct.unpack_from("<II", data, place)
        if length < 12 or length % 4 != 0:
            raise ValueError(f"a block of {length} bytes at {place}")
        if length > len(data) - place:
            break
        if struct.unpack_from("<I", data, place + length - 4)[0] != length:
            raise ValueError(f"a block with two lengths at {place}")
        packets += kind == 6
        place += length
    return packets, len(data) - place


def event_lines(text):
    """The lines of a log between header and trailer, and what follows the last line feed."""
    lines = text.split(b"\n")
    rest = lines.pop()
    return [line for line in lines if LINE.match(line)], rest


CHANNEL = re.compile(rb"^\S+ (?:CANFD )?(\d+) +(?:[0-9a-f]+x? +)?(?:Rx|Tx|ErrorFrame)")


def channel_of_line(line):
    """0 for the lines of trigger events, which name no channel."""
    match = CHANNEL.match(line)
    return int(match[1]) if match else 0


def channel_of_record(record):
    return struct.unpack_from("<I", record, 4)[0]


def is_beginning(part, whole, channel_of):
    """Whether each channel's items are the first ones of the whole's.

    The channels by themselves: on a machine that stood still for longer than the sort stage waits, their order may differ.
    """
    channels = {channel_of(item) for item in part} - {0}
    events = [item for item in part if channel_of(item) == 0]
    if not set(events) <= set(whole) or len(set(events)) < len(events):
        return False
    for channel in channels:
        mine = [item for item in part if channel_of(item) == channel]
        if mine != [item for item in whole if channel_of(item) == channel][: len(mine)]:
            return False
    return True


class Lag:
    """The worst that files were behind the recording when it was killed."""

    def __init__(self):
        self.entries, self.ms, self.rest = 0, 0.0, 0

    def add(self, entries, ms, rest):
        self.entries = max(self.entries, entries)
        self.ms = max(self.ms, ms)
        self.rest = max(self.rest, rest)


class KillTest(ClientTest):
    def check_next_start(self, output):
        """The next recording into the same file is refused; whatever the killed one has left stays, and its swap file is
        named if it holds entries."""
        left = {path: path.read_bytes() for path in output.parent.rglob("*") if path.is_file()}
        _, err = self.run_client("record", "can?duration=1s&speed=max", "-o", output, expect=1)
        self.assertIn("is left over from a run that was cut off", err)
        for path, contents in left.items():
            if not path.match(".qor-trace-swap-*/*"):
                self.assertEqual(path.read_bytes(), contents)
            elif len(contents) >= 28:
                self.assertEqual(path.read_bytes(), contents)
                self.assertEqual(err.count(f'"{path}" is left over'), 1 if path.suffix == ".bin" else 0)
            else:
                self.assertFalse(path.exists())


class Killed(KillTest):
    def complete(self, sources):
        """What a whole recording of the sources gives: lines and records."""
        run = ["record", *sources, "--speed", "max", "--duration", f"{LONGEST + 20}s"]
        self.run_client(*run, "-o", "whole.asc", "-o", "whole.bin")
        lines, _ = event_lines((self.folder / "whole.asc").read_bytes())
        records, rest = whole_records((self.folder / "whole.bin").read_bytes())
        self.assertEqual(rest, 0)
        self.assertEqual(len(lines), len(records))
        self.assertGreater(len(lines), 1000)
        return lines, records

    def record_and_kill(self, sources, name, after):
        """Kills a recording; gives the time of the trace at that moment, in ns, nothing if there were no lines yet."""
        folder = self.folder / name
        folder.mkdir()
        outputs = ["-o", folder / "live.asc", "--asc-live", "-o", folder / "x.bin", "-o", folder / "x.pcapng"]
        process = self.start("record", *sources, "--memory-limit", 200, *outputs)
        live = folder / "live.asc.part"
        self.wait_until(live.exists, "the live file")
        start = time.monotonic()
        earliest = None  # moment of the trace's time 0, as seen by lines that came soonest
        while time.monotonic() - start < after:
            lines, _ = event_lines(live.read_bytes()[-4000:])
            if lines:
                begun = time.monotonic_ns() - nanoseconds(lines[-1])
                earliest = begun if earliest is None else min(begun, earliest)
            time.sleep(0.002)
        process.send_signal(signal.SIGKILL)
        killed = time.monotonic_ns()
        process.wait()
        return None if earliest is None else killed - earliest

    def check(self, folder, whole_lines, whole, now, lags):
        """Each file holds the beginning of the whole recording, up to a piece of the entry that was being written."""
        lines, rest = event_lines((folder / "live.asc.part").read_bytes())
        self.assertTrue(is_beginning(lines, whole_lines, channel_of_line), "live .asc")
        counts = {"live .asc": (len(lines), len(rest))}

        for kind, pattern in {".bin.part": "x.bin.part", "swap file": ".qor-trace-swap-*/*.bin"}.items():
            for path in folder.glob(pattern):
                records, rest = whole_records(path.read_bytes())
                self.assertTrue(is_beginning(records, whole, channel_of_record), kind)
                counts[kind] = len(records), rest
        for path in folder.glob("x.pcapng.part"):
            counts[".pcapng.part"] = whole_blocks(path.read_bytes())
        if now is None:
            return
        due = bisect.bisect_right(whole_lines, now, key=nanoseconds)
        for kind, (count, rest) in counts.items():
            self.assertLess(rest, 200)
            newest = nanoseconds(whole_lines[count - 1]) if count else 0
            lags.setdefault(kind, Lag()).add(max(due - count, 0), (now - newest) / 1e6, rest)

    def test_files_hold_the_recording_up_to_a_bounded_tail(self):
        moments = random.Random(Settings.seed)
        for what, sources in SOURCES.items():
            lags = {}
            whole_lines, whole = self.complete(sources)
            for number in range(Settings.kills // len(SOURCES)):
                after = moments.uniform(0, LONGEST)
                name = f"{what.replace(' ', '-')}-{number}"
                with self.subTest(sources=what, kill=number, after=after):
                    now = self.record_and_kill(sources, name, after)
                    self.check(self.folder / name, whole_lines, whole, now, lags)
                    self.check_next_start(self.folder / name / "x.bin")
                    self.check_next_start(self.folder / name / "x.pcapng")
            for kind, lag in sorted(lags.items()):
                print(f"{what}, {kind}: at most {lag.entries} entries or {lag.ms:.0f} ms missing, {lag.rest} bytes cut")
            self.assertIn("live .asc", lags)
            self.assertIn("swap file", lags)


class AskedTwice(ClientTest):
    """Signals of one moment, whatever they are, end a recording with all of its outputs complete."""

    SIGNALS = (signal.SIGINT, signal.SIGTERM, signal.SIGHUP)
    MOMENT = 0.8  # seconds; less than what counts as one

    def check(self, folder):
        names = sorted(path.name for path in folder.iterdir())
        self.assertEqual(names, ["x.asc", "x.bin", "x.bin.json", "x.mf4", "x.pcapng"])
        lines, rest = event_lines((folder / "x.asc").read_bytes())
        self.assertEqual(rest, b"")
        records, rest = whole_records((folder / "x.bin").read_bytes())
        self.assertEqual((len(lines), rest), (len(records), 0))
        self.assertEqual(whole_blocks((folder / "x.pcapng").read_bytes())[1], 0)
        self.assertTrue(Reader((folder / "x.mf4").read_bytes()).finalized)
        return len(records)

    def test_all_outputs_are_complete(self):
        moments = random.Random(Settings.seed)
        entries = []
        for number in range(Settings.kills // 2):
            first, second = moments.choice(self.SIGNALS), moments.choice(self.SIGNALS)
            after, gap = moments.uniform(0, LONGEST), moments.uniform(0, self.MOMENT) ** 4  # mostly short ones
            folder = self.folder / str(number)
            folder.mkdir()
            outputs = [word for kind in ("asc", "bin", "mf4", "pcapng") for word in ("-o", folder / f"x.{kind}")]
            with self.subTest(signals=number, after=after, gap=gap):
                process = self.start("record", *SOURCES["two channels"], "--memory-limit", 200, *outputs)
                self.wait_until((folder / "x.bin.part").exists, "the outputs")
                time.sleep(after)
                process.send_signal(first)
                time.sleep(gap)
                process.send_signal(second)
                _, err = process.communicate()
                self.assertIn(process.returncode, (0, 3), err)  # 3: events have no place in two of the outputs
                entries.append(self.check(folder))
        print(f"asked twice, {len(entries)} times: from {min(entries)} to {max(entries)} entries, all outputs complete")


class KilledMeasurement(KillTest):
    """Recordings 50 times as fast, as a measurement file is written in blocks that take seconds to fill."""

    SOURCE = "can?seed=1&load=90&duration=150s"

    def record_and_kill(self, name, after, size=0):
        """Kills a recording some seconds after its file has more than `size` bytes. Gives the bytes of the unfinished file;
        none if there is no such file."""
        process = self.start("record", self.SOURCE, "--speed", "50", "-o", name + ".mf4")
        part = self.folder / (name + ".part.mf4")
        self.wait_until(lambda: process.poll() is not None or part.exists() and part.stat().st_size > size, "the file")
        time.sleep(after)
        process.kill()
        process.wait()
        return part.read_bytes() if part.exists() else b""

    def check(self, data, whole):
        """Each group of the file holds the first records of the whole one, with their data. Gives the number of records."""
        if data[64:68] != b"##HD":  # killed before the file was described
            return 0
        reader = Reader(data)
        self.assertFalse(reader.finalized)
        for group in reader.groups:
            complete = whole[group.name, group.event]
            self.assertEqual(group.records, complete.records[: len(group.records)])
            values = [group.value(record, "DataBytes") for record in group.records[-1000:]]
            expected = [complete.value(record, "DataBytes") for record in group.records[-1000:]]
            self.assertEqual(values, expected)
        return sum(len(group.records) for group in reader.groups)

    def test_measurement_file_holds_the_beginning_of_each_group(self):
        self.run_client("record", self.SOURCE, "--speed", "max", "-o", "whole.mf4")
        groups = Reader((self.folder / "whole.mf4").read_bytes()).groups
        whole = {(group.name, group.event): group for group in groups}
        moments = random.Random(Settings.seed)
        held = [self.check(self.record_and_kill("flushed", 0, size=1_500_000), whole)]
        self.assertGreater(held[0], 0)
        for number in range(Settings.kills // 2):
            after = moments.uniform(0, LONGEST)
            with self.subTest(kill=number, after=after):
                name = f"killed-{number}"
                held.append(self.check(self.record_and_kill(name, after), whole))
                if (self.folder / (name + ".part.mf4")).exists():  # no kill came too late
                    self.check_next_start(self.folder / (name + ".mf4"))
        print(f".part.mf4: from {min(held)} to {max(held)} records")


def take_option(name):
    """Takes --NAME NUMBER off the command line."""
    if f"--{name}" in sys.argv:
        place = sys.argv.index(f"--{name}")
        setattr(Settings, name, int(sys.argv[place + 1]))
        del sys.argv[place : place + 2]


if __name__ == "__main__":
    take_option("kills")
    take_option("seed")
    main()
