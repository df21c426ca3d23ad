"""How much of a stream is enough (--stop-after), alike in every command."""

import json

from support import ClientTest, main


class StopAfter(ClientTest):
    def setUp(self):
        super().setUp()
        self.run_client("record", "vehicle?seed=5&duration=4s", "--speed", "max", "-o", "whole.bin")

    def frames(self, name):
        out, _ = self.run_client("info", name, "--json")
        return json.loads(out)["files"][0]

    def entries(self, name):
        return sum(channel["entries"] for channel in self.frames(name)["channels"])

    def test_a_number_of_frames_or_entries_is_exact_in_every_command(self):
        out, _ = self.run_client("convert", "whole.bin", "-o", "x.bin", "--stop-after", "1000frames", "--json")
        summary = json.loads(out)
        self.assertEqual(summary["ended_by"], "stop_after")
        self.assertEqual(sum(channel["received"] + channel["transmitted"] for channel in summary["channels"]), 1000)
        self.assertGreater(summary["entries"], 1000)
        self.run_client("convert", "whole.bin", "-o", "y.bin", "--stop-after", "1000entries")
        self.run_client("convert", "whole.bin", "-o", "z.bin", "--count", "1000")
        self.assertEqual(self.entries("y.bin"), 1000)
        self.assertEqual((self.folder / "y.bin").read_bytes(), (self.folder / "z.bin").read_bytes())
        out, _ = self.run_client("list", "whole.bin", "--stop-after", "1000 entries", "--json")
        self.assertEqual(sum(row["count"] for row in json.loads(out)), 1000)
        out, _ = self.run_client("record", "can?seed=5", "--speed", "max", "--no-output", "--stop-after", "1000frames", "--json")
        summary = json.loads(out)
        self.assertEqual(summary["ended_by"], "stop_after")
        self.assertEqual(sum(channel["received"] + channel["transmitted"] for channel in summary["channels"]), 1000)

    def test_a_size_is_that_of_the_records_whatever_is_written(self):
        self.run_client("convert", "whole.bin", "-o", "x.bin", "-o", "x.csv", "--stop-after", "100kB")
        size = (self.folder / "x.bin").stat().st_size
        self.assertGreaterEqual(size, 100_000)
        self.assertLess(size, 102_000)
        self.assertEqual(len((self.folder / "x.csv").read_text().splitlines()) - 1, self.entries("x.bin"))

    def test_parts_of_the_same_length_have_each_entry_once(self):
        self.run_client("convert", "whole.bin", "-o", "a.bin", "--stop-after", "2s")
        self.run_client("convert", "whole.bin", "-o", "b.bin", "--from", "2s")
        joined = (self.folder / "a.bin").read_bytes() + (self.folder / "b.bin").read_bytes()
        self.assertEqual(joined, (self.folder / "whole.bin").read_bytes())

    def test_a_time_counts_from_the_first_entry_that_is_wanted(self):
        out, _ = self.run_client("convert", "whole.bin", "-o", "x.bin", "--filter", "bus == lin", "--from", "1s",
                                 "--stop-after", "1s", "--json")
        summary = json.loads(out)
        self.assertLess(summary["last_time_ns"] - summary["first_time_ns"], 1_000_000_000)
        self.assertGreater(summary["last_time_ns"] - summary["first_time_ns"], 900_000_000)

    def test_a_recording_ends_on_a_silent_bus_too(self):
        (self.folder / "silent.log").write_text("(0.000000) can0 001#00\n(1000000.000000) can0 001#00\n")
        out, _ = self.run_client("record", "silent.log", "--no-output", "--stop-after", "200ms", "--json")
        summary = json.loads(out)
        self.assertEqual(summary["entries"], 1)
        self.assertIn(summary["ended_by"], ("stop_after", "duration"))

    def test_what_could_be_mistaken_is_refused(self):
        for limit in ("1000", "500M", "frames", "10frogs", "0s"):
            with self.subTest(limit):
                _, err = self.run_client("convert", "whole.bin", "-o", "x.bin", "--stop-after", limit, expect=2)
                self.assertIn(f'--stop-after "{limit}"', err)
        self.assertNotIn("x.bin", self.files())


if __name__ == "__main__":
    main()
