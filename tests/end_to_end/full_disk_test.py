"""Recording to a disk that is really full: a tiny file system in memory, mounted in a user namespace."""

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

    def record(self, size, *outputs):
        """Records to a disk of `size` bytes; gives the exit code and standard error."""
        (self.folder / "disk").mkdir(exist_ok=True)
        command = ["unshare", "-rm", "sh", "-c", ON_A_TINY_DISK, "sh", str(size), arguments.client, "record"]
        done = subprocess.run(
            [*command, *self.SOURCE, *outputs], cwd=self.folder, capture_output=True, text=True, check=False
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
                code, err = self.record(size, "-o", "disk/x.bin")
                self.assertEqual(code, 1, err)
                self.assertIn("No space left on device", err)
                found, rest = records(self.saved("x.bin.part"))
                self.assertEqual(rest, 0)
                self.assertTrue(found == whole[: len(found)] and len(found) > size / 2 / 70)
                subprocess.run(["rm", "-r", self.folder / "saved"], check=True)
        code, err = self.record(300000, "-o", "disk/live.asc", "--asc-live", "--memory-limit", "100000")
        self.assertEqual(code, 1, err)
        written = self.saved("live.asc").decode().split("\n")[6:]
        self.assertGreater(len(written), 1000)
        self.assertEqual(written[:-1], lines[: len(written) - 1])

    def test_a_disk_that_is_large_enough_takes_it_all(self):
        code, err = self.record("64m", "-o", "disk/x.bin")
        self.assertEqual(code, 0, err)
        _, rest = records(self.saved("x.bin"))
        self.assertEqual(rest, 0)


if __name__ == "__main__":
    if not may_mount():
        print("skipped: file systems can't be mounted in a user namespace here")
        sys.exit(SKIPPED)
    main()
