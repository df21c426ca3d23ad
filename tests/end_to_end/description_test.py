"""When and where a recording was made: known in every output, and after every copy and conversion of them."""

import datetime
import json
import os
import re
import shutil
import signal
import subprocess
import time

from capture_test import can_frames as frames_of_capture
from capture_test import read_capture
from mdf_test import Reader
from mdf_test import can_frames as frames_of_measurement
from support import ClientTest, main, nanoseconds, read_bin

HALF_PAST_TWO = 1795271400 * 10**9  # 2026-11-21T14:30:00Z


class DescriptionTest(ClientTest):
    SOURCES = ("can?seed=7&duration=2s", "can?seed=8&duration=2s")

    def record(self, *outputs, sources=None, expect=None):
        named = [word for name in outputs for word in ("-o", name)]
        self.run_client("record", *(sources or self.SOURCES), "--speed", "max", *named, expect=expect)

    def description(self, name="a.bin.json"):
        return json.loads((self.folder / name).read_text())

    def convert(self, *args, expect=None):
        return self.run_client("convert", *args, expect=expect)[1]

    def contents(self, name):
        return (self.folder / name).read_bytes()

    def utc_of_bin(self, name="a.bin"):
        """When the CAN frames of a raw file happened, by its description."""
        start = self.description(name + ".json")["clock"]["start"]
        return [start["utc_ns"] + frame.time - start["entry_time_ns"] for frame in read_bin(self.contents(name))]

    def utc_of_capture(self, name="a.pcapng"):
        return [packet[1] for packet in read_capture(self.contents(name)).packets]

    def utc_of_log(self, name="a.asc"):
        """The times of an ASC log, which has microseconds."""
        text = self.contents(name).decode()
        date = re.match(r"date (.*)\n", text)[1]
        start = datetime.datetime.strptime(date, "%a %b %d %I:%M:%S.%f %p %Y").astimezone().timestamp()
        times = re.findall(r"^ *(\d+\.\d+) ", text, re.MULTILINE)
        return sorted(round(start * 1000) * 10**6 + nanoseconds(moment) for moment in times)

    def utc_of_measurement(self, name="a.mf4"):
        reader = Reader(self.contents(name))
        return sorted(reader.start + frame.time for frame in frames_of_measurement(reader))


