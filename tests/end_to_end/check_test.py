"""qor-trace check: what it says of sound, damaged and unreadable recordings."""

import json

from support import ClientTest, main


class Checking(ClientTest):
    """What check says, in words and as JSON."""

    def record(self, *more):
        self.run_client("record", "vehicle?duration=2s&speed=max", "-o", "drive.bin", *more)

    def check(self, *arguments, expect):
        return self.run_client("check", *arguments, expect=expect)[0].decode()

    def test_sound_recording_is_called_sound(self):
        self.record()
        out = self.check("drive.bin", expect=0)
        self.assertTrue(out.startswith("drive.bin: sound\n"), out)
        self.assertRegex(out, r"(?m)^  \d+ entries of 4 channels in [12]\.\d+ s$")

    def test_each_file_has_a_verdict_and_the_worst_one_decides(self):
        self.record()
        whole = (self.folder / "drive.bin").read_bytes()
        (self.folder / "cut.bin").write_bytes(whole[:-5])
        first = int.from_bytes(whole[:4], "little")
        second = int.from_bytes(whole[first:first + 4], "little")
        swapped = whole[first:first + second] + whole[:first] + whole[first + second:]
        (self.folder / "swapped.bin").write_bytes(swapped)
        self.assertIn("swapped.bin: readable, with 1 defect\n", self.check("swapped.bin", expect=3))
        out = self.check("--json", "drive.bin", "swapped.bin", "cut.bin", "missing.bin", expect=1)
        report = json.loads(out)
        self.assertEqual((report["schema"], report["version"], report["exit_code"]), ("qor-trace-check", 1, 1))
        self.assertEqual([file["verdict"] for file in report["files"]], ["sound", "defects", "unreadable", "unreadable"])
        sound, odd, cut, missing = report["files"]
        self.assertEqual(cut["entries"], sound["entries"] - 1)
        self.assertIn("There is no whole record at byte", cut["error"])
        self.assertEqual(missing["entries"], 0)
        (finding,) = odd["findings"]
        self.assertEqual((finding["kind"], finding["what"], finding["first_at"]),
                         ("odd", "an entry earlier than the one before", "entry 2"))
        self.assertTrue(finding["remedy"])

    def test_remedy_for_a_file_that_is_cut_off_is_recover(self):
        self.record("-o", "drive.pcapng")
        for name in ("drive.pcapng", "drive.bin"):
            (self.folder / ("cut-" + name)).write_bytes((self.folder / name).read_bytes()[:-5])
        remedy = "qor-trace recover {} -o NEW writes what is there as a complete file"
        report = json.loads(self.check("--json", "cut-drive.pcapng", "cut-drive.bin", "drive.bin", expect=1))
        capture, records, sound = report["files"]
        cut, = (finding for finding in capture["findings"] if finding["kind"] == "cut_off")
        self.assertEqual(cut["remedy"], remedy.format("cut-drive.pcapng"))
        self.assertEqual((records["verdict"], records["remedy"]), ("unreadable", remedy.format("cut-drive.bin")))
        self.assertEqual((capture["remedy"], sound["remedy"]), ("", ""))
        self.assertIn("\n    " + remedy.format("cut-drive.pcapng") + "\n", self.check("cut-drive.pcapng", expect=3))
        self.assertIn("\n    " + remedy.format("cut-drive.bin") + "\n", self.check("cut-drive.bin", expect=1))
        # It keeps its word.
        for name in ("cut-drive.pcapng", "cut-drive.bin"):
            self.run_client("recover", name, "-o", "new.bin", expect=3)
            self.check("new.bin", expect=None)

    def test_nothing_recovers_a_file_without_records(self):
        (self.folder / "text.bin").write_text("hello\n" * 40)
        self.assertNotIn("recover", self.check("text.bin", expect=1))

    def test_recording_that_was_cut_off_is_a_defect(self):
        self.record()
        description = self.folder / "drive.bin.json"
        known = json.loads(description.read_text())
        known["complete"] = False
        description.write_text(json.dumps(known))
        self.assertIn("LOST: a recording that didn't come to its end; at its description",
                      self.check("drive.bin", expect=3))

    def test_file_without_records_is_no_recording(self):
        (self.folder / "text.bin").write_text("hello\n" * 40)
        self.assertIn("text.bin: not readable: ", self.check("text.bin", expect=1))
        (self.folder / "empty.bin").write_bytes(b"")
        self.assertIn("empty", self.check("empty.bin", expect=1))

    def test_standard_input_is_read(self):
        self.record()
        with open(self.folder / "drive.bin", "rb") as file:
            process = self.start("check", "-", stdin=file)
            out, err = process.communicate(timeout=60)
        self.assertEqual((process.returncode, err), (0, b""))
        self.assertTrue(out.startswith(b"-: sound\n"), out)

    def test_without_a_file_there_is_nothing_to_check(self):
        self.assertIn("FILE is missing", self.run_client("check", expect=2)[1])


if __name__ == "__main__":
    main()
