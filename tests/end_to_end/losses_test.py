"""The loss ledger: what is missing of a recording, and where, whatever becomes of its files."""

import json
import signal
import struct
import time

from support import ClientTest, losses_in, main


def entries_of(contents):
    """(channel, time) of each record of a .bin file."""
    entries, place = [], 0
    while place + 16 <= len(contents):  # the last one may be about to be written
        length, channel, moment = struct.unpack_from("<IIQ", contents, place)
        entries.append((channel, moment))
        place += length
    return entries


def times_of(entries, channel):
    return sorted(moment for number, moment in entries if number == channel)


class LossesTest(ClientTest):
    # Each channel has an entry at a time only once, so times tell which ones are missing.
    SOURCES = ("can?seed=1&duration=40s", "can?seed=2&duration=40s&load=60", "lin?duration=40s")
    HELD = 0.3  # seconds that the process is held; at this speed more than a capture buffer holds
    ROUNDS = 3

    def description(self, name="a.bin.json"):
        return json.loads((self.folder / name).read_text())

    def ledger(self, name="a.bin.json"):
        return self.description(name)["losses"]

    def contents(self, name):
        return (self.folder / name).read_bytes()

    def lost_so_far(self):
        part = self.folder / "a.bin.json.part"
        return sum(loss["count"] or 0 for loss in losses_in(part))

    def record_and_hold(self, *outputs):
        """Records with small capture buffers; holds the process again and again, each time until that has cost something. Gives the
        summary."""
        sources = [source + "&speed=5&buffer=" + str(40 if source.startswith("lin") else 500) for source in self.SOURCES]
        named = [word for name in outputs for word in ("-o", name)]
        process = self.start("record", *sources, "-o", "a.bin", *named, "--json")
        part = self.folder / "a.bin.part"
        self.wait_until(lambda: part.exists() and part.stat().st_size > 0, "something recorded")
        for _ in range(self.ROUNDS):
            before = self.lost_so_far()
            process.send_signal(signal.SIGSTOP)
            time.sleep(self.HELD)
            process.send_signal(signal.SIGCONT)
            self.wait_until(lambda: process.poll() is not None or self.lost_so_far() > before, "a loss")
        out, err = process.communicate()
        self.assertEqual(process.returncode, 3, err)
        return json.loads(out)

    def through(self, name):
        """The ledger of a file, as a conversion to raw records knows it, on the clock of a.bin."""
        self.run_client("convert", name, "-o", "through.bin", expect=3)
        here, there = self.description()["clock"]["start"], self.description("through.bin.json")["clock"]["start"]
        offset = (there["entry_time_ns"] - there["utc_ns"]) - (here["entry_time_ns"] - here["utc_ns"])
        ledger = self.ledger("through.bin.json")
        for loss in ledger:
            loss["first_time_ns"] -= offset
            loss["last_time_ns"] -= offset
        return ledger

    def in_whole_microseconds(self, ledger):
        """What comments of captures hold of it: the first time is rounded down, the last one up."""
        utc = self.description()["clock"]["start"]["utc_ns"] - self.description()["clock"]["start"]["entry_time_ns"]
        down = lambda moment: (utc + moment) // 1000 * 1000 - utc
        return [{**loss, "first_time_ns": down(loss["first_time_ns"]), "last_time_ns": down(loss["last_time_ns"]) + 999}
                for loss in ledger]

    def assert_in_all_formats(self, stem):
        self.assertEqual(self.through(stem + ".mf4"), self.ledger())
        self.assertEqual(self.through(stem + ".asc"), self.ledger())
        self.assertEqual(self.through(stem + ".pcapng"), self.in_whole_microseconds(self.ledger()))

    def sent(self):
        """What the sources have: the same again, as fast as it can be drained, of which nothing is lost."""
        summary = self.summary(*self.SOURCES, "--speed", "max", "-o", "sent.bin")
        self.assertEqual(summary["losses"], [])
        return entries_of(self.contents("sent.bin"))