class Times(DescriptionTest):
    # Without trigger events, so that every record is a frame everywhere.
    LOG = ["(1398128223.803317) can0 123#01", "(1398128223.804) can1 124#0203", "(1398128224.903317001) can0 125#"]

    def setUp(self):
        super().setUp()
        self.write_candump(self.LOG)
        self.relative = [nanoseconds(line[1 : line.index(")")]) for line in self.LOG]
        self.relative = [moment - self.relative[0] for moment in self.relative]

    def assert_all_agree(self, name, expected):
        self.assertEqual(sorted(self.utc_of_capture(name + ".pcapng")), expected)
        self.assertEqual(self.utc_of_measurement(name + ".mf4"), expected)
        self.assertEqual(sorted(self.utc_of_bin(name + ".bin")), expected)
        log = self.utc_of_log(name + ".asc")
        self.assertEqual(len(log), len(expected))
        for moment, other in zip(log, expected):
            self.assertLessEqual(abs(moment - other), 500)  # to the microsecond

    def test_all_outputs_agree_with_each_other_and_with_the_wall_clock(self):
        before = time.time_ns()
        self.record("a.bin", "a.pcapng", "a.mf4", "a.asc", sources=["some.log"])
        after = time.time_ns()
        start = self.description()["clock"]["start"]
        self.assertEqual(start["entry_time_ns"], 0)
        self.assertLessEqual(before - 1000, start["utc_ns"])  # it is in whole microseconds
        self.assertLessEqual(start["utc_ns"], after)
        self.assertLess(start["uncertainty_ns"], after - before)
        self.assert_all_agree("a", [start["utc_ns"] + moment for moment in self.relative])

    def test_conversions_touched_and_copied_files_say_the_same(self):
        self.record("a.bin", "a.pcapng", "a.mf4", "a.asc", sources=["some.log"])
        expected = self.utc_of_bin()
        os.utime(self.folder / "a.bin", (10**9, 10**9))
        os.utime(self.folder / "a.bin.json", (10**9, 10**9))
        (self.folder / "elsewhere").mkdir()
        for name in ("a.bin", "a.bin.json"):
            shutil.copyfile(self.folder / name, self.folder / "elsewhere" / name)
        for source, target in (("a.bin", "b"), ("elsewhere/a.bin", "c"), ("b.bin", "d")):
            with self.subTest(source):
                err = self.convert(source, "-o", target + ".bin", "-o", target + ".pcapng", "-o", target + ".mf4", "-o", target + ".asc")
                self.assertNotIn("isn't known", err)
                self.assert_all_agree(target, expected)
                self.assertEqual(self.contents(target + ".pcapng"), self.contents("a.pcapng"))
                self.assertEqual(self.contents(target + ".bin.json"), self.contents("a.bin.json"))

    def test_clock_that_counts_since_1970_keeps_its_times_everywhere(self):
        source = f"candump:{self.folder}/some.log?origin=absolute"
        self.record("a.bin", "a.pcapng", "a.mf4", "a.asc", sources=[source])
        self.assertEqual(self.description()["clock"]["epoch"], "1970")
        expected = [nanoseconds("1398128223.803317") + moment for moment in self.relative]
        self.assert_all_agree("a", expected)
        # Also without anybody's word: the times themselves are enough.
        (self.folder / "a.bin.json").unlink()
        err = self.convert("a.bin", "-o", "b.bin", "-o", "b.pcapng", "-o", "b.mf4", "-o", "b.asc")
        self.assertNotIn("isn't known", err)
        self.assert_all_agree("b", expected)
        out = self.run_client("list", "a.bin")[0].decode()
        self.assertIn(" 0.000000000 ", out)

    def test_start_time_goes_into_every_output(self):
        self.record("a.bin", sources=["some.log"])
        start = ("--start-time", "2026-11-21T14:30:00Z")
        expected = [HALF_PAST_TWO + moment for moment in self.relative]
        self.convert("a.bin", "-o", "b.bin", "-o", "b.pcapng", "-o", "b.mf4", "-o", "b.asc", *start)
        self.assert_all_agree("b", expected)
        (self.folder / "a.bin.json").unlink()
        err = self.convert("a.bin", "-o", "c.bin", "-o", "c.pcapng", "-o", "c.mf4", "-o", "c.asc", *start)
        self.assertNotIn("isn't known", err)
        self.assert_all_agree("c", expected)
        self.run_client("record", "some.log", "--speed", "max", "-o", "d.bin", "-o", "d.pcapng", "-o", "d.mf4", "-o", "d.asc", *start)
        self.assert_all_agree("d", expected)
        self.assertEqual(self.description("d.bin.json")["clock"]["start"]["origin"], "given")

    def test_tshark_shows_when_each_frame_happened(self):
        if shutil.which("tshark") is None:
            self.skipTest("tshark is not installed")
        self.run_client("record", "vehicle?seed=3", "-d", "2s", "--speed", "max", "-o", "a.pcapng", "-o", "a.bin", expect=None)
        command = ["tshark", "-r", str(self.folder / "a.pcapng"), "-T", "fields", "-e", "frame.time_epoch"]
        shown = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, check=True).stdout.decode()
        capture = read_capture(self.contents("a.pcapng"))
        start = self.description()["clock"]["start"]["utc_ns"]
        self.assertEqual(capture.start, start)
        self.assertGreater(len(capture.packets), 1000)
        expected = [start + moment for _, moment, _, _ in capture.since_start()]
        self.assertEqual([nanoseconds(line) for line in shown.splitlines()], expected)
        self.run_client("list", "a.bin", expect=None)
        rows = json.loads(self.run_client("list", "a.bin", "--json", expect=None)[0])
        self.assertTrue(all(row["last_utc_ns"] == start + row["last_time_ns"] for row in rows))


