"""What a crash has left becomes a complete file again, with all that was on the disk.

Run by hand: recover_test.py CLIENT RECORDINGS --kills 200 [--seed 7]
"""

import json
import random
import shutil
import signal
import struct
import time

from kill_test import LINE, Settings, take_option, whole_records
from mdf_test import Reader
from support import ClientTest, main

PACKET = 6  # type of an enhanced packet block
LONGEST = 1.5  # seconds that a recording lives


def lines_in(data):
    """Whole lines of events."""
    return sum(LINE.match(line) is not None for line in data.split(b"\n")[:-1])


def packets_in(data):
    """Whole blocks of packets."""
    place, packets = 0, 0
    while len(data) - place >= 12:
        kind, size = struct.unpack_from("<II", data, place)
        packets += kind == PACKET and place + size <= len(data)
        place += size
    return packets


class Recovered(ClientTest):
    def kill(self, name, outputs, after, *options):
        """Kills a recording into a folder of its own; gives the folder."""
        folder = self.folder / name
        folder.mkdir()
        names = [word for output in outputs for word in ("-o", folder / output)]
        process = self.start("record", "can?seed=1&load=90", *options, *names)
        self.wait_until(lambda: any(folder.glob("*.part*")), "the outputs")
        time.sleep(after)
        process.send_signal(signal.SIGKILL)
        process.wait()
        return folder

    def recover(self, *files, output="saved.bin", expect=3):
        out, _ = self.run_client("recover", *files, "-o", self.folder / output, "--json", expect=expect)
        return json.loads(out)

    def records(self, path):
        records, rest = whole_records(path.read_bytes())
        self.assertEqual(rest, 0)
        return records

    def test_everything_on_the_disk_comes_back_after_kills_at_random_moments(self):
        moments = random.Random(Settings.seed)
        saved = {".bin.part": 0, ".part.mf4": 0, ".asc.part": 0, ".pcapng.part": 0}
        for number in range(Settings.kills // 2):
            after = moments.uniform(0.2, LONGEST)
            with self.subTest(kill=number, after=after):
                outputs = ["x.bin", "x.mf4", "x.asc", "x.pcapng"]
                folder = self.kill(f"kill-{number}", outputs, after, "--memory-limit", 200, "--speed", "5")
                saved[".bin.part"] += self.check_records(folder)
                saved[".part.mf4"] += self.check_measurement(folder / "x.part.mf4")
                saved[".asc.part"] += self.check_count(folder / "x.asc.part", lines_in)
                saved[".pcapng.part"] += self.check_count(folder / "x.pcapng.part", packets_in)
                shutil.rmtree(folder)
        print(f"entries saved of {Settings.kills // 2} recordings: {saved}")
        for name, entries in saved.items():
            self.assertGreater(entries, 0, name)

    def check_records(self, folder):
        """Of the part file, and of it together with the swap file. How many were in the part file."""
        part = folder / "x.bin.part"
        expected, _ = whole_records(part.read_bytes())
        swapped = [record for path in folder.glob(".qor-trace-swap-*/*.bin") for record in whole_records(path.read_bytes())[0]]
        if not expected:
            return 0
        summary = self.recover(part)
        self.assertEqual(self.records(self.folder / "saved.bin"), expected)
        self.assertEqual(summary["entries"], len(expected))
        missing = summary["found"][-1]
        self.assertEqual(missing["kind"], "cut_off")
        self.assertIn(f"{struct.unpack_from('<Q', expected[-1], 8)[0] / 1e9:.9f} s", missing["first_at"])
        if swapped:  # both together: each record once
            self.recover(part, *folder.glob(".qor-trace-swap-*"), output="both.bin")
            self.assertEqual(sorted(self.records(self.folder / "both.bin")), sorted(set(expected) | set(swapped)))
        return len(expected)

    def check_count(self, part, count):
        """Recovers a file; how many of its entries the test finds itself."""
        counted = count(part.read_bytes())
        if counted > 0:
            self.assertGreaterEqual(self.recover(part)["entries"], counted)
        return counted

    def check_measurement(self, part):
        data = part.read_bytes()
        if data[64:68] != b"##HD":
            return 0
        counted = sum(len(group.records) for group in Reader(data).groups)
        if counted == 0:
            return 0
        self.assertGreaterEqual(self.recover(part, output="saved.mf4")["entries"], counted)
        complete = Reader((self.folder / "saved.mf4").read_bytes())
        self.assertTrue(complete.finalized)
        self.assertGreaterEqual(sum(len(group.records) for group in complete.groups), counted)
        return counted

    def whole(self):
        self.run_client("record", "can?seed=2", "-d", "2s", "--speed", "max", "-o", "a.bin")
        return self.folder / "a.bin", self.records(self.folder / "a.bin")

    def test_nothing_is_missing_of_a_complete_file(self):
        path, records = self.whole()
        self.assertEqual(self.recover(path, expect=0)["found"], [])
        self.assertEqual(self.records(self.folder / "saved.bin"), records)

    def test_reading_goes_on_after_damage(self):
        path, records = self.whole()
        for what, damage in {"zeros": bytes(500), "ones": b"\xff" * 500, "a piece too few": None}.items():
            with self.subTest(what):
                contents = path.read_bytes()
                place = contents.index(records[500][:16])
                damaged = contents[:place] + (damage or b"") + contents[place + (500 if damage else 21) :]
                (self.folder / "b.bin").write_bytes(damaged)
                summary = self.recover(self.folder / "b.bin")
                got = self.records(self.folder / "saved.bin")
                self.assertEqual(got[:500], records[:500])
                self.assertEqual(got[-1], records[-1])
                self.assertLessEqual(set(got), set(records))
                self.assertGreater(len(got), len(records) - 20)
                self.assertIn("unread", {found["kind"] for found in summary["found"]})

    def test_file_that_ends_in_a_record_loses_that_one(self):
        path, records = self.whole()
        path.write_bytes(path.read_bytes()[:-5])
        self.recover(path)
        self.assertEqual(self.records(self.folder / "saved.bin"), records[:-1])

    def test_what_is_recovered_stays_as_it_is(self):
        path, _ = self.whole()
        before = path.read_bytes()
        self.run_client("recover", path, "-o", path, expect=2)
        (self.folder / "same.bin").symlink_to(path)
        self.run_client("recover", path, "-o", self.folder / "same.bin", expect=2)
        self.assertEqual(path.read_bytes(), before)

    def test_running_recording_is_left_alone(self):
        process = self.start("record", "can?seed=1", "-o", "x.bin")
        self.wait_until((self.folder / "x.bin.part").exists, "the output")
        _, err = self.run_client("recover", "x.bin.part", "-o", "y.bin", expect=1)
        self.assertIn("is still being written by", err)
        process.send_signal(signal.SIGINT)
        process.wait()

    def test_different_formats_are_not_mixed(self):
        self.run_client("record", "can?seed=2", "-d", "2s", "--speed", "max", "-o", "a.bin", "-o", "a.mf4")
        _, err = self.run_client("recover", "a.bin", "a.mf4", "-o", "y.bin", expect=2)
        self.assertIn("recover the others one by one", err)


if __name__ == "__main__":
    take_option("kills")
    take_option("seed")
    main()