class HeldProcess(LossesTest):
    def test_ledger_and_entries_are_what_was_sent(self):
        summary = self.record_and_hold("a.asc", "a.mf4", "a.pcapng")
        sent, got = self.sent(), entries_of(self.contents("a.bin"))
        losses = [loss for loss in self.ledger() if loss["cause"] != "reordering"]  # those are among the entries
        self.assertEqual({loss["cause"] for loss in losses}, {"capture_buffer_full"})
        for channel in (1, 2, 3):
            mine = [loss for loss in losses if loss["channel"] == channel]
            self.assertGreaterEqual(len(mine), 1)
            expected, there = times_of(sent, channel), times_of(got, channel)
            self.assertEqual(len(expected), len(set(expected)))
            self.assertEqual(len(there) + sum(loss["count"] for loss in mine), len(expected))
            missing = sorted(set(expected) - set(there))
            for loss in mine:  # each has its items, and no item is missing anywhere else
                inside = [moment for moment in missing if loss["first_time_ns"] <= moment <= loss["last_time_ns"]]
                self.assertEqual(len(inside), loss["count"])
                missing = [moment for moment in missing if moment not in inside]
            self.assertEqual(missing, [])
            self.assertEqual(summary["channels"][channel - 1]["lost"]["count"], sum(loss["count"] for loss in mine))
        self.assertEqual(summary["losses"], self.ledger())
        self.assert_in_all_formats("a")  # written while it was held


class GoneInterface(LossesTest):
    """One of two interfaces is pulled after two seconds."""

    SOURCES = ("can?seed=1&duration=5s", "lin?seed=2&duration=5s")
    PULLED = ("can?seed=1&duration=5s&gone=2s", "lin?seed=2&duration=5s")

    def expected(self, got):
        """From the last entry of the pulled channel to the last one of all."""
        return [{"channel": 1, "cause": "interface_gone", "first_time_ns": times_of(got, 1)[-1],
                 "last_time_ns": times_of(got, 2)[-1], "count": None}]

    def test_everything_before_is_there_and_everything_after_is_a_loss(self):
        outputs = [word for name in ("a.bin", "a.asc", "a.mf4", "a.pcapng", "a.ndjson") for word in ("-o", name)]
        out, err = self.run_client("record", *self.PULLED, "--speed", "max", *outputs, "--json", expect=3)
        self.assertIn(f'The interface of channel 1, "{self.PULLED[0]}", no longer answers; ', err)
        sent, got = self.sent(), entries_of(self.contents("a.bin"))
        self.assertEqual(times_of(got, 1), [moment for moment in times_of(sent, 1) if moment < 2000000000])
        self.assertEqual(times_of(got, 2), times_of(sent, 2))
        summary = json.loads(out)
        self.assertEqual(summary["losses"], self.expected(got))
        self.assertEqual(self.ledger(), self.expected(got))
        self.assertEqual((summary["ended_by"], summary["errors"], summary["exit_code"]), ("sources_ended", [], 3))
        self.assertIn("  LOST: an unknown number of items are missing as the interface was gone, 1.9", err)
        self.assert_in_all_formats("a")
        rows = [json.loads(line) for line in self.contents("a.ndjson").splitlines()]
        self.assertEqual([(row["channel"], row["cause"]) for row in rows if row["kind"] == "loss"], [(1, "interface_gone")])

    def test_channel_without_an_entry_is_missing_from_the_first_one_of_the_others(self):
        self.write_candump(["(0.0) can0 001#", "(60.0) can1 001#"])
        late = "some.log?interface=can1&gone=2s"
        summary = self.summary(late, "lin?duration=5s", "--speed", "10", "-o", "a.bin", expect=3)
        times = times_of(entries_of(self.contents("a.bin")), 2)
        self.assertEqual(summary["losses"], [{"channel": 1, "cause": "interface_gone", "first_time_ns": times[0],
                                              "last_time_ns": times[-1], "count": None}])

    def test_recording_ends_when_no_interface_is_left(self):
        summary = self.summary("can?seed=1&gone=1s", "lin?gone=2s", "--speed", "max", "-o", "a.bin", expect=3)
        self.assertEqual(summary["ended_by"], "interface_gone")
        self.assertEqual({loss["channel"] for loss in summary["losses"]}, {1, 2})

    def test_killed_recording_has_it(self):
        """At its own speed, and with more than one channel, which go through a stage that sorts."""
        process = self.start("record", "can?seed=1&gone=1s", "can?seed=2", "-o", "a.bin")
        part = self.folder / "a.bin.json.part"
        ledger = lambda: losses_in(part)
        self.wait_until(lambda: ledger() != [], "the loss in the description")
        since = ledger()[0]["first_time_ns"]
        after = lambda: times_of(entries_of(self.contents("a.bin.part")), 2)[-1:] > [since]
        self.wait_until(after, "entries after it, which are put in order first")
        process.kill()
        process.wait()
        got = entries_of(self.contents("a.bin.part"))
        self.assertEqual([(loss["channel"], loss["cause"], loss["first_time_ns"]) for loss in ledger()],
                         [(1, "interface_gone", times_of(got, 1)[-1])])
        self.assertLess(times_of(got, 1)[-1], 1000000000)

    def test_list_knows_it(self):
        _, err = self.run_client("list", "can?gone=1s", "--speed", "max", expect=3)
        self.assertIn("are missing as the interface was gone", err)