class Tables(DescriptionTest):
    LOG = ["(5.25) can0 123#01", "(6.5) can0 124#01"]

    def setUp(self):
        super().setUp()
        self.write_candump(self.LOG)
        self.run_client("record", "some.log", "--speed", "max", "-o", "a.bin", "--start-time", "2026-11-21T14:30:00Z")

    def shown(self, *args, env=None):
        out, err = self.run_client("list", "a.bin", *args, **({"env": env} if env else {}))
        self.assertEqual(err, "")
        heading, *rows = out.decode().splitlines()
        return heading, [row[heading.index("Cycle (ms)") + 10 : heading.index("  DLC")].strip() for row in rows]

    def test_times_are_shown_as_asked_for(self):
        heading, times = self.shown()
        self.assertIn("Last (s)", heading)
        self.assertEqual(times, ["0.000000000", "1.250000000"])
        self.assertEqual(self.shown("--time-format", "relative")[1], times)
        heading, times = self.shown("--time-format", "utc")
        self.assertIn("Last (UTC)", heading)
        self.assertEqual(times, ["2026-11-21T14:30:00.000000Z", "2026-11-21T14:30:01.250000Z"])
        self.assertEqual(self.shown("--time-format", "epoch")[1], ["1795271400.000000000", "1795271401.250000000"])
        india = dict(os.environ, TZ="XXX-05:30")
        self.assertEqual(self.shown("--time-format", "local", env=india)[1],
                         ["2026-11-21T20:00:00.000000", "2026-11-21T20:00:01.250000"])

    def test_summaries_show_them_as_well(self):
        err = self.convert("a.bin", "-o", "b.pcapng", "--time-format", "utc")
        self.assertIn("2026-11-21T14:30:00.000000Z to 2026-11-21T14:30:01.250000Z", err)
        err = self.convert("a.bin", "-o", "b.pcapng", "--time-format", "epoch")
        self.assertIn("1795271400.000000000 s to 1795271401.250000000 s", err)

    def test_moments_that_are_not_known_are_told(self):
        (self.folder / "a.bin.json").unlink()
        self.assertEqual(self.shown()[1], ["0.000000000", "1.250000000"])
        out, err = self.run_client("list", "a.bin", "--time-format", "utc")
        self.assertIn("1970-01-01T00:00:01.250000Z", out.decode())
        self.assertIn("isn't known", err)
        self.assertIn("--start-time", err)
        _, times = self.shown("--time-format", "utc", "--start-time", "2026-11-21T14:30:00Z")
        self.assertEqual(times[1], "2026-11-21T14:30:01.250000Z")

    def test_arguments_that_make_no_sense(self):
        for verb in (["list", "a.bin"], ["convert", "a.bin", "-o", "x.bin"], ["record", "can", "-o", "x.bin"]):
            for option in (["--time-format", "swatch"], ["--start-time", "noon"], ["--time-format", ""]):
                _, err = self.run_client(*verb, *option, expect=2)
                self.assertIn("qor-trace: ", err)
        self.assertEqual(self.files(), ["a.bin", "a.bin.json", "some.log"])


