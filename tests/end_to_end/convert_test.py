"""Raw record files become the other formats, as if they had been recorded into them."""

import json
import os
import signal

from support import DEADLINE, ClientTest, main, recordings

HEAD = 5  # lines with the time of writing
SOURCES = ("can?seed=3&duration=20s", "can?seed=4&duration=20s")


def lines(path):
    """The lines of an .asc file, without those that hold the time of writing."""
    return [line for line in path.read_text().splitlines() if not line.startswith(("date ", "Begin Triggerblock"))]


class Convert(ClientTest):
    def record(self, *sources):
        self.run_client("record", *(sources or SOURCES), "--speed", "max", "-o", "a.bin", "-o", "a.asc", "-o",
                        "a.pcapng", expect=None)

    def test_outputs_are_those_of_the_recording(self):
        self.record()
        out, err = self.run_client("convert", "a.bin", "-o", "b.asc", "-o", "b.pcapng", "-o", "b.bin")
        self.assertEqual(out, b"")
        self.assertEqual(lines(self.folder / "a.asc"), lines(self.folder / "b.asc"))
        self.assertGreater(len(lines(self.folder / "b.asc")), 40000)
        self.assertEqual((self.folder / "a.pcapng").read_bytes(), (self.folder / "b.pcapng").read_bytes())
        self.assertEqual((self.folder / "a.bin").read_bytes(), (self.folder / "b.bin").read_bytes())
        self.assertIn("channel 1: can?seed=3&duration=20s (CAN)\n", err)
        self.assertIn("b.pcapng: NOT IN IT, as no packet can hold them:", err)
        self.assertEqual(self.files(), ["a.asc", "a.bin", "a.bin.json", "a.pcapng", "b.asc", "b.bin", "b.bin.json", "b.pcapng"])

    def test_every_recording_comes_back(self):
        if not recordings():
            self.skipTest("no recordings")
        for recording in recordings():
            with self.subTest(recording.name):
                self.record(recording)
                self.run_client("convert", "a.bin", "-o", "b.asc")
                self.assertEqual(lines(self.folder / "a.asc"), lines(self.folder / "b.asc"))

    def test_asc_options_do_what_they_do_for_a_recording(self):
        source = "can?duration=5s&speed=max"
        self.run_client("record", source, "-o", "a.bin", "-o", "a.asc", "--asc-dec", "--asc-split", "100K", "--asc-relative")
        self.run_client("convert", "a.bin", "-o", "b.asc", "--asc-dec", "--asc-split", "100K", "--asc-relative")
        parts = sorted(name for name in self.files() if name.startswith("a") and name.endswith(".asc"))
        self.assertGreater(len(parts), 3)
        for name in parts:
            ours = [line.replace("/b", "/a") for line in lines(self.folder / ("b" + name[1:]))]
            self.assertEqual(lines(self.folder / name), ours)

    def test_standard_input_and_output(self):
        self.record()
        records = (self.folder / "a.bin").read_bytes()
        with open(self.folder / "a.bin", "rb") as stdin:
            out, _ = self.run_client("convert", "-", "-o", "-", stdin=stdin)
        self.assertEqual(out, records)
        with open(self.folder / "a.bin", "rb") as stdin:
            out, err = self.run_client("convert", "-", "-o", "-", "--format", "pcapng", stdin=stdin)
        self.assertIn("When the records of standard input were recorded isn't known", err)
        (self.folder / "a.bin.json").unlink()
        self.run_client("convert", "a.bin", "-o", "b.pcapng")
        self.assertEqual(out, (self.folder / "b.pcapng").read_bytes())

    def test_json_says_what_was_converted(self):
        self.record()
        out, _ = self.run_client("convert", "a.bin", "-o", "b.asc", "--json", "--bitrate", "1M")
        summary = json.loads(out)
        self.assertEqual(summary["command"], "convert")
        self.assertEqual(summary["input"], "a.bin")
        path = str(self.folder / "b.asc")
        self.assertEqual(summary["outputs"],
                         [{"path": path, "format": "asc", "complete": True, "files": [path], "omitted": {}}])
        self.assertEqual([channel["bit_rate"]["nominal"] for channel in summary["channels"]], [1000000] * 2)
        self.assertEqual(summary["buses"][0]["entries"], summary["entries"])

    def test_damaged_input_is_converted_as_far_as_it_goes(self):
        self.record("can?duration=5s")
        records = (self.folder / "a.bin").read_bytes()
        (self.folder / "cut.bin").write_bytes(records[:100001])
        _, err = self.run_client("convert", "cut.bin", "-o", "b.asc", "-o", "b.bin", expect=1)
        self.assertRegex(err, r"qor-trace: There is no whole record at byte \d+ of")
        got = (self.folder / "b.bin").read_bytes()
        self.assertEqual(got, records[: len(got)])
        self.assertGreater(len(got), 99000)
        whole = lines(self.folder / "a.asc")
        ours = lines(self.folder / "b.asc")[:-1]
        self.assertEqual(ours, whole[: len(ours)])

    def test_records_without_a_line_are_counted(self):
        self.record("can?duration=1s")
        record = bytearray((self.folder / "a.bin").read_bytes()[:200])
        del record[record[0] :]
        record[24] = 9  # an unknown bus
        (self.folder / "odd.bin").write_bytes((self.folder / "a.bin").read_bytes() + record)
        _, err = self.run_client("convert", "odd.bin", "-o", "b.asc")
        self.assertIn("b.asc: NOT IN IT, as the format has no line for them: 1 malformed entries\n", err)
        ours, theirs = lines(self.folder / "a.asc"), lines(self.folder / "b.asc")
        self.assertRegex(theirs.pop(-2), r"^// 0\.\d{6} unknown bus 1: malformed record of \d+ bytes$")
        self.assertEqual(ours, theirs)

    def test_full_disk_is_a_failure_and_the_others_are_completed(self):
        self.record("can?duration=20s")
        _, err = self.run_client("convert", "a.bin", "-o", "b.asc", "-o", "b.bin", expect=1, file_limit=1000000)
        self.assertIn("b.asc", err)
        self.assertIn("b.bin.part", err)

    def test_interruption_of_a_pipe_leaves_complete_files(self):
        self.record("can?duration=5s")
        records = (self.folder / "a.bin").read_bytes()
        process = self.start("convert", "-", "-o", "b.bin", stdin=-1)
        process.stdin.write(records)
        process.send_signal(signal.SIGINT)
        with self.assertRaises(BrokenPipeError):  # it stops reading
            while True:
                process.stdin.write(records)
        process.wait(timeout=120)
        self.assertEqual(process.returncode, 0)
        got = (self.folder / "b.bin").read_bytes()
        self.assertEqual(got, (records * (len(got) // len(records) + 1))[: len(got)])

    def test_interruption_of_a_named_input_is_a_failure(self):
        self.record("can?duration=1s")
        os.mkfifo(self.folder / "b.bin")
        process = self.start("convert", "b.bin", "-o", "c.bin", "--json")
        with open(self.folder / "b.bin", "wb") as pipe:
            pipe.write((self.folder / "a.bin").read_bytes())
            pipe.flush()
            process.send_signal(signal.SIGINT)
            out, err = process.communicate(timeout=DEADLINE)
        self.assertEqual(process.returncode, 1)
        self.assertIn(b"Interrupted: the outputs end after", err)
        self.assertEqual(json.loads(out)["ended_by"], "interrupted")
        self.assertIn("c.bin", self.files())

    def test_loss_that_the_records_tell_is_told_again(self):
        table = ["timestamp_ns,channel,kind,flags,id,cycle,crc,data", "0,1,wakeup,,,,,", "1000,1,wakeup,overrun,,,,",
                 "2000,1,wakeup,,,,,"]
        (self.folder / "lin.csv").write_text("".join(line + "\n" for line in table))
        self.run_client("record", "lin.csv", "-o", "a.bin", expect=3)
        _, err = self.run_client("convert", "a.bin", "-o", "b.pcapng", expect=3)
        self.assertIn("LOST: 1 overrun mark, after which data are missing, at 0.000001000 s", err)
        _, err = self.run_client("list", "a.bin", expect=3)
        self.assertIn("LOST: 1 overrun mark", err)

    def test_what_an_output_cannot_hold_is_a_loss_only_if_strict(self):
        self.record("can?duration=5s")
        _, err = self.run_client("convert", "a.bin", "-o", "b.pcapng")
        self.assertIn("NOT IN IT", err)
        self.run_client("convert", "a.bin", "-o", "b.pcapng", "--strict", expect=3)

    def test_input_that_is_no_bin_file_leaves_the_output_alone(self):
        (self.folder / "a.bin").write_bytes(b"something else, and more of it")
        (self.folder / "b.pcapng").write_bytes(b"precious")
        _, err = self.run_client("convert", "a.bin", "-o", "b.pcapng", expect=1)
        self.assertIn("byte 0", err)
        self.assertEqual((self.folder / "b.pcapng").read_bytes(), b"precious")
        self.assertEqual(self.files(), ["a.bin", "b.pcapng"])

    def test_arguments_that_make_no_sense(self):
        (self.folder / "a.bin").write_bytes(b"")
        for args in (["convert"], ["convert", "a.bin"], ["convert", "a.bin", "-o", "x.txt"],
                     ["convert", "a.bin", "-o", "x.asc", "--asc-live"],
                     ["convert", "a.bin", "-o", "x.pcapng", "--as-exported"],
                     ["convert", "a.bin", "-o", "x.bin", "--asc-dec"], ["convert", "a.bin", "-o", "-", "--json"]):
            out, err = self.run_client(*args, expect=2)
            self.assertEqual(out, b"")
            self.assertNotEqual(err, "")
        _, err = self.run_client("convert", "no.bin", "-o", "x.asc", expect=1)
        self.assertIn("no.bin", err)
        self.assertEqual(self.files(), ["a.bin"])

    def test_empty_input_makes_empty_outputs(self):
        _, err = self.run_client("convert", "-", "-o", "b.asc", "-o", "b.pcapng")
        self.assertIn("0 entries", err)
        self.assertEqual(len(lines(self.folder / "b.asc")), HEAD - 1)


if __name__ == "__main__":
    main()
