"""Outputs as series of files: names, seams, what is kept and deleted, and what scripts are told."""

import json
import os
import pathlib
import re
import signal

from support import ClientTest, main, read_bin

FORMATS = ("bin", "asc", "mf4", "pcapng", "log", "bin.gz", "pcapng.zst")


class Series(ClientTest):
    def record(self, name, *options, source="can?seed=7&duration=10s", expect=0):
        return self.run_client("record", source, "--speed", "max", "-o", name, *options, expect=expect)

    def numbered(self, stem, ending):
        pattern = re.compile(re.escape(stem) + r"_\d{6}\." + re.escape(ending))
        return [name for name in self.files() if pattern.fullmatch(name)]

    def entries(self, name):
        out, _ = self.run_client("info", name, "--json")
        return sum(channel["entries"] for channel in json.loads(out)["files"][0]["channels"])

    # ---- Seams -------------------------------------------------------------------------------------------------------

    def test_the_parts_add_up_to_the_whole_in_every_format(self):
        self.record("whole.bin", source="vehicle?seed=3&duration=5s")
        for format in FORMATS:
            with self.subTest(format):
                self.run_client("convert", "whole.bin", "-o", f"one.{format}")
                self.run_client("convert", "whole.bin", "-o", f"x.{format}", "--split-time", "1s")
                parts = self.numbered("x", format)
                self.assertGreaterEqual(len(parts), 5)
                self.assertEqual(sum(self.entries(part) for part in parts), self.entries(f"one.{format}"))
                # Read by the name of the series, and part by part.
                self.run_client("compare", f"one.{format}", f"x.{format}")
                self.run_client("convert", *parts, "--same-channels", "-o", "again.bin")
                self.run_client("convert", f"one.{format}", "-o", "once.bin")
                self.run_client("compare", "once.bin", "again.bin")
                for name in self.files():
                    if name != "whole.bin" and name != "whole.bin.json":
                        (self.folder / name).unlink()

    def test_a_recording_has_each_entry_in_one_file(self):
        out, _ = self.record("x.bin", "--split-time", "1s", "-o", "y.asc", "--json")
        parts = self.numbered("x", "bin")
        self.assertGreaterEqual(len(parts), 10)
        self.assertEqual(len(self.numbered("y", "asc")), len(parts))
        times = [frame.time for part in parts for frame in read_bin((self.folder / part).read_bytes())]
        self.assertEqual(times, sorted(times))
        self.assertEqual(len(times), json.loads(out.splitlines()[-1])["entries"])
        for part in parts:
            frames = read_bin((self.folder / part).read_bytes())
            described = json.loads((self.folder / (part + ".json")).read_text())
            self.assertTrue(described["complete"])
            self.assertEqual(described["records"]["count"], len(frames))

    def test_files_that_are_put_on_the_disk_while_they_are_written_are_closed_as_well(self):
        out, _ = self.run_client("record", "can?seed=7&duration=30s&speed=15", "-o", "x.bin", "-o", "y.mf4", "-o", "z.csv.gz",
                                 "--split-time", "1s", "--sync", "100ms", "--json")
        parts = self.numbered("x", "bin")
        self.assertGreaterEqual(len(parts), 30)
        self.assertEqual(len(self.numbered("y", "mf4")), len(parts))
        self.assertEqual(len(self.numbered("z", "csv.gz")), len(parts))
        self.assertEqual(self.entries("x.bin"), json.loads(out.splitlines()[-1])["entries"])
        self.run_client("compare", "x.bin", "y.mf4", "--as-kept-by", "mf4")

    def test_files_by_size_are_whole(self):
        self.record("x.bin", "--split-size", "64K")
        parts = self.numbered("x", "bin")
        self.assertGreater(len(parts), 1)
        for part in parts[:-1]:
            size = (self.folder / part).stat().st_size
            self.assertGreaterEqual(size, 65536)
            self.assertLess(size, 65536 + 200)
        frames = [frame for part in parts for frame in read_bin((self.folder / part).read_bytes())]
        self.record("whole.bin")
        self.assertEqual(len(frames), len(read_bin((self.folder / "whole.bin").read_bytes())))

    # ---- Names -------------------------------------------------------------------------------------------------------

    def test_files_can_be_called_after_their_times_and_follow_the_clock(self):
        self.record("x.bin")
        self.run_client("convert", "x.bin", "-o", "y_%t.asc", "--split-time", "2s", "--split-clock", "utc",
                        "--start-time", "2026-11-21T14:30:01Z")
        names = [name for name in self.files() if name.startswith("y_")]
        self.assertEqual(names[:3], ["y_20261121T143001Z.asc", "y_20261121T143002Z.asc", "y_20261121T143004Z.asc"])
        self.run_client("convert", "x.bin", "-o", "z_%Y-%m-%d_%H%M%S_%n.csv", "--start-time", "2026-11-21T14:30:01Z",
                        env={**os.environ, "TZ": "XYZ-5:30"})
        self.assertIn("z_2026-11-21_200001_000001.csv", self.files())

    def test_files_that_exist_are_replaced_once_theirs_are_whole_and_others_are_named(self):
        (self.folder / "x_000001.bin").write_text("old")
        (self.folder / "x_000099.bin").write_text("older")
        _, err = self.record("x.bin", "--split-time", "5s")
        self.assertIn('"' + str(self.folder / "x_000099.bin") + '" is of an earlier, longer series', err)
        self.assertGreater((self.folder / "x_000001.bin").stat().st_size, 1000)
        self.assertEqual((self.folder / "x_000099.bin").read_text(), "older")

    def test_what_makes_no_sense_is_refused_before_anything_is_made(self):
        cases = {
            ("-o", "x.bin", "--keep", "3"): "--split-size or --split-time",
            ("-o", "x.bin", "--split-size", "12 apples"): '"12 apples" is no size',
            ("-o", "x.bin", "--split-time", "soon"): '"soon" is no duration',
            ("-o", "x.bin", "--split-time", "7s", "--split-clock", "utc"): "divides a day",
            ("-o", "x.bin", "--split-time", "10s", "--split-clock", "mars"): "write local or utc",
            ("-o", "x_%q.bin", "--split-time", "10s"): "at character 3 of its name",
            ("-o", "-", "--split-time", "10s"): "standard output is one",
            ("-o", "x.asc", "--split-size", "1M", "--asc-split", "1M"): "say the same",
            ("-o", "x.asc", "--split-size", "1M", "--as-exported"): "the library's own series",
        }
        for options, sentence in cases.items():
            with self.subTest(options):
                _, err = self.run_client("record", "can?duration=1s", *options, expect=2)
                self.assertIn(sentence, " ".join(err.split()))
                self.assertEqual(self.files(), [])

    # ---- What is kept ------------------------------------------------------------------------------------------------

    def test_only_the_newest_files_are_kept_and_nothing_of_others_is_touched(self):
        (self.folder / "x_000000.bin").write_text("somebody else's")
        out, _ = self.record("x.bin", "--split-time", "1s", "--keep", "3", "--json")
        parts = self.numbered("x", "bin")
        self.assertEqual(parts[0], "x_000000.bin")
        self.assertEqual(len(parts), 4)
        events = [json.loads(line) for line in out.splitlines()]
        complete = [event for event in events if event["event"] == "file_complete"]
        deleted = [event for event in events if event["event"] == "file_deleted"]
        self.assertEqual(len(complete) - len(deleted), 3)
        self.assertEqual([pathlib.Path(event["path"]).name for event in complete[-3:]], parts[1:])
        self.assertEqual(events[-1]["outputs"][0]["deleted_files"], len(deleted))

    def test_a_series_stays_below_its_size(self):
        self.record("x.bin", "--split-size", "64K", "--keep-size", "200K")
        size = sum(path.stat().st_size for path in self.folder.iterdir())
        self.assertLessEqual(size, 200 << 10)
        self.assertGreater(size, 100 << 10)

    # ---- What is told ------------------------------------------------------------------------------------------------

    def test_files_are_told_as_they_close(self):
        out, _ = self.record("x.bin", "--split-time", "2s", "--json")
        events = [json.loads(line) for line in out.splitlines()]
        for event in events:
            self.assertEqual((event["schema"], event["version"]), ("qor-trace-events", 1))
        summary = events[-1]
        self.assertEqual(summary["event"], "summary")
        files = [event for event in events if event["event"] == "file_complete"]
        self.assertEqual(len(files), len(events) - 1)
        self.assertEqual(sum(event["entries"] for event in files), summary["entries"])
        self.assertEqual([event["index"] for event in files], list(range(1, len(files) + 1)))
        self.assertEqual([event["path"] for event in files], summary["outputs"][0]["files"])
        for event in files:
            self.assertEqual(event["bytes"], pathlib.Path(event["path"]).stat().st_size)
            self.assertLessEqual(event["first_time_ns"], event["last_time_ns"])
            self.assertEqual(event["last_utc_ns"] - event["first_utc_ns"], event["last_time_ns"] - event["first_time_ns"])
        _, err = self.record("y.bin", "--split-time", "2s")
        self.assertEqual(err.count(" is complete: "), len(files))

    def test_a_script_can_carry_files_away_while_the_recording_runs(self):
        process = self.start("record", "can", "-o", "x.bin", "--split-size", "64K", "--json", "--speed", "20")
        entries = 0
        for _ in range(3):
            event = json.loads(process.stdout.readline())
            self.assertEqual(event["event"], "file_complete")
            path = pathlib.Path(event["path"])
            entries += len(read_bin(path.read_bytes()))
            path.unlink()
            path.with_name(path.name + ".json").unlink()
        process.send_signal(signal.SIGINT)
        out, err = process.communicate()
        self.assertEqual(process.returncode, 0, err)
        rest = [json.loads(line) for line in out.splitlines()]
        summary = rest[-1]
        entries += sum(event["entries"] for event in rest if event["event"] == "file_complete")
        self.assertEqual(entries, summary["entries"])

    # ---- Failures ----------------------------------------------------------------------------------------------------

    def test_a_full_disk_in_a_later_file_leaves_those_before_whole(self):
        # A bus that gets louder, so that the limit meets the third file.
        lines = [f"({second}.{frame * 1000000 // count:06}) can0 123#0011223344556677"
                 for second, count in ((1, 100), (2, 200), (3, 5000)) for frame in range(count)]
        self.write_candump(lines)
        out, err = self.run_client("convert", "some.log", "-o", "x.bin", "--split-time", "1s", "--json", file_limit=50000,
                                   expect=1)
        self.assertEqual(self.numbered("x", "bin"), ["x_000001.bin", "x_000002.bin"])
        self.assertEqual([self.entries("x_000001.bin"), self.entries("x_000002.bin")], [100, 200])
        self.assertIn("x_000003.bin.part", err)
        output = json.loads(out.splitlines()[-1])["outputs"][0]
        self.assertFalse(output["complete"])
        self.assertIn("File too large", output["error"])
        described = json.loads((self.folder / "x_000003.bin.json.part").read_text())
        self.assertEqual(described["losses"][0]["cause"], "disk_full")

    def test_a_name_that_is_taken_at_a_seam_ends_the_series_there(self):
        (self.folder / "x_000003.bin").mkdir()
        _, err = self.record("x.bin", "--split-time", "1s", expect=1)
        self.assertIn("x_000003.bin", err)
        for part in ("x_000001.bin", "x_000002.bin"):
            self.assertGreater(self.entries(part), 100)

    def test_a_series_that_another_process_writes_is_refused(self):
        process = self.start("record", "can", "-o", "x.bin", "--split-size", "64K", "--speed", "20")
        self.wait_until(lambda: "x_000002.bin" in self.files(), "a file that is complete")
        _, err = self.record("x.bin", "--split-time", "1s", expect=1)
        self.assertIn("is writing it", err)
        process.send_signal(signal.SIGINT)
        process.communicate()
        self.assertEqual(process.returncode, 0)


if __name__ == "__main__":
    main()
