"""Several inputs as one recording, and cuts by the time of day."""

import datetime
import json
import os
import unittest

from support import ClientTest, main, read_bin

NOON = 1795262400 * 10**9  # 2026-11-21T12:00:00Z, in ns


def utc(ns):
    """What a person types for it."""
    seconds, rest = divmod(ns, 10**9)
    return datetime.datetime.fromtimestamp(seconds, datetime.timezone.utc).strftime("%Y-%m-%dT%H:%M:%S") + f".{rest:09}Z"


class Merge(ClientTest):
    def setUp(self):
        super().setUp()
        self.run_client("record", "can?seed=1", "-d", "5s", "--speed", "max", "-o", "a.bin", "--start-time", utc(NOON), expect=None)
        self.run_client("record", "can?seed=2", "-d", "5s", "--speed", "max", "-o", "b.bin", "--start-time", utc(NOON + 10**9), expect=None)

    def frames(self, name):
        return read_bin((self.folder / name).read_bytes())

    def since_1970(self, name):
        """The frames of a recording by UTC, as its description has it."""
        start = json.loads((self.folder / (name + ".json")).read_text())["clock"]["start"]
        return [frame._replace(time=frame.time - start["entry_time_ns"] + start["utc_ns"]) for frame in self.frames(name)]

    def test_two_recordings_become_one_in_the_order_of_their_utc(self):
        _, err = self.run_client("convert", "a.bin", "b.bin", "-o", "c.bin", "-o", "c.asc")
        self.assertIn('"b.bin": channel 1 becomes 2, as another input has these channels\n', err)
        self.assertIn("channel 2: can?seed=2 (channel 1 of b.bin) (CAN)\n", err)
        ours = self.since_1970("a.bin") + [frame._replace(channel=2) for frame in self.since_1970("b.bin")]
        self.assertEqual(self.frames("c.bin"), sorted(ours, key=lambda frame: (frame.time, frame.channel)))

    def test_inputs_of_different_formats_are_merged(self):
        self.run_client("convert", "b.bin", "-o", "b.pcapng")
        self.run_client("convert", "a.bin", "b.pcapng", "-o", "c.bin")
        self.run_client("convert", "a.bin", "b.bin", "--filter", "not kind == event", "-o", "d.bin", expect=None)
        merged = [frame for frame in self.frames("c.bin") if frame.channel == 2]
        self.assertGreater(len(merged), 1000)
        self.assertEqual(merged, sorted(merged, key=lambda frame: frame.time))

    def test_channels_of_parts_are_one_when_asked_for(self):
        _, err = self.run_client("convert", "a.bin", "b.bin", "--same-channels", "-o", "c.bin")
        self.assertNotIn("becomes", err)
        self.assertEqual({frame.channel for frame in self.frames("c.bin")}, {1})

    def test_channel_numbers_may_be_chosen_afterwards(self):
        self.run_client("convert", "a.bin", "b.bin", "--channel", "2=7", "-o", "c.bin")
        self.assertEqual({frame.channel for frame in self.frames("c.bin")}, {1, 7})

    def test_without_utc_each_input_has_its_own_clock(self):
        (self.folder / "b.bin.json").unlink()
        _, err = self.run_client("convert", "a.bin", "b.bin", "-o", "c.bin")
        self.assertIn("It isn't known when \"b.bin\" was recorded, so", err)
        ours = self.frames("a.bin") + [frame._replace(channel=2) for frame in self.frames("b.bin")]
        self.assertEqual(self.frames("c.bin"), sorted(ours, key=lambda frame: (frame.time, frame.channel)))

    def test_several_files_are_listed_together(self):
        out, _ = self.run_client("list", "a.bin", "b.bin", "--json")
        self.assertEqual({row["channel"] for row in json.loads(out)}, {1, 2})
        _, err = self.run_client("list", "a.bin", "can", expect=2)
        self.assertIn("can't be listed together", err)

    def test_missing_or_damaged_inputs_are_failures(self):
        self.run_client("convert", "a.bin", "none.bin", "-o", "c.bin", expect=1)
        self.assertNotIn("c.bin", self.files())
        (self.folder / "cut.bin").write_bytes((self.folder / "b.bin").read_bytes()[:100001])
        _, err = self.run_client("convert", "a.bin", "cut.bin", "-o", "c.bin", expect=1)
        self.assertIn("There is no whole record at byte", err)
        self.assertEqual(len([frame for frame in self.frames("c.bin") if frame.channel == 1]), len(self.frames("a.bin")))

    def test_json_names_all_inputs(self):
        out, _ = self.run_client("convert", "a.bin", "b.bin", "-o", "c.bin", "--json")
        self.assertEqual(json.loads(out)["inputs"], ["a.bin", "b.bin"])

    def test_cuts_by_utc_are_where_the_recording_says(self):
        before, after = NOON + 10**9, NOON + 2 * 10**9
        self.run_client("convert", "a.bin", "--from", utc(before), "--to", utc(after), "-o", "c.bin")
        ours = [frame for frame, at in zip(self.frames("a.bin"), self.since_1970("a.bin")) if before <= at.time < after]
        self.assertGreater(len(ours), 100)
        self.assertEqual(self.frames("c.bin"), ours)
        for zone in ("TZ", "offset"):
            with self.subTest(zone):
                text = "2026-11-21T17:30:01" + ("" if zone == "TZ" else "+05:30")
                env = dict(os.environ, TZ="Asia/Kolkata" if zone == "TZ" else "UTC")
                self.run_client("convert", "a.bin", "--from", text, "--to", utc(after), "-o", "d.bin", env=env)
                self.assertEqual(self.frames("d.bin"), ours)

    def test_cuts_by_utc_need_a_recording_that_knows_it(self):
        (self.folder / "a.bin.json").unlink()
        _, err = self.run_client("convert", "a.bin", "--from", utc(NOON), "-o", "c.bin", expect=1)
        self.assertIn("It isn't known when the entries of a.bin were recorded", err)
        self.assertEqual(self.files(), ["a.bin", "b.bin", "b.bin.json"])
        self.run_client("convert", "a.bin", "--from", utc(NOON), "--start-time", utc(NOON), "-o", "c.bin")
        self.assertEqual(len(self.frames("c.bin")), len(self.frames("a.bin")))

    def test_recordings_are_cut_by_utc_as_well(self):
        options = ("can?seed=1", "-d", "5s", "--speed", "max", "--start-time", utc(NOON))
        self.run_client("record", *options, "--from", utc(NOON + 10**9), "-o", "c.bin")
        ours = [frame for frame, at in zip(self.frames("a.bin"), self.since_1970("a.bin")) if at.time >= NOON + 10**9]
        self.assertEqual(self.frames("c.bin"), ours)


if __name__ == "__main__":
    main()
