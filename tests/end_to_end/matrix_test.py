"""Every format by every reader by every bus: what a recording's files show in other people's programs is what was on
the bus, frame for frame, at the same moments since 1970."""

import collections
import json
import sys

import readers
from buses_test import recordings as recordings_of
from support import SKIPPED, ClientTest, main

START = 1795271400123000000  # 2026-11-21T14:30:00.123Z: whole milliseconds, as exact as the head of .asc files can be
START_TEXT = "2026-11-21T14:30:00.123Z"
MICROSECOND = 1000  # ns

CAN_KINDS = {"can", "can remote", "can error"}
LIN_KINDS = {"lin", "lin error", "lin wake-up"}
FLEXRAY_KINDS = {"flexray", "flexray null"}
ETHERNET_KINDS = {"ethernet", "ethernet crc error"}
ALL_KINDS = CAN_KINDS | LIN_KINDS | FLEXRAY_KINDS | ETHERNET_KINDS


class Matrix(ClientTest):
    def written(self, *source):
        """Records the source into every format; gives the events of the raw file."""
        self.run_client("record", *source, "--speed", "max", "--start-time", START_TEXT, "-o", "a.bin", "-o", "a.asc", "-o",
                        "a.pcapng", "-o", "a.mf4", expect=None)
        events = readers.of_bin(self.folder / "a.bin", self.start_of_clock())
        self.assertEqual(events[0]["time"], START)
        return events

    def start_of_clock(self):
        """When the clock of the raw file had 0, by its description."""
        start = json.loads((self.folder / "a.bin.json").read_text())["clock"]["start"]
        return start["utc_ns"] - start["entry_time_ns"]

    def check(self, got, events, kinds, tolerance=0):
        """The reader's events are those of the kinds, each with what the reader can tell of it."""
        expected = sorted((event for event in events if event["kind"] in kinds), key=self.place)
        got = sorted(got, key=self.place)
        count = collections.Counter
        self.assertEqual(count(event["kind"] for event in got), count(event["kind"] for event in expected))
        for number, (ours, theirs) in enumerate(zip(expected, got)):
            known = ours.keys() & theirs.keys() - {"time"}
            self.assertEqual({key: ours[key] for key in known}, {key: theirs[key] for key in known}, f"event {number}")
            self.assertLessEqual(abs(ours["time"] - theirs["time"]), tolerance, f"event {number}: {ours}")

    @staticmethod
    def place(event):
        """Channel by channel in the order of the file; FlexRay frames of both sides at one time: A, then B."""
        return event["channel"]

    def check_all(self, events):
        asc, capture, mdf = (self.folder / name for name in ("a.asc", "a.pcapng", "a.mf4"))
        sides = list(readers.one_for_each_side(events))
        start = readers.asc_start(asc)
        self.assertEqual(start, START)
        with self.subTest("asc: python-can"):
            self.check(readers.of_python_can(asc, start), events, CAN_KINDS, MICROSECOND)
        with self.subTest("asc: asc2log"):
            first = next((event["time"] for event in events if event["kind"] in CAN_KINDS), start)
            self.check(readers.of_asc2log(asc, first), events, CAN_KINDS, MICROSECOND)
        with self.subTest("pcapng: tshark"):
            self.check(readers.of_tshark(capture), sides, ALL_KINDS)
        with self.subTest("mdf"):
            self.check(readers.of_mdf(mdf), sides, ALL_KINDS)

    def each(self, folder, pattern):
        found = recordings_of(folder, pattern)
        if not found:
            self.skipTest(f"no recordings in {folder}")
        for path in found:
            with self.subTest(path.name):
                events = self.written(path)
                self.assertGreater(len(events), 0)
                yield events

    def test_can(self):
        for events in self.each("can", "*.log"):
            self.check_all(events)

    def test_lin(self):
        for events in self.each("lin", "*.csv"):
            self.check_all(events)

    def test_flexray(self):
        for events in self.each("flexray", "*.csv"):
            self.check_all(events)

    def test_ethernet(self):
        for events in self.each("ethernet", "*.pcap"):
            self.check_all(events)

    def test_vehicle(self):
        events = self.written("vehicle?seed=3", "-d", "25s")
        self.assertEqual(ALL_KINDS - {event["kind"] for event in events}, {"can remote"})
        self.check_all(events)

    def test_remote_frames(self):
        log = self.write_candump([f"(10.00{n}000) can0 {identifier}#R{n or ''}"
                                  for n, identifier in enumerate(("123", "00000123", "7FF", "1FFFFFFF"))])
        events = self.written(log)
        self.assertEqual([event["kind"] for event in events], ["can"] + ["can remote"] * 3)
        self.check_all(events)


if __name__ == "__main__":
    absent = readers.missing_programs()
    if absent:
        print("skipped: not installed: " + absent)
        sys.exit(SKIPPED)
    main()