class Files(DescriptionTest):
    def test_records_without_a_description_are_as_readable(self):
        self.record("a.bin")
        whole = self.convert("a.bin", "-o", "b.pcapng")
        (self.folder / "a.bin.json").unlink()
        err = self.convert("a.bin", "-o", "c.pcapng", expect=0)
        self.assertIn(f'When "a.bin" was recorded isn\'t known', err)
        self.assertIn("--start-time", err)
        self.assertNotIn("isn't known", whole)
        start = read_capture(self.contents("b.pcapng")).start
        self.assertEqual([moment - start for moment in self.utc_of_capture("b.pcapng")], self.utc_of_capture("c.pcapng"))
        err = self.convert("a.bin", "-o", "d.bin")  # raw records don't claim any moment
        self.assertNotIn("isn't known", err)
        self.assertIsNone(self.description("d.bin.json")["clock"]["start"])

    def test_broken_description_is_told_and_left_aside(self):
        self.record("a.bin")
        good = self.description()
        newer = dict(good, version=2)
        wrong = dict(good, channels=[{"number": "one"}])
        other = dict(good, records=dict(good["records"], first_record_fnv1a=1))
        for text, why in (("{", "is no JSON"), ("[]", "is no description of a recording"),
                          (json.dumps(newer), "is a description of version 2"),
                          (json.dumps(wrong), "has something wrong at channels[0].number"),
                          (json.dumps(other), "describes another recording")):
            with self.subTest(why):
                (self.folder / "a.bin.json").write_text(text)
                err = self.convert("a.bin", "-o", "b.pcapng", expect=0)
                self.assertIn(f'a.bin.json" {why}', err)
                self.assertIn("it is left aside", err)
                self.assertIn("isn't known", err)
                self.assertGreater(len(self.utc_of_capture("b.pcapng")), 1000)
                out, err = self.run_client("list", "a.bin", "--json")
                self.assertIn(why, err)
                self.assertIsNone(json.loads(out)[0]["last_utc_ns"])

    def test_next_recording_has_its_own(self):
        self.record("a.bin")
        first = self.description()
        self.record("a.bin")
        second = self.description()
        self.assertNotEqual(first["id"], second["id"])
        self.assertGreater(second["clock"]["start"]["utc_ns"], first["clock"]["start"]["utc_ns"])
        self.assertEqual(self.files(), ["a.bin", "a.bin.json"])

    def test_it_says_what_was_recorded_and_where(self):
        self.record("a.bin", sources=["vehicle?duration=1s"])
        description = self.description()
        self.assertEqual((description["schema"], description["version"]), ("qor-trace-recording", 1))
        self.assertEqual([channel["bus"] for channel in description["channels"]], ["CAN", "LIN", "FlexRay", "Ethernet"])
        self.assertEqual([channel["bit_rate"] for channel in description["channels"]],
                         [500000, 19200, 10000000, 100000000])
        self.assertEqual(description["channels"][1]["source"], "vehicle?duration=1s (lin)")
        self.assertEqual(description["host"], os.uname().nodename)
        self.assertRegex(description["tool"], r"^qor-trace \d")
        self.assertTrue(description["complete"])
        self.assertEqual(description["records"]["bytes"], len(self.contents("a.bin")))

    def test_title_and_filter_are_told(self):
        self.run_client("record", "can?duration=1s&speed=max", "-o", "a.bin", "-o", "a.mf4", "-o", "a.pcapng", "--title", "hot lap",
                        "--filter", "id < 0x300")
        self.assertEqual(self.description()["title"], "hot lap")
        self.assertEqual(self.description()["channels"][0]["filter"], "id < 0x300")
        self.assertIn(b"hot lap", self.contents("a.mf4"))
        self.assertIn(b"hot lap", self.contents("a.pcapng"))
        self.run_client("convert", "a.bin", "-o", "b.bin", "--filter", "not extended")
        again = self.description("b.bin.json")
        self.assertEqual((again["title"], again["channels"][0]["filter"]), ("hot lap", "(id < 0x300) and (not extended)"))
        self.run_client("convert", "a.bin", "-o", "b.bin", "--title", "second lap")
        self.assertEqual(self.description("b.bin.json")["title"], "second lap")

    def test_conversion_names_channels_by_their_sources(self):
        self.record("a.bin", sources=["can?seed=7&duration=1s", "lin?duration=1ms"])
        err = self.convert("a.bin", "-o", "b.pcapng")
        self.assertIn("channel 1: can?seed=7&duration=1s (CAN)\n", err)
        self.assertIn("channel 2: lin?duration=1ms", err)
        self.assertEqual([name for _, name in read_capture(self.contents("b.pcapng")).interfaces], ["CAN-1", "LIN-2"])

    def test_renumbered_channels_are_described_by_their_new_numbers(self):
        self.record("a.bin", sources=["can?seed=7&duration=1s", "lin?duration=1s"])
        self.convert("a.bin", "-o", "b.bin", "-o", "b.pcapng", "--channel", "1=5")
        self.assertEqual([(one["number"], one["bus"]) for one in self.description("b.bin.json")["channels"]],
                         [(2, "LIN"), (5, "CAN")])
        self.assertEqual([name for _, name in read_capture(self.contents("b.pcapng")).interfaces], ["LIN-2", "CAN-5"])

    def test_killed_recording_has_its_description(self):
        process = self.start("record", "can?seed=7", "-o", "a.bin")
        part = self.folder / "a.bin.part"
        self.wait_until(lambda: part.exists() and part.stat().st_size > 0, "something recorded")
        process.send_signal(signal.SIGKILL)
        process.wait()
        killed = self.description("a.bin.json.part")
        self.assertFalse(killed["complete"])
        self.assertIsNotNone(killed["clock"]["start"])
        part.rename(self.folder / "a.bin")
        self.run_client("list", "a.bin", "--time-format", "utc", expect=None)
        out, err = self.run_client("list", "a.bin", "--json", expect=None)
        row = json.loads(out)[0]
        self.assertEqual(row["last_utc_ns"], killed["clock"]["start"]["utc_ns"] + row["last_time_ns"])
        self.assertNotIn("isn't known", err)


