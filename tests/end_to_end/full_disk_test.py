"""Recording to a disk that is really full: a tiny file system in memory, mounted in a user namespace."""

import json
import struct
import subprocess
import sys

from support import SKIPPED, ClientTest, arguments, main

# Mounts a file system of $1 bytes, runs the rest of the arguments, and saves what it holds.
ON_A_TINY_DISK = """
mount -t tmpfs -o "size=$1" none disk || exit 99
shift
"$@"
status=$?
cp -r disk saved
exit $status
"""


def may_mount():
    command = ["unshare", "-rm", "mount", "-t", "tmpfs", "none", "/mnt"]
    try:
        return subprocess.run(command, capture_output=True, check=False).returncode == 0
    except FileNotFoundError:
        return False


def records(data):
    """The whole records of a file, and how many bytes are left over."""
    found, place = [], 0
    while len(data) - place >= 28:
        length = struct.unpack_from("<I", data, place)[0]
        if length < 28 or length > len(data) - place:
            break
        found.append(data[place : place + length])
        place += length
    return found, len(data) - place


class FullDisk(ClientTest):
    SOURCE = ["can?seed=1", "--speed", "max", "--duration", "20s"]

    def record(self, size, *outputs, source=None):
        """Records with a disk of `size` bytes in the folder "disk"; gives the exit code and standard error."""
        (self.folder / "disk").mkdir(exist_ok=True)
        command = ["unshare", "-rm", "sh", "-c", ON_A_TINY_DISK, "sh", str(size), arguments.client, "record"]
        done = subprocess.run(
            [*command, *(source or self.SOURCE), *outputs], cwd=self.folder, capture_output=True, text=True, check=False
        )
        return done.returncode, done.stderr

    def saved(self, name):
        return (self.folder / "saved" / name).read_bytes()

    def test_what_was_recorded_before_stays_readable(self):
        self.run_client("record", *self.SOURCE, "-o", "whole.bin", "-o", "whole.asc")
        whole, _ = records((self.folder / "whole.bin").read_bytes())
        lines = (self.folder / "whole.asc").read_text().splitlines()[6:]
        for size in (65536, 300000):
            with self.subTest(size=size):
                code, err = self.record(size, "-o", "disk/x.bin", "--min-free", "0")
                self.assertEqual(code, 1, err)
                self.assertIn("No space left on device", err)
                found, rest = records(self.saved("x.bin.part"))
                self.assertEqual(rest, 0)
                self.assertTrue(found == whole[: len(found)] and len(found) > size / 2 / 70)
                subprocess.run(["rm", "-r", self.folder / "saved"], check=True)
        for live in ([], ["--asc-live"]):
            code, err = self.record(300000, "-o", "disk/x.asc", "--min-free", "0", *live)
            self.assertEqual(code, 1, err)
            written = self.saved("x.asc.part").decode()
            self.assertTrue(written.endswith("\n"))
            written = written.splitlines()[6:]
            self.assertGreater(len(written), 1000)
            self.assertEqual(written, lines[: len(written)])
            subprocess.run(["rm", "-r", self.folder / "saved"], check=True)

    def test_the_other_outputs_are_complete(self):
        self.run_client("record", *self.SOURCE, "-o", "whole.bin", "-o", "whole.asc")
        outputs = [word for name in ("x.bin", "disk/x.mf4", "disk/x.bin", "x.asc") for word in ("-o", name)]
        code, err = self.record(300000, *outputs, "--min-free", "0")
        self.assertEqual(code, 1, err)
        self.assertIn("No space left on device", err)
        self.assertIn("; the other outputs go on", err)
        self.assertEqual((self.folder / "x.bin").read_bytes(), (self.folder / "whole.bin").read_bytes())
        x, whole = ((self.folder / name).read_text().splitlines()[5:] for name in ("x.asc", "whole.asc"))
        self.assertEqual(x, whole)
        # What the one on the full disk has no room for any more, its description says.
        kept, _ = records(self.saved("x.bin.part"))
        all_records, _ = records((self.folder / "whole.bin").read_bytes())
        times = [struct.unpack_from("<Q", record, 8)[0] for record in (kept[-1], all_records[-1])]
        cut = {"channel": 1, "cause": "disk_full", "first_time_ns": times[0], "last_time_ns": times[1], "count": None}
        description = json.loads(self.saved("x.bin.json.part"))
        self.assertEqual((description["losses"], description["complete"]), ([cut], False))

    def test_swap_folder_without_room_leaves_the_recording_complete(self):
        for sources in (["can?seed=1"], ["can?seed=1", "can?seed=2"]):
            sources += ["--duration", "2s", "--speed", "max"]
            self.run_client("record", *sources, "-o", "whole.bin")
            code, err = self.record(300000, "-o", "x.bin", "--swap-folder", "disk", "--memory-limit", "50", source=sources)
            self.assertEqual(code, 1, err)
            self.assertRegex(err, r'The swap folder ".*disk" takes only \S+ more: from entry 1, .* entries stay in memory')
            self.assertEqual((self.folder / "x.bin").read_bytes(), (self.folder / "whole.bin").read_bytes())
            subprocess.run(["rm", "-r", self.folder / "saved"], check=True)

    def test_swap_folder_that_fills_up_is_emptied_and_the_recording_complete(self):
        source = ["can?seed=1&load=90", "--duration", "100s", "--speed", "max"]
        self.run_client("record", *source, "-o", "whole.bin")
        code, err = self.record("20m", "-o", "x.bin", "--swap-folder", "disk", "--memory-limit", "500", source=source)
        self.assertEqual(code, 1, err)
        self.assertRegex(err, r'The swap folder ".*disk" was full at entry \d+, ')
        self.assertNotIn("stay in memory", err)
        self.assertEqual((self.folder / "x.bin").read_bytes(), (self.folder / "whole.bin").read_bytes())

    def test_emptied_swap_folder_leaves_out_an_interface_that_is_gone(self):
        source = ["ethernet?load=60&gone=500ms", "ethernet?seed=2&load=60&duration=3s"]
        self.run_client("record", source[1], "--speed", "max", "-o", "whole.bin")
        code, err = self.record("20m", "-o", "x.bin", "--swap-folder", "disk", "--memory-limit", "500", source=source)
        self.assertEqual(code, 1, err)
        self.assertRegex(err, r'The swap folder ".*disk" was full at entry \d+, ')
        self.assertIn("are missing as the interface was gone", err)
        second = [record for record in records((self.folder / "x.bin").read_bytes())[0] if record[4] == 2]
        whole, _ = records((self.folder / "whole.bin").read_bytes())
        self.assertEqual([record[8:] for record in second], [record[8:] for record in whole])

    def test_recording_ends_while_outputs_can_be_completed(self):
        source = ["can?seed=1&load=90", "--speed", "max"]  # endless
        code, err = self.record("70m", "-o", "disk/x.bin", "-o", "disk/x.asc", "-o", "disk/x.mf4", source=source)
        self.assertEqual(code, 1, err)
        self.assertRegex(err, r'The recording was ended at entry \d+, \d+\.\d{9} s: ".*disk" has only \d+\.?\d*M left')
        found, rest = records(self.saved("x.bin"))
        self.assertEqual(rest, 0)
        lines = self.saved("x.asc").decode().splitlines()
        self.assertEqual(len([line for line in lines if not line.startswith("// LOST")]), 5 + len(found) + 1)
        self.assertEqual(lines[-1], "End TriggerBlock")
        self.assertEqual(sorted(path.name for path in (self.folder / "saved").iterdir()), ["x.asc", "x.bin", "x.bin.json", "x.mf4"])

    def test_disk_that_is_nearly_full_is_refused(self):
        code, err = self.record("10m", "-o", "disk/x.bin")
        self.assertEqual(code, 1)
        self.assertRegex(err, r'^qor-trace: ".*disk" has only 10M left, and .* --min-free\.\n$')
        self.assertEqual(list((self.folder / "saved").iterdir()), [])

    def test_a_disk_that_is_large_enough_takes_it_all(self):
        code, err = self.record("96m", "-o", "disk/x.bin")
        self.assertEqual(code, 0, err)
        _, rest = records(self.saved("x.bin"))
        self.assertEqual(rest, 0)


if __name__ == "__main__":
    if not may_mount():
        print("skipped: file systems can't be mounted in a user namespace here")
        sys.exit(SKIPPED)
    main()