class Conversions(LossesTest):
    """Of a recording whose losses are known, as a description says them."""

    SOURCES = ("can?seed=1&duration=10s", "can?seed=2&duration=10s")
    LOSSES = [
        {"channel": 1, "cause": "capture_buffer_full", "first_time_ns": 1000000000, "last_time_ns": 2000000000, "count": 17},
        {"channel": 2, "cause": "interface_gone", "first_time_ns": 1500000000, "last_time_ns": 1500000000, "count": None},
        {"channel": 1, "cause": "memory_limit", "first_time_ns": 4000000000, "last_time_ns": 5000000000, "count": 4},
        {"channel": 2, "cause": "disk_full", "first_time_ns": 8000000000, "last_time_ns": 8500000000, "count": 9},
    ]

    def setUp(self):
        super().setUp()
        self.run_client("record", *self.SOURCES, "--speed", "max", "-o", "a.bin")
        description = self.description()
        self.assertEqual(description["losses"], [])
        description["losses"] = self.LOSSES
        (self.folder / "a.bin.json").write_text(json.dumps(description))

    def convert(self, *args):
        out, err = self.run_client("convert", "a.bin", "-o", "b.bin", "--json", *args, expect=3)
        self.assertEqual(json.loads(out)["losses"], self.ledger("b.bin.json"))
        return self.ledger("b.bin.json"), err

    def test_ledger_survives(self):
        ledger, err = self.convert()
        self.assertEqual(ledger, self.LOSSES)
        self.assertIn("  LOST: 17 items found the capture buffer full, 1.000000000 s to 2.000000000 s\n", err)
        self.assertIn("  LOST: 4 items were dropped for newer ones, 4.000000000 s to 5.000000000 s\n", err)
        self.assertIn("  LOST: an unknown number of items are missing as the interface was gone, at 1.500000000 s\n", err)

    def test_ledger_survives_every_format_that_holds_it(self):
        self.run_client("convert", "a.bin", "-o", "b.asc", "-o", "b.mf4", "-o", "b.pcapng", expect=3)
        self.assert_in_all_formats("b")

    def test_rows_are_in_front_of_what_comes_after_them(self):
        self.run_client("convert", "a.bin", "-o", "b.ndjson", expect=3)
        rows = [json.loads(line) for line in self.contents("b.ndjson").splitlines()]
        told = [row for row in rows if row["kind"] == "loss"]
        place = lambda loss: (loss["channel"], loss["first_time_ns"])
        told.sort(key=lambda row: (row["channel"], row["time_ns"]))
        losses = sorted(self.LOSSES, key=place)
        self.assertEqual([(row["channel"], row["cause"], row["time_ns"]) for row in told],
                         [(loss["channel"], loss["cause"], loss["first_time_ns"]) for loss in losses])
        for row, loss in zip(told, losses):
            place = rows.index(row)
            mine = [other["time_ns"] for other in rows if other["kind"] != "loss" and other["channel"] == row["channel"]]
            before = [other["time_ns"] for other in rows[:place] if other["kind"] != "loss" and other["channel"] == row["channel"]]
            self.assertEqual(before, [moment for moment in mine if moment <= loss["last_time_ns"]])

    def test_losses_outside_a_cut_are_left_out(self):
        first = min(moment for _, moment in entries_of(self.contents("a.bin")))
        self.assertLess(first, 500000000)
        self.assertEqual(self.convert("--from", "3s")[0], self.LOSSES[2:])
        self.assertEqual(self.convert("--to", "3s")[0], self.LOSSES[:2])
        # Of one that lies across the cut, nobody knows how much is on which side.
        cut = {**self.LOSSES[2], "first_time_ns": first + 4500000000, "count": None}
        self.assertEqual(self.convert("--from", "4500ms")[0], [cut, self.LOSSES[3]])
        self.assertEqual(json.loads(self.run_client("convert", "a.bin", "-o", "c.bin", "--to", "900ms", "--json")[0])["losses"], [])

    def test_count_ends_the_ledger_too(self):
        self.assertEqual(json.loads(self.run_client("convert", "a.bin", "-o", "c.bin", "--count", "10", "--json")[0])["losses"], [])

    def test_filter_leaves_none_out(self):
        self.assertEqual(self.convert("--filter", "id == 0x7FF")[0], self.LOSSES)

    def test_channels_are_renumbered(self):
        ledger, _ = self.convert("--channel", "1=2", "--channel", "2=1")
        self.assertEqual(ledger, [{**loss, "channel": 3 - loss["channel"]} for loss in self.LOSSES])

    def test_list_tells_them(self):
        _, err = self.run_client("list", "a.bin", expect=3)
        self.assertIn("LOST: 17 items found the capture buffer full", err)
        _, err = self.run_client("list", "a.bin", "--duration", "1200ms", expect=3)
        self.assertIn("LOST: an unknown number of items found the capture buffer full", err)
        self.assertNotIn("interface was gone", err)
        self.run_client("list", "a.bin", "--duration", "100ms")