class Losses(DescriptionTest):
    SOURCE = "can?duration=60s&speed=200&buffer=10"

    def setUp(self):
        super().setUp()
        self.summary_json = self.summary(self.SOURCE, "-o", "a.bin", "-o", "a.pcapng", expect=3)

    def test_they_are_in_the_description_with_their_times(self):
        lost = self.summary_json["channels"][0]["lost"]
        losses = self.description()["losses"]
        self.assertEqual({loss["channel"] for loss in losses}, {1})
        self.assertEqual({loss["cause"] for loss in losses}, {"capture_buffer_full"})
        self.assertEqual(sum(loss["count"] for loss in losses), lost["count"])
        self.assertEqual(losses[0]["first_time_ns"], lost["first_time_ns"])
        self.assertEqual(losses[-1]["last_time_ns"], lost["last_time_ns"])
        for one, other in zip(losses, losses[1:]):
            self.assertLessEqual(one["last_time_ns"], other["first_time_ns"])

    def test_conversion_tells_them_again(self):
        out, err = self.run_client("convert", "a.bin", "-o", "b.pcapng", "--json", expect=3)
        self.assertEqual(json.loads(out)["channels"][0]["lost"], self.summary_json["channels"][0]["lost"])
        self.assertIn("found the capture buffer full", err)
        self.assertEqual(read_capture(self.contents("b.pcapng")).statistics, read_capture(self.contents("a.pcapng")).statistics)
        self.run_client("list", "a.bin", expect=3)

    def test_packets_after_them_say_how_many_are_missing(self):
        if shutil.which("tshark") is None:
            self.skipTest("tshark is not installed")
        self.run_client("convert", "a.bin", "-o", "b.pcapng", expect=3)
        command = ["tshark", "-r", str(self.folder / "b.pcapng"), "-Y", "frame.comment", "-T", "fields", "-e", "frame.time_epoch",
                   "-e", "frame.comment"]
        shown = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, check=True).stdout.decode()
        start = self.description()["clock"]["start"]["utc_ns"]
        frames = [start + frame.time for frame in read_bin(self.contents("a.bin"))]
        told = [line.split("\t") for line in shown.splitlines()]
        # A loss at the very end has no packet after it.
        losses = [loss for loss in self.description()["losses"] if start + loss["last_time_ns"] < frames[-1]]
        self.assertEqual(len(told), len({min(f for f in frames if f > start + loss["last_time_ns"]) for loss in losses}))
        for moment, comment in told:
            self.assertIn("found the capture buffer full", comment)
            self.assertIn(nanoseconds(moment), frames)


if __name__ == "__main__":
    main()
