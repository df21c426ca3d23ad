"""Compressed outputs and inputs: as gzip and zstd read and write them, cut, damaged, and through pipes."""

import gzip
import json
import shutil
import subprocess
import unittest

from support import ClientTest, main

TOOLS = {".gz": "gzip", ".zst": "zstd"}


class Compressed(ClientTest):
    def record(self, *outputs, source="vehicle?duration=2s"):
        names = [argument for output in outputs for argument in ("-o", output)]
        self.run_client("record", source, "--speed", "max", *names, expect=None)

    def unpacked(self, name):
        tool = TOOLS[name[name.rindex("."):]]
        if shutil.which(tool) is None:
            self.skipTest(tool + " isn't installed")
        return subprocess.run([tool, "-dc", name], cwd=self.folder, capture_output=True, check=True).stdout

    def test_other_programs_unpack_what_is_written(self):
        for format in ("bin", "pcapng", "ndjson", "csv", "log"):
            for ending in TOOLS:
                with self.subTest(format + ending):
                    name = f"a.{format}"
                    self.record("b.bin", name, name + ending) if format != "bin" else self.record(name, name + ending)
                    self.assertEqual(self.unpacked(name + ending), (self.folder / name).read_bytes())
                    for path in self.folder.iterdir():
                        path.unlink()

    def test_what_is_read_back_is_what_was_written(self):
        self.record("a.bin")
        for ending in TOOLS:
            for format in ("bin", "asc", "pcapng"):
                with self.subTest(format + ending):
                    self.run_client("convert", "a.bin", "-o", f"b.{format}", "-o", f"c.{format}{ending}")
                    self.run_client("convert", f"b.{format}", "-o", "x.bin", expect=None)
                    self.run_client("convert", f"c.{format}{ending}", "-o", "y.bin", expect=None)
                    self.assertEqual((self.folder / "x.bin").read_bytes(), (self.folder / "y.bin").read_bytes())
                    one, other = (json.loads((self.folder / name).read_text()) for name in ("x.bin.json", "y.bin.json"))
                    self.assertEqual(one["clock"], other["clock"])

    def test_a_recording_that_was_compressed_later_keeps_its_description(self):
        self.record("a.bin", source="can?duration=1s")
        (self.folder / "a.bin.gz").write_bytes(gzip.compress((self.folder / "a.bin").read_bytes()))
        (self.folder / "a.bin").unlink()
        self.run_client("convert", "a.bin.gz", "-o", "b.bin")
        self.assertEqual(json.loads((self.folder / "b.bin.json").read_text())["clock"],
                         json.loads((self.folder / "a.bin.json").read_text())["clock"])

    def test_standard_input_may_be_compressed(self):
        self.record("a.bin", "a.bin.zst")
        with open(self.folder / "a.bin.zst", "rb") as packed:
            out, _ = self.run_client("convert", "-", "-o", "-", stdin=packed)
        self.assertEqual(out, (self.folder / "a.bin").read_bytes())

    def test_what_came_before_a_cut_is_read_and_the_cut_is_a_loss(self):
        self.record("a.bin", "a.bin.gz", "a.bin.zst")
        whole = (self.folder / "a.bin").read_bytes()
        for ending in TOOLS:
            with self.subTest(ending):
                packed = (self.folder / ("a.bin" + ending)).read_bytes()
                (self.folder / ("cut.bin" + ending)).write_bytes(packed[: len(packed) // 2])
                _, err = self.run_client("convert", "cut.bin" + ending, "-o", "b.bin", expect=3)
                self.assertIn("the compressed data end too early", err)
                self.assertIn(f"at byte {len(packed) // 2}\n", err)
                got = (self.folder / "b.bin").read_bytes()
                self.assertTrue(whole.startswith(got))
                self.assertGreater(len(got), len(whole) // 10)

    def test_damage_is_a_failure_with_its_place(self):
        self.record("a.bin", "a.bin.gz")
        packed = bytearray((self.folder / "a.bin.gz").read_bytes())
        for place in range(len(packed) // 2, len(packed) // 2 + 100):
            packed[place] ^= 0x5A
        (self.folder / "a.bin.gz").write_bytes(packed)
        _, err = self.run_client("convert", "a.bin.gz", "-o", "b.bin", expect=1)
        self.assertRegex(err, r"(compressed data of .* are damaged at byte|no whole record at byte) \d+")

    def test_a_measurement_file_is_not_compressed_twice(self):
        _, err = self.run_client("record", "can?duration=1s", "-o", "a.mf4.gz", expect=2)
        self.assertIn("compressed inside already", err)

    def test_a_full_disk_is_a_failure(self):
        self.record("a.bin")
        _, err = self.run_client("convert", "a.bin", "-o", "b.ndjson.gz", "-o", "b.log", expect=1, file_limit=200000)
        self.assertIn("b.ndjson.gz.part", err)
        self.assertNotIn("b.ndjson.gz", self.files())


if __name__ == "__main__":
    main()