class ExhaustedMemory(ClientTest):
    MEMORY = 180 << 20  # bytes

    def setUp(self):
        super().setUp()
        probe = self.start("--version", memory_limit=self.MEMORY)
        probe.communicate()
        if probe.returncode != 0:
            self.skipTest("this build needs more address space than the test has for it")

    def test_recording_ends_and_says_why(self):
        """A thread that fetches entries ends without memory, and nothing more would come."""
        _, err = self.run_client("record", "can?load=90&speed=max", "--memory-limit", "4000000000", "-o", "a.bin",
                                 expect=1, memory_limit=self.MEMORY)
        self.assertIn("The recording failed after ", err)
        self.assertIn("memory is exhausted", err)
        self.assertFalse(json.loads((self.folder / "a.bin.json").read_text())["complete"])
        self.run_client("check", "a.bin", expect=3)


class OverrunMarks(LossesTest):
    CSV = (
        "timestamp_ns,channel,kind,flags,id,cycle,crc,data\n"
        "1000000,1,frame,rx,1,,,01\n"
        "2000000,1,frame,rx|overrun,2,,,02\n"
        "5000000,1,frame,rx,3,,,03\n"
        "9000000,1,frame,rx,3,,,03\n"
    )
    LOSSES = [{"channel": 1, "cause": "overrun_mark", "first_time_ns": 1000000, "last_time_ns": 4000000, "count": None}]

    def setUp(self):
        super().setUp()
        (self.folder / "some.csv").write_text(self.CSV)
        self.summary_json = self.summary("some.csv", "--speed", "max", "-o", "a.bin", expect=3)

    def test_they_are_in_the_ledger(self):
        self.assertEqual(self.ledger(), self.LOSSES)
        self.assertEqual(self.summary_json["losses"], self.LOSSES)

    def test_other_formats_have_them(self):
        self.run_client("convert", "a.bin", "-o", "b.asc", "-o", "b.mf4", "-o", "b.pcapng", expect=3)
        self.assertEqual(self.contents("b.asc").count(b"// "), 2, "the version, and the mark, which isn't told twice")
        self.assert_in_all_formats("b")
        self.run_client("convert", "b.pcapng", "-o", "c.asc", expect=3)  # whose records have no mark
        self.assertIn(b"// LOST on LIN 1: an unknown number of items are missing after an overrun mark", self.contents("c.asc"))

    def test_conversion_knows_each_once(self):
        self.run_client("convert", "a.bin", "-o", "b.bin", expect=3)
        self.assertEqual(self.ledger("b.bin.json"), self.LOSSES)
        (self.folder / "a.bin.json").unlink()  # the records know them as well
        self.run_client("convert", "a.bin", "-o", "b.bin", expect=3)
        self.assertEqual(self.ledger("b.bin.json"), self.LOSSES)


if __name__ == "__main__":
    main()
