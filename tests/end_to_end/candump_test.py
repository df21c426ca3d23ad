"""candump text that the client writes: can-utils and python-can read it, and so does the client."""

import shutil
import subprocess

from support import ERROR_FRAME, ClientTest, main, nanoseconds, read_bin, recordings


class Candump(ClientTest):
    def setUp(self):
        super().setUp()
        self.run_client("record", "can?seed=5&duration=20s", "can?seed=6&duration=20s", "--speed", "max", "-o", "a.bin",
                        "-o", "a.log", expect=None)
        self.frames = [frame for frame in self.records("a.bin") if frame.data or not frame.error]

    def records(self, name):
        """CAN frames and error frames, without the events."""
        contents = (self.folder / name).read_bytes()
        events = {index for index, flags in enumerate(self.flags(contents)) if flags & 0x10}
        return [frame for index, frame in enumerate(read_bin(contents)) if index not in events]

    @staticmethod
    def flags(contents):
        offset = 0
        while offset < len(contents):
            yield contents[offset + 40]
            offset += int.from_bytes(contents[offset : offset + 4], "little")

    def test_python_can_reads_what_was_recorded(self):
        try:
            import can
        except ImportError:
            self.skipTest("python3-can isn't installed")
        messages = list(can.CanutilsLogReader(str(self.folder / "a.log")))
        self.assertEqual(len(messages), len(self.frames))
        for message, frame in zip(messages, self.frames):
            self.assertEqual(message.is_error_frame, frame.error)
            if frame.error:
                continue
            self.assertEqual(message.channel, f"can{frame.channel - 1}")
            self.assertEqual((message.arbitration_id, message.is_extended_id), (frame.identifier, frame.extended))
            self.assertEqual(message.is_rx, not frame.transmitted)
            self.assertEqual((message.is_fd, message.bitrate_switch, message.error_state_indicator),
                             (frame.fd, frame.brs, frame.esi))
            if not message.is_remote_frame:
                self.assertEqual(bytes(message.data), frame.data)

    def test_log2asc_reads_what_was_recorded(self):
        if shutil.which("log2asc") is None:
            self.skipTest("can-utils isn't installed")
        done = subprocess.run(["log2asc", "-I", "a.log", "can0", "can1"], cwd=self.folder, capture_output=True, text=True)
        self.assertEqual(done.returncode, 0, done.stderr)
        lines = done.stdout.splitlines()[3:]
        self.assertEqual(len(lines), len(self.frames))
        self.assertEqual(sum("ErrorFrame" in line for line in lines), sum(frame.error for frame in self.frames))

    def test_frames_come_back(self):
        self.run_client("record", "a.log", "--speed", "max", "-o", "b.bin", expect=None)
        again = self.records("b.bin")
        self.assertEqual(len(again), len(self.frames))
        key = lambda frame: (frame.channel, frame.time)
        first = min(frame.time for frame in self.frames)
        for frame, back in zip(sorted(self.frames, key=key), sorted(again, key=key)):
            self.assertLess(abs(back.time - (frame.time - first)), 1001)
            if not frame.error:
                self.assertEqual(back._replace(time=0, transmitted=False), frame._replace(time=0, transmitted=False))

    def test_recordings_of_candump_are_written_as_they_were(self):
        if not recordings():
            self.skipTest("no recordings")
        for recording in recordings():
            with self.subTest(recording.name):
                self.run_client("record", recording, "--speed", "max", "-o", "b.log", expect=None)
                wanted, got = self.lines(recording), self.lines(self.folder / "b.log")
                self.assertEqual(len(got), len(wanted))
                for (time, *frame), (mine, *other) in zip(wanted, got):
                    self.assertLess(abs(time - mine), 2e-6)
                    self.assertEqual(other, frame)

    @staticmethod
    def lines(path):
        """Sorted: the time since the first line, the interface by number, the frame; of an error frame only that it is one."""
        rows = [line.split()[:3] for line in path.read_text().splitlines()]
        names = sorted({row[1] for row in rows})
        first = min(nanoseconds(row[0].strip("()")) for row in rows)
        lines = []
        for stamp, name, frame in rows:
            identifier = frame.split("#")[0]
            error = len(identifier) == 8 and int(identifier, 16) & ERROR_FRAME
            lines.append(((nanoseconds(stamp.strip("()")) - first) / 1e9, names.index(name), "error" if error else frame.upper()))
        return sorted(lines)


if __name__ == "__main__":
    main()
