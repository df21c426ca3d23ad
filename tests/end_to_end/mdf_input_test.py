"""Measurement files (.mf4) as inputs: what was recorded into one comes out of it again."""

import json

import readers
from buses_test import recordings as recordings_of
from mdf_test import Reader, killed_recording
from support import ClientTest, main


class MdfInput(ClientTest):
    def events(self, name):
        """Of a raw file, by the times of its description."""
        start = json.loads((self.folder / f"{name}.json").read_text())["clock"]["start"]
        return readers.of_bin(self.folder / name, start["utc_ns"] - start["entry_time_ns"])

    def check_same(self, ours, theirs):
        """The same events, in the order of their times; those of one moment in any order."""

        def key(event):
            return event["time"], sorted((name, str(value)) for name, value in event.items())

        self.assertGreater(len(ours), 0)
        for mine, other in zip(sorted(ours, key=key), sorted(theirs, key=key)):
            self.assertEqual(mine, other)
        self.assertEqual(len(ours), len(theirs))

    def check_round_trip(self, *source):
        self.run_client("record", *source, "--speed", "max", "-o", "a.bin", "-o", "a.mf4", expect=None)
        self.run_client("convert", "a.mf4", "-o", "b.bin", "-o", "b.mf4", expect=None)
        self.assertIn(b"\nequal: ", self.run_client("compare", "a.bin", "b.bin", "--as-kept-by", "mf4")[0])
        times = [event["time"] for event in self.events("b.bin")]
        self.assertEqual(times, sorted(times))
        for ours, theirs in zip(Reader((self.folder / "a.mf4").read_bytes()).groups, Reader((self.folder / "b.mf4").read_bytes()).groups):
            self.assertEqual((ours.name, ours.event, ours.source), (theirs.name, theirs.event, theirs.source))
            self.assertEqual(len(ours.records), len(theirs.records))

    def test_recordings_come_out_as_they_went_in(self):
        found = [path for folder, pattern in (("can", "*.log"), ("lin", "*.csv"), ("flexray", "*.csv"), ("ethernet", "*.pcap"))
                 for path in recordings_of(folder, pattern)]
        if not found:
            self.skipTest("no recordings")
        for path in found:
            with self.subTest(path.name):
                self.check_round_trip(path)

    def test_vehicle_comes_out_as_it_went_in(self):
        self.check_round_trip("vehicle?seed=5", "-d", "20s")

    def test_librarys_own_file_is_read(self):
        self.run_client("record", "vehicle?seed=5", "-d", "5s", "--speed", "max", "-o", "a.bin", "-o", "a.mf4", "--as-exported")
        self.run_client("convert", "a.mf4", "-o", "b.bin")
        buses = {"lin", "lin error", "lin wake-up", "flexray", "flexray null"}
        self.check_same([event for event in self.events("a.bin") if event["kind"] in buses],
                        [event for event in self.events("b.bin") if event["kind"] in buses])

    def test_description_goes_on(self):
        self.run_client("record", "vehicle?seed=5", "-d", "2s", "--speed", "max", "--title", "hot & cold", "-o", "a.bin", "-o", "a.mf4")
        self.run_client("convert", "a.mf4", "-o", "b.bin")
        ours, theirs = (json.loads((self.folder / f"{name}.bin.json").read_text()) for name in "ab")
        for key in ("title", "tool", "host", "system", "machine", "channels", "losses", "complete"):
            self.assertEqual(ours[key], theirs[key], key)

    def test_messages_are_listed_as_those_of_the_raw_file(self):
        self.run_client("record", "can?seed=5", "-d", "5s", "--speed", "max", "-o", "a.bin", "-o", "a.mf4")
        ours, theirs = (json.loads(self.run_client("list", name, "--json")[0]) for name in ("a.bin", "a.mf4"))
        self.assertGreater(len(ours), 0)
        self.assertEqual(ours, theirs)

    def test_standard_input_must_be_a_file(self):
        self.run_client("record", "can?seed=5", "-d", "1s", "--speed", "max", "-o", "a.mf4")
        with open(self.folder / "a.mf4", "rb") as file:
            self.run_client("convert", "-", "-o", "b.bin", stdin=file)
        process = self.start("convert", "-", "-o", "c.bin", stdin=-1)
        _, err = process.communicate((self.folder / "a.mf4").read_bytes())
        err = err if isinstance(err, str) else err.decode()
        self.assertEqual(process.returncode, 1)
        self.assertIn("is a pipe, but an MDF file is read by positions", err)

    def test_killed_recording_is_read_as_far_as_it_got_to_the_disk(self):
        left = killed_recording(self)
        out, _ = self.run_client("convert", "a.part.mf4", "-o", "b.bin", "--json", expect=3)
        summary = json.loads(out)
        self.assertGreaterEqual(summary["entries"], sum(len(group.records) for group in left.groups))
        self.assertEqual({found["kind"] for found in summary["found"]}, {"cut_off"})


if __name__ == "__main__":
    main()
